#include <message/CMessageCenter.h>
#include <message/CMessageCenterProxy.h>
#include <message/CMessages.h>
#include <message/IMessageCenterListener.h>

#include "MessageTestSupport.h"
#include "message/TouchRoute.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <string>
#include <thread>

using namespace Trell;
using namespace MessageTest;

namespace {

const unsigned int TOUCH = 20;
const unsigned int GESTURE = 21;
const unsigned int DATA = 31;
const unsigned int USER = 50;

// Another thread must be able to take the center's lock from inside a
// callback; it could not if the caller still held it. Detached, so a
// deadlock fails the test instead of hanging it.
bool lockIsFree(CMessageCenter* pCenter)
{
    std::packaged_task<unsigned int()> task([pCenter] { return pCenter->getMessageCount(); });
    std::future<unsigned int> result = task.get_future();
    std::thread(std::move(task)).detach();
    return result.wait_for(std::chrono::seconds(30)) == std::future_status::ready;
}

// Counts the announcements made with the center's lock free.
class CAvailableCounter : public IMessageCenterListener
{
public:
    explicit CAvailableCounter(CMessageCenter* pCenter) : center(pCenter) {}
    CMessageCenter* center;
    int available = 0;
    void onMessageAvailable() override { available += lockIsFree(center); }
};

class MessageCenter : public CCenterFixture
{
protected:
    unsigned int renders() { return center->getMessageCountByType(CBaseMessage::MESSAGE_TYPE_RENDER); }
    void render(unsigned int uiID) { center->pushMessage(new CMsgRender(uiID)); }

    // Pops everything waiting as "type:id" items.
    std::vector<std::string> drain()
    {
        std::vector<std::string> out;
        while (CObjectPtr<CBaseMessage> message = center->popMessage())
            out.push_back(std::to_string(message->getType()) + ":" + std::to_string(message->getID()));
        return out;
    }
};

using Order = std::vector<std::string>;

} // namespace

