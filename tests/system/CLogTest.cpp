#include <system/CLog.h>
#include <system/CLogBuild.h>
#include <system/CLogEngine.h>
#include <system/CLogStudio.h>
#include <system/ILogOuter.h>

#include <configuration/CConfigParser.h>
#include <platform/CThread.h>
#include <text/CString.h>

#include "TempFolder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

using namespace Trell;
namespace fs = std::filesystem;

namespace {

const std::string BOM = "\xFF\xFE";

std::u16string str(const CString& s)
{
    return s.buffer() ? std::u16string(s.buffer(), s.length()) : std::u16string();
}

std::string utf16le(const std::u16string& text)
{
    std::string bytes;
    for (char16_t ch : text) {
        bytes += static_cast<char>(ch & 0xFF);
        bytes += static_cast<char>(ch >> 8);
    }
    return bytes;
}

// Reaches the unconditional writer.
struct CLogProbe : public CLog
{
    using CLog::writeLog;
    static bool hasFile() { return !s_ptrFile.isNull(); }
};

struct tagEntry
{
    std::u16string level;
    std::u16string category;
    std::u16string message;
    bool operator==(const tagEntry&) const = default;
};
using Entries = std::vector<tagEntry>;

class CRecordingOuter : public ILogOuter
{
public:
    void outputLog(const CString& level, const CString& category, const CString& message) override
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        m_entries.push_back({str(level), str(category), str(message)});
    }
    std::vector<tagEntry> entries()
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        return m_entries;
    }

private:
    std::mutex m_mutex;
    std::vector<tagEntry> m_entries;
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
        const std::string text = "<c><log_level " + strLevels + "/><log_output terminal=\"" + strTerminal +
                                 "\" file_size=\"" + std::to_string(uiFileSize) + "\" file_path_win=\"" + strPath +
                                 "\"/></c>";
        m_temp.writeFile("config.xml", text);
        ASSERT_TRUE(CConfigParser::getInstance()->load(m_temp.path("config.xml")));
        CLog::initialize();
    }

    std::string logFile() const { return m_temp.readFile("log/test.log"); }
    bool logExists() const { return m_temp.exists("log/test.log"); }

    CTempFolder m_temp;
    CRecordingOuter m_outer; // every test's sink unless it installs another
};

} // namespace

// ---- Line format and file --------------------------------------------------------------

TEST_F(LogTest, NewFileStartsWithMarkAndHoldsUtf16Lines)
{
    start(20000);
    ASSERT_TRUE(logExists());
    EXPECT_EQ(logFile(), BOM);

    CLogEngine::error2(u"Out of memory.");
    CLogStudio::warning2(CString(u"Caf\u00e9 \u4e2d"));
    CLogBuild::info(u"built");
    CLog::info(CString(u"Custom"), CString(u"free category"));
    // Null texts print as empty.
    CLogProbe::writeLog(nullptr, nullptr, u"m");
    CLog::error2(CString(), CString());
    EXPECT_EQ(logFile(), BOM + utf16le(u"[Error][TrellEngine] Out of memory.\r\n"
                                       u"[Warning][TrellStudio] Caf\u00e9 \u4e2d\r\n"
                                       u"[Info][TrellBuild] built\r\n"
                                       u"[Info][Custom] free category\r\n"
                                       u"[][] m\r\n[Error][] \r\n"));
}

TEST_F(LogTest, LinesAroundTheStackBufferAreWrittenWhole)
{
    start(20000);
    // "[Info][C] " + message + "\r\n" is 12 units plus the message.
    const std::u16string atLimit(512 - 12, u'a');   // 1024 bytes
    const std::u16string overLimit(513 - 12, u'b'); // 1026 bytes
    const std::u16string long_(3000, u'\u00fc');
    CLogProbe::writeLog(u"Info", u"C", atLimit.c_str());
    CLogProbe::writeLog(u"Info", u"C", overLimit.c_str());
    CLogProbe::writeLog(u"Info", u"C", long_.c_str());
    EXPECT_EQ(logFile(), BOM + utf16le(u"[Info][C] " + atLimit + u"\r\n") +
                             utf16le(u"[Info][C] " + overLimit + u"\r\n") + utf16le(u"[Info][C] " + long_ + u"\r\n"));
}

