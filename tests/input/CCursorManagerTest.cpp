#include <input/CCursorManager.h>
#include <input/CMsgTouch.h>
#include <message/CMessageCenterProxy.h>

#include "input/InputTestSupport.h"

#include <climits>
#include <tuple>

using namespace Trell;
using namespace InputTest;

namespace {

const auto PRESS = CCursor::TOUCH_STATUS_PRESS;
const auto MOVE = CCursor::TOUCH_STATUS_MOVE;
const auto RELEASE = CCursor::TOUCH_STATUS_RELEASE;
const auto WHEEL = CCursor::TOUCH_STATUS_WHEEL;

// An enabled manager whose messages reach `listener` when pumped. The timer
// manager is not started: press timers are armed but never fire here.
class CursorManager : public CInputFixture
{
protected:
    void SetUp() override
    {
        CInputFixture::SetUp();
        manager.setTouchListener(&listener);
        manager.setEnable(true);
    }
    void TearDown() override
    {
        manager.unInitialize();
        CInputFixture::TearDown();
    }
    std::vector<tagHeard> drain()
    {
        listener.heard.clear();
        pumpMessages();
        return listener.heard;
    }

    CRecordingListener listener;
    CCursorManager manager;
};

} // namespace

static_assert(CCursor::TOUCH_STATUS_NONE == 0 && PRESS == 1 && MOVE == 2 && RELEASE == 3 && WHEEL == 4);
static_assert(CCursorManager::tagCursorTrack::MAX_POINTS == 100);

TEST(Cursor, DefaultAndCopiesCarryAllTenFields)
{
    const CCursor blank;
    EXPECT_EQ(fieldsOf(blank), (std::vector<long long>{0, 0, -1, 0, 0, -1, 0, 0, 0, 0}));
    CCursor cursor;
    cursor.setID(7);
    cursor.setTouchStatus(WHEEL);
    cursor.setX(1);
    cursor.setXDelta(2);
    cursor.setXSpeed(3);
    cursor.setY(4);
    cursor.setYDelta(5);
    cursor.setYSpeed(6);
    cursor.setDistance(8);
    cursor.setTimestamp(9);
    const std::vector<long long> expected{7, 4, 1, 2, 3, 4, 5, 6, 8, 9};
    EXPECT_EQ(fieldsOf(cursor), expected);
    cursor.addRef();
    const CCursor copy(cursor);
    EXPECT_EQ(fieldsOf(copy), expected);
    EXPECT_EQ(copy.getRef(), 0) << "a copied value must not inherit references";
    CCursor assigned;
    assigned = cursor;
    EXPECT_EQ(fieldsOf(assigned), expected);
    cursor.release();
}

TEST_F(CursorManager, TapGivesPressThenReleaseWithZeroDeltasAndSpeeds)
{
    manager.addCursor(1, 10, 20, 1000);
    manager.removeCursor(1, 10, 20, 1200);
    ASSERT_EQ(queuedTouches(), 2u);
    const std::vector<tagHeard> heard = drain();
    ASSERT_EQ(heard.size(), 2u);
    EXPECT_EQ(heard[0].eCallback, PRESS);
    EXPECT_EQ(fieldsOf(heard[0].cursor), (std::vector<long long>{1, PRESS, 10, 0, 0, 20, 0, 0, 0, 1000}));
    EXPECT_EQ(heard[1].eCallback, RELEASE);
    EXPECT_EQ(fieldsOf(heard[1].cursor), (std::vector<long long>{1, RELEASE, 10, 0, 0, 20, 0, 0, 0, 1200}));
}

// A drag from (100, 100): the move carries the deltas with speed 0; the
// release carries the speed over the track, clamped, truncated toward 0.
TEST_F(CursorManager, DragSpeedsOverTheTrackAreClampedAndTruncated)
{
    struct tagCase
    {
        int iDx, iDy;
        unsigned int uiDt;
        int iXSpeed, iYSpeed;
    };
    const tagCase cases[] = {
        {300, -300, 50, 1000, -1000}, // 1200 clamped
        {100, 50, 100, 200, 100},
        {-7, 7, 3, -466, 466},        // -466.67 and 466.67 truncate toward 0
        {40, 40, 0, 0, 0},            // equal timestamps
        {5000, 0, 1, 1000, 0},
    };
    unsigned int uiId = 1;
    for (const tagCase& c : cases) {
        manager.addCursor(uiId, 100, 100, 5000);
        manager.updateCursor(uiId, 100 + c.iDx, 100 + c.iDy, 5000 + c.uiDt);
        manager.removeCursor(uiId, 7000);
        const std::vector<tagHeard> heard = drain();
        ASSERT_EQ(heard.size(), 3u);
        EXPECT_EQ(fieldsOf(heard[1].cursor),
                  (std::vector<long long>{uiId, MOVE, 100 + c.iDx, c.iDx, 0, 100 + c.iDy, c.iDy, 0, 0, 5000 + c.uiDt}));
        // The release without a position is at the last sample, stamped now.
        EXPECT_EQ(fieldsOf(heard[2].cursor), (std::vector<long long>{uiId, RELEASE, 100 + c.iDx, c.iDx, c.iXSpeed,
                                                                     100 + c.iDy, c.iDy, c.iYSpeed, 0, 7000}))
            << "case dx " << c.iDx << " dt " << c.uiDt;
        ++uiId;
    }
}

