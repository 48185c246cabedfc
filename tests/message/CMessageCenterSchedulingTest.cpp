#include <message/CMessageCenter.h>
#include <message/CMessages.h>
#include <message/IMessageCenterListener.h>

#include "MessageTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

using namespace Trell;
using MessageTest::CCountedMessage;
using MessageTest::CEntryMessage;
using MessageTest::tagLifeCount;
using MessageTest::tagTestClock;

namespace {

// An independent model of the center's queues and of the weighted,
// age-based choice between them.
class CReferenceModel
{
public:
    struct tagItem
    {
        unsigned int type;
        unsigned int id;
        unsigned int records; // timer messages: merged record count
    };

    void push(unsigned int type, unsigned int id)
    {
        if (type == 1) {
            pushRender(id);
        } else if (type == 10 || type == 11) {
            m_lists[0].push_back({type, id, 0});
        } else if (type >= 20 && type <= 25) {
            m_lists[1].push_back({type, id, 0});
            m_phase = 1;
        } else if (type >= 31 && type <= 35) {
            m_lists[2].push_back({type, id, 0});
            m_phase = 2;
        } else if (type == 40) {
            std::deque<tagItem>& timers = m_lists[3];
            if (!timers.empty() && timers.back().type == 40)
                ++timers.back().records;
            else
                timers.push_back({40, 0, 1});
            m_phase = 3;
        } else if (type == 50) {
            m_lists[0].push_back({type, id, 0});
            m_phase = 4;
        }
    }

    bool pop(unsigned int tick, tagItem& out)
    {
        if (!m_lists[0].empty()) {
            out = m_lists[0].front();
            m_lists[0].pop_front();
            return true;
        }
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
            std::deque<tagItem>& list = m_lists[it->list];
            if (!list.empty()) {
                out = list.front();
                list.pop_front();
                it->last = now;
                return true;
            }
        }
        return false;
    }

private:
    struct tagRow
    {
        unsigned int list;
        unsigned int last;
        unsigned int weight;
        unsigned int score;
    };

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

class Scheduling : public ::testing::Test
{
protected:
    void SetUp() override
    {
        tagLifeCount::reset();
        tagTestClock::install(50000);
        center = CMessageCenter::getInstance();
    }
    void TearDown() override
    {
        CMessageCenter::deleteInstance();
        tagTestClock::uninstall();
        EXPECT_EQ(tagLifeCount::live(), 0);
    }

    void push(unsigned int type, unsigned int id)
    {
        if (type == 1) {
            center->pushMessage(new CMsgRender(id));
        } else if (type == 40) {
            center->pushMessage(new CEntryMessage({id}));
        } else {
            center->pushMessage(new CCountedMessage(type, id));
        }
    }

    // Pops with the clock advanced by one millisecond per pop until the
    // message with this type and id comes; returns how many pops it took.
    unsigned int popsUntil(unsigned int type, unsigned int id, unsigned int limit)
    {
        for (unsigned int n = 1; n <= limit; ++n) {
            tagTestClock::advance(1);
            CObjectPtr<CBaseMessage> message = center->popMessage();
            if (message && message->getType() == type && message->getID() == id)
                return n;
        }
        return limit + 1;
    }

    CMessageCenter* center = nullptr;
};

} // namespace

TEST_F(Scheduling, FirstPassPrefersUserRenderThenTimerThenDataThenInput)
{
    push(20, 1);
    push(31, 1);
    push(40, 1);
    push(50, 1);
    push(1, 1); // user phase: the render list
    ASSERT_EQ(center->popMessage()->getType(), CBaseMessage::MESSAGE_TYPE_USER);
    // The clock stands still: every score stays 0 and ties go to the later row.
    EXPECT_EQ(center->popMessage()->getType(), CBaseMessage::MESSAGE_TYPE_RENDER);
    EXPECT_EQ(center->popMessage()->getType(), CBaseMessage::MESSAGE_TYPE_TIMER);
    EXPECT_EQ(center->popMessage()->getType(), CBaseMessage::MESSAGE_TYPE_DATA_CONTEXT);
    EXPECT_EQ(center->popMessage()->getType(), CBaseMessage::MESSAGE_TYPE_TOUCH);
}

