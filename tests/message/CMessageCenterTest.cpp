#include <message/CMessageCenter.h>
#include <message/CMessageCenterProxy.h>
#include <message/CMessages.h>
#include <message/IMessageCenterListener.h>

#include "MessageTestSupport.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <string>
#include <thread>

using namespace Trell;
using MessageTest::CCountedMessage;
using MessageTest::CEntryMessage;
using MessageTest::tagLifeCount;
using MessageTest::tagTestClock;

namespace {

const unsigned int TOUCH = 20;
const unsigned int GESTURE = 21;
const unsigned int DATA = 31;
const unsigned int USER = 50;

class CAvailableCounter : public IMessageCenterListener
{
public:
    int available = 0;
    void onMessageAvailable() override { ++available; }
};

class MessageCenter : public ::testing::Test
{
protected:
    void SetUp() override
    {
        tagLifeCount::reset();
        tagTestClock::install(1000);
        center = CMessageCenter::getInstance();
    }
    void TearDown() override
    {
        CMessageCenter::deleteInstance();
        tagTestClock::uninstall();
        EXPECT_EQ(tagLifeCount::live(), 0) << "messages leaked or destroyed twice";
    }

    void push(unsigned int uiType, unsigned int uiID) { center->pushMessage(new CCountedMessage(uiType, uiID)); }
    unsigned int renders() { return center->getMessageCountByType(CBaseMessage::MESSAGE_TYPE_RENDER); }

    // Pops one message and returns "type:id", or "" when nothing waits.
    std::string pop()
    {
        CObjectPtr<CBaseMessage> message = center->popMessage();
        if (!message)
            return "";
        return std::to_string(message->getType()) + ":" + std::to_string(message->getID());
    }

    CMessageCenter* center = nullptr;
};

} // namespace

TEST_F(MessageCenter, CommandsJumpTheQueueInArrivalOrder)
{
    for (unsigned int i = 0; i < 1000; ++i)
        push(TOUCH, i);
    center->pushUserMessage(7, nullptr, nullptr);
    center->pushSystemMessage(8, nullptr, nullptr);
    center->pushQuitMessage();
    EXPECT_EQ(pop(), "50:7");
    EXPECT_EQ(pop(), "10:8");
    EXPECT_EQ(pop(), "11:0");
    EXPECT_EQ(pop(), "20:0");
    EXPECT_EQ(center->getMessageCount(), 999u);
}

// Null, unknown types and a closed intake: nothing is queued, every refused
// message is destroyed, and the listener still hears each push but null's.
TEST_F(MessageCenter, RefusedPushesAreDestroyedYetAnnounced)
{
    CAvailableCounter counter;
    center->setListener(&counter);
    EXPECT_TRUE(center->popMessage().isNull());
    center->pushMessage(nullptr);
    push(7, 1);
    push(0, 1);
    push(36, 1);
    EXPECT_EQ(counter.available, 3);
    EXPECT_EQ(center->getMessageCountByType(static_cast<CBaseMessage::EMessageType>(7)), 0u);

    center->lock();
    EXPECT_TRUE(center->isLocked());
    push(TOUCH, 1);
    push(USER, 1);
    center->pushRenderMessage(3);
    center->pushHardkeyMessage(17, 1);
    EXPECT_EQ(center->getMessageCount(), 0u);
    EXPECT_EQ(tagLifeCount::live(), 0);
    EXPECT_EQ(counter.available, 7);
    EXPECT_TRUE(center->isCtrlKeyPress()) << "modifier flags change while the intake is closed";
    center->unlock();
    push(TOUCH, 2);
    EXPECT_EQ(center->getMessageCount(), 1u);
    EXPECT_EQ(counter.available, 8);
    center->setListener(nullptr);
}

