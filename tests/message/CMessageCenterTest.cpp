#include <message/CMessageCenter.h>
#include <message/CMessageCenterProxy.h>
#include <message/CMessages.h>
#include <message/IMessageCenterListener.h>
#include <timer/CMsgTimer.h>
#include <timer/CTimer.h>

#include "MessageTestSupport.h"

#include <gtest/gtest.h>

#include <chrono>
#include <deque>
#include <future>
#include <thread>

using namespace Trell;
using MessageTest::CCountedMessage;
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

CMsgTimer* newTimerMessage(CTimer* pTimer, unsigned int uiCount)
{
    CMsgTimer* message = new CMsgTimer();
    message->addData(new CMsgTimer::CTimerData(pTimer, CTimer::TIMER_STATUS_PULSE, uiCount));
    return message;
}

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

TEST_F(MessageCenter, EmptyCenterPopsNothing)
{
    EXPECT_TRUE(center->popMessage().isNull());
    EXPECT_EQ(center->getMessageCount(), 0u);
    center->pushMessage(nullptr);
    EXPECT_EQ(center->getMessageCount(), 0u);
}

TEST_F(MessageCenter, QuitAfterAThousandInputMessagesPopsFirst)
{
    for (unsigned int i = 0; i < 1000; ++i)
        push(TOUCH, i);
    center->pushQuitMessage();
    EXPECT_EQ(pop(), "11:0");
    EXPECT_EQ(pop(), "20:0");
    EXPECT_EQ(center->getMessageCount(), 999u);
}

TEST_F(MessageCenter, CommandsPopInArrivalOrder)
{
    push(TOUCH, 1);
    center->pushUserMessage(7, nullptr, nullptr);
    center->pushSystemMessage(8, nullptr, nullptr);
    center->pushQuitMessage();
    EXPECT_EQ(pop(), "50:7");
    EXPECT_EQ(pop(), "10:8");
    EXPECT_EQ(pop(), "11:0");
    EXPECT_EQ(pop(), "20:1");
}

TEST_F(MessageCenter, RenderRequestsCoalesceOutsideTheInputPhase)
{
    // The center starts in the user phase: renders go to their own list.
    center->pushRenderMessage(5);
    center->pushRenderMessage(5);
    center->pushMessage(new CMsgRender(5));
    EXPECT_EQ(center->getMessageCountByType(CBaseMessage::MESSAGE_TYPE_RENDER), 1u);
    center->pushRenderMessage(6);
    center->pushRenderMessage(5); // 5 is still in the trailing run of renders
    EXPECT_EQ(center->getMessageCountByType(CBaseMessage::MESSAGE_TYPE_RENDER), 2u);
    EXPECT_EQ(pop(), "1:5");
    EXPECT_EQ(pop(), "1:6");
}

TEST_F(MessageCenter, RenderRequestsCoalesceToTheLastOneInTheInputPhase)
{
    push(TOUCH, 1);
    EXPECT_EQ(pop(), "20:1"); // the phase stays input
    center->pushMessage(new CMsgRender(5));
    push(TOUCH, 2);
    center->pushMessage(new CMsgRender(5));
    EXPECT_EQ(center->getMessageCount(), 2u);
    EXPECT_EQ(pop(), "20:2");
    EXPECT_EQ(pop(), "1:5");

    // Outside the input phase an earlier request behind other messages stays.
    push(DATA, 1);
    center->pushMessage(new CMsgRender(5));
    push(DATA, 2);
    center->pushMessage(new CMsgRender(5));
    EXPECT_EQ(center->getMessageCountByType(CBaseMessage::MESSAGE_TYPE_RENDER), 2u);
}

