#include <system/CLog.h>
#include <system/CLogBuild.h>
#include <system/CLogEngine.h>
#include <system/CLogStudio.h>

#include <configuration/CConfigParser.h>
#include <text/CString.h>

#include "TempFolder.h"
#include "support/ChildProcess.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

using namespace Trell;
namespace fs = std::filesystem;

namespace {

const std::string BOM = "\xFF\xFE";
using Lines = std::vector<std::u16string>;

std::string utf16le(const std::u16string& text)
{
    std::string bytes;
    for (char16_t ch : text)
        bytes += {static_cast<char>(ch & 0xFF), static_cast<char>(ch >> 8)};
    return bytes;
}

// The file's content for these lines.
std::string file(const Lines& lines)
{
    std::string out = BOM;
    for (const std::u16string& line : lines)
        out += utf16le(line + u"\r\n");
    return out;
}

// Reaches the unconditional writer.
struct CLogProbe : public CLog
{
    using CLog::writeLog;
    static bool hasFile() { return !s_ptrFile.isNull(); }
};

// Each test gets its own folder, configuration and log; nothing survives it.
class LogTest : public ::testing::Test
{
protected:
    void SetUp() override { TearDown(); }
    void TearDown() override
    {
        CLog::unInitialize();
        CConfigParser::deleteInstance();
    }

    // Loads a configuration whose log file is "log/test.log" (relative to the
    // configuration) unless strPath says otherwise, then starts the log.
    void start(unsigned int uiFileSize, const std::string& strLevels = "", const std::string& strPath = "log/test.log")
    {
        m_temp.writeFile("config.xml", "<c><log_level " + strLevels + "/><log_output terminal=\"false\" file_size=\"" +
                                           std::to_string(uiFileSize) + "\" file_path_win=\"" + strPath + "\"/></c>");
        ASSERT_TRUE(CConfigParser::getInstance()->load(m_temp.path("config.xml")));
        CLog::initialize();
    }

    std::string logFile() const { return m_temp.readFile("log/test.log"); }

    CTempFolder m_temp;
    CLogRecorder m_log; // the sink while the test lives
};

} // namespace

TEST_F(LogTest, FileStartsWithMarkAndHoldsWholeUtf16Lines)
{
    start(20000);
    CLogEngine::error2(u"Out of memory.");
    CLogStudio::warning2(CString(u"Caf\u00e9 \u4e2d"));
    CLog::info(CString(u"Custom"), CString(u"free category"));
    // Null texts print as empty.
    CLogProbe::writeLog(nullptr, nullptr, u"m");
    CLog::error2(CString(), CString());
    // Lines just within, just over and far over the writer's stack buffer
    // (12 units of frame plus the message, 2 bytes each, against 1024 bytes).
    const Lines longLines = {u"[Info][C] " + std::u16string(512 - 12, u'a'),
                             u"[Info][C] " + std::u16string(513 - 12, u'b'),
                             u"[Info][C] " + std::u16string(3000, u'\u00fc')};
    for (const std::u16string& line : longLines)
        CLogProbe::writeLog(u"Info", u"C", line.c_str() + 10);
    Lines expected = {u"[Error][TrellEngine] Out of memory.", u"[Warning][TrellStudio] Caf\u00e9 \u4e2d",
                      u"[Info][Custom] free category", u"[][] m", u"[Error][] "};
    expected.insert(expected.end(), longLines.begin(), longLines.end());
    EXPECT_EQ(logFile(), file(expected));
    // After unInitialize only the sink hears.
    CLog::unInitialize();
    CLogEngine::info(u"sink only");
    EXPECT_EQ(logFile(), file(expected));
    EXPECT_EQ(m_log.take(), (Lines{u"Error|Out of memory.", u"Info|sink only"}));
}