// Null, unknown types and a closed intake: nothing is queued, every refused
// message is destroyed, and the listener still hears each push but null's.
TEST_F(MessageCenter, RefusedPushesAreDestroyedYetAnnounced)
{
    CAvailableCounter counter(center);
    center->setListener(&counter);
    EXPECT_TRUE(center->popMessage().isNull());
    center->pushMessage(nullptr);
    push(7, 1);
    push(0, 1);
    push(36, 1);
    EXPECT_EQ(counter.available, 3);
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

// pushRenderMessage skips an ID waiting in the trailing run of renders (and
// announces nothing), also outside the input phase.
TEST_F(MessageCenter, RenderRequestsCoalesce)
{
    CAvailableCounter counter(center);
    center->setListener(&counter);
    center->pushRenderMessage(5);
    center->pushRenderMessage(5);
    render(5);
    center->pushRenderMessage(6);
    center->pushRenderMessage(5);
    EXPECT_EQ(counter.available, 3);
    center->setListener(nullptr);
    EXPECT_EQ(drain(), (Order{"1:5", "1:6"}));

    push(DATA, 1);
    center->pushRenderMessage(5);
    center->pushRenderMessage(6);
    center->pushRenderMessage(5);
    push(DATA, 2);
    center->pushRenderMessage(5);
    render(5);
    EXPECT_EQ(renders(), 3u);
}

// Back-to-back timer messages merge unless of another kind or kept apart by
// a render; deleteTimerMessage drops entries and then emptied messages.
TEST_F(MessageCenter, TimerMessagesMergeAndPurgeByTimer)
{
    CEntryMessage* first = new CEntryMessage({1, 2});
    center->pushMessage(first);
    center->pushMessage(new CEntryMessage({3}));
    EXPECT_EQ(tagLifeCount::live(), 1) << "the merged message was not destroyed";
    push(40, 9);
    center->pushRenderMessage(4);
    CEntryMessage* last = new CEntryMessage({2});
    center->pushMessage(last);
    center->pushMessage(new CEntryMessage({2, 5}));
    EXPECT_EQ(center->getMessageCount(), 4u);
    center->deleteTimerMessage(2);
    EXPECT_EQ(first->m_entries, (std::vector<std::uintptr_t>{1, 3}));
    EXPECT_EQ(last->m_entries, (std::vector<std::uintptr_t>{5}));
    center->deleteTimerMessage(5);
    EXPECT_EQ(drain(), (Order{"40:0", "40:9", "1:4"}));
}

TEST_F(MessageCenter, ModifierFlagsFollowPressAndRelease)
{
    EXPECT_FALSE(center->isCtrlKeyPress() || center->isShiftKeyPress() || center->isAltKeyPress());
    // Key code, status, then the expected Ctrl, Shift, Alt.
    const unsigned int steps[][5] = {{16, 3, 0, 1, 0}, {18, 2, 0, 1, 1}, {17, 1, 1, 1, 1}, {16, 4, 1, 0, 1},
                                     {18, 5, 1, 0, 0}, {17, 6, 1, 0, 0}, {17, 0, 1, 0, 0}, {13, 1, 1, 0, 0},
                                     {17, 5, 0, 0, 0}, {16, 2, 0, 1, 0}, {16, 5, 0, 0, 0}};
    for (const auto& s : steps) {
        center->pushHardkeyMessage(s[0], s[1]);
        EXPECT_EQ((std::vector<bool>{CMessageCenterProxy::isCtrlKeyPress(), CMessageCenterProxy::isShiftKeyPress(),
                                     CMessageCenterProxy::isAltKeyPress()}),
                  (std::vector<bool>{s[2] != 0, s[3] != 0, s[4] != 0}))
            << s[0] << "/" << s[1];
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
    push(DATA, 3);
    center->deleteMessageByID(1);
    EXPECT_EQ(center->getMessageCount(), 1u);
    center->clearMessageList();
    EXPECT_EQ(center->getMessageCount(), 0u);
}

// Touch points leave through the installed route, statuses 0 to 2 only and
// with the center's lock free; a listener of a message's own that goes away
// takes its queued messages along.
TEST_F(MessageCenter, TouchRouteAndMessagesAddressedToAListener)
{
    static std::vector<std::string> s_routed;
    static CMessageCenter* s_pCenter;
    s_routed.clear();
    s_pCenter = center;
    const TouchRoute::PFN_ROUTE pfnBefore =
        TouchRoute::install([](unsigned int s, unsigned int c, int x, int y, unsigned int a) {
            s_routed.push_back(std::to_string(s) + std::to_string(c) + std::to_string(x) + std::to_string(y) +
                               std::to_string(a) + (lockIsFree(s_pCenter) ? "" : "!"));
        });
    for (unsigned int uiStatus = 0; uiStatus < 5; ++uiStatus)
        CMessageCenterProxy::pushTouchMessage(4, 9, -1, 2, uiStatus);
    EXPECT_NE(TouchRoute::install(pfnBefore), nullptr);
    EXPECT_EQ(s_routed, (Order{"49-120", "49-121", "49-122"}));

    struct CAddressed : CCountedMessage
    {
        CAddressed(unsigned int uiType, const void* pTo) : CCountedMessage(uiType, 0), pTo(pTo) {}
        bool isAddressedTo(const void* pListener) const override { return pListener == pTo; }
        const void* pTo;
    };
    int a = 0;
    for (unsigned int uiType : {TOUCH, DATA, USER})
        center->pushMessage(new CAddressed(uiType, &a));
    center->pushMessage(new CAddressed(TOUCH, &s_routed));
    push(TOUCH, 3);
    center->deleteMessageByListener(&a);
    EXPECT_EQ(tagLifeCount::live(), 2);
    EXPECT_FALSE(CMsgRender(1).isAddressedTo(&a));
}
