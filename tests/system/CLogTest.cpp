#include <system/CLog.h>
#include <system/CLogBuild.h>
#include <system/CLogEngine.h>
#include <system/CLogStudio.h>
#include <system/ILogOuter.h>

#include <configuration/CConfigParser.h>
#include <platform/CThread.h>
#include <text/CString.h>

#include "TempFolder.h"
#include "support/ChildProcess.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <future>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
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

// Keeps every entry as the line it makes: "[level][category] message".
class CRecordingOuter : public ILogOuter
{
public:
    void outputLog(const CString& level, const CString& category, const CString& message) override
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        m_lines.push_back(u"[" + wide(level) + u"][" + wide(category) + u"] " + wide(message));
    }
    Lines lines()
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        return m_lines;
    }

private:
    std::mutex m_mutex;
    Lines m_lines;
};

// Each test gets its own folder, configuration and log; nothing survives it.
class LogTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_temp.isValid());
        TearDown();
        CLog::setLogOuter(&m_outer);
    }
    void TearDown() override
    {
        CLog::unInitialize();
        CLog::setLogOuter(nullptr);
        CConfigParser::deleteInstance();
    }

    // Loads a configuration whose log file is "log/test.log" (relative to the
    // configuration) unless strPath says otherwise, then starts the log.
    void start(unsigned int uiFileSize, const std::string& strLevels = "", const std::string& strPath = "log/test.log",
               const std::string& strTerminal = "false")
    {
        m_temp.writeFile("config.xml", "<c><log_level " + strLevels + "/><log_output terminal=\"" + strTerminal +
                                           "\" file_size=\"" + std::to_string(uiFileSize) + "\" file_path_win=\"" +
                                           strPath + "\"/></c>");
        ASSERT_TRUE(CConfigParser::getInstance()->load(m_temp.path("config.xml")));
        CLog::initialize();
    }

    std::string logFile() const { return m_temp.readFile("log/test.log"); }

    CTempFolder m_temp;
    CRecordingOuter m_outer; // every test's sink unless it installs another
};

} // namespace

TEST_F(LogTest, FileStartsWithMarkAndHoldsWholeUtf16Lines)
{
    start(20000);
    EXPECT_EQ(logFile(), BOM);
    CLogEngine::error2(u"Out of memory.");
    CLogStudio::warning2(CString(u"Caf\u00e9 \u4e2d"));
    CLogBuild::info(u"built");
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
    Lines expected = {u"[Error][TrellEngine] Out of memory.",
                      u"[Warning][TrellStudio] Caf\u00e9 \u4e2d",
                      u"[Info][TrellBuild] built",
                      u"[Info][Custom] free category",
                      u"[][] m",
                      u"[Error][] "};
    expected.insert(expected.end(), longLines.begin(), longLines.end());
    EXPECT_EQ(logFile(), file(expected));
    EXPECT_EQ(m_outer.lines(), expected);

    // After unInitialize only the sink hears; a second start opens the new path.
    CLog::unInitialize();
    EXPECT_FALSE(CLogProbe::hasFile());
    CLogEngine::info(u"sink only");
    start(20000, "", "other.log");
    CLogEngine::info(u"three");
    EXPECT_EQ(logFile(), file(expected));
    EXPECT_EQ(m_temp.readFile("other.log"), file({u"[Info][TrellEngine] three"}));
    CLog::setLogOuter(nullptr);
    CLogEngine::error2(u"unseen");
    EXPECT_EQ(m_outer.lines().size(), expected.size() + 2);
}