TEST_F(MessageCenter, RenderRequestLooksOnlyAtTheTrailingRunOfRenders)
{
    push(DATA, 1);
    center->pushRenderMessage(5);
    center->pushRenderMessage(6);
    center->pushRenderMessage(5); // in the trailing run: nothing pushed
    EXPECT_EQ(center->getMessageCountByType(CBaseMessage::MESSAGE_TYPE_RENDER), 2u);
    push(DATA, 2);
    center->pushRenderMessage(5); // the run ended at the data message
    EXPECT_EQ(center->getMessageCountByType(CBaseMessage::MESSAGE_TYPE_RENDER), 3u);
    EXPECT_EQ(center->getMessageCount(), 5u);
}

TEST_F(MessageCenter, RenderRequestFollowsThePhaseOfItsCause)
{
    // Data phase: the render waits behind the data message in the data list,
    // so it is served after the data that caused it, not by the render list.
    push(DATA, 1);
    center->pushRenderMessage(9);
    push(USER, 3);
    center->pushRenderMessage(4);
    EXPECT_EQ(pop(), "50:3");
    // First weighted pass: all scores are 0, so the later rows win: render
    // list (user phase) first, then data.
    EXPECT_EQ(pop(), "1:4");
    EXPECT_EQ(pop(), "31:1");
    EXPECT_EQ(pop(), "1:9");
}

TEST_F(MessageCenter, BackToBackTimerMessagesMerge)
{
    CTimer first;
    CTimer second;
    center->pushMessage(newTimerMessage(&first, 1));
    center->pushMessage(newTimerMessage(&second, 1));
    center->pushMessage(newTimerMessage(&first, 2));
    EXPECT_EQ(center->getMessageCount(), 1u);
    CObjectPtr<CBaseMessage> popped = center->popMessage();
    ASSERT_FALSE(popped.isNull());
    CMsgTimer* timerMessage = static_cast<CMsgTimer*>(popped.get());
    ASSERT_EQ(timerMessage->getDataCount(), 3u);
    EXPECT_EQ(timerMessage->getDataAt(0)->getTimer(), &first);
    EXPECT_EQ(timerMessage->getDataAt(1)->getTimer(), &second);
    EXPECT_EQ(timerMessage->getDataAt(2)->getCount(), 2u);
}

TEST_F(MessageCenter, TimerMessagesSeparatedByARenderDoNotMerge)
{
    CTimer timer;
    center->pushMessage(newTimerMessage(&timer, 1));
    center->pushRenderMessage(2); // timer phase: queued in the timer list
    center->pushMessage(newTimerMessage(&timer, 2));
    EXPECT_EQ(center->getMessageCountByType(CBaseMessage::MESSAGE_TYPE_TIMER), 2u);
    EXPECT_EQ(pop(), "40:0");
    EXPECT_EQ(pop(), "1:2");
    EXPECT_EQ(pop(), "40:0");
}

TEST_F(MessageCenter, DeleteTimerMessagePurgesRecordsAndEmptyMessages)
{
    CTimer kept;
    CTimer stopped;
    center->pushMessage(newTimerMessage(&stopped, 1));
    center->pushRenderMessage(1);
    CMsgTimer* mixed = newTimerMessage(&kept, 1);
    mixed->addData(new CMsgTimer::CTimerData(&stopped, CTimer::TIMER_STATUS_PULSE, 2));
    center->pushMessage(mixed);
    center->deleteTimerMessage(stopped.getID());
    EXPECT_EQ(center->getMessageCountByType(CBaseMessage::MESSAGE_TYPE_TIMER), 1u);
    EXPECT_EQ(pop(), "1:1");
    CObjectPtr<CBaseMessage> left = center->popMessage();
    ASSERT_EQ(left.get(), mixed);
    ASSERT_EQ(mixed->getDataCount(), 1u);
    EXPECT_EQ(mixed->getDataAt(0)->getTimer(), &kept);
}