// ---- The size rule at start ------------------------------------------------------------

TEST_F(LogTest, LimitOf10240OrEmptyPathMeansNoFile)
{
    start(10240);
    CLogEngine::error2(u"x");
    EXPECT_FALSE(logExists());
    EXPECT_FALSE(CLogProbe::hasFile());

    start(0);
    EXPECT_FALSE(logExists());

    start(1000000, "", "");
    CLogEngine::error2(u"x");
    EXPECT_FALSE(CLogProbe::hasFile());
    for (const auto& entry : fs::directory_iterator(m_temp.native()))
        EXPECT_EQ(entry.path().filename(), "config.xml");
}

TEST_F(LogTest, ExistingFileIsKeptUpToTheLimitAndTruncatedOverIt)
{
    struct tagCase
    {
        const char* name;
        bool bExists;
        std::string strOld;
        unsigned int uiLimit;
        std::string strKept;
    };
    const std::string atLimit = BOM + std::string(10241 - 2, 'x');
    const tagCase cases[] = {
        {"no file, limit 10241 opens it", false, "", 10241, BOM},
        {"empty file gets the mark", true, "", 20000, BOM},
        {"file of exactly the limit is appended", true, atLimit, 10241, atLimit},
        {"file one byte over is truncated", true, atLimit + "x", 10241, BOM},
    };
    for (const tagCase& c : cases) {
        SCOPED_TRACE(c.name);
        CLog::unInitialize();
        fs::remove(m_temp.native("log/test.log"));
        if (c.bExists)
            m_temp.writeFile("log/test.log", c.strOld);
        start(c.uiLimit);
        EXPECT_TRUE(CLogProbe::hasFile());
        EXPECT_EQ(logFile(), c.strKept);
        CLogEngine::error2(u"e");
        EXPECT_EQ(logFile(), c.strKept + utf16le(u"[Error][TrellEngine] e\r\n"));
    }
}

TEST_F(LogTest, FileMayOutgrowTheLimitDuringARun)
{
    start(10241);
    const std::u16string chunk(2000, u'z');
    for (int i = 0; i < 4; ++i)
        CLogEngine::info(chunk.c_str());
    EXPECT_GT(fs::file_size(m_temp.native("log/test.log")), 10241u);
    // ...and is cut back at the next start.
    CLog::unInitialize();
    CLog::initialize();
    EXPECT_EQ(logFile(), BOM);
}

TEST_F(LogTest, UnopenableFileDisablesTheFileButNotTheSink)
{
    fs::create_directories(m_temp.native("log/test.log")); // a folder in the file's place
    start(20000);
    EXPECT_FALSE(CLogProbe::hasFile());
    // The failed open is itself reported, as every failed file open is.
    CLogEngine::error2(u"still delivered");
    EXPECT_EQ(m_outer.entries(),
              (Entries{{u"Warning", u"TrellEngine", u"Maybe administrator or root authority is required to run this program."},
                       {u"Error", u"TrellEngine", u"still delivered"}}));
}

TEST_F(LogTest, UnInitializeStopsTheFileAndASecondInitializeReplacesIt)
{
    start(20000);
    CLogEngine::info(u"one");
    CLog::unInitialize();
    EXPECT_FALSE(CLogProbe::hasFile());
    CLogEngine::info(u"two"); // the sink only
    start(20000, "", "other.log");
    CLogEngine::info(u"three");
    EXPECT_EQ(logFile(), BOM + utf16le(u"[Info][TrellEngine] one\r\n"));
    EXPECT_EQ(m_temp.readFile("other.log"), BOM + utf16le(u"[Info][TrellEngine] three\r\n"));
    EXPECT_EQ(m_outer.entries().size(), 3u);
}

