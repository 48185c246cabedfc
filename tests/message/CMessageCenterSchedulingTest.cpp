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
using namespace MessageTest;

namespace {

// An independent model of the center's queues and of the weighted,
// age-based choice between them.
class CReferenceModel
{
public:
    struct tagItem
    {
        unsigned int type, id, records; // records: timer messages merged into this one
    };

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
        unsigned int list, last, weight, score;
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

// Opens the protected appenders, which must queue exactly as pushMessage.
struct CAppenders : CMessageCenter
{
    using CMessageCenter::pushDataMessage;
    using CMessageCenter::pushInputMessage;
    using CMessageCenter::pushUserMessage;
};

// On a center of the test's own, so that odd ids of input, data and user
// messages can go through its appenders.
class Scheduling : public CCenterFixture
{
protected:
    void SetUp() override
    {
        CCenterFixture::SetUp();
        center = &m_own;
    }
    void TearDown() override
    {
        m_own.clearMessageList();
        CCenterFixture::TearDown();
    }
    void push(unsigned int type, unsigned int id)
    {
        bool (CAppenders::*append)(CBaseMessage*) = nullptr;
        if (type >= 20 && type <= 25)
            append = &CAppenders::pushInputMessage;
        else if (type >= 31 && type <= 35)
            append = &CAppenders::pushDataMessage;
        else if (type == 50)
            append = &CAppenders::pushUserMessage;
        if (type == 1)
            center->pushMessage(new CMsgRender(id));
        else if (type == 40)
            center->pushMessage(new CEntryMessage({id}));
        else if (append && id % 2)
            EXPECT_TRUE((m_own.*append)(new CCountedMessage(type, id)));
        else
            center->pushMessage(new CCountedMessage(type, id));
    }

    CAppenders m_own;
};

} // namespace

TEST_F(Scheduling, ClockBaseIsTakenAtTheFirstWeightedPop)
{
    push(50, 1);
    push(20, 1);
    push(31, 1);
    s_uiTick += 40;
    ASSERT_EQ(center->popMessage()->getType(), CBaseMessage::MESSAGE_TYPE_USER);
    s_uiTick += 40;
    // A command pop does not start the clock: this pass is at time 0, where
    // every score is 0 and data (the later row) beats input. Had the clock
    // started 40 ms earlier, input's weight would win.
    EXPECT_EQ(center->popMessage()->getType(), CBaseMessage::MESSAGE_TYPE_DATA_CONTEXT);
    s_uiTick += 1;
    EXPECT_EQ(center->popMessage()->getType(), CBaseMessage::MESSAGE_TYPE_TOUCH);
}

TEST_F(Scheduling, MixedFloodsFollowTheReferenceModel)
{
    CReferenceModel model;
    std::mt19937 random(20261122);
    unsigned int nextID = 1, pops = 0;
    // One pop on each side after moving the clock; false once both are empty.
    auto popBoth = [&](unsigned int advance) {
        s_uiTick += advance;
        CReferenceModel::tagItem expected{};
        const bool expectMessage = model.pop(tick(), expected);
        CObjectPtr<CBaseMessage> message = center->popMessage();
        ++pops;
        EXPECT_EQ(expectMessage, !message.isNull()) << "pop " << pops;
        if (!expectMessage || !message)
            return false;
        EXPECT_EQ(static_cast<unsigned int>(message->getType()), expected.type) << "pop " << pops;
        EXPECT_EQ(message->getID(), expected.id) << "pop " << pops;
        if (expected.type == 40) {
            EXPECT_EQ(static_cast<CEntryMessage*>(message.get())->m_entries.size(), expected.records) << "pop " << pops;
        }
        return true;
    };
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
            push(type, id);
            model.push(type, id);
        } else {
            popBoth(random() % 13); // uneven steps, sometimes none
        }
    }
    EXPECT_GT(pops, 5000u);
    EXPECT_FALSE(m_own.pushInputMessage(nullptr));
    while (!HasFailure() && popBoth(3)) {
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
        std::lock_guard<std::mutex> guard(mutex);
        ++announced;
        wake.notify_one();
    }
};

} // namespace

// Each producer's messages of one queue arrive once each and in order, and
// every push is announced.
TEST_F(Scheduling, FourProducersOneConsumerLoseNothingAndKeepOrder)
{
    CWakeListener listener;
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
            if (!listener.wake.wait_until(guard, deadline, [&] { return listener.announced > popped; }))
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
    EXPECT_EQ(listener.announced, popped);
}