TEST_F(Scheduling, ClockBaseIsTakenAtTheFirstWeightedPop)
{
    push(50, 1);
    push(20, 1);
    push(31, 1);
    tagTestClock::advance(40);
    ASSERT_EQ(center->popMessage()->getType(), CBaseMessage::MESSAGE_TYPE_USER);
    tagTestClock::advance(40);
    // A command pop does not start the clock: this pass is at time 0, where
    // every score is 0 and data (the later row) beats input. Had the clock
    // started 40 ms earlier, input's weight would win.
    EXPECT_EQ(center->popMessage()->getType(), CBaseMessage::MESSAGE_TYPE_DATA_CONTEXT);
    tagTestClock::advance(1);
    EXPECT_EQ(center->popMessage()->getType(), CBaseMessage::MESSAGE_TYPE_TOUCH);
}

TEST_F(Scheduling, MixedFloodsFollowTheReferenceModel)
{
    CReferenceModel model;
    std::mt19937 random(20261122);
    const unsigned int inputTypes[] = {20, 21, 22, 23, 24, 25};
    const unsigned int dataTypes[] = {31, 32, 33, 34, 35};
    unsigned int nextID = 1;
    unsigned int pops = 0;
    for (unsigned int step = 0; step < 20000; ++step) {
        const unsigned int dice = random() % 100;
        unsigned int type = 0;
        unsigned int id = nextID++;
        if (dice < 30)
            type = inputTypes[random() % 6];
        else if (dice < 42)
            type = dataTypes[random() % 5];
        else if (dice < 50)
            type = 40;
        else if (dice < 58) {
            type = 1;
            id = random() % 4; // few render targets, so coalescing happens
        } else if (dice < 60)
            type = (random() % 2) ? 50 : 10;
        else if (dice < 61)
            type = 7; // unknown: dropped
        if (type != 0) {
            push(type, id);
            model.push(type, id);
            continue;
        }
        // Pop, with the clock moving by uneven steps (sometimes not at all).
        tagTestClock::advance(random() % 13);
        CReferenceModel::tagItem expected{};
        const bool expectMessage = model.pop(tagTestClock::tick(), expected);
        CObjectPtr<CBaseMessage> message = center->popMessage();
        ++pops;
        ASSERT_EQ(expectMessage, !message.isNull()) << "pop " << pops;
        if (!expectMessage)
            continue;
        ASSERT_EQ(static_cast<unsigned int>(message->getType()), expected.type) << "pop " << pops;
        ASSERT_EQ(message->getID(), expected.id) << "pop " << pops;
        if (expected.type == 40) {
            ASSERT_EQ(static_cast<CEntryMessage*>(message.get())->m_entries.size(), expected.records) << "pop " << pops;
        }
    }
    // Drain what is left.
    for (;;) {
        tagTestClock::advance(3);
        CReferenceModel::tagItem expected{};
        const bool expectMessage = model.pop(tagTestClock::tick(), expected);
        CObjectPtr<CBaseMessage> message = center->popMessage();
        ASSERT_EQ(expectMessage, !message.isNull());
        if (!expectMessage)
            break;
        ASSERT_EQ(static_cast<unsigned int>(message->getType()), expected.type);
        ASSERT_EQ(message->getID(), expected.id);
    }
    EXPECT_GT(pops, 5000u);
}