// Samples 0..150 at 1 ms steps: fast (10 px/ms) up to sample 59, slow
// (1 px/ms) after. Only samples 51..150 remain, giving 180 px in 99 ms.
TEST_F(CursorManager, OnlyTheNewestHundredSamplesCountForTheReleaseSpeed)
{
    const auto xAt = [](int k) { return k < 60 ? k * 10 : 600 + (k - 60); };
    manager.addCursor(3, 0, 0, 1000);
    for (int k = 1; k <= 150; ++k)
        manager.updateCursor(3, xAt(k), 0, 1000 + k);
    manager.removeCursor(3, 2000);
    const std::vector<tagHeard> heard = drain();
    ASSERT_EQ(heard.size(), 152u);
    const CCursor& release = heard.back().cursor;
    EXPECT_EQ(release.getX(), 690);
    EXPECT_EQ(release.getXDelta(), 690);
    EXPECT_EQ(release.getXSpeed(), 180 * 200 / 99) << "not the speed over the newest 100 samples";
    // Lifting at a position adds that sample first: the window slides by one.
    manager.addCursor(4, 0, 0, 1000);
    for (int k = 1; k <= 150; ++k)
        manager.updateCursor(4, xAt(k), 0, 1000 + k);
    manager.removeCursor(4, 691, 5, 1151);
    const CCursor last = drain().back().cursor;
    EXPECT_EQ(fieldsOf(last), (std::vector<long long>{4, RELEASE, 691, 691, (691 - 520) * 200 / 99, 5, 5, 5 * 200 / 99,
                                                      0, 1151}));
}

// Bad and out-of-order input: nothing for a finger that is not down, a
// second down is dropped (the first down's position stays the reference),
// and everything stops while disabled, which is the initial state.
TEST_F(CursorManager, EventsForUnknownFingersAndWhileDisabledAreDropped)
{
    manager.updateCursor(9, 1, 1, 10);
    manager.removeCursor(9, 1, 1, 11);
    manager.removeCursor(9, 12);
    EXPECT_EQ(queuedTouches(), 0u);

    manager.addCursor(5, 10, 10, 100);
    manager.addCursor(5, 50, 50, 110);
    manager.removeCursor(5, 20, 30, 120);
    manager.updateCursor(5, 21, 31, 130); // after its release
    manager.removeCursor(5, 140);
    const std::vector<tagHeard> heard = drain();
    ASSERT_EQ(heard.size(), 2u);
    EXPECT_EQ(heard[1].cursor.getXDelta(), 10);
    EXPECT_EQ(heard[1].cursor.getYDelta(), 20);

    CCursorManager fresh;
    fresh.setTouchListener(&listener);
    fresh.addCursor(1, 0, 0, 1);
    fresh.wheelCursor(0, 0, 3);
    EXPECT_EQ(queuedTouches(), 0u) << "a new manager is disabled";

    manager.addCursor(6, 0, 0, 200);
    manager.setEnable(false);
    manager.updateCursor(6, 1, 1, 210);
    manager.removeCursor(6, 1, 1, 220);
    manager.addCursor(7, 0, 0, 230);
    manager.wheelCursor(0, 0, 1);
    EXPECT_EQ(queuedTouches(), 1u) << "only the press made while enabled";
    // Re-enabled, the finger that stayed down is still known and is released.
    manager.setEnable(true);
    manager.removeCursor(6, 240);
    const std::vector<tagHeard> after = drain();
    ASSERT_EQ(after.size(), 2u);
    EXPECT_EQ(after[1].eCallback, RELEASE);
    EXPECT_EQ(after[1].cursor.getID(), 6u);

    // Absurd coordinates neither overflow nor crash; the speed clamps.
    manager.addCursor(8, INT_MIN, INT_MAX, 1);
    manager.removeCursor(8, INT_MAX, INT_MIN, 2);
    const CCursor extreme = drain().back().cursor;
    EXPECT_EQ(extreme.getXSpeed(), 1000);
    EXPECT_EQ(extreme.getYSpeed(), -1000);
}

