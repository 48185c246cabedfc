#include <system/CSystem.h>

#include <configuration/CConfigParser.h>
#include <platform/CWaitObject.h>
#include <system/CFile.h>
#include <system/CLibraryLoader.h>
#include <text/CString.h>

#include "TempFolder.h"
#include "support/ChildProcess.h"
#include "support/WaitUntil.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace Trell;

TEST(CSystem, ParseBinInfoAnswersVersionAndHelpOnly)
{
    const std::vector<std::u16string> helpTail = {
        u"Info|  -v\tDisplay version information.", u"Info|  version\tDisplay version information.",
        u"Info|  -h\tDisplay help information.", u"Info|  help\tDisplay help information."};
    const auto help = [&](const std::u16string& strApp, const std::u16string& strRun) {
        std::vector<std::u16string> lines = {u"Info|Usage: " + strApp + u" [options]", u"Info|Options:", strRun};
        lines.insert(lines.end(), helpTail.begin(), helpTail.end());
        return lines;
    };
    const std::vector<std::u16string> version = {u"Info|App Enterprise Version 2.8.2 Build Date 2021.04.30"};
    const std::vector<std::u16string> engineHelp =
        help(u"TrellEngine", u"Info|  [Path]\tRun TrellEngine with the full path of project root folder.");
    const struct
    {
        std::vector<const char*> args;
        const char16_t* app;
        bool result;
        std::vector<std::u16string> log;
    } aCases[] = {
        {{"bin"}, u"App", false, {}},
        {{"bin", "-v", "x"}, u"App", false, {}},
        {{"bin", "-v"}, u"App", true, version},
        {{"bin", "-V"}, u"App", true, version},
        {{"bin", "VeRsIoN"}, u"App", true, version},
        {{"bin", "-v"}, nullptr, true, {u"Info| Enterprise Version 2.8.2 Build Date 2021.04.30"}},
        {{"bin", "-h"}, u"TrellEngine", true, engineHelp},
        {{"bin", "HELP"}, u"TrellEngine", true, engineHelp},
        {{"bin", "help"}, u"TrellStudio", true, help(u"TrellStudio", u"Info|  void\tRun TrellStudio")},
        {{"bin", "help"}, u"trellstudio", true,
         help(u"trellstudio", u"Info|  [Path]\tRun trellstudio with the full path of project root folder.")},
        {{"bin", "-vv"}, u"App", false, {}},
        {{"bin", ""}, u"App", false, {}},
        {{"bin", "\xFF\xFE"}, u"App", false, {}},
    };
    for (const auto& c : aCases) {
        SCOPED_TRACE(c.args.size() > 1 ? c.args[1] : "(none)");
        CLogRecorder log;
        std::vector<char*> argv;
        for (const char* pszArg : c.args)
            argv.push_back(const_cast<char*>(pszArg));
        EXPECT_EQ(CSystem::parseBinInfo(static_cast<int>(argv.size()), argv.data(), c.app), c.result);
        EXPECT_EQ(log.take(), c.log);
    }
    EXPECT_FALSE(CSystem::parseBinInfo(2, nullptr, u"App"));
}

TEST(CSystem, ParseBinInfoPrintsNothingWithInfoSwitchedOff)
{
    CTempFolder temp;
    temp.writeFile("config.xml", "<c><log_level info=\"false\"/></c>");
    ASSERT_TRUE(CConfigParser::getInstance()->load(temp.path("config.xml")));
    CLogRecorder log;
    char achBin[] = "bin";
    char achHelp[] = "help";
    char* argv[] = {achBin, achHelp};
    EXPECT_TRUE(CSystem::parseBinInfo(2, argv, u"App"));
    EXPECT_EQ(log.take(), std::vector<std::u16string>());
    CConfigParser::deleteInstance();
}

TEST(CSystem, EveryOperationReachesThePlatform)
{
    CTempFolder temp;
    CLogRecorder log;
    CEnvironment noDisplay("DISPLAY", nullptr);
    CEnvironment record("ECS_CHILD_RECORD", temp.native("record").c_str());
    const std::u16string strChild = wide(std::string(ECS_TEST_CHILD));

    CString strOutput;
    CSystem::executeSystemCommand(text(strChild + u" print captured"), true, strOutput);
    EXPECT_EQ(wide(strOutput), u"captured");
    CSystem::executeSystemCommand(text(strChild + u" shell"), true);
    EXPECT_EQ(readLines(temp.native("record")).at(1), "shell");
    CSystem::startProcess(text(strChild), CString(u"process"), false, true);
    EXPECT_EQ(readLines(temp.native("record")).at(1), "process");

    CSystem::writeToClipboard(CString(u"clip"));
    EXPECT_EQ(wide(CSystem::readFromClipboard()), u"clip");

    CEnvironment path("PATH", temp.native().c_str());
    CSystem::openURL(CString(u"u"));
    EXPECT_EQ(log.take(), (std::vector<std::u16string>{u"Warning|Can't open URL u: xdg-open was not found on PATH."}));
}

// Children never inherit the library's own descriptors: open files, the log
// file, shared memory behind a named wait object.
TEST(CSystem, ChildrenInheritNoneOfTheLibrarysDescriptors)
{
    CTempFolder temp;
    temp.writeFile("config.xml", "<c><log_output file_size=\"20000\" file_path_win=\"engine.log\"/></c>");
    ASSERT_TRUE(CConfigParser::getInstance()->load(temp.path("config.xml")));
    const std::set<int> setBefore = inheritableDescriptors();
    CLog::initialize();
    CFile file;
    ASSERT_TRUE(file.open(temp.path("data.bin"), false));
    CWaitObject event(CString(u"ecs_cloexec_test_event"));
    std::unique_ptr<CLibraryLoader> pLoader(new CLibraryLoader());
    pLoader->setPath(CString(wide(std::string(ECS_TEST_MODULE)).c_str()));
    ASSERT_TRUE(pLoader->load());
    ASSERT_TRUE(std::filesystem::exists(temp.native("engine.log")));
    EXPECT_EQ(inheritableDescriptors(), setBefore);

    const auto [setHeld, setExpected] = childDescriptors([](const CString& strCommand) {
        CString strOutput;
        CSystem::executeSystemCommand(strCommand, true, strOutput);
        return strOutput;
    });
    EXPECT_EQ(setHeld, setExpected);
    CLog::unInitialize();
    CConfigParser::deleteInstance();
}
