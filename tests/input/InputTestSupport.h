#pragma once

// Shared pieces of the input tests: a touch listener that records what it
// hears, a configuration loader and a fixture with an enabled cursor manager
// that leaves no singleton behind. The main loop and the test clock are the
// timer tests'.

#include <configuration/CConfigParser.h>
#include <input/Input.h>
#include <platform/CPlatformFactory.h>

#include "HeadlessSurface.h"
#include "timer/TimerTestSupport.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

namespace InputTest {

using namespace Trell;
using TimerTest::pumpMessages;

using Fields = std::vector<long long>;
using Heard = std::vector<Fields>;

// Each call as the cursor's ten fields, with the status of the callback
// that heard it in the status's place. Test thread only (it pumps).
class CRecordingListener : public ITouchListener
{
public:
    void onTouchPress(const CCursor& c) override { hear(c, 1); }
    void onTouchMove(const CCursor& c) override { hear(c, 2); }
    void onTouchRelease(const CCursor& c) override { hear(c, 3); }
    void onTouchWheel(const CCursor& c) override { hear(c, 4); }
    void hear(const CCursor& c, long long llCallback)
    {
        heard.push_back({c.getID(), llCallback, c.getX(), c.getXDelta(), c.getXSpeed(), c.getY(), c.getYDelta(),
                         c.getYSpeed(), c.getDistance(), c.getTimestamp()});
    }
    long long count(long long llCallback) const
    {
        return std::count_if(heard.begin(), heard.end(), [&](const Fields& f) { return f[1] == llCallback; });
    }
    Heard heard;
};

inline bool loadConfiguration(const char* pszXml)
{
    const std::filesystem::path path = std::filesystem::temp_directory_path() / "input-test-config.xml";
    std::ofstream(path) << pszXml;
    const bool bLoaded = CConfigParser::getInstance()->load(CString(path.u16string().c_str()));
    std::filesystem::remove(path);
    return bLoaded;
}

inline const char* const kSurfaces =
    "<e><surface_set><surface name=\"main\" offset_x=\"-5\" width=\"800\" height=\"480\"/>"
    "<surface name=\"popup\" width=\"200\" height=\"100\"/><surface name=\"main\"/>"
    "</surface_set></e>";

// An enabled cursor manager with a recording listener; leaves no singleton
// behind. The main loop and the test clock are the timer tests'.
class CInputFixture : public ::testing::Test
{
protected:
    void SetUp() override
    {
        CMessageCenter::getInstance(); // made on this thread before any producer runs
        manager.setTouchListener(&listener);
        manager.setEnable(true);
    }
    void TearDown() override
    {
        manager.unInitialize();
        CSurface::deleteInstance();
        if (CTimerManager::hasInstance())
            CTimerManager::getInstance()->stop();
        CTimerManager::deleteInstance();
        CMessageCenter::deleteInstance();
        CConfigParser::deleteInstance();
        CPlatformFactory::deleteInstance();
        TickClock::setSource(nullptr);
    }
    // What the listener hears from the messages queued now.
    Heard drain()
    {
        listener.heard.clear();
        pumpMessages();
        return listener.heard;
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

    // Outlives the surfaces, whose platform surfaces report back to it.
    Headless::CHeadlessPlatformFactory factory;
    CRecordingListener listener;
    CCursorManager manager;
};

} // namespace InputTest
