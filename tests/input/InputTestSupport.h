#pragma once

// Shared pieces of the input tests: a touch listener that records what it
// hears, a main loop that pops and handles messages on the test thread, and
// a fixture that leaves no singleton behind.

#include <input/CCursor.h>
#include <input/CCursorManager.h>
#include <input/CSurface.h>
#include <input/ITouchListener.h>
#include <message/CBaseMessage.h>
#include <message/CMessageCenter.h>
#include <platform/CPlatformFactory.h>
#include <timer/CTimerManager.h>
#include <configuration/CConfigParser.h>

#include "HeadlessSurface.h"
#include "message/TickClock.h"
#include "support/WaitUntil.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace InputTest {

using namespace Trell;

// One heard event: the callback (by the status it stands for) and the cursor.
struct tagHeard
{
    CCursor::ETouchStatus eCallback;
    CCursor cursor;
};

// Called on the test thread only (it pumps), so no lock.
class CRecordingListener : public ITouchListener
{
public:
    void onTouchPress(const CCursor& cursor) override { heard.push_back({CCursor::TOUCH_STATUS_PRESS, cursor}); }
    void onTouchMove(const CCursor& cursor) override { heard.push_back({CCursor::TOUCH_STATUS_MOVE, cursor}); }
    void onTouchRelease(const CCursor& cursor) override
    {
        heard.push_back({CCursor::TOUCH_STATUS_RELEASE, cursor});
    }
    void onTouchWheel(const CCursor& cursor) override { heard.push_back({CCursor::TOUCH_STATUS_WHEEL, cursor}); }

    unsigned int count(CCursor::ETouchStatus eCallback) const
    {
        unsigned int n = 0;
        for (const tagHeard& h : heard)
            n += h.eCallback == eCallback ? 1 : 0;
        return n;
    }

    std::vector<tagHeard> heard;
};

// The ten fields in order, for whole-cursor comparisons.
inline std::vector<long long> fieldsOf(const CCursor& c)
{
    return {c.getID(),    c.getTouchStatus(), c.getX(),        c.getXDelta(),  c.getXSpeed(),
            c.getY(),     c.getYDelta(),      c.getYSpeed(),   c.getDistance(), c.getTimestamp()};
}

// Pops and handles everything queued now; returns the number of messages.
inline unsigned int pumpMessages()
{
    unsigned int n = 0;
    while (CObjectPtr<CBaseMessage> pMessage = CMessageCenter::getInstance()->popMessage()) {
        pMessage->handleMessage();
        ++n;
    }
    return n;
}

inline unsigned int queuedTouches()
{
    return CMessageCenter::getInstance()->getMessageCountByType(CBaseMessage::MESSAGE_TYPE_TOUCH);
}

// Writes a configuration file and loads it; the path is removed again.
inline bool loadConfiguration(const std::string& strName, const std::string& strXml)
{
    const std::filesystem::path path = std::filesystem::temp_directory_path() / strName;
    std::ofstream(path) << strXml;
    const std::string strPath = path.string();
    const bool bLoaded = CConfigParser::getInstance()->load(CString(std::u16string(strPath.begin(), strPath.end()).c_str()));
    std::filesystem::remove(path);
    return bLoaded;
}

// A fresh center per test, and nothing left behind: surfaces, timers,
// configuration, platform factory. The headless factory outlives the
// surfaces; a test registers it when it wants platform surfaces.
class CInputFixture : public ::testing::Test
{
protected:
    void useHeadlessSurfaces() { CPlatformFactory::getInstance()->registerFactory(&factory); }

    void SetUp() override { CMessageCenter::getInstance()->clearMessageList(); }
    void TearDown() override
    {
        CSurface::deleteInstance();
        if (CTimerManager::hasInstance())
            CTimerManager::getInstance()->stop();
        CTimerManager::deleteInstance();
        CMessageCenter::deleteInstance();
        CConfigParser::deleteInstance();
        CPlatformFactory::deleteInstance();
        TickClock::setSource(nullptr);
    }

    Headless::CHeadlessPlatformFactory factory;
};

} // namespace InputTest