// At start, a file up to the limit is appended to, a longer one truncated;
// a limit up to 10240 or an empty path means no file, and a file that cannot
// be opened is reported. The limit is not enforced during a run.
TEST_F(LogTest, TheSizeRuleAtStart)
{
    const std::string atLimit = BOM + std::string(10241 - 2, 'x');
    // The file before (none: absent), the limit, the path, and the file kept (none: no file opened).
    const std::tuple<std::optional<std::string>, unsigned int, const char*, std::optional<std::string>> cases[] = {
        {std::nullopt, 10240, "log/test.log", std::nullopt}, {std::nullopt, 1000000, "", std::nullopt},
        {std::nullopt, 10241, "log/test.log", BOM},          {atLimit, 10241, "log/test.log", atLimit},
        {atLimit + "x", 10241, "log/test.log", BOM},
    };
    for (const auto& [old, limit, path, kept] : cases) {
        SCOPED_TRACE(std::to_string(limit) + " " + path + " " + std::to_string(old ? old->size() : 0));
        CLog::unInitialize();
        fs::remove_all(m_temp.native("log"));
        if (old)
            m_temp.writeFile("log/test.log", *old);
        start(limit, "", path);
        CLogEngine::error2(u"e");
        EXPECT_EQ(m_temp.exists("log"), kept || old);
        EXPECT_EQ(logFile(), kept ? *kept + utf16le(u"[Error][TrellEngine] e\r\n") : "");
    }
    for (int i = 0; i < 4; ++i)
        CLogEngine::info(std::u16string(2000, u'z').c_str());
    EXPECT_GT(fs::file_size(m_temp.native("log/test.log")), 10241u);

    CLog::unInitialize();
    fs::remove_all(m_temp.native("log"));
    fs::create_directories(m_temp.native("log/test.log")); // a folder in the file's place
    m_log.take();
    start(20000);
    EXPECT_FALSE(CLogProbe::hasFile());
    CLogEngine::error2(u"still delivered");
    EXPECT_EQ(m_log.take(), (Lines{u"Warning|Maybe administrator or root authority is required to run this program.",
                                   u"Error|still delivered"}));
}

// Every entry point against each level switch. Before a configuration
// exists and after it is deleted the defaults apply: info, warning and error
// on, debug off, the console (as UTF-8) on, no file.
TEST_F(LogTest, LevelSwitchesGateEveryOutputAndDefaultsApplyWithoutConfiguration)
{
    const auto logEach = [] {
        testing::internal::CaptureStdout();
        CLogEngine::info(u"i");
        CLogStudio::warning2(CString(u"Caf\u00e9 50%s"));
        CLogBuild::error2(u"e");
        CLogEngine::debug2(u"d");
        CLog::debug2(u"X", u"d");
        CLog::debug2(CString(u"X"), CString(u"d2"));
        CLog::info(u"X", u"i");
        return testing::internal::GetCapturedStdout();
    };
    const auto enabled = [] {
        return std::string(CLog::isInfoEnabled() ? "I" : "") + (CLog::isWarningEnabled() ? "W" : "") +
               (CLog::isErrorEnabled() ? "E" : "") + (CLog::isDebugEnabled() ? "D" : "");
    };
    const std::string DEFAULT_LINES = "[Info][TrellEngine] i\r\n[Warning][TrellStudio] Caf\xC3\xA9 50%s\r\n"
                                      "[Error][TrellBuild] e\r\n[Info][X] i\r\n";
    EXPECT_EQ(logEach(), DEFAULT_LINES);
    EXPECT_EQ(enabled(), "IWE");
    // A log call on some thread must not create the unlocked singleton.
    EXPECT_FALSE(CConfigParser::hasInstance());
    start(20000, "debug=\"true\" info=\"false\" warning=\"false\" error=\"false\"");
    EXPECT_EQ(enabled(), "D");
    EXPECT_EQ(logEach(), "");
    EXPECT_EQ(logFile(), file({u"[Debug][TrellEngine] d", u"[Debug][X] d", u"[Debug][X] d2"}));
    CLog::unInitialize();
    CConfigParser::deleteInstance();
    EXPECT_EQ(logEach(), DEFAULT_LINES);
    CLog::initialize(); // the configured file went with the configuration
    EXPECT_FALSE(CLogProbe::hasFile());
}

TEST_F(LogTest, ConcurrentEntriesStayWhole)
{
    start(1000000);
    const int THREADS = 4, LINES = 200;
    // Each thread writes its own text, all of one length: a torn line matches none of them.
    const auto text = [](int t) { return u"thread " + std::u16string(300, static_cast<char16_t>(u'a' + t)); };
    std::map<std::string, int> counts, expected;
    std::vector<std::thread> threads;
    for (int t = 0; t < THREADS; ++t) {
        expected[utf16le(u"[Info][TrellEngine] " + text(t) + u"\r\n")] = LINES;
        threads.emplace_back([&text, t] {
            for (int i = 0; i < LINES; ++i)
                CLogEngine::info(text(t).c_str());
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(m_log.take().size(), static_cast<std::size_t>(THREADS * LINES));
    const std::string content = logFile();
    const std::size_t size = expected.begin()->first.size();
    for (std::size_t pos = 2; pos < content.size(); pos += size)
        ++counts[content.substr(pos, size)];
    EXPECT_TRUE(counts == expected) << "torn or lost lines";
}