TEST_F(CursorManager, WheelHasIdZeroTimestampZeroAndTheAmountInDistance)
{
    manager.wheelCursor(12, 34, -120);
    const std::vector<tagHeard> heard = drain();
    ASSERT_EQ(heard.size(), 1u);
    EXPECT_EQ(heard[0].eCallback, WHEEL);
    EXPECT_EQ(fieldsOf(heard[0].cursor), (std::vector<long long>{0, WHEEL, 12, 0, 0, 34, 0, 0, -120, 0}));
}

TEST_F(CursorManager, ATimestampOfZeroIsNowOnTheTickBase)
{
    static std::atomic<unsigned int> s_uiNow{4321};
    TickClock::setSource([] { return s_uiNow.load(); });
    manager.addCursor(1, 0, 0, 0);
    s_uiNow = 4400;
    manager.updateCursor(1, 5, 0, 0);
    manager.removeCursor(1, 0);
    const std::vector<tagHeard> heard = drain();
    ASSERT_EQ(heard.size(), 3u);
    EXPECT_EQ(heard[0].cursor.getTimestamp(), 4321u);
    EXPECT_EQ(heard[1].cursor.getTimestamp(), 4400u);
    EXPECT_EQ(heard[2].cursor.getTimestamp(), 4400u);
    EXPECT_EQ(heard[2].cursor.getXSpeed(), 5 * 200 / 79);
}

// A message keeps the listener current when it was made; one made without
// a listener is consumed without effect; a listener that goes away takes
// its queued messages with it.
TEST_F(CursorManager, MessagesKeepTheirListenerAndDieWithIt)
{
    CRecordingListener later;
    manager.addCursor(1, 0, 0, 10);
    manager.setTouchListener(&later);
    manager.updateCursor(1, 1, 1, 20);
    manager.setTouchListener(nullptr);
    manager.updateCursor(1, 2, 2, 30);
    EXPECT_EQ(pumpMessages(), 3u);
    EXPECT_EQ(listener.count(PRESS), 1u);
    EXPECT_EQ(later.count(MOVE), 1u);
    EXPECT_EQ(listener.heard.size() + later.heard.size(), 2u);

    {
        CRecordingListener doomed;
        manager.setTouchListener(&doomed);
        manager.updateCursor(1, 3, 3, 40);
        manager.setTouchListener(&listener);
        manager.updateCursor(1, 4, 4, 50);
        manager.setTouchListener(&doomed);
        manager.removeCursor(1, 60);
        manager.setTouchListener(&listener);
        EXPECT_EQ(queuedTouches(), 3u);
    }
    EXPECT_EQ(queuedTouches(), 1u) << "the messages for the destroyed listener are still queued";
    listener.heard.clear();
    EXPECT_EQ(pumpMessages(), 1u);
    ASSERT_EQ(listener.heard.size(), 1u);
    EXPECT_EQ(listener.heard[0].cursor.getX(), 4);
}

// handleMessage picks the callback by status; any other status, or no
// listener, does nothing.
TEST(MsgTouch, HandlingCallsTheOperationOfTheCursorStatus)
{
    const std::tuple<unsigned int, int> cases[] = {{0, -1}, {1, PRESS}, {2, MOVE}, {3, RELEASE}, {4, WHEEL}, {5, -1}};
    for (const auto& [uiStatus, iCallback] : cases) {
        CRecordingListener listener;
        CCursor cursor;
        cursor.setTouchStatus(static_cast<CCursor::ETouchStatus>(uiStatus));
        cursor.setX(static_cast<int>(uiStatus) + 40);
        CMsgTouch message(&listener, cursor);
        EXPECT_EQ(message.getType(), CBaseMessage::MESSAGE_TYPE_TOUCH);
        message.handleMessage();
        if (iCallback < 0) {
            EXPECT_TRUE(listener.heard.empty()) << "status " << uiStatus;
        } else {
            ASSERT_EQ(listener.heard.size(), 1u) << "status " << uiStatus;
            EXPECT_EQ(static_cast<int>(listener.heard[0].eCallback), iCallback);
            EXPECT_EQ(listener.heard[0].cursor.getX(), static_cast<int>(uiStatus) + 40);
        }
        CMsgTouch orphan(nullptr, cursor);
        orphan.handleMessage();
        EXPECT_TRUE(CMsgTouch().getListener() == nullptr);
    }
}
