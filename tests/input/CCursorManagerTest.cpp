#include "input/InputTestSupport.h"

#include <message/CMessageCenterProxy.h>

#if defined(ECS_MEMORY_TESTING)
#include "foundation/MemTesting.h"
#endif

#include <map>
#include <thread>

using namespace InputTest;

namespace {
using CursorManager = CInputFixture;
} // namespace

static_assert(CCursor::TOUCH_STATUS_NONE == 0 && CCursor::TOUCH_STATUS_WHEEL == 4);

// A drag from (100, 100): the move carries the deltas with speed 0, the
// release the speed over the track, clamped, truncated toward 0. A wheel
// turn has id 0, timestamp 0 and its amount in the distance. Nothing for a
// finger that is not down; a second down is dropped (the first stays the
// reference); nothing at all while disabled (as a new manager is), but a
// finger that stayed down is released once enabled again.
TEST_F(CursorManager, DragSpeedsWheelTurnsAndIgnoredFingers)
{
    manager.wheelCursor(12, 34, -120);
    EXPECT_EQ(drain(), (Heard{{0, 4, 12, 0, 0, 34, 0, 0, -120, 0}}));
    // dx, dy, dt, x speed, y speed
    const long long cases[][5] = {
        {300, -300, 50, 1000, -1000}, {100, 50, 100, 200, 100}, {-7, 7, 3, -466, 466}, {40, 40, 0, 0, 0}};
    unsigned int uiID = 1;
    for (const auto& c : cases) {
        manager.addCursor(uiID, 100, 100, 5000);
        manager.updateCursor(uiID, 100 + c[0], 100 + c[1], 5000 + c[2]);
        manager.removeCursor(uiID, 7000);
        EXPECT_EQ(drain(), (Heard{{uiID, 1, 100, 0, 0, 100, 0, 0, 0, 5000},
                                  {uiID, 2, 100 + c[0], c[0], 0, 100 + c[1], c[1], 0, 0, 5000 + c[2]},
                                  {uiID, 3, 100 + c[0], c[0], c[3], 100 + c[1], c[1], c[4], 0, 7000}}));
        ++uiID;
    }
    manager.addCursor(9, INT_MIN, INT_MAX, 1); // absurd coordinates: no overflow
    manager.removeCursor(9, INT_MAX, INT_MIN, 2);
    const Fields release = drain().back();
    EXPECT_EQ(release[4] - release[7], 2000);

    manager.addCursor(5, 10, 10, 100);
    manager.addCursor(5, 50, 50, 110);
    manager.removeCursor(5, 20, 30, 120);
    manager.updateCursor(5, 21, 31, 130);
    manager.addCursor(6, 0, 0, 200);
    CCursorManager fresh; // disabled until enabled
    fresh.setTouchListener(&listener);
    fresh.addCursor(8, 0, 0, 200);
    manager.setEnable(false);
    manager.removeCursor(6, 1, 1, 220);
    manager.wheelCursor(0, 0, 1);
    manager.setEnable(true);
    manager.removeCursor(6, 240);
    EXPECT_EQ(drain(), (Heard{{5, 1, 10, 0, 0, 10, 0, 0, 0, 100},
                              {5, 3, 20, 10, 100, 30, 20, 200, 0, 120},
                              {6, 1, 0, 0, 0, 0, 0, 0, 0, 200},
                              {6, 3, 0, 0, 0, 0, 0, 0, 0, 240}}));
}

// Samples 0..150 at 1 ms steps, 10 px/ms up to sample 59 and 1 px/ms after:
// samples 51..150 remain (180 px in 99 ms); lifting at a position adds a
// sample first, which slides the window by one.
TEST_F(CursorManager, OnlyTheNewestHundredSamplesCount)
{
    manager.addCursor(4, 0, 0, 1000);
    for (int k = 1; k <= 150; ++k)
        manager.updateCursor(4, k < 60 ? k * 10 : 540 + k, 0, 1000 + k);
    manager.removeCursor(4, 691, 5, 1151);
    EXPECT_EQ(drain().back(), (Fields{4, 3, 691, 691, 171 * 200 / 99, 5, 5, 5 * 200 / 99, 0, 1151}));
}

// A timestamp of 0 is now on the tick base. A message keeps the listener
// current when it was made; without one, or with an unknown status, it is
// consumed without effect; a listener that goes away takes its queued
// messages along.
TEST_F(CursorManager, TimestampsAndListenersAreThoseOfTheMoment)
{
    static std::atomic<unsigned int> s_uiNow{4321};
    TickClock::setSource([] { return s_uiNow.load(); });
    CRecordingListener later;
    manager.addCursor(1, 0, 0, 0);
    manager.setTouchListener(&later);
    s_uiNow = 4400;
    manager.updateCursor(1, 5, 0, 0);
    manager.setTouchListener(nullptr);
    manager.updateCursor(1, 6, 0, 4410);
    {
        CRecordingListener doomed;
        manager.setTouchListener(&doomed);
        manager.updateCursor(1, 7, 0, 4420);
        manager.setTouchListener(&later);
    }
    manager.removeCursor(1, 0);
    EXPECT_EQ(drain(), (Heard{{1, 1, 0, 0, 0, 0, 0, 0, 0, 4321}}));
    EXPECT_EQ(later.heard, (Heard{{1, 2, 5, 5, 0, 0, 0, 0, 0, 4400}, {1, 3, 7, 7, 7 * 200 / 99, 0, 0, 0, 0, 4400}}));
    CCursor odd;
    odd.setTouchStatus(static_cast<CCursor::ETouchStatus>(5));
    CMsgTouch(&listener, odd).handleMessage();
    EXPECT_EQ(listener.heard.size(), 1u);
}