TEST_F(MessageCenter, RenderRequestsCoalesce)
{
    // User phase (the start): renders have their own list; a request whose
    // ID waits in the trailing run of renders is not pushed, and announced
    // to nobody.
    CAvailableCounter counter;
    center->setListener(&counter);
    center->pushRenderMessage(5);
    center->pushRenderMessage(5);
    center->pushMessage(new CMsgRender(5));
    EXPECT_EQ(renders(), 1u);
    center->pushRenderMessage(6);
    center->pushRenderMessage(5);
    EXPECT_EQ(renders(), 2u);
    EXPECT_EQ(counter.available, 3);
    center->setListener(nullptr);
    EXPECT_EQ(pop(), "1:5");
    EXPECT_EQ(pop(), "1:6");

    // Data phase: the run ends at the data message, so 5 is queued again.
    push(DATA, 1);
    center->pushRenderMessage(5);
    center->pushRenderMessage(6);
    center->pushRenderMessage(5);
    push(DATA, 2);
    center->pushRenderMessage(5);
    center->pushMessage(new CMsgRender(5));
    EXPECT_EQ(renders(), 3u);

    // Input phase: a new request removes the earlier ones of its ID, so only
    // the last survives, behind the input that caused it.
    center->clearMessageList();
    push(TOUCH, 1);
    center->pushMessage(new CMsgRender(5));
    push(TOUCH, 2);
    center->pushMessage(new CMsgRender(6));
    center->pushMessage(new CMsgRender(5));
    EXPECT_EQ(pop(), "20:1");
    EXPECT_EQ(pop(), "20:2");
    EXPECT_EQ(pop(), "1:6");
    EXPECT_EQ(pop(), "1:5");
    EXPECT_EQ(pop(), "");
}

TEST_F(MessageCenter, RenderRequestFollowsThePhaseOfItsCause)
{
    // The render after data waits behind it in the data list; the one after
    // the user command goes to the render list.
    push(DATA, 1);
    center->pushRenderMessage(9);
    push(USER, 3);
    center->pushRenderMessage(4);
    EXPECT_EQ(pop(), "50:3");
    // First weighted pass: all scores are 0, so the later rows win.
    EXPECT_EQ(pop(), "1:4");
    EXPECT_EQ(pop(), "31:1");
    EXPECT_EQ(pop(), "1:9");
    // The timer phase sends renders to the timer list.
    center->pushMessage(new CEntryMessage({1}));
    center->pushRenderMessage(2);
    EXPECT_EQ(center->getMessageCount(), 2u);
    EXPECT_EQ(pop(), "40:0");
    EXPECT_EQ(pop(), "1:2");
}

TEST_F(MessageCenter, BackToBackTimerMessagesMergeAndPurgeByTimer)
{
    CEntryMessage* first = new CEntryMessage({1, 2});
    center->pushMessage(first);
    center->pushMessage(new CEntryMessage({3}));
    EXPECT_EQ(center->getMessageCount(), 1u);
    EXPECT_EQ(tagLifeCount::live(), 1) << "the merged message was not destroyed";
    EXPECT_EQ(first->m_entries, (std::vector<std::uintptr_t>{1, 2, 3}));
    // A type 40 message of another kind does not merge.
    push(40, 9);
    EXPECT_EQ(center->getMessageCount(), 2u);
    // A render between timer messages keeps them apart.
    center->pushRenderMessage(4);
    CEntryMessage* last = new CEntryMessage({2});
    center->pushMessage(last);
    center->pushMessage(new CEntryMessage({2, 5}));
    EXPECT_EQ(center->getMessageCount(), 4u);

    center->deleteTimerMessage(2);
    EXPECT_EQ(first->m_entries, (std::vector<std::uintptr_t>{1, 3}));
    EXPECT_EQ(last->m_entries, (std::vector<std::uintptr_t>{5}));
    center->deleteTimerMessage(5);
    EXPECT_EQ(center->getMessageCount(), 3u) << "an emptied timer message stays queued";
    EXPECT_EQ(pop(), "40:0");
    EXPECT_EQ(pop(), "40:9");
    EXPECT_EQ(pop(), "1:4");
    EXPECT_EQ(pop(), "");
}

TEST_F(MessageCenter, ModifierFlagsFollowPressAndRelease)
{
    EXPECT_FALSE(center->isCtrlKeyPress() || center->isShiftKeyPress() || center->isAltKeyPress());
    // Key code, status, then the expected Ctrl, Shift, Alt.
    const unsigned int steps[][5] = {{16, 3, 0, 1, 0}, {18, 2, 0, 1, 1}, {17, 1, 1, 1, 1}, {16, 4, 1, 0, 1},
                                     {18, 5, 1, 0, 0}, {17, 6, 1, 0, 0}, {17, 0, 1, 0, 0}, {13, 1, 1, 0, 0},
                                     {17, 5, 0, 0, 0}, {16, 2, 0, 1, 0}, {16, 5, 0, 0, 0}};
    for (const auto& step : steps) {
        center->pushHardkeyMessage(step[0], step[1]);
        EXPECT_EQ(center->isCtrlKeyPress(), step[2] != 0) << step[0] << "/" << step[1];
        EXPECT_EQ(CMessageCenterProxy::isShiftKeyPress(), step[3] != 0) << step[0] << "/" << step[1];
        EXPECT_EQ(CMessageCenterProxy::isAltKeyPress(), step[4] != 0) << step[0] << "/" << step[1];
    }
    EXPECT_EQ(center->getMessageCountByType(CBaseMessage::MESSAGE_TYPE_HARDKEY), 11u);
}