// At start, a file up to the limit is appended to, a longer one truncated;
// a limit up to 10240 or an empty path means no file. The limit is not
// enforced during a run.
TEST_F(LogTest, TheSizeRuleAtStart)
{
    const std::string atLimit = BOM + std::string(10241 - 2, 'x');
    const struct
    {
        const char* name;
        std::optional<std::string> old; // none: no file before
        unsigned int limit;
        const char* path;
        std::optional<std::string> kept; // none: no file opened
    } cases[] = {
        {"limit 10240", std::nullopt, 10240, "log/test.log", std::nullopt},
        {"empty path", std::nullopt, 1000000, "", std::nullopt},
        {"no file, limit 10241 opens it", std::nullopt, 10241, "log/test.log", BOM},
        {"file of exactly the limit is appended", atLimit, 10241, "log/test.log", atLimit},
        {"file one byte over is truncated", atLimit + "x", 10241, "log/test.log", BOM},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        CLog::unInitialize();
        fs::remove_all(m_temp.native("log"));
        if (c.old)
            m_temp.writeFile("log/test.log", *c.old);
        start(c.limit, "", c.path);
        EXPECT_EQ(CLogProbe::hasFile(), c.kept.has_value());
        CLogEngine::error2(u"e");
        EXPECT_EQ(m_temp.exists("log"), c.kept || c.old);
        if (c.kept) {
            EXPECT_EQ(logFile(), *c.kept + utf16le(u"[Error][TrellEngine] e\r\n"));
        }
    }
    for (int i = 0; i < 4; ++i)
        CLogEngine::info(std::u16string(2000, u'z').c_str());
    EXPECT_GT(fs::file_size(m_temp.native("log/test.log")), 10241u);
}

TEST_F(LogTest, UnopenableFileIsReportedAndDisablesTheFileButNotTheSink)
{
    fs::create_directories(m_temp.native("log/test.log")); // a folder in the file's place
    start(20000);
    EXPECT_FALSE(CLogProbe::hasFile());
    CLogEngine::error2(u"still delivered");
    EXPECT_EQ(m_outer.lines(),
              (Lines{u"[Warning][TrellEngine] Maybe administrator or root authority is required to run this program.",
                     u"[Error][TrellEngine] still delivered"}));
}

// Every entry point against each level switch.
TEST_F(LogTest, LevelSwitchesGateEveryOutput)
{
    const struct
    {
        const char* levels;
        std::string enabled; // Info, Warning, Error, Debug
        Lines expected;
    } rows[] = {
        {"", "IWE", {u"[Info][TrellEngine] i", u"[Warning][TrellStudio] w", u"[Error][TrellBuild] e", u"[Info][X] i"}},
        {"debug=\"true\" info=\"false\"",
         "WED",
         {u"[Warning][TrellStudio] w", u"[Error][TrellBuild] e", u"[Debug][TrellEngine] d", u"[Debug][X] d",
          u"[Debug][X] d2"}},
        {"info=\"false\" warning=\"false\" error=\"false\" debug=\"false\"", "", {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.levels);
        CLog::unInitialize();
        fs::remove(m_temp.native("log/test.log"));
        start(20000, row.levels);
        EXPECT_EQ(std::string(CLog::isInfoEnabled() ? "I" : "") + (CLog::isWarningEnabled() ? "W" : "") +
                      (CLog::isErrorEnabled() ? "E" : "") + (CLog::isDebugEnabled() ? "D" : ""),
                  row.enabled);
        CLogEngine::info(u"i");
        CLogStudio::warning2(CString(u"w"));
        CLogBuild::error2(u"e");
        CLogEngine::debug2(u"d");
        CLog::debug2(u"X", u"d");
        CLog::debug2(CString(u"X"), CString(u"d2"));
        CLog::info(u"X", u"i");
        EXPECT_EQ(logFile(), file(row.expected));
    }
    // The console gets the line as UTF-8.
    testing::internal::CaptureStdout();
    CLog::unInitialize();
    start(0, "", "", "true");
    CLogEngine::warning2(u"Caf\u00e9 50%s");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "[Warning][TrellEngine] Caf\xC3\xA9 50%s\r\n");
}