// ---- Levels --------------------------------------------------------------------------------

// Every entry point against each level switch; an entry reaches the file,
// the console and the sink, or none of them.
TEST_F(LogTest, LevelSwitchesGateEveryOutput)
{
    const struct
    {
        const char* levels;
        std::string enabled; // Info, Warning, Error, Debug
        Entries expected;
    } rows[] = {
        {"", "IWE",
         {{u"Info", u"TrellEngine", u"i"}, {u"Warning", u"TrellStudio", u"w"}, {u"Error", u"TrellBuild", u"e"},
          {u"Info", u"X", u"i"}}},
        {"debug=\"true\" info=\"false\"", "WED",
         {{u"Warning", u"TrellStudio", u"w"}, {u"Error", u"TrellBuild", u"e"}, {u"Debug", u"TrellEngine", u"d"},
          {u"Debug", u"X", u"d"}, {u"Debug", u"X", u"d2"}}},
        {"info=\"false\" warning=\"false\" error=\"false\" debug=\"false\"", "", {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.levels);
        CLog::unInitialize();
        fs::remove(m_temp.native("log/test.log"));
        const std::size_t before = m_outer.entries().size();
        start(20000, row.levels, "log/test.log", "true");
        EXPECT_EQ(std::string(CLog::isInfoEnabled() ? "I" : "") + (CLog::isWarningEnabled() ? "W" : "") +
                      (CLog::isErrorEnabled() ? "E" : "") + (CLog::isDebugEnabled() ? "D" : ""),
                  row.enabled);
        testing::internal::CaptureStdout();
        CLogEngine::info(u"i");
        CLogStudio::warning2(CString(u"w"));
        CLogBuild::error2(u"e");
        CLogEngine::debug2(u"d");
        CLog::debug2(u"X", u"d");
        CLog::debug2(CString(u"X"), CString(u"d2"));
        CLog::info(u"X", u"i");
        const std::string console = testing::internal::GetCapturedStdout();

        const Entries all = m_outer.entries();
        EXPECT_EQ(Entries(all.begin() + static_cast<std::ptrdiff_t>(before), all.end()), row.expected);
        std::u16string lines;
        for (const tagEntry& entry : row.expected)
            lines += u"[" + entry.level + u"][" + entry.category + u"] " + entry.message + u"\r\n";
        EXPECT_EQ(console, std::string(lines.begin(), lines.end()));
        EXPECT_EQ(logFile(), BOM + utf16le(lines));
    }
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
    CLog::initialize(); // nothing to open
    EXPECT_FALSE(CLogProbe::hasFile());
    EXPECT_EQ(logEach(), DEFAULT_LINES);
    EXPECT_EQ(m_outer.entries().size(), 3u);
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

TEST_F(LogTest, TerminalPrintsTheLineAsUtf8)
{
    start(0, "", "", "true");
    testing::internal::CaptureStdout();
    CLogEngine::warning2(u"Caf\u00e9 50%s");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "[Warning][TrellEngine] Caf\xC3\xA9 50%s\r\n");
}

// ---- Sink ------------------------------------------------------------------------------------

TEST_F(LogTest, SinkReceivesEveryWrittenEntryAsSeparateTexts)
{
    EXPECT_EQ(CLog::getLogOuter(), &m_outer);
    CLogEngine::error2(u"no file yet"); // no initialize: still reaches the sink
    CLogProbe::writeLog(u"Custom", u"Cat", u"m%d");
    const Entries expected = {{u"Error", u"TrellEngine", u"no file yet"}, {u"Custom", u"Cat", u"m%d"}};
    EXPECT_EQ(m_outer.entries(), expected);

    CLog::setLogOuter(nullptr);
    CLogEngine::error2(u"unseen");
    EXPECT_EQ(m_outer.entries(), expected);
}

namespace {

// While handling an entry, lets another thread write to the file and waits
// for it: that thread would block forever if the sink ran under the lock.
class CCrossThreadOuter : public ILogOuter
{
public:
    void outputLog(const CString&, const CString&, const CString& message) override
    {
        if (str(message) != u"outer")
            return;
        std::thread helper([this] {
            CLogEngine::info(u"from helper");
            std::lock_guard<std::mutex> guard(m_mutex);
            m_bHelperDone = true;
            m_condition.notify_all();
        });
        {
            std::unique_lock<std::mutex> lock(m_mutex);
            m_bFinishedInTime =
                m_condition.wait_for(lock, std::chrono::seconds(20), [this] { return m_bHelperDone; });
        }
        helper.join();
        // And the same thread may log again from the sink.
        CLogEngine::info(u"from sink");
    }
    bool finishedInTime() const { return m_bFinishedInTime; }

private:
    std::mutex m_mutex;
    std::condition_variable m_condition;
    bool m_bHelperDone = false;
    bool m_bFinishedInTime = false;
};

} // namespace

TEST_F(LogTest, SinkIsCalledOutsideTheLock)
{
    CCrossThreadOuter outer;
    CLog::setLogOuter(&outer);
    start(20000);
    CLogEngine::info(u"outer");
    EXPECT_TRUE(outer.finishedInTime()) << "another thread could not write while the sink ran";
    EXPECT_EQ(logFile(), BOM + utf16le(u"[Info][TrellEngine] outer\r\n"
                                       u"[Info][TrellEngine] from helper\r\n"
                                       u"[Info][TrellEngine] from sink\r\n"));
}

TEST_F(LogTest, ConcurrentEntriesStayWhole)
{
    start(1000000);
    const int THREADS = 4;
    const int LINES = 200;
    // Each thread writes its own long text; a torn line matches none of them.
    std::vector<std::u16string> texts;
    std::vector<std::string> lines;
    for (int t = 0; t < THREADS; ++t) {
        texts.push_back(u"thread " + std::u16string(300, static_cast<char16_t>(u'a' + t)));
        lines.push_back(utf16le(u"[Info][TrellEngine] " + texts[t] + u"\r\n"));
    }
    std::vector<std::thread> threads;
    for (int t = 0; t < THREADS; ++t) {
        threads.emplace_back([&texts, t] {
            for (int i = 0; i < LINES; ++i)
                CLogEngine::info(texts[t].c_str());
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(m_outer.entries().size(), static_cast<std::size_t>(THREADS * LINES));

    const std::string content = logFile();
    ASSERT_EQ(content.compare(0, 2, BOM), 0);
    std::vector<int> counts(THREADS, 0);
    for (std::size_t pos = 2; pos < content.size();) {
        int t = 0;
        while (t < THREADS && content.compare(pos, lines[t].size(), lines[t]) != 0)
            ++t;
        ASSERT_LT(t, THREADS) << "torn line at byte " << pos;
        ++counts[t];
        pos += lines[t].size();
    }
    for (int t = 0; t < THREADS; ++t)
        EXPECT_EQ(counts[t], LINES) << t;
}

// ---- Lines written by other parts of the library ---------------------------------------

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
    const auto entries = m_outer.entries();
    ASSERT_EQ(entries.size(), 2u);
    const std::u16string id = entries[0].message.substr(12, entries[0].message.find(u',') - 12);
    EXPECT_NE(id, u"0");
    EXPECT_EQ(entries, (Entries{{u"Info", u"TrellEngine", u"Thread (ID: " + id + u", Name: worker) starts."},
                                {u"Info", u"TrellEngine", u"Thread (ID: " + id + u", Name: worker) exits."}}));

    // They follow the info switch.
    start(20000, "info=\"false\"");
    worker.startThread();
    worker.waitForThreadStop();
    EXPECT_EQ(m_outer.entries().size(), 2u);
}
