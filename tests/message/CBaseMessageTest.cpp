#include <message/CBaseMessage.h>
#include <message/CHardkeyTable.h>
#include <message/CMessageCenter.h>
#include <message/CMessages.h>
#include <message/IMessageCenterListener.h>
#include <message/IMsgSystemListener.h>
#include <message/IMsgUserListener.h>
#include <text/CString.h>

#include "MessageTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

using namespace Trell;
using MessageTest::CCountedMessage;
using MessageTest::CCountedPayload;

namespace {

std::string narrow(const CString& text)
{
    std::string out;
    for (unsigned int i = 0; i < text.length(); ++i)
        out += static_cast<char>(text.buffer()[i]);
    return out;
}

// Records every callback as one line.
class CRecordingListener : public IMessageCenterListener
{
public:
    std::vector<std::string> calls;
    CObject* lastData = nullptr;

    void onHandleQuitMessage() override { calls.push_back("quit"); }
    void onHandleRenderMessage(unsigned int id) override { calls.push_back("render " + std::to_string(id)); }
    void onHandleLogicEventMessage(unsigned int e) override { calls.push_back("logic " + std::to_string(e)); }
    void onHandleVoiceContentMessage(const CString& t) override { calls.push_back("voice " + narrow(t)); }
    void onHandleSystemMessage(unsigned int c, CObject* d) override
    {
        calls.push_back("system " + std::to_string(c));
        lastData = d;
    }
    void onHandleGestureMessage(unsigned int g, unsigned int id, CObject* d) override
    {
        calls.push_back("gesture " + std::to_string(g) + " " + std::to_string(id));
        lastData = d;
    }
    void onHandleHardkeyMessage(unsigned int k, unsigned int s) override
    {
        calls.push_back("hardkey " + std::to_string(k) + " " + std::to_string(s));
    }
    void onHandleIMEMessage(const CString& t) override { calls.push_back("ime " + narrow(t)); }
    void onHandleDataContextMessage(unsigned int id, CObject* d) override
    {
        calls.push_back("data " + std::to_string(id));
        lastData = d;
    }
    void onHandleUserMessage(unsigned int c, CObject* d) override
    {
        calls.push_back("user " + std::to_string(c));
        lastData = d;
    }
};

class COwnListener : public IMsgSystemListener, public IMsgUserListener
{
    // Both bases bring allocation operators; this picks one set.
    TRELL_DECLARE_ALLOCATOR(u"COwnListener")

public:
    std::vector<std::string> calls;
    CObject* lastData = nullptr;
    void onHandleSystemMessage(unsigned int c, CObject* d) override
    {
        calls.push_back("own system " + std::to_string(c));
        lastData = d;
    }
    void onHandleUserMessage(unsigned int c, CObject* d) override
    {
        calls.push_back("own user " + std::to_string(c));
        lastData = d;
    }
};

class MessageHandling : public ::testing::Test
{
protected:
    void SetUp() override { CMessageCenter::getInstance()->setListener(&listener); }
    void TearDown() override { CMessageCenter::deleteInstance(); }

    CRecordingListener listener;
};

} // namespace

TEST(CBaseMessage, TypeNamesFollowTheTypeNumber)
{
    const std::vector<std::pair<unsigned int, std::string>> names = {
        {0, "Unknown"}, {1, "Render"}, {10, "System"}, {11, "Quit"}, {20, "Touch"},
        {21, "Gesture"}, {22, "Hardkey"}, {23, "IME"}, {24, "Logic Event"}, {25, "Voice Content"},
        {31, "Data Context"}, {32, "Share Memory"}, {33, "Data Transfer"}, {34, "Http Connector"},
        {35, "Web Browser"}, {40, "Timer"}, {50, "User"}, {7, "Unknown"}, {51, "Unknown"}};
    for (const auto& entry : names) {
        CCountedMessage message(entry.first, 0);
        EXPECT_EQ(narrow(message.getTypeName()), entry.second) << "type " << entry.first;
    }
}

// The gesture message keeps its first argument apart and takes the second as ID.
TEST(CBaseMessage, EachClassFixesItsTypeAndFields)
{
    CObject payload;
    payload.addRef(); // lives on the stack: the messages must never free it
    CMsgGesture gesture(3, 9, &payload);
    EXPECT_EQ(gesture.getType(), CBaseMessage::MESSAGE_TYPE_GESTURE);
    EXPECT_EQ(gesture.getGesture(), 3u);
    EXPECT_EQ(gesture.getID(), 9u);
    EXPECT_EQ(gesture.getData().get(), &payload);
    CMsgHardkey key(CHardkeyTable::KEY_CODE_ENTER, CHardkeyTable::KEY_STATUS_LONG_PRESS);
    EXPECT_EQ(key.getID(), 13u);
    EXPECT_EQ(key.getKeyStatus(), 2u);
    EXPECT_EQ(CMsgGesture().getGesture() + CMsgGesture().getID() + CMsgHardkey().getKeyStatus(), 0u);
}