// One pop per millisecond under a flood of one list: a list of weight w that
// was just served beats the flooded list (weight W, served every pop, so
// scoring 1 x W) once its waiting time d gives d x w > W; it waits at most
// W / w + 1 pops and at least the first d with d x w >= W (a tie may go
// either way). Each case: flood type, probe type, fewest and most pops.
TEST_F(Scheduling, ListsAreServedWithinTheirBoundUnderAFlood)
{
    const unsigned int cases[][4] = {{20, 31, 2, 10 / 5 + 1}, {20, 40, 5, 10 / 2 + 1}, {31, 20, 1, 2}};
    for (const auto& c : cases) {
        center->clearMessageList();
        for (unsigned int i = 0; i < 3000; ++i)
            push(c[0], i);
        // The probe's first wait depends on where the table stood.
        push(c[1], 0);
        ASSERT_LE(popsUntil(c[1], 0, 100), c[3] + 1) << c[0] << " floods " << c[1];
        for (unsigned int round = 1; round <= 50; ++round) {
            const unsigned int id = c[1] == 40 ? 0 : round; // a timer message's ID is 0
            push(c[1], id);
            const unsigned int waited = popsUntil(c[1], id, 100);
            EXPECT_GE(waited, c[2]) << c[0] << " floods " << c[1] << ", round " << round;
            EXPECT_LE(waited, c[3]) << c[0] << " floods " << c[1] << ", round " << round;
        }
        EXPECT_GT(center->getMessageCount(), 2000u);
    }
}

namespace {

class CWakeListener : public IMessageCenterListener
{
public:
    std::mutex mutex;
    std::condition_variable wake;
    unsigned int announced = 0;
    void onMessageAvailable() override
    {
        {
            std::lock_guard<std::mutex> guard(mutex);
            ++announced;
        }
        wake.notify_one();
    }
};

} // namespace

TEST(MessageCenterConcurrency, FourProducersOneConsumerLoseNothingAndKeepOrder)
{
    tagLifeCount::reset();
    CMessageCenter* center = CMessageCenter::getInstance();
    CWakeListener listener;
    center->setListener(&listener);

    const unsigned int producers = 4;
    const unsigned int perProducer = 100000;
    const unsigned int total = producers * perProducer;
    // One type per queue: input, data and command.
    const unsigned int types[] = {21, 31, 50};

    std::vector<std::thread> threads;
    for (unsigned int p = 0; p < producers; ++p) {
        threads.emplace_back([center, p, &types] {
            for (unsigned int seq = 0; seq < perProducer; ++seq)
                center->pushMessage(new CCountedMessage(types[seq % 3], (p << 24) | seq));
        });
    }

    std::vector<unsigned char> seen(total, 0);
    // Last sequence seen per producer and queue; -1 before the first.
    long long last[producers][3];
    for (auto& row : last)
        for (long long& value : row)
            value = -1;
    unsigned int popped = 0;
    unsigned int duplicates = 0;
    unsigned int outOfOrder = 0;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(120);
    while (popped < total) {
        CObjectPtr<CBaseMessage> message = center->popMessage();
        if (!message) {
            std::unique_lock<std::mutex> guard(listener.mutex);
            const bool ready =
                listener.wake.wait_until(guard, deadline, [&] { return listener.announced > popped; });
            if (!ready)
                break;
            continue;
        }
        const unsigned int id = message->getID();
        const unsigned int p = id >> 24;
        const unsigned int seq = id & 0xFFFFFFu;
        ASSERT_LT(p, producers);
        ASSERT_LT(seq, perProducer);
        unsigned char& mark = seen[p * perProducer + seq];
        if (mark)
            ++duplicates;
        mark = 1;
        const unsigned int queue = seq % 3;
        if (static_cast<long long>(seq) <= last[p][queue])
            ++outOfOrder;
        last[p][queue] = seq;
        ++popped;
    }
    for (std::thread& thread : threads)
        thread.join();

    EXPECT_EQ(popped, total) << "timed out waiting for messages";
    EXPECT_EQ(duplicates, 0u);
    EXPECT_EQ(outOfOrder, 0u);
    EXPECT_EQ(std::count(seen.begin(), seen.end(), 0), 0);
    EXPECT_TRUE(center->popMessage().isNull());
    center->setListener(nullptr);
    CMessageCenter::deleteInstance();
    EXPECT_EQ(tagLifeCount::s_iConstructed.load(), static_cast<int>(total));
    EXPECT_EQ(tagLifeCount::live(), 0);
}
