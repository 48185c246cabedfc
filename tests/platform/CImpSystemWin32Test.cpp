// The Windows process, pipe, clipboard and MP3 services, with the test child
// program (tests/support/ChildHelper.cpp) as the started process.
#include <platform/IPlayerMP3.h>
#include <platform/ISystem.h>
#include <platform/PlatformImp.h>
#include <text/CString.h>

#include "support/ChildProcess.h"
#include "support/WaitUntil.h"
#include "system/TempFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include <windows.h>

using namespace Trell;

namespace {

const std::u16string CHILD = u"\"" + ascii(ECS_TEST_CHILD) + u"\"";

std::u16string capture(ISystem& system, const std::u16string& strCommand, bool bWait)
{
    CString strOutput(u"stale");
    system.executeSystemCommand(text(strCommand), bWait, strOutput);
    return wide(strOutput);
}

} // namespace

TEST(CImpSystemWin32, CapturedOutputIsOneBoundedReadAndStartProcessWaitsOnlyWhenAsked)
{
    std::unique_ptr<ISystem> pSystem(PlatformImp::createSystem());
    CTempFolder folder;
    const std::u16string strHold = CHILD + u" hold " + ascii(folder.native("gate"));
    // The command, whether to wait, and the output.
    const std::tuple<std::u16string, bool, std::u16string> aCases[] = {
        {CHILD + u" print hello", true, u"hello"},
        {CHILD + u" print hello", false, u"hello"}, // the read waits for the first bytes
        {CHILD + u" stdin", true, u"eof"},
        {CHILD + u" spew 3000000", true, std::u16string(1023, u'x')},
        {strHold, true, u""}, // silent and never ending: both waits end
        {strHold, false, u""},
        {u"no_such_program_xyz", true, u""},
        {u"", true, u""},
    };
    for (const auto& [command, wait, output] : aCases)
        EXPECT_EQ(capture(*pSystem, command, wait), output) << std::string(command.begin(), command.end());
    std::ofstream(folder.native("gate")).put('\n');

    const std::string strGate = folder.native("gate2");
    const std::string strRecord = folder.native("record");
    // The child writes its arguments to the record file named in its
    // environment, which it inherits from this process.
    CEnvironment record("ECS_CHILD_RECORD", strRecord.c_str());
    pSystem->startProcess(text(ascii(ECS_TEST_CHILD)), text(u"hold " + ascii(strGate)), false, false);
    // Returned while the child holds.
    EXPECT_FALSE(std::filesystem::exists(strRecord));
    std::ofstream(strGate).put('\n');
    EXPECT_TRUE(waitUntil([&] { return std::filesystem::exists(strRecord); }, std::chrono::seconds(20)));
    std::filesystem::remove(strRecord);
    // Waited for; the path and the parameters each go in quotes: one argument.
    pSystem->startProcess(text(ascii(ECS_TEST_CHILD)), text(u"a b"), true, true);
    const std::vector<std::string> aryLines = readLines(strRecord);
    ASSERT_EQ(2u, aryLines.size());
    EXPECT_EQ("a b", aryLines[1]);
}

TEST(CImpSystemWin32, ClipboardKeepsTheLastText)
{
    std::unique_ptr<ISystem> pSystem(PlatformImp::createSystem());
    pSystem->writeToClipboard(CString(u"first \u00E9\U0001F600"));
    EXPECT_EQ(u"first \u00E9\U0001F600", wide(pSystem->readFromClipboard()));
    // Empty text changes nothing.
    pSystem->writeToClipboard(CString(u""));
    EXPECT_EQ(u"first \u00E9\U0001F600", wide(pSystem->readFromClipboard()));
    pSystem->writeToClipboard(CString(u"second"));
    EXPECT_EQ(u"second", wide(pSystem->readFromClipboard()));
}

TEST(CImpPlayerMP3Win32, AFileThatCannotOpenLeavesNothingLoaded)
{
    CLogRecorder log;
    std::unique_ptr<IPlayerMP3> pPlayer(PlatformImp::createPlayerMP3());
    EXPECT_FALSE(pPlayer->load(CString(u"C:\\no\\such\\file.mp3")) || pPlayer->isLoaded() || pPlayer->play());
    EXPECT_EQ(pPlayer->getTotalTime() + pPlayer->getCurrentTime(), 0u);
    pPlayer->seekToTime(1);
    pPlayer->stop();
    const std::vector<std::u16string> aryLines = log.take();
    ASSERT_EQ(1u, aryLines.size());
    EXPECT_EQ(0u, aryLines[0].find(u"Warning|MP3 player: opening the file failed (MCI error "));
}