TEST(CBaseMessage, PayloadReferencesFollowSetDataAndDestruction)
{
    bool firstGone = false;
    bool secondGone = false;
    CCountedPayload* first = new CCountedPayload(&firstGone);
    CCountedPayload* second = new CCountedPayload(&secondGone);
    CCountedMessage* message = new CCountedMessage(31, 1, first);
    EXPECT_EQ(first->getRef(), 1);
    {
        CObjectPtr<CObject> held = message->getData();
        EXPECT_EQ(first->getRef(), 2);
    }
    message->setData(first); // the payload already held: nothing changes
    EXPECT_EQ(first->getRef(), 1);
    message->setData(second);
    EXPECT_TRUE(firstGone);
    EXPECT_EQ(second->getRef(), 1);
    delete message;
    EXPECT_TRUE(secondGone);
}

// The values are defined in the library, so they are checked at run time.
TEST(CBaseMessage, ConstantsKeepTheirValues)
{
    const unsigned int actual[] = {CMsgSystem::CHANGE_THEME, CMsgSystem::UPDATE_DATA_LIST_ITEMS_PROPERTIES,
                                   CMsgSystem::LEAVE_POPUP, CMsgSystem::USER_DEFINE, CHardkeyTable::KEY_CODE_HELP,
                                   CHardkeyTable::KEY_CODE_F3, CHardkeyTable::KEY_CODE_ROTATE_RIGHT,
                                   CHardkeyTable::KEY_STATUS_LONG_RELEASE};
    const unsigned int expected[] = {12, 23, 51, 1000, 47, 114, 130, 5};
    EXPECT_TRUE(std::equal(std::begin(actual), std::end(actual), std::begin(expected)));
}

TEST_F(MessageHandling, EachClassCallsItsCallback)
{
    CObject payload;
    payload.addRef(); // lives on the stack: the messages must never free it
    CMsgQuit().handleMessage();
    CMsgRender(5).handleMessage();
    CMsgLogicEvent(6).handleMessage();
    CMsgVoiceContent(CString(u"hello")).handleMessage();
    CMsgGesture(2, 8, &payload).handleMessage();
    EXPECT_EQ(listener.lastData, &payload);
    CMsgHardkey(37, 4).handleMessage();
    CMsgIME(CString(u"abc")).handleMessage();
    CMsgDataContext(11, nullptr).handleMessage();
    EXPECT_EQ(listener.lastData, nullptr);
    CMsgSystem(CMsgSystem::CHANGE_SKIN, nullptr, nullptr).handleMessage();
    CMsgUser(77, nullptr, nullptr).handleMessage();
    const std::vector<std::string> expected = {"quit", "render 5", "logic 6", "voice hello", "gesture 2 8",
                                               "hardkey 37 4", "ime abc", "data 11", "system 11", "user 77"};
    EXPECT_EQ(listener.calls, expected);
}

// The own listener of a system or user message hears it after the center's
// listener, and also without one; with neither, handling does nothing.
TEST_F(MessageHandling, SystemAndUserMessagesAlsoCallTheirOwnListenerAfterwards)
{
    CObject payload;
    payload.addRef(); // lives on the stack: the messages must never free it
    COwnListener own;
    CMsgSystem(CMsgSystem::LEAVE_PAGE, &payload, &own).handleMessage();
    CMsgUser(3, &payload, &own).handleMessage();
    EXPECT_EQ(listener.calls, (std::vector<std::string>{"system 50", "user 3"}));
    EXPECT_EQ(own.calls, (std::vector<std::string>{"own system 50", "own user 3"}));
    EXPECT_EQ(own.lastData, &payload);

    CMessageCenter::getInstance()->setListener(nullptr);
    CMsgSystem(1, nullptr, &own).handleMessage();
    CMsgUser(2, nullptr, &own).handleMessage();
    CMsgSystem(1, nullptr, nullptr).handleMessage();
    CMsgQuit().handleMessage();
    EXPECT_EQ(own.calls.size(), 4u);
    EXPECT_EQ(own.calls.back(), "own user 2");
    EXPECT_EQ(listener.calls.size(), 2u);

    // Without a center nothing is delivered, and handling does not create one.
    CMessageCenter::deleteInstance();
    CMsgRender(1).handleMessage();
    EXPECT_FALSE(CMessageCenter::hasInstance());
}
