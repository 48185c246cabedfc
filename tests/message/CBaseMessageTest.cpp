#include <message/CBaseMessage.h>
#include <message/CHardkeyTable.h>
#include <message/CMessageCenter.h>
#include <message/CMessageCenterProxy.h>
#include <message/CMessages.h>
#include <message/IMessageCenterListener.h>
#include <message/IMsgSystemListener.h>
#include <message/IMsgUserListener.h>
#include <text/CString.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

using namespace Trell;
using std::to_string;

namespace {

// A message of any type.
class CAnyMessage : public CBaseMessage
{
public:
    CAnyMessage(unsigned int uiType, unsigned int uiID, CObject* pData = nullptr)
        : CBaseMessage(static_cast<EMessageType>(uiType), uiID, pData)
    {}
};

std::string narrow(const CString& text)
{
    return std::string(text.buffer(), text.buffer() + text.length());
}

// Records every callback as one line, "+data" marking a payload.
class CRecordingListener : public IMessageCenterListener, public IMsgSystemListener, public IMsgUserListener
{
    // Several bases bring allocation operators; this picks one set.
    TRELL_DECLARE_ALLOCATOR(u"CRecordingListener")

public:
    explicit CRecordingListener(const char* prefix) : m_prefix(prefix) {}
    std::vector<std::string> calls;

    void note(const std::string& call, CObject* d = nullptr) { calls.push_back(m_prefix + call + (d ? " +data" : "")); }
    void onHandleQuitMessage() override { note("quit"); }
    void onHandleRenderMessage(unsigned int id) override { note("render " + to_string(id)); }
    void onHandleLogicEventMessage(unsigned int e) override { note("logic " + to_string(e)); }
    void onHandleVoiceContentMessage(const CString& t) override { note("voice " + narrow(t)); }
    void onHandleSystemMessage(unsigned int c, CObject* d) override { note("system " + to_string(c), d); }
    void onHandleGestureMessage(unsigned int g, unsigned int id, CObject* d) override
    {
        note("gesture " + to_string(g) + " " + to_string(id), d);
    }
    void onHandleHardkeyMessage(unsigned int k, unsigned int s) override
    {
        note("hardkey " + to_string(k) + " " + to_string(s));
    }
    void onHandleIMEMessage(const CString& t) override { note("ime " + narrow(t)); }
    void onHandleDataContextMessage(unsigned int id, CObject* d) override { note("data " + to_string(id), d); }
    void onHandleUserMessage(unsigned int c, CObject* d) override { note("user " + to_string(c), d); }

private:
    std::string m_prefix;
};

} // namespace

TEST(CBaseMessage, TypeNames)
{
    const std::vector<std::pair<unsigned int, std::string>> names = {
        {0, "Unknown"},        {1, "Render"},          {10, "System"},       {11, "Quit"},
        {20, "Touch"},         {21, "Gesture"},        {22, "Hardkey"},      {23, "IME"},
        {24, "Logic Event"},   {25, "Voice Content"},  {31, "Data Context"}, {32, "Share Memory"},
        {33, "Data Transfer"}, {34, "Http Connector"}, {35, "Web Browser"},  {40, "Timer"},
        {50, "User"},          {7, "Unknown"},         {51, "Unknown"}};
    for (const auto& entry : names)
        EXPECT_EQ(narrow(CAnyMessage(entry.first, 0).getTypeName()), entry.second) << "type " << entry.first;
}

TEST(CBaseMessage, PayloadReferencesFollowSetDataAndDestruction)
{
    CObject first, second; // on the stack, each held once by the test
    first.addRef();
    second.addRef();
    CAnyMessage* message = new CAnyMessage(31, 1, &first);
    EXPECT_EQ(first.getRef(), 2);
    message->setData(&first); // already held: nothing changes
    EXPECT_EQ(first.getRef(), 2);
    message->setData(&second);
    EXPECT_EQ(first.getRef() * 10 + second.getRef(), 12);
    delete message;
    EXPECT_EQ(second.getRef(), 1);
}

// Every kind pushed through the proxy or the center calls its callback once
// popped; system and user messages then call their own listener too, also
// without the center's; without a center nothing is delivered and none is
// created.
TEST(CBaseMessage, HandlingCallsTheCenterListenerThenTheOwnOne)
{
    CRecordingListener listener(""), own("own ");
    CMessageCenter* center = CMessageCenter::getInstance();
    center->setListener(&listener);
    CObject payload;
    payload.addRef(); // lives on the stack: the messages must never free it
    center->pushQuitMessage();
    center->pushRenderMessage(5);
    CMessageCenterProxy::pushLogicEventMessage(6);
    CMessageCenterProxy::pushVoiceContentMessage(CString(u"hello"));
    CMessageCenterProxy::pushGestureMessage(2, 8, &payload);
    CMessageCenterProxy::pushHardkeyMessage(CHardkeyTable::KEY_CODE_ENTER, CHardkeyTable::KEY_STATUS_LONG_PRESS);
    CMessageCenterProxy::pushIMEMessage(CString(u"abc"));
    CMessageCenterProxy::pushDataContextMessage(11, nullptr);
    CMessageCenterProxy::pushSystemMessage(CMsgSystem::LEAVE_PAGE, &payload, &own);
    CMessageCenterProxy::pushUserMessage(77, &payload, &own);
    while (CObjectPtr<CBaseMessage> message = center->popMessage())
        message->handleMessage();
    // The order between queues follows the clock; the scheduling tests pin it.
    std::sort(listener.calls.begin(), listener.calls.end());
    EXPECT_EQ(listener.calls,
              (std::vector<std::string>{"data 11", "gesture 2 8 +data", "hardkey 13 2", "ime abc", "logic 6", "quit",
                                        "render 5", "system 50 +data", "user 77 +data", "voice hello"}));
    EXPECT_EQ(payload.getRef(), 1);

    center->setListener(nullptr);
    CMsgSystem(1, nullptr, &own).handleMessage();
    CMsgUser(2, nullptr, nullptr).handleMessage();
    EXPECT_EQ(own.calls, (std::vector<std::string>{"own system 50 +data", "own user 77 +data", "own system 1"}));
    EXPECT_EQ(listener.calls.size(), 10u);

    CMessageCenter::deleteInstance();
    CMsgRender(1).handleMessage();
    EXPECT_FALSE(CMessageCenter::hasInstance());
}