// Before a configuration exists and after it is deleted: info, warning and
// error on, debug off, console on, no file.
TEST_F(LogTest, WithoutConfigurationDefaultsApplyAndNoneIsCreated)
{
    const std::string DEFAULT_LINES = "[Info][TrellEngine] i\r\n[Warning][TrellEngine] w\r\n[Error][TrellEngine] e\r\n";
    auto logEach = [] {
        testing::internal::CaptureStdout();
        CLogEngine::debug2(u"d");
        CLogEngine::info(u"i");
        CLogEngine::warning2(u"w");
        CLogEngine::error2(u"e");
        return testing::internal::GetCapturedStdout();
    };
    EXPECT_EQ(logEach(), DEFAULT_LINES);
    EXPECT_EQ(m_outer.lines().size(), 3u);
    // A log call on some thread must not create the unlocked singleton.
    EXPECT_FALSE(CConfigParser::hasInstance());

    start(20000, "info=\"false\" error=\"false\" debug=\"true\"", "log/test.log", "false");
    EXPECT_EQ(logEach(), "");
    CLog::unInitialize();
    CConfigParser::deleteInstance();
    EXPECT_EQ(logEach(), DEFAULT_LINES);
    CLog::initialize(); // the configured file went with the configuration
    EXPECT_FALSE(CLogProbe::hasFile());
}

namespace {

// While handling an entry, lets another thread write to the file and waits
// for it: that thread would block forever if the sink ran under the lock.
class CCrossThreadOuter : public ILogOuter
{
public:
    void outputLog(const CString&, const CString&, const CString& message) override
    {
        if (wide(message) != u"outer")
            return;
        std::future<void> helper = std::async(std::launch::async, [] { CLogEngine::info(u"from helper"); });
        m_bFinishedInTime = helper.wait_for(std::chrono::seconds(20)) == std::future_status::ready;
        CLogEngine::info(u"from sink"); // and the same thread may log again from the sink
    }
    bool m_bFinishedInTime = false;
};

} // namespace

TEST_F(LogTest, SinkIsCalledOutsideTheLock)
{
    CCrossThreadOuter outer;
    CLog::setLogOuter(&outer);
    start(20000);
    CLogEngine::info(u"outer");
    EXPECT_TRUE(outer.m_bFinishedInTime) << "another thread could not write while the sink ran";
    EXPECT_EQ(logFile(), file({u"[Info][TrellEngine] outer", u"[Info][TrellEngine] from helper",
                               u"[Info][TrellEngine] from sink"}));
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
    EXPECT_EQ(m_outer.lines().size(), static_cast<std::size_t>(THREADS * LINES));
    const std::string content = logFile();
    const std::size_t size = expected.begin()->first.size();
    ASSERT_EQ(content.compare(0, 2, BOM), 0);
    for (std::size_t pos = 2; pos < content.size(); pos += size)
        ++counts[content.substr(pos, size)];
    EXPECT_TRUE(counts == expected) << "torn or lost lines";
}

namespace {

class CNamedWorker : public CThread
{
    TRELL_DECLARE_ALLOCATOR(u"CNamedWorker")
public:
    void run() override {}
};

} // namespace

TEST_F(LogTest, ThreadStartAndExitAreInfoLinesWithIdAndName)
{
    start(20000);
    CNamedWorker worker;
    worker.setThreadName(CString(u"worker"));
    worker.startThread();
    worker.waitForThreadStop();
    worker.stopThread();

    // Both lines carry the same id, and it is a real one.
    const Lines lines = m_outer.lines();
    ASSERT_EQ(lines.size(), 2u);
    const std::size_t from = lines[0].find(u"ID: ") + 4;
    const std::u16string id = lines[0].substr(from, lines[0].find(u',') - from);
    EXPECT_NE(id, u"0");
    EXPECT_EQ(lines, (Lines{u"[Info][TrellEngine] Thread (ID: " + id + u", Name: worker) starts.",
                            u"[Info][TrellEngine] Thread (ID: " + id + u", Name: worker) exits."}));
    // They follow the info switch.
    start(20000, "info=\"false\"");
    worker.startThread();
    worker.waitForThreadStop();
    EXPECT_EQ(m_outer.lines().size(), 2u);
}
