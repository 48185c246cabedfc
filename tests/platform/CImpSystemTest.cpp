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
#include <functional>
#include <memory>
#include <thread>

#include <signal.h>
#include <sys/stat.h>

using namespace Trell;

namespace {

const std::u16string CHILD = wide(std::string(ECS_TEST_CHILD));

// Every child records its pid and arguments in the test's folder.
class SystemProcess : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(m_temp.isValid() && m_pSystem); }

    // The arguments the last child recorded (pid first), then forgets them.
    std::vector<std::string> takeRecord()
    {
        const std::vector<std::string> aryLines = readLines(m_strRecord);
        std::filesystem::remove(m_strRecord);
        return aryLines;
    }
    bool recorded() const { return std::filesystem::exists(m_strRecord); }
    // A script in the test's own bin folder.
    std::string script(const std::string& strName, const std::string& strBody)
    {
        m_temp.writeFile("bin/" + strName, "#!/bin/sh\n" + strBody + "\n");
        chmod(m_temp.native("bin/" + strName).c_str(), 0755);
        return m_temp.native("bin");
    }
    CString capture(const std::u16string& strCommand, bool bWait)
    {
        CString strOutput(u"stale");
        m_pSystem->executeSystemCommand(text(strCommand), bWait, strOutput);
        return strOutput;
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
    const struct
    {
        std::u16string path;
        std::u16string parameters;
        std::vector<std::string> args;
    } aCases[] = {
        {CHILD, u"a b", {"a b"}},
        {strBackslashed, u"x", {"x"}},
        {u"", CHILD + u" one \"two three\" a\\\"b", {"one", "two three", "a\"b"}},
        {u"", u"\"" + CHILD + u"\" a\\\\\\\\\"b c\" d\\e", {"a\\\\b c", "d\\e"}},
        {u"", CHILD + u" \"a\"\"b\" \"\" \"open", {"a\"b", "", "open"}},
        {u"", u" \t" + CHILD + u"\t\tx  ", {"x"}},
        {u"", u"\"" + CHILD + u"\"y z", {"y", "z"}},
        {u"", CHILD + u" h\u00e9 \U0001F600", {"h\xC3\xA9", "\xF0\x9F\x98\x80"}},
    };
    for (const auto& c : aCases) {
        SCOPED_TRACE(std::string(c.parameters.begin(), c.parameters.end()));
        m_pSystem->startProcess(text(c.path), text(c.parameters), false, true);
        std::vector<std::string> aryRecord = takeRecord();
        ASSERT_FALSE(aryRecord.empty());
        EXPECT_EQ(std::vector<std::string>(aryRecord.begin() + 1, aryRecord.end()), c.args);
    }
}