TEST_F(MessageCenter, CountsAndDeletesByTypeAndID)
{
    push(TOUCH, 1);
    push(GESTURE, 1);
    push(GESTURE, 2);
    push(DATA, 1);
    push(USER, 1);
    center->pushRenderMessage(1);
    EXPECT_EQ(center->getMessageCountByType(CBaseMessage::MESSAGE_TYPE_GESTURE), 2u);
    center->deleteMessageByTypeAndID(CBaseMessage::MESSAGE_TYPE_GESTURE, 2);
    center->deleteMessageByTypeAndID(CBaseMessage::MESSAGE_TYPE_DATA_CONTEXT, 2);
    EXPECT_EQ(center->getMessageCount(), 5u);
    center->deleteMessageByType(CBaseMessage::MESSAGE_TYPE_TOUCH);
    EXPECT_EQ(center->getMessageCount(), 4u);
    center->deleteMessageByID(1);
    EXPECT_EQ(center->getMessageCount(), 0u);
    EXPECT_EQ(tagLifeCount::live(), 0);
    push(TOUCH, 1);
    push(DATA, 2);
    push(USER, 2);
    center->clearMessageList();
    EXPECT_EQ(center->getMessageCount(), 0u);
    EXPECT_EQ(tagLifeCount::live(), 0);
}

TEST_F(MessageCenter, ProxyPushesReachTheSingleton)
{
    CMessageCenterProxy::pushGestureMessage(1, 2, nullptr);
    CMessageCenterProxy::pushIMEMessage(CString(u"x"));
    CMessageCenterProxy::pushVoiceContentMessage(CString(u"y"));
    CMessageCenterProxy::pushLogicEventMessage(3);
    CMessageCenterProxy::pushDataContextMessage(4, nullptr);
    CMessageCenterProxy::pushSystemMessage(5, nullptr, nullptr);
    CMessageCenterProxy::pushUserMessage(6, nullptr, nullptr);
    CMessageCenterProxy::pushHardkeyMessage(17, 1);
    CMessageCenterProxy::pushTouchMessage(0, 0, 1, 1, 9); // ignored status
    EXPECT_EQ(center->getMessageCount(), 8u);
    EXPECT_TRUE(CMessageCenterProxy::isCtrlKeyPress());
}

TEST_F(MessageCenter, MessagesLeftInTheCenterDieWithIt)
{
    for (unsigned int i = 0; i < 10; ++i) {
        push(TOUCH, i);
        push(DATA, i);
        push(USER, i);
    }
    push(1, 7); // user phase: the render list
    CObjectPtr<CBaseMessage> held = center->popMessage();
    EXPECT_EQ(tagLifeCount::live(), 31);
    CMessageCenter::deleteInstance();
    EXPECT_FALSE(CMessageCenter::hasInstance());
    center = CMessageCenter::getInstance();
    EXPECT_EQ(tagLifeCount::live(), 1); // the popped one belongs to its holder
    held.reset();
    EXPECT_EQ(tagLifeCount::live(), 0);
}

TEST_F(MessageCenter, ListenerIsCalledWithoutTheLockHeld)
{
    // Another thread must be able to take the lock from inside the callback;
    // it could not if the pusher still held it.
    class CProbe : public IMessageCenterListener
    {
    public:
        CMessageCenter* center = nullptr;
        unsigned int reached = 0;
        void onMessageAvailable() override
        {
            std::packaged_task<unsigned int()> task([this] { return center->getMessageCount(); });
            std::future<unsigned int> result = task.get_future();
            std::thread(std::move(task)).detach();
            if (result.wait_for(std::chrono::seconds(30)) == std::future_status::ready && result.get() > 0)
                ++reached;
        }
    } probe;
    probe.center = center;
    center->setListener(&probe);
    push(TOUCH, 1);
    center->pushRenderMessage(2);
    center->setListener(nullptr);
    EXPECT_EQ(probe.reached, 2u) << "the center's lock was still held during onMessageAvailable";
}
