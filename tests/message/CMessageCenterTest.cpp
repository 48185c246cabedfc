#include <message/CMessageCenter.h>
#include <message/CMessageCenterProxy.h>
#include <message/CMessages.h>
#include <message/IMessageCenterListener.h>

#include "message/TickClock.h"
#include "message/TouchRoute.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <future>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

using namespace Trell;

namespace {

const unsigned int TOUCH = 20;
const unsigned int GESTURE = 21;
const unsigned int DATA = 31;
const unsigned int USER = 50;

// Another thread must be able to take the center's lock from inside a
// callback; it could not if the caller still held it. Joined when it got
// the lock; detached only on a deadlock, which fails the test instead of
// hanging it. (Detaching every probe is not an option: under wine, a thread
// detached at once may never run on a loaded machine.)
bool lockIsFree(CMessageCenter* pCenter)
{
    std::packaged_task<unsigned int()> task([pCenter] { return pCenter->getMessageCount(); });
    std::future<unsigned int> result = task.get_future();
    std::thread probe(std::move(task));
    const bool bFree = result.wait_for(std::chrono::seconds(30)) == std::future_status::ready;
    if (bFree)
        probe.join();
    else
        probe.detach();
    return bFree;
}

// Counts the announcements (when probing, those made with the center's lock
// free) and wakes a waiting consumer.
class CAnnouncements : public IMessageCenterListener
{
public:
    explicit CAnnouncements(CMessageCenter* pProbed = nullptr) : probed(pProbed) {}
    CMessageCenter* probed;
    std::mutex mutex;
    std::condition_variable wake;
    unsigned int count = 0;
    void onMessageAvailable() override
    {
        const bool counted = !probed || lockIsFree(probed);
        std::lock_guard<std::mutex> guard(mutex);
        count += counted;
        wake.notify_one();
    }
};

// Messages made and destroyed, so tests prove the center neither leaks nor
// frees early.
std::atomic<int> g_iMade{0}, g_iDestroyed{0};
int live()
{
    return g_iMade - g_iDestroyed;
}

class CCountedMessage : public CBaseMessage
{
public:
    CCountedMessage(unsigned int uiType, unsigned int uiID, CObject* pData = nullptr)
        : CBaseMessage(static_cast<EMessageType>(uiType), uiID, pData)
    {
        ++g_iMade;
    }
    ~CCountedMessage() override { ++g_iDestroyed; }
};

// A type 40 message holding timer ids, merging and dropping entries as the
// timer message does, so the center's queue rules are tested without the
// timer family.
class CEntryMessage : public CCountedMessage
{
public:
    explicit CEntryMessage(std::vector<std::uintptr_t> entries) : CCountedMessage(40, 0), m_entries(std::move(entries))
    {}
    bool absorbNext(CBaseMessage* pNext) override
    {
        CEntryMessage* pOther = dynamic_cast<CEntryMessage*>(pNext);
        if (!pOther)
            return false;
        m_entries.insert(m_entries.end(), pOther->m_entries.begin(), pOther->m_entries.end());
        pOther->m_entries.clear();
        return true;
    }
    bool dropTimerEntries(std::uintptr_t uiID) override
    {
        m_entries.erase(std::remove(m_entries.begin(), m_entries.end(), uiID), m_entries.end());
        return m_entries.empty();
    }
    std::vector<std::uintptr_t> m_entries;
};

// A message as "type:id", with "xN" for a timer message of N entries.
std::string describe(const CBaseMessage* pMessage)
{
    const CEntryMessage* pEntries = dynamic_cast<const CEntryMessage*>(pMessage);
    return std::to_string(pMessage->getType()) + ":" + std::to_string(pMessage->getID()) +
           (pEntries ? "x" + std::to_string(pEntries->m_entries.size()) : "");
}

// An independent model of the center's queues and of the weighted,
// age-based choice between them.
class CReferenceModel
{
public:
    void push(unsigned int type, unsigned int id)
    {
        // The list each type joins and the phase it sets (0 keeps it).
        const unsigned int list = type >= 20 && type <= 25 ? 1 : type >= 31 && type <= 35 ? 2 : type == 40 ? 3 : 0;
        const unsigned int phase = type == 50 ? 4 : list;
        if (type == 1)
            pushRender(id);
        else if (type == 40 && !m_lists[3].empty() && m_lists[3].back().type == 40)
            ++m_lists[3].back().records;
        else if (list > 0 || type == 10 || type == 11 || type == 50)
            m_lists[list].push_back({type, type == 40 ? 0 : id, type == 40 ? 1u : 0u});
        if (phase > 0)
            m_phase = phase;
    }

