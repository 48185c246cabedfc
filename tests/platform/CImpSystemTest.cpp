#include <platform/ISystem.h>
#include <platform/PlatformImp.h>
#include <text/CString.h>

#include "Reaper.h"
#include "support/ChildProcess.h"
#include "support/WaitUntil.h"
#include "system/TempFolder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <memory>
#include <thread>
#include <tuple>

#include <signal.h>
#include <sys/stat.h>

using namespace Trell;

namespace {

const std::u16string CHILD = ascii(ECS_TEST_CHILD);

// Every child records its pid and arguments in the test's folder.
class SystemProcess : public ::testing::Test
{
protected:
    // The arguments the last child recorded (pid first), then forgets them.
    std::vector<std::string> takeRecord()
    {
        const std::vector<std::string> aryLines = readLines(m_strRecord);
        std::filesystem::remove(m_strRecord);
        return aryLines;
    }
    bool recorded() const { return std::filesystem::exists(m_strRecord); }
    // Writes an executable script into the test's bin folder and returns that folder.
    std::string script(const std::string& strName, const std::string& strBody)
    {
        m_temp.writeFile("bin/" + strName, "#!/bin/sh\n" + strBody + "\n");
        chmod(m_temp.native("bin/" + strName).c_str(), 0755);
        return m_temp.native("bin");
    }
    std::u16string capture(const std::u16string& strCommand, bool bWait)
    {
        CString strOutput(u"stale");
        m_pSystem->executeSystemCommand(text(strCommand), bWait, strOutput);
        return wide(strOutput);
    }

    CReaper m_reaper{"process test"};
    CTempFolder m_temp;
    std::string m_strRecord = m_temp.native("record");
    CEnvironment m_record{"ECS_CHILD_RECORD", m_strRecord.c_str()};
    std::unique_ptr<ISystem> m_pSystem{PlatformImp::createSystem()};
};

} // namespace

TEST_F(SystemProcess, CommandLinesReachTheProgramAsItsArgumentsWould)
{
    std::u16string strBackslashed = CHILD;
    std::replace(strBackslashed.begin(), strBackslashed.end(), u'/', u'\\');
    // The path, the parameters, and the arguments the program gets.
    const std::tuple<std::u16string, std::u16string, std::vector<std::string>> aCases[] = {
        {CHILD, u"a b", {"a b"}},
        {strBackslashed, u"x", {"x"}},
        {u"", CHILD + u" one \"two three\" a\\\"b", {"one", "two three", "a\"b"}},
        {u"", u"\"" + CHILD + u"\" a\\\\\\\\\"b c\" d\\e", {"a\\\\b c", "d\\e"}},
        {u"", u" \t" + CHILD + u"\t\"a\"\"b\" \"\" \"open", {"a\"b", "", "open"}},
        {u"", u"\"" + CHILD + u"\"y h\u00E9\U0001F600", {"y", "h\xC3\xA9\xF0\x9F\x98\x80"}},
    };
    for (const auto& [path, parameters, args] : aCases) {
        m_pSystem->startProcess(text(path), text(parameters), false, true);
        std::vector<std::string> aryRecord = takeRecord();
        ASSERT_FALSE(aryRecord.empty());
        EXPECT_EQ(std::vector<std::string>(aryRecord.begin() + 1, aryRecord.end()), args);
    }
    // What cannot start is ignored.
    m_pSystem->startProcess(CString(u"/no/such/program"), CString(u"x"), true, true);
    m_pSystem->startProcess(CString(), CString(u" "), false, true);
    m_pSystem->executeSystemCommand(CString(u""), true);
    EXPECT_EQ(capture(u"", true), u"");
}