TEST_F(MessageCenter, ClosedIntakeDiscardsButStillAnnounces)
{
    CAvailableCounter counter;
    center->setListener(&counter);
    center->lock();
    EXPECT_TRUE(center->isLocked());
    push(TOUCH, 1);
    push(USER, 1);
    center->pushHardkeyMessage(17, 1);
    EXPECT_EQ(center->getMessageCount(), 0u);
    EXPECT_EQ(counter.available, 3);
    EXPECT_EQ(tagLifeCount::live(), 0);
    EXPECT_TRUE(center->isCtrlKeyPress());
    center->unlock();
    push(TOUCH, 2);
    EXPECT_EQ(center->getMessageCount(), 1u);
    EXPECT_EQ(counter.available, 4);
    center->setListener(nullptr);
}

TEST_F(MessageCenter, UnknownTypeIsDestroyedAndCountedNowhere)
{
    CAvailableCounter counter;
    center->setListener(&counter);
    push(7, 1);
    push(0, 1);
    push(36, 1);
    EXPECT_EQ(tagLifeCount::live(), 0);
    EXPECT_EQ(center->getMessageCount(), 0u);
    EXPECT_EQ(center->getMessageCountByType(static_cast<CBaseMessage::EMessageType>(7)), 0u);
    EXPECT_TRUE(center->popMessage().isNull());
    EXPECT_EQ(counter.available, 3);
    center->setListener(nullptr);
}

TEST_F(MessageCenter, ModifierFlagsFollowPressAndRelease)
{
    center->pushHardkeyMessage(16, 3);
    center->pushHardkeyMessage(18, 2);
    EXPECT_TRUE(CMessageCenterProxy::isShiftKeyPress());
    EXPECT_TRUE(center->isAltKeyPress());
    EXPECT_FALSE(center->isCtrlKeyPress());
    center->pushHardkeyMessage(16, 4);
    center->pushHardkeyMessage(18, 5);
    center->pushHardkeyMessage(17, 6); // not a press or release status
    center->pushHardkeyMessage(13, 1); // not a modifier
    EXPECT_FALSE(center->isShiftKeyPress());
    EXPECT_FALSE(center->isAltKeyPress());
    EXPECT_FALSE(center->isCtrlKeyPress());
    EXPECT_EQ(center->getMessageCountByType(CBaseMessage::MESSAGE_TYPE_HARDKEY), 6u);
}

TEST_F(MessageCenter, CountsAndDeletesByTypeAndID)
{
    push(TOUCH, 1);
    push(GESTURE, 1);
    push(GESTURE, 2);
    push(DATA, 1);
    push(USER, 1);
    EXPECT_EQ(center->getMessageCountByType(CBaseMessage::MESSAGE_TYPE_GESTURE), 2u);
    center->deleteMessageByTypeAndID(CBaseMessage::MESSAGE_TYPE_GESTURE, 2);
    EXPECT_EQ(center->getMessageCount(), 4u);
    center->deleteMessageByType(CBaseMessage::MESSAGE_TYPE_TOUCH);
    EXPECT_EQ(center->getMessageCount(), 3u);
    center->deleteMessageByID(1);
    EXPECT_EQ(center->getMessageCount(), 0u);
    EXPECT_EQ(tagLifeCount::live(), 0);
    push(TOUCH, 1);
    push(DATA, 2);
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
    CObjectPtr<CBaseMessage> held = center->popMessage();
    EXPECT_EQ(tagLifeCount::live(), 30);
    CMessageCenter::deleteInstance();
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
        bool reached = false;
        unsigned int seen = 0;
        void onMessageAvailable() override
        {
            std::packaged_task<unsigned int()> task([this] { return center->getMessageCount(); });
            std::future<unsigned int> result = task.get_future();
            std::thread(std::move(task)).detach();
            if (result.wait_for(std::chrono::seconds(30)) == std::future_status::ready) {
                reached = true;
                seen = result.get();
            }
        }
    } probe;
    probe.center = center;
    center->setListener(&probe);
    push(TOUCH, 1);
    center->setListener(nullptr);
    ASSERT_TRUE(probe.reached) << "the center's lock was still held during onMessageAvailable";
    EXPECT_EQ(probe.seen, 1u);
}