    // The next message as describe() gives it, or "" when none waits.
    std::string pop(unsigned int tick)
    {
        if (!m_lists[0].empty())
            return take(m_lists[0]);
        if (!m_baseTaken) {
            m_base = tick;
            m_baseTaken = true;
        }
        const unsigned int now = tick - m_base;
        for (tagRow& row : m_rows)
            row.score = (now - row.last) * row.weight;
        std::stable_sort(m_rows.begin(), m_rows.end(),
                         [](const tagRow& a, const tagRow& b) { return a.score < b.score; });
        for (auto it = m_rows.rbegin(); it != m_rows.rend(); ++it) {
            if (!m_lists[it->list].empty()) {
                it->last = now;
                return take(m_lists[it->list]);
            }
        }
        return "";
    }

private:
    struct tagItem
    {
        unsigned int type, id, records; // records: timer messages merged into this one
    };
    struct tagRow
    {
        unsigned int list, last, weight, score;
    };

    static std::string take(std::deque<tagItem>& list)
    {
        const tagItem item = list.front();
        list.pop_front();
        return std::to_string(item.type) + ":" + std::to_string(item.id) +
               (item.type == 40 ? "x" + std::to_string(item.records) : "");
    }

    void pushRender(unsigned int id)
    {
        std::deque<tagItem>& list = m_lists[m_phase];
        if (m_phase == 1 && list.size() >= 2) {
            for (size_t i = list.size() - 1; i-- > 0;) {
                if (list[i].type == 1 && list[i].id == id)
                    list.erase(list.begin() + static_cast<std::ptrdiff_t>(i));
            }
        }
        if (!list.empty() && list.back().type == 1 && list.back().id == id)
            return;
        list.push_back({1, id, 0});
    }

    // Index 0 commands, then input, data, timer and the user phase's renders.
    std::deque<tagItem> m_lists[5];
    std::vector<tagRow> m_rows{{1, 0, 10, 0}, {2, 0, 5, 0}, {3, 0, 2, 0}, {4, 0, 1, 0}};
    unsigned int m_phase = 4;
    bool m_baseTaken = false;
    unsigned int m_base = 0;
};

// A center of the test's own (the constructor is protected).
struct COwnCenter : CMessageCenter
{};

// Fresh centers (the shared one and one of the test's own), a scheduling clock under the test's control and a
// fresh life count per test; no message may outlive it.
class MessageCenter : public ::testing::Test
{
protected:
    static inline std::atomic<unsigned int> s_uiTick{0};
    static unsigned int tick() { return s_uiTick.load(); }

    void SetUp() override
    {
        g_iMade = g_iDestroyed = 0;
        s_uiTick = 50000;
        TickClock::setSource(&tick);
        center = CMessageCenter::getInstance();
    }
    void TearDown() override
    {
        own.clearMessageList();
        CMessageCenter::deleteInstance();
        TickClock::setSource(nullptr);
        EXPECT_EQ(live(), 0) << "messages leaked or destroyed twice";
    }
    void push(unsigned int uiType, unsigned int uiID) { center->pushMessage(new CCountedMessage(uiType, uiID)); }
    void pushOwn(unsigned int type, unsigned int id)
    {
        if (type == 1)
            own.pushMessage(new CMsgRender(id));
        else if (type == 40)
            own.pushMessage(new CEntryMessage({id}));
        else
            own.pushMessage(new CCountedMessage(type, id));
    }

    // Pops everything waiting, as describe() gives it.
    std::vector<std::string> drain()
    {
        std::vector<std::string> out;
        while (CObjectPtr<CBaseMessage> message = center->popMessage())
            out.push_back(describe(message.get()));
        return out;
    }

    CMessageCenter* center = nullptr;
    COwnCenter own;
};

using Order = std::vector<std::string>;

} // namespace

// Null, unknown types and a closed intake: nothing is queued, every refused
// message is destroyed, and the listener still hears each push but null's.
TEST_F(MessageCenter, RefusedPushesAreDestroyedYetAnnounced)
{
    CAnnouncements counter(center);
    center->setListener(&counter);
    EXPECT_TRUE(center->popMessage().isNull());
    center->pushMessage(nullptr);
    push(36, 1);
    EXPECT_EQ(counter.count, 1);
    center->lock();
    EXPECT_TRUE(center->isLocked());
    push(TOUCH, 1);
    push(USER, 1);
    center->pushRenderMessage(3);
    center->pushHardkeyMessage(17, 1);
    EXPECT_EQ(center->getMessageCount(), 0u);
    EXPECT_EQ(live(), 0);
    EXPECT_EQ(counter.count, 5);
    EXPECT_TRUE(center->isCtrlKeyPress()) << "modifier flags change while the intake is closed";
    center->unlock();
    push(TOUCH, 2);
    EXPECT_EQ(center->getMessageCount(), 1u);
    EXPECT_EQ(counter.count, 6);
    center->setListener(nullptr);
}

