#include <input/CCursorManager.h>
#include <input/CSurface.h>
#include <timer/CTimerManager.h>

#include "input/InputTestSupport.h"

#include <chrono>
#include <map>
#include <thread>

using namespace Trell;
using namespace InputTest;

namespace {

const auto PRESS = CCursor::TOUCH_STATUS_PRESS;
const auto MOVE = CCursor::TOUCH_STATUS_MOVE;
const auto RELEASE = CCursor::TOUCH_STATUS_RELEASE;

// The tick clock under the test's control and the number of its readings.
std::atomic<unsigned int> g_uiFakeNow{0};
std::atomic<unsigned int> g_uiReads{0};

unsigned int fakeClock()
{
    g_uiReads.fetch_add(1);
    return g_uiFakeNow.load();
}

// Press timers on the real timer thread, driven by the fake clock: the
// repetition schedule is checked exactly, without waiting for it.
class TouchRepeat : public CInputFixture
{
protected:
    void SetUp() override
    {
        CInputFixture::SetUp();
        g_uiFakeNow.store(1000);
        TickClock::setSource(&fakeClock);
        CTimerManager::getInstance()->start();
        // Keeps the timer thread checking while no finger rests.
        sentinel.start();
        manager.setTouchListener(&listener);
        manager.setEnable(true);
    }
    void TearDown() override
    {
        sentinel.stop();
        manager.unInitialize();
        CInputFixture::TearDown();
    }
    // Sets the clock, lets the timer thread finish a check that saw it
    // (nothing else reads the clock meanwhile), then runs the main loop.
    // Returns the moves heard.
    unsigned int at(unsigned int uiNow)
    {
        g_uiFakeNow.store(uiNow);
        const unsigned int uiReads = g_uiReads.load();
        EXPECT_TRUE(waitUntil([&] { return g_uiReads.load() >= uiReads + 2; })) << "the timer thread stopped checking";
        listener.heard.clear();
        pumpMessages();
        return listener.count(MOVE);
    }

    CTimer sentinel{1000000, 0};
    CRecordingListener listener;
    CCursorManager manager;
};

} // namespace

// The first repeat after the long-press delay, then one per interval, each
// with the last sample's position and timestamp; a drift of exactly the
// waver distance keeps it, one pixel more ends it for good.
TEST_F(TouchRepeat, ARestingFingerRepeatsUntilItDriftsAway)
{
    manager.addCursor(1, 50, 60, 1000);
    pumpMessages();
    EXPECT_EQ(at(1499), 0u);
    ASSERT_EQ(at(1500), 1u);
    EXPECT_EQ(fieldsOf(listener.heard[0].cursor), (std::vector<long long>{1, MOVE, 50, 0, 0, 60, 0, 0, 0, 1000}));
    EXPECT_EQ(at(1599), 0u) << "the interval counts from the first repeat";
    EXPECT_EQ(at(1600), 1u);
    EXPECT_EQ(at(1650), 0u);

    manager.updateCursor(1, 75, 35, 1660); // 25 on both axes: still resting
    pumpMessages();
    ASSERT_EQ(at(1700), 1u);
    EXPECT_EQ(fieldsOf(listener.heard[0].cursor), (std::vector<long long>{1, MOVE, 75, 25, 0, 35, -25, 0, 0, 1660}));

    manager.updateCursor(1, 50, 34, 1710); // 26 on one axis
    manager.updateCursor(1, 50, 60, 1720); // and back
    pumpMessages();
    EXPECT_EQ(at(1800), 0u);
    EXPECT_EQ(at(2500), 0u);
    manager.removeCursor(1, 2500);
    pumpMessages();
    EXPECT_EQ(listener.count(RELEASE), 1u);
}