// Either starter returns at once unless asked to wait. A child left running
// is reaped by a later call: a zombie still answers kill(pid, 0), a reaped
// child does not.
TEST_F(SystemProcess, WaitsForTheChildOnlyWhenAskedAndReapsItLater)
{
    using Start = void (*)(ISystem&, const CString&, bool);
    const Start starters[] = {
        [](ISystem& system, const CString& strLine, bool bWait) {
            system.startProcess(CString(u""), strLine, true, bWait);
        },
        [](ISystem& system, const CString& strLine, bool bWait) { system.executeSystemCommand(strLine, bWait); },
    };
    pid_t unwaited = 0;
    int iGate = 0;
    for (const Start start : starters) {
        for (bool bWait : {false, true}) {
            const std::string strGate = "gate" + std::to_string(++iGate);
            std::atomic<bool> bReturned{false};
            std::thread starter([&] {
                start(*m_pSystem, text(CHILD + u" hold " + ascii(m_temp.native(strGate))), bWait);
                bReturned = true;
            });
            if (bWait)
                std::this_thread::sleep_for(std::chrono::milliseconds(100));
            else
                starter.join(); // returns while the child holds
            EXPECT_NE(bReturned, bWait);
            EXPECT_FALSE(recorded());
            m_temp.writeFile(strGate, "");
            if (bWait)
                starter.join();
            ASSERT_TRUE(bWait ? recorded() : waitUntil([this] { return recorded(); }));
            const pid_t pid = std::stoi(takeRecord().at(0));
            unwaited = unwaited ? unwaited : pid; // the first: started directly, never waited for
        }
    }
    EXPECT_TRUE(waitUntil([&] {
        m_pSystem->executeSystemCommand(CString(u""), false);
        return kill(unwaited, 0) != 0 && errno == ESRCH;
    }));
}

TEST_F(SystemProcess, CapturedOutputIsOneBoundedRead)
{
    const std::u16string strHold = CHILD + u" hold " + ascii(m_temp.native("gate"));
    // The command, whether to wait, and the output.
    const std::tuple<std::u16string, bool, std::u16string> aCases[] = {
        {CHILD + u" print hello", true, u"hello"},
        {CHILD + u" print hello", false, u"hello"}, // the read waits for the first bytes
        {u"true", true, u""},
        {u"echo err 1>&2", true, u"err\n"},
        {CHILD + u" stdin", true, u"eof"},
        {CHILD + u" print 'h\u00E9 \U0001F600'", true, u"h\u00E9 \U0001F600"},
        {CHILD + u" spew 3000000", true, std::u16string(1023, u'x')},
        // 1200 bytes: byte 1023 cuts a character, which is left out.
        {CHILD + u" print " + std::u16string(600, u'\u00E9'), true, std::u16string(511, u'\u00E9')},
        {strHold, true, u""}, // silent and never ending: both waits end
        {strHold, false, u""},
    };
    for (const auto& [command, wait, output] : aCases)
        EXPECT_EQ(capture(command, wait), output) << std::string(command.begin(), command.end());
    EXPECT_NE(capture(u"no_such_command_xyz", true).find(u"not found"), std::u16string::npos);

    // A batch file goes to "cmd" unless ".bat" starts the command.
    CEnvironment path("PATH", (script("cmd", "printf '[%s]' \"$@\"") + ":/usr/bin:/bin").c_str());
    EXPECT_EQ(capture(u"run.bat x", true), u"[run.bat x]");
    EXPECT_EQ(capture(u"/bin/echo a.bat", true), u"[/bin/echo a.bat]");
    EXPECT_EQ(capture(u".bat; echo direct", true).find(u'['), std::u16string::npos);
}

TEST_F(SystemProcess, UrlsOpenThroughXdgOpenOrALoggedWarning)
{
    CLogRecorder log;
    const CString strURL(u"http://example.org/a b?\u00E9");
    CEnvironment path("PATH", script("xdg-open", "#").c_str());
    chmod(m_temp.native("bin/xdg-open").c_str(), 0644); // not executable: not found
    m_pSystem->openURL(strURL);
    script("xdg-open", "exec '" + std::string(ECS_TEST_CHILD) + "' url \"$@\"");
    m_pSystem->openURL(strURL);
    ASSERT_TRUE(waitUntil([this] { return recorded(); }));
    EXPECT_EQ(takeRecord().at(2), "http://example.org/a b?\xC3\xA9");
    m_temp.writeFile("bin/xdg-open", "#!/no/such/shell\n");
    m_pSystem->openURL(strURL);
    EXPECT_EQ(log.take(), (std::vector<std::u16string>{
                              u"Warning|Can't open URL " + wide(strURL) + u": xdg-open was not found on PATH.",
                              u"Warning|Can't open URL " + wide(strURL) + u": xdg-open cannot be started."}));
}
