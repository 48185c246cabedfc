#include "input/InputTestSupport.h"

#include <map>
#include <thread>

using namespace Trell;
using namespace InputTest;

namespace {

// Press timers on the real timer thread, on the timer tests' clock.
class TouchRepeat : public CInputFixture
{
protected:
    void SetUp() override
    {
        CInputFixture::SetUp();
        TimerTest::g_uiFakeNow.store(1000);
        TickClock::setSource(&TimerTest::fakeClock);
        CTimerManager::getInstance()->start();
    }
    // Sets the clock, lets a check see it and runs the main loop; returns
    // how many events the listener heard.
    size_t at(unsigned int uiNow)
    {
        TimerTest::g_uiFakeNow.store(uiNow);
        listener.heard.clear();
        EXPECT_TRUE(TimerTest::settle(1, true));
        return listener.heard.size();
    }
};

} // namespace

// The first repeat after the long-press delay, then one per interval, at
// the last sample; a drift of exactly the waver distance keeps it, one more
// pixel on one axis ends it for good, and so does lifting the finger.
TEST_F(TouchRepeat, ARestingFingerRepeatsUntilItDriftsOrLifts)
{
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

// Input from the platform's thread, through the center and the surface,
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
}
