#include <message/CBaseMessage.h>
#include <message/CHardkeyTable.h>
#include <message/CMessageCenter.h>
#include <message/CMessageCenterProxy.h>
#include <message/CMessages.h>
#include <message/IMessageCenterListener.h>
#include <message/IMsgSystemListener.h>
#include <message/IMsgUserListener.h>
#include <text/CString.h>

#include "message/TickClock.h"
#include "message/TouchRoute.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <future>
#include <random>
#include <string>
#include <thread>
#include <vector>

using namespace Trell;
using std::to_string;

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
    bFree ? probe.join() : probe.detach();
    return bFree;
}

// Counts the announcements (when probing, only those made with the center's
// lock free).
class CAnnouncements : public IMessageCenterListener
{
public:
    explicit CAnnouncements(CMessageCenter* pProbed = nullptr) : probed(pProbed) {}
    CMessageCenter* probed;
    std::atomic<unsigned int> count{0};
    void onMessageAvailable() override { count += !probed || lockIsFree(probed); }
};

// Messages made and destroyed, so tests prove the center neither leaks nor
// frees early.
std::atomic<int> g_iMade{0}, g_iDestroyed{0};
int live()
{
    return g_iMade - g_iDestroyed;
}

// A message of any type, counted, and addressed to a listener when given one.
class CCountedMessage : public CBaseMessage
{
public:
    CCountedMessage(unsigned int uiType, unsigned int uiID, CObject* pData = nullptr, const void* pTo = nullptr)
        : CBaseMessage(static_cast<EMessageType>(uiType), uiID, pData), m_pTo(pTo)
    {
        ++g_iMade;
    }
    ~CCountedMessage() override { ++g_iDestroyed; }
    bool isAddressedTo(const void* pListener) const override { return m_pTo && pListener == m_pTo; }
    const void* m_pTo;
};

std::string narrow(const CString& text)
{
    return std::string(text.buffer(), text.buffer() + text.length());
}

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

// A fresh center, a scheduling clock under the test's control and a fresh
// life count per test; no message may outlive it.
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
        CMessageCenter::deleteInstance();
        TickClock::setSource(nullptr);
        EXPECT_EQ(live(), 0) << "messages leaked or destroyed twice";
    }
    // Type 1 is a render, 40 a timer message of one entry.
    void push(unsigned int type, unsigned int id)
    {
        if (type == 1)
            center->pushMessage(new CMsgRender(id));
        else if (type == 40)
            center->pushMessage(new CEntryMessage({id}));
        else
            center->pushMessage(new CCountedMessage(type, id));
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
};

using Order = std::vector<std::string>;

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
        EXPECT_EQ(narrow(CCountedMessage(entry.first, 0).getTypeName()), entry.second) << "type " << entry.first;
}