TEST_F(TouchRepeat, LiftingStopsTheRepeatsAndTheConfigurationSetsTheTimes)
{
    manager.addCursor(2, 0, 0, 1000);
    EXPECT_EQ(at(1500), 1u);
    manager.removeCursor(2, 0, 0, 1510);
    EXPECT_EQ(at(1600), 0u);
    EXPECT_EQ(at(3000), 0u);

    ASSERT_TRUE(loadConfiguration("touch-repeat.xml",
                                  "<engine><touch_param waver_distance=\"5\" long_press_delay=\"200\""
                                  " continuous_press_interval=\"50\"/></engine>"));
    manager.addCursor(3, 0, 0, 3000);
    EXPECT_EQ(at(3199), 0u);
    EXPECT_EQ(at(3200), 1u);
    EXPECT_EQ(at(3250), 1u);
    manager.updateCursor(3, 0, 5, 3260);
    pumpMessages();
    EXPECT_EQ(at(3300), 1u);
    manager.updateCursor(3, 6, 0, 3310);
    pumpMessages();
    EXPECT_EQ(at(3400), 0u);
    manager.removeCursor(3, 3400);
}

using TouchRepeatRealClock = CInputFixture;
using TouchThreads = CInputFixture;

// The real clock: the repeats cannot come early, and after the first one
// they keep the interval instead of catching up at once.
TEST_F(TouchRepeatRealClock, RepeatsFollowTheDelayThenTheInterval)
{
    CTimerManager::getInstance()->start();
    CRecordingListener listener;
    CCursorManager manager;
    manager.setTouchListener(&listener);
    manager.setEnable(true);
    const auto start = std::chrono::steady_clock::now();
    manager.addCursor(1, 5, 5, 0);
    std::vector<std::chrono::steady_clock::duration> moves;
    ASSERT_TRUE(waitUntil([&] {
        listener.heard.clear();
        pumpMessages();
        for (unsigned int i = 0; i < listener.count(MOVE); ++i)
            moves.push_back(std::chrono::steady_clock::now() - start);
        return moves.size() >= 3;
    }));
    manager.removeCursor(1, 0);
    using std::chrono::milliseconds;
    EXPECT_GE(moves[0], milliseconds(400));
    EXPECT_GE(moves[2], milliseconds(600)) << "the repeats after the first came in a burst";
}

// Input from the platform's thread through the message center, while the
// main loop handles press repeats of resting fingers: every finger that
// went down is released exactly once, after its press and its moves, and
// ids come back for later fingers.
TEST_F(TouchThreads, FingersFromAnotherThreadAreEachReleasedOnce)
{
    ASSERT_TRUE(loadConfiguration("touch-threads.xml",
                                  "<engine><touch_param long_press_delay=\"15\" continuous_press_interval=\"5\"/>"
                                  "</engine>"));
    CTimerManager::getInstance()->start();
    useHeadlessSurfaces();
    CSurface* pSurface = CSurface::getInstance(0, true);
    ASSERT_NE(factory.getSurface(0), nullptr);
    CRecordingListener listener;
    pSurface->setTouchListener(&listener);
    pSurface->setEnable(true);

    const unsigned int kFingers = 120;
    std::atomic<bool> bDone{false};
    std::thread input([&] {
        Headless::CHeadlessSurface* pPlatform = factory.getSurface(0);
        for (unsigned int i = 0; i < kFingers; ++i) {
            const unsigned int uiID = i % 3;
            pPlatform->touch(uiID, 0, 0, 0);
            for (int k = 1; k <= 10; ++k)
                pPlatform->touch(uiID, k, k, 1);
            if (i % 10 == 0)
                std::this_thread::sleep_for(std::chrono::milliseconds(25)); // rests: repeats
            pPlatform->touch(uiID, 10, 10, 2);
        }
        bDone.store(true);
    });
    EXPECT_TRUE(waitUntil([&] {
        const bool bFinished = bDone.load();
        pumpMessages();
        return bFinished && listener.count(RELEASE) == kFingers;
    }));
    input.join();
    pumpMessages();

    std::map<unsigned int, bool> down;
    for (const tagHeard& h : listener.heard) {
        const unsigned int uiID = h.cursor.getID();
        if (h.eCallback == PRESS) {
            EXPECT_FALSE(down[uiID]) << "pressed twice without a release";
            down[uiID] = true;
        } else {
            EXPECT_TRUE(down[uiID]) << "an event for finger " << uiID << " that is not down";
            if (h.eCallback == RELEASE)
                down[uiID] = false;
        }
    }
    EXPECT_EQ(listener.count(PRESS), kFingers);
    EXPECT_EQ(listener.count(RELEASE), kFingers);
    EXPECT_GE(listener.count(MOVE), kFingers * 10);
    pSurface->unInitialize();
}