// pushRenderMessage skips an ID waiting in the trailing run of renders (and
// announces nothing), also outside the input phase.
TEST_F(MessageCenter, RenderRequestsCoalesce)
{
    CAnnouncements counter(center);
    center->setListener(&counter);
    center->pushRenderMessage(5);
    center->pushRenderMessage(5);
    center->pushMessage(new CMsgRender(5));
    center->pushRenderMessage(6);
    center->pushRenderMessage(5);
    EXPECT_EQ(counter.count, 3);
    center->setListener(nullptr);
    EXPECT_EQ(drain(), (Order{"1:5", "1:6"}));

    push(DATA, 1);
    center->pushRenderMessage(5);
    center->pushRenderMessage(6);
    center->pushRenderMessage(5);
    push(DATA, 2);
    center->pushRenderMessage(5);
    EXPECT_EQ(center->getMessageCountByType(CBaseMessage::MESSAGE_TYPE_RENDER), 3u);
}

// Back-to-back timer messages merge unless of another kind or kept apart by
// a render; deleteTimerMessage drops entries and then emptied messages.
TEST_F(MessageCenter, TimerMessagesMergeAndPurgeByTimer)
{
    CEntryMessage* first = new CEntryMessage({1, 2});
    center->pushMessage(first);
    center->pushMessage(new CEntryMessage({3}));
    EXPECT_EQ(live(), 1) << "the merged message was not destroyed";
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
    EXPECT_EQ(drain(), (Order{"40:0x2", "40:9", "1:4"}));
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
    EXPECT_EQ(live(), 2);
}

TEST_F(MessageCenter, MixedFloodsFollowTheReferenceModel)
{
    CReferenceModel model;
    std::mt19937 random(20261122);
    unsigned int nextID = 1, pops = 0;
    // One pop on each side after moving the clock; false once both are empty.
    auto popBoth = [&](unsigned int advance) {
        s_uiTick += advance;
        const std::string expected = model.pop(tick());
        CObjectPtr<CBaseMessage> message = own.popMessage();
        ++pops;
        EXPECT_EQ(message ? describe(message.get()) : "", expected) << "pop " << pops;
        return !expected.empty();
    };
    // A command pop does not start the clock: the second pass is at time 0,
    // where every score is 0 and data (the later row) beats input; had the
    // clock started 40 ms earlier, input's weight would win.
    for (unsigned int type : {50u, 20u, 31u}) {
        pushOwn(type, 1);
        model.push(type, 1);
    }
    for (unsigned int advance : {40u, 40u, 1u})
        popBoth(advance);
    for (unsigned int step = 0; step < 20000 && !HasFailure(); ++step) {
        const unsigned int dice = random() % 100;
        unsigned int type = 0, id = nextID++;
        if (dice < 30)
            type = 20 + random() % 6; // input
        else if (dice < 42)
            type = 31 + random() % 5; // data
        else if (dice < 50)
            type = 40;
        else if (dice < 58) {
            type = 1;
            id = random() % 4; // few render targets, so coalescing happens
        } else if (dice < 60)
            type = (random() % 2) ? 50 : 10 + random() % 2;
        else if (dice < 61)
            type = 7; // unknown: dropped
        if (type != 0) {
            pushOwn(type, id);
            model.push(type, id);
        } else {
            popBoth(random() % 13); // uneven steps, sometimes none
        }
    }
    EXPECT_GT(pops, 5000u);
    while (!HasFailure() && popBoth(3)) {
    }
}

// Each producer's messages of one queue arrive once each and in order, and
// every push is announced.
TEST_F(MessageCenter, FourProducersOneConsumerLoseNothingAndKeepOrder)
{
    CAnnouncements listener;
    center->setListener(&listener);
    const unsigned int producers = 4, perProducer = 100000;
    const unsigned int types[] = {21, 31, 50}; // input, data and command queues
    std::vector<std::thread> threads;
    for (unsigned int p = 0; p < producers; ++p) {
        threads.emplace_back([this, p, &types] {
            for (unsigned int seq = 0; seq < perProducer; ++seq)
                center->pushMessage(new CCountedMessage(types[seq % 3], (p << 24) | seq));
        });
    }
    // The next sequence expected per producer and queue: a loss, a duplicate
    // or a swap shows as a mismatch.
    std::vector<unsigned int> next(producers * 3);
    for (unsigned int q = 0; q < 3; ++q)
        for (unsigned int p = 0; p < producers; ++p)
            next[p * 3 + q] = q;
    unsigned int popped = 0, faults = 0;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(120);
    while (popped < producers * perProducer) {
        CObjectPtr<CBaseMessage> message = center->popMessage();
        if (!message) {
            std::unique_lock<std::mutex> guard(listener.mutex);
            if (!listener.wake.wait_until(guard, deadline, [&] { return listener.count > popped; }))
                break;
            continue;
        }
        const unsigned int p = message->getID() >> 24, seq = message->getID() & 0xFFFFFFu;
        ASSERT_LT(p, producers);
        unsigned int& expected = next[p * 3 + seq % 3];
        faults += seq != expected;
        expected = seq + 3;
        ++popped;
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(popped, producers * perProducer) << "timed out waiting for messages";
    EXPECT_EQ(faults, 0u);
    EXPECT_TRUE(center->popMessage().isNull());
    center->setListener(nullptr);
    EXPECT_EQ(listener.count, popped);
}