TEST_F(SystemProcess, WaitsForTheChildOnlyWhenAsked)
{
    const std::function<void(const std::u16string&, bool)> aStarters[] = {
        [this](const std::u16string& strLine, bool bWait) {
            m_pSystem->startProcess(CString(u""), text(strLine), true, bWait);
        },
        [this](const std::u16string& strLine, bool bWait) { m_pSystem->executeSystemCommand(text(strLine), bWait); },
    };
    int iGate = 0;
    for (const auto& start : aStarters) {
        std::string strGate = m_temp.native("gate" + std::to_string(++iGate));
        start(CHILD + u" hold " + wide(strGate), false);
        EXPECT_FALSE(recorded());
        m_temp.writeFile("gate" + std::to_string(iGate), "");
        EXPECT_TRUE(waitUntil([this] { return recorded(); }));
        takeRecord();

        strGate = m_temp.native("gate" + std::to_string(++iGate));
        std::atomic<bool> bReturned{false};
        std::thread waiter([&] {
            start(CHILD + u" hold " + wide(strGate), true);
            bReturned = true;
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        EXPECT_FALSE(bReturned);
        m_temp.writeFile("gate" + std::to_string(iGate), "");
        waiter.join();
        EXPECT_TRUE(recorded());
        takeRecord();
    }
}

TEST_F(SystemProcess, ChildrenLeftRunningAreReapedByLaterCalls)
{
    m_pSystem->startProcess(CString(u""), text(CHILD + u" quiet"), false, false);
    ASSERT_TRUE(waitUntil([this] { return recorded(); }));
    const pid_t pid = std::stoi(takeRecord()[0]);
    // A zombie still answers kill(pid, 0); a reaped child does not.
    EXPECT_TRUE(waitUntil([&] {
        m_pSystem->executeSystemCommand(CString(u""), false);
        return kill(pid, 0) != 0 && errno == ESRCH;
    }));
}

TEST_F(SystemProcess, WhatCannotStartIsIgnored)
{
    m_pSystem->startProcess(CString(u"/no/such/program"), CString(u"x"), true, true);
    m_pSystem->startProcess(CString(u""), CString(u"no_such_program_anywhere x"), false, true);
    m_pSystem->startProcess(CString(), CString(u" "), false, true);
    m_pSystem->executeSystemCommand(CString(u""), true);
    EXPECT_FALSE(recorded());
    EXPECT_EQ(wide(capture(u"", true)), u"");
}

TEST_F(SystemProcess, CapturedOutput)
{
    const std::u16string strAccents(600, u'\u00E9'); // 1200 bytes: byte 1023 cuts a character
    const struct
    {
        std::u16string command;
        bool wait;
        std::u16string output;
    } aCases[] = {
        {CHILD + u" print hello", true, u"hello"},
        {CHILD + u" print hello", false, u"hello"}, // the read waits for the first bytes
        {u"true", true, u""},
        {u"echo err 1>&2", true, u"err\n"},
        {CHILD + u" stdin", true, u"eof"},
        {CHILD + u" print 'h\u00E9 \U0001F600'", true, u"h\u00E9 \U0001F600"},
        {CHILD + u" spew 3000000", true, std::u16string(1023, u'x')},
        {CHILD + u" print " + strAccents, true, std::u16string(511, u'\u00E9')},
    };
    for (const auto& c : aCases) {
        SCOPED_TRACE(std::string(c.command.begin(), c.command.end()));
        EXPECT_EQ(wide(capture(c.command, c.wait)), c.output);
    }
    EXPECT_NE(wide(capture(u"no_such_command_xyz", true)).find(u"not found"), std::u16string::npos);
}

TEST_F(SystemProcess, ASilentChildThatNeverEndsCostsBoundedWaits)
{
    for (bool bWait : {true, false})
        EXPECT_EQ(wide(capture(CHILD + u" hold " + wide(m_temp.native("gate")), bWait)), u"");
    m_temp.writeFile("gate", "");
    EXPECT_TRUE(waitUntil([this] { return recorded(); }));
}

TEST_F(SystemProcess, BatchFilesGoToCmdAfterTheFirstCharacterOnly)
{
    CEnvironment path("PATH", (script("cmd", "printf '[%s]' \"$@\"") + ":/usr/bin:/bin").c_str());
    EXPECT_EQ(wide(capture(u"run.bat x", true)), u"[run.bat x]");
    EXPECT_EQ(wide(capture(u"/bin/echo a.bat", true)), u"[/bin/echo a.bat]");
    const std::u16string strDirect = wide(capture(u".bat; echo direct", true));
    EXPECT_EQ(strDirect.find(u'['), std::u16string::npos);
    EXPECT_NE(strDirect.find(u"direct\n"), std::u16string::npos);
}

TEST_F(SystemProcess, UrlsOpenThroughXdgOpenOrALoggedWarning)
{
    CLogRecorder log;
    const std::u16string strURL = u"http://example.org/a b?\u00E9";
    {
        CEnvironment path("PATH", m_temp.native("nothing").c_str());
        m_pSystem->openURL(text(strURL));
    }
    {
        CEnvironment path("PATH", script("xdg-open", "#").c_str());
        chmod(m_temp.native("bin/xdg-open").c_str(), 0644); // not executable: not found either
        m_pSystem->openURL(text(strURL));
        script("xdg-open", "exec '" + std::string(ECS_TEST_CHILD) + "' url \"$@\"");
        m_pSystem->openURL(text(strURL));
        ASSERT_TRUE(waitUntil([this] { return recorded(); }));
        EXPECT_EQ(takeRecord().at(2), "http://example.org/a b?\xC3\xA9");
        m_temp.writeFile("bin/xdg-open", "#!/no/such/shell\n");
        m_pSystem->openURL(text(strURL));
    }
    const std::u16string strNotFound = u"Warning|Can't open URL " + strURL + u": xdg-open was not found on PATH.";
    EXPECT_EQ(log.take(), (std::vector<std::u16string>{
                              strNotFound, strNotFound,
                              u"Warning|Can't open URL " + strURL + u": xdg-open cannot be started."}));
}