#if defined(ECS_MEMORY_TESTING)
// Whichever allocation is refused on the touch path, nothing leaks, and a
// lifted finger's spare track goes with its manager. (The manager is made
// before: a lock whose allocation failed is fatal by design.)
TEST_F(CursorManager, RefusedAllocationsLeakNothing)
{
    const auto run = [this] {
        manager.addCursor(1, 0, 0, 10);
        manager.updateCursor(1, 30, 0, 11);
        manager.addCursor(2, 5, 5, 20);
        manager.removeCursor(1, 50);
        manager.addCursor(1, 0, 0, 60); // reuses the lifted finger's track
        manager.wheelCursor(1, 1, 1);
        manager.unInitialize();
        pumpMessages();
        CTimerManager::getInstance()->clearDeletedTimer();
    };
    run(); // makes the singletons and their storage first
    for (int n = 0;; ++n) {
        MemTesting::failAllocationsAfter(n, 1);
        run();
        const unsigned int uiRefused = MemTesting::getRefusedAllocations();
        EXPECT_EQ(MemTesting::getAllocationBalance(), 0) << "allocation " << n + 1 << " refused";
        MemTesting::failAllocationsAfter(-1);
        if (uiRefused == 0)
            break;
    }
}
#endif

// The first repeat after the long-press delay, then one per interval, at
// the last sample; a drift of exactly the waver distance keeps it, one more
// pixel on one axis ends it for good, and so does lifting the finger.
TEST_F(CursorManager, ARestingFingerRepeatsUntilItDriftsOrLifts)
{
    // Press timers on the real timer thread, on the timer tests' clock.
    TimerTest::g_uiFakeNow.store(1000);
    TickClock::setSource(&TimerTest::fakeClock);
    CTimerManager::getInstance()->start();
    manager.addCursor(1, 50, 60, 1000);
    manager.updateCursor(1, 75, 35, 1010);
    EXPECT_EQ(at(1499), 2u);
    EXPECT_EQ(at(1500), 1u);
    EXPECT_EQ(listener.heard[0], (Fields{1, 2, 75, 25, 0, 35, -25, 0, 0, 1010}));
    EXPECT_EQ(at(1599), 0u) << "the interval counts from the first repeat";
    EXPECT_EQ(at(1600), 1u);
    manager.updateCursor(1, 50, 34, 1610);
    manager.updateCursor(1, 50, 60, 1620);
    EXPECT_EQ(at(2500), 2u);

    ASSERT_TRUE(loadConfiguration("<e><touch_param waver_distance=\"5\" long_press_delay=\"200\""
                                  " continuous_press_interval=\"50\"/></e>"));
    manager.addCursor(2, 0, 0, 2500);
    EXPECT_EQ(at(2699), 1u);
    EXPECT_EQ(at(2700), 1u);
    EXPECT_EQ(at(2750), 1u);
    manager.removeCursor(2, 2760);
    EXPECT_EQ(at(3000), 1u);
}

// Input from the platform's thread, through the center and the surfaces,
// while the main loop handles the repeats of resting fingers: each finger
// is released exactly once, after its press, and ids come back.
TEST_F(CInputFixture, FingersFromAnotherThreadAreEachReleasedOnce)
{
    ASSERT_TRUE(loadConfiguration("<e><touch_param long_press_delay=\"15\" continuous_press_interval=\"5\"/></e>"));
    CTimerManager::getInstance()->start();
    CPlatformFactory::getInstance()->registerFactory(&factory);
    CSurface* pSurface = CSurface::getInstance(0, true);
    Headless::CHeadlessSurface* pPlatform = factory.getSurface(0);
    ASSERT_NE(pPlatform, nullptr);
    pSurface->setTouchListener(&listener);
    pSurface->setEnable(true);
    // A touch point makes a missing surface, with its platform surface, for
    // a near index only.
    CMessageCenterProxy::pushTouchMessage(7, 1, 0, 0, 0);
    CMessageCenterProxy::pushTouchMessage(1024, 1, 0, 0, 0);
    const long long kFingers = 120;
    std::thread input([&] {
        for (unsigned int i = 0; i < kFingers; ++i) {
            for (int k = 0; k <= 10; ++k)
                pPlatform->touch(i % 3, k, k, k ? 1 : 0);
            if (i % 10 == 0)
                std::this_thread::sleep_for(std::chrono::milliseconds(25)); // rests: repeats
            pPlatform->touch(i % 3, 10, 10, 2);
        }
    });
    EXPECT_TRUE(waitUntil([&] { return pumpMessages(), listener.count(3) == kFingers; }));
    input.join();
    std::map<long long, bool> down;
    for (const Fields& f : listener.heard) {
        EXPECT_EQ(down[f[0]], f[1] != 1) << "finger " << f[0] << " event " << f[1];
        down[f[0]] = f[1] != 3;
    }
    EXPECT_EQ(listener.count(1), kFingers);
    EXPECT_GE(listener.count(2), kFingers * 10);
    EXPECT_TRUE(CSurface::s_aryInstance.getCount() == 8u && factory.getSurface(7) != nullptr);
}
