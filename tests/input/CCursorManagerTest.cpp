#include "input/InputTestSupport.h"

#if defined(ECS_MEMORY_TESTING)
#include "foundation/MemTesting.h"
#endif

#include <climits>

using namespace Trell;
using namespace InputTest;

using CursorManager = CInputFixture;

static_assert(CCursor::TOUCH_STATUS_NONE == 0 && CCursor::TOUCH_STATUS_WHEEL == 4);

// A drag from (100, 100): the move carries the deltas with speed 0, the
// release the speed over the track, clamped, truncated toward 0. A wheel
// turn has id 0, timestamp 0 and its amount in the distance.
TEST_F(CursorManager, DragSpeedsAreClampedAndTruncatedAndWheelTurnsCarryTheirAmount)
{
    manager.wheelCursor(12, 34, -120);
    EXPECT_EQ(drain(), (Heard{{0, 4, 12, 0, 0, 34, 0, 0, -120, 0}}));
    const long long cases[][5] = {// dx, dy, dt, x speed, y speed
                                  {300, -300, 50, 1000, -1000},
                                  {100, 50, 100, 200, 100},
                                  {-7, 7, 3, -466, 466},
                                  {40, 40, 0, 0, 0}};
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
}

// Samples 0..150 at 1 ms steps, 10 px/ms up to sample 59 and 1 px/ms after:
// samples 51..150 remain (180 px in 99 ms). Lifting at a position adds a
// sample first, which slides the window by one.
TEST_F(CursorManager, OnlyTheNewestHundredSamplesCount)
{
    for (unsigned int uiID : {3u, 4u}) {
        manager.addCursor(uiID, 0, 0, 1000);
        for (int k = 1; k <= 150; ++k)
            manager.updateCursor(uiID, k < 60 ? k * 10 : 540 + k, 0, 1000 + k);
    }
    manager.removeCursor(3, 2000);
    manager.removeCursor(4, 691, 5, 1151);
    const Heard heard = drain();
    ASSERT_EQ(heard.size(), 304u);
    EXPECT_EQ(heard[302], (Fields{3, 3, 690, 690, 180 * 200 / 99, 0, 0, 0, 0, 2000}));
    EXPECT_EQ(heard[303], (Fields{4, 3, 691, 691, 171 * 200 / 99, 5, 5, 5 * 200 / 99, 0, 1151}));
}

// Nothing for a finger that is not down; a second down is dropped (the
// first stays the reference); nothing at all while disabled, but a finger
// that stayed down is released once enabled again.
TEST_F(CursorManager, UnknownFingersAndDisabledManagersProduceNothing)
{
    manager.updateCursor(9, 1, 1, 10);
    manager.removeCursor(9, 1, 1, 11);
    manager.addCursor(5, 10, 10, 100);
    manager.addCursor(5, 50, 50, 110);
    manager.removeCursor(5, 20, 30, 120);
    manager.updateCursor(5, 21, 31, 130);
    manager.addCursor(6, 0, 0, 200);
    manager.setEnable(false);
    manager.updateCursor(6, 1, 1, 210);
    manager.removeCursor(6, 1, 1, 220);
    manager.addCursor(7, 0, 0, 230);
    manager.wheelCursor(0, 0, 1);
    manager.setEnable(true);
    manager.removeCursor(6, 240);
    EXPECT_EQ(drain(), (Heard{{5, 1, 10, 0, 0, 10, 0, 0, 0, 100},
                              {5, 3, 20, 10, 100, 30, 20, 200, 0, 120},
                              {6, 1, 0, 0, 0, 0, 0, 0, 0, 200},
                              {6, 3, 0, 0, 0, 0, 0, 0, 0, 240}}));
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
// Whichever allocation is refused on the touch path, nothing leaks. (The
// manager is made before: a lock whose allocation failed is fatal by design.)
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
    for (const int iFailures : {-1, 1}) {
        for (int n = 0;; ++n) {
            MemTesting::failAllocationsAfter(n, iFailures);
            run();
            const unsigned int uiRefused = MemTesting::getRefusedAllocations();
            EXPECT_EQ(MemTesting::getAllocationBalance(), 0) << "allocation " << n + 1 << " refused";
            MemTesting::failAllocationsAfter(-1);
            if (uiRefused == 0)
                break;
        }
    }
}
#endif