// Every kind pushed through the proxy or the center calls its callback once
// popped; system and user messages then call their own listener too, also
// without the center's; without a center nothing is delivered and none is
// created. Touch points leave through the installed route at once, statuses
// 0 to 2 only and with the center's lock free. setData holds a payload once.
TEST_F(MessageCenter, HandlingCallsTheCenterListenerThenTheOwnOne)
{
    CRecordingListener listener(""), own("own ");
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
    static std::vector<std::string> s_routed;
    s_routed.clear();
    const TouchRoute::PFN_ROUTE pfnBefore =
        TouchRoute::install([](unsigned int s, unsigned int c, int x, int y, unsigned int a) {
            s_routed.push_back(std::to_string(s) + std::to_string(c) + std::to_string(x) + std::to_string(y) +
                               std::to_string(a) + (lockIsFree(CMessageCenter::getInstance()) ? "" : "!"));
        });
    for (unsigned int uiStatus = 0; uiStatus < 5; ++uiStatus)
        CMessageCenterProxy::pushTouchMessage(4, 9, -1, 2, uiStatus);
    EXPECT_NE(TouchRoute::install(pfnBefore), nullptr);
    EXPECT_EQ(s_routed, (std::vector<std::string>{"49-120", "49-121", "49-122"}));
    while (CObjectPtr<CBaseMessage> message = center->popMessage())
        message->handleMessage();
    // The order between queues follows the clock; the model flood pins it.
    std::sort(listener.calls.begin(), listener.calls.end());
    EXPECT_EQ(listener.calls,
              (std::vector<std::string>{"data 11", "gesture 2 8 +data", "hardkey 13 2", "ime abc", "logic 6", "quit",
                                        "render 5", "system 50 +data", "user 77 +data", "voice hello"}));
    // setData holds its payload once, and lets go of it.
    CCountedMessage held(DATA, 1);
    held.setData(&payload);
    held.setData(&payload);
    EXPECT_EQ(payload.getRef(), 2);
    held.setData(nullptr);
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

// pushRenderMessage skips an ID waiting in the trailing run of renders (and
// announces nothing), also outside the input phase. Null, unknown types and
// a closed intake: nothing is queued, every refused message is destroyed,
// and the listener still hears each push but null's.
TEST_F(MessageCenter, CoalescedAndRefusedPushes)
{
    CAnnouncements counter(center);
    center->setListener(&counter);
    center->pushRenderMessage(5);
    center->pushRenderMessage(5);
    center->pushRenderMessage(6);
    center->pushRenderMessage(5);
    EXPECT_EQ(counter.count, 2);
    EXPECT_EQ(drain(), (Order{"1:5", "1:6"}));
    push(DATA, 1);
    center->pushRenderMessage(5);
    center->pushRenderMessage(6);
    center->pushRenderMessage(5);
    push(DATA, 2);
    center->pushRenderMessage(5);
    EXPECT_EQ(center->getMessageCountByType(CBaseMessage::MESSAGE_TYPE_RENDER), 3u);
    center->clearMessageList();

    center->pushMessage(nullptr);
    push(36, 1);
    EXPECT_EQ(counter.count, 8);
    center->lock();
    push(TOUCH, 1);
    push(USER, 1);
    center->pushRenderMessage(3);
    center->pushHardkeyMessage(17, 1);
    EXPECT_EQ(center->getMessageCount(), 0u);
    EXPECT_EQ(live(), 0);
    EXPECT_EQ(counter.count, 12);
    EXPECT_TRUE(center->isCtrlKeyPress()) << "modifier flags change while the intake is closed";
    center->unlock();
    push(TOUCH, 2);
    EXPECT_EQ(center->getMessageCount(), 1u);
    EXPECT_EQ(counter.count, 13);
    center->setListener(nullptr);
}

TEST_F(MessageCenter, ModifierFlagsFollowPressAndRelease)
{
    // Key code, status, then the expected Ctrl, Shift and Alt flags as the
    // digits of a number; another key first shows the flags of a new center.
    const unsigned int steps[][3] = {{13, 1, 0},   {16, 3, 10},  {18, 2, 11},  {17, 1, 111}, {16, 4, 101}, {18, 5, 100},
                                     {17, 6, 100}, {17, 0, 100}, {13, 1, 100}, {17, 5, 0},   {16, 2, 10},  {16, 5, 0}};
    for (const auto& s : steps) {
        center->pushHardkeyMessage(s[0], s[1]);
        const unsigned int flags = 100 * CMessageCenterProxy::isCtrlKeyPress() +
                                   10 * CMessageCenterProxy::isShiftKeyPress() + CMessageCenterProxy::isAltKeyPress();
        EXPECT_EQ(flags, s[2]) << s[0] << "/" << s[1];
    }
    EXPECT_EQ(center->getMessageCountByType(CBaseMessage::MESSAGE_TYPE_HARDKEY), 12u);
}

// Deletion by type, ID or both, by addressee, and of a timer's entries: those go from
// every timer message that has them, and a message left empty goes too
// (merged timer messages are destroyed at once).
TEST_F(MessageCenter, CountsAndDeletesByTypeIDAndTimer)
{
    const std::pair<unsigned, unsigned> pushed[] = {{TOUCH, 1}, {GESTURE, 1}, {GESTURE, 2}, {DATA, 1}, {USER, 1}};
    for (const auto& [type, id] : pushed)
        push(type, id);
    center->pushRenderMessage(1);
    EXPECT_EQ(center->getMessageCountByType(CBaseMessage::MESSAGE_TYPE_GESTURE), 2u);
    center->deleteMessageByTypeAndID(CBaseMessage::MESSAGE_TYPE_GESTURE, 2);
    center->deleteMessageByTypeAndID(CBaseMessage::MESSAGE_TYPE_DATA_CONTEXT, 2);
    EXPECT_EQ(center->getMessageCount(), 5u);
    center->deleteMessageByType(CBaseMessage::MESSAGE_TYPE_TOUCH);
    EXPECT_EQ(center->getMessageCount(), 4u);
    push(DATA, 3);
    center->deleteMessageByID(1);
    for (unsigned int uiType : {TOUCH, DATA, USER})
        center->pushMessage(new CCountedMessage(uiType, 9, nullptr, &pushed));
    center->deleteMessageByListener(&pushed);
    EXPECT_EQ(center->getMessageCount(), 1u);
    center->clearMessageList();

    CEntryMessage* first = new CEntryMessage({1, 2});
    center->pushMessage(first);
    center->pushMessage(new CEntryMessage({3}));
    EXPECT_EQ(live(), 1) << "the merged message was not destroyed";
    center->pushMessage(new CCountedMessage(40, 9)); // of the timer type, without entries: kept
    center->pushRenderMessage(4);
    center->pushMessage(new CEntryMessage({2}));
    center->deleteTimerMessage(2);
    EXPECT_EQ(first->m_entries, (std::vector<std::uintptr_t>{1, 3}));
    EXPECT_EQ(drain(), (Order{"40:0x2", "40:9", "1:4"}));
}

TEST_F(MessageCenter, MixedFloodsFollowTheReferenceModel)
{
    CReferenceModel model;
    std::mt19937 random(20261122);
    unsigned int nextID = 1;
    // One pop on each side after moving the clock; false once both are empty.
    auto popBoth = [&](unsigned int advance) {
        s_uiTick += advance;
        const std::string expected = model.pop(tick());
        CObjectPtr<CBaseMessage> message = center->popMessage();
        EXPECT_EQ(message ? describe(message.get()) : "", expected) << "at tick " << tick();
        return !expected.empty();
    };
    // A command pop does not start the clock: the second pass is at time 0,
    // where every score is 0 and data (the later row) beats input; had the
    // clock started 40 ms earlier, input's weight would win.
    for (unsigned int type : {50u, 20u, 31u}) {
        push(type, 1);
        model.push(type, 1);
    }
    for (unsigned int advance : {40u, 40u, 1u})
        popBoth(advance);
    for (unsigned int step = 0; step < 20000 && !HasFailure(); ++step) {
        // Input, data, timer, render (few targets, so coalescing happens),
        // commands and an unknown type (dropped), or else a pop.
        const unsigned int dice = random() % 100;
        const unsigned int type = dice < 30   ? 20 + random() % 6
                                  : dice < 42 ? 31 + random() % 5
                                  : dice < 50 ? 40
                                  : dice < 58 ? 1
                                  : dice < 60 ? (random() % 2 ? 50 : 10 + random() % 2)
                                  : dice < 61 ? 7
                                              : 0;
        if (type == 0) {
            popBoth(random() % 13); // uneven steps, sometimes none
            continue;
        }
        const unsigned int id = type == 1 ? random() % 4 : nextID++;
        push(type, id);
        model.push(type, id);
    }
    while (!HasFailure() && popBoth(3)) {
    }
}

#if defined(ECS_MEMORY_TESTING)
#include "foundation/MemTesting.h"

// A usual backlog's popped nodes are kept to serve later pushes (the
// sanitizer build reports any the center does not free when it goes).
TEST_F(MessageCenter, PoppedNodesAreKeptForLaterPushes)
{
    MemTesting::failAllocationsAfter(0x7FFFFFFF); // counts, refuses nothing
    const long long empty = MemTesting::getAllocationBalance();
    for (unsigned int i = 0; i < 1000; ++i)
        push(DATA, i);
    drain();
    EXPECT_GE(MemTesting::getAllocationBalance() - empty, 100) << "a usual backlog's nodes are not kept";
    MemTesting::failAllocationsAfter(-1);
}
#endif

// Each producer's messages (each producer fills one of the input, data and
// command queues) arrive once each and in order.
TEST_F(MessageCenter, FourProducersOneConsumerLoseNothingAndKeepOrder)
{
    const unsigned int producers = 4, perProducer = 100000;
    std::vector<std::thread> threads;
    for (unsigned int p = 0; p < producers; ++p) {
        threads.emplace_back([this, p] {
            for (unsigned int seq = 0; seq < perProducer; ++seq)
                center->pushMessage(new CCountedMessage(p % 3 == 0 ? 21 : p % 3 == 1 ? 31 : 50, (p << 24) | seq));
        });
    }
    // The next sequence expected per producer: a loss, a duplicate or a swap
    // shows as a mismatch.
    std::vector<unsigned int> next(producers);
    unsigned int popped = 0, faults = 0;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(120);
    while (popped < producers * perProducer && std::chrono::steady_clock::now() < deadline) {
        CObjectPtr<CBaseMessage> message = center->popMessage();
        if (!message) {
            std::this_thread::yield();
            continue;
        }
        unsigned int& expected = next.at(message->getID() >> 24);
        faults += (message->getID() & 0xFFFFFFu) != expected;
        expected = (message->getID() & 0xFFFFFFu) + 1;
        ++popped;
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(popped, producers * perProducer) << "timed out waiting for messages";
    EXPECT_EQ(faults, 0u);
    EXPECT_TRUE(center->popMessage().isNull());
}
