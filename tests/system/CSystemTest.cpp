#include <system/CSystem.h>

#include <configuration/CConfigParser.h>
#include <platform/CWaitObject.h>
#include <system/CFile.h>
#include <text/CString.h>

#include "TempFolder.h"
#include "support/ChildProcess.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <tuple>

using namespace Trell;

TEST(CSystem, ParseBinInfoAnswersVersionAndHelpOnly)
{
    const auto help = [](const std::u16string& strApp, const std::u16string& strRun) {
        return std::vector<std::u16string>{u"Info|Usage: " + strApp + u" [options]",
                                           u"Info|Options:",
                                           u"Info|  " + strRun,
                                           u"Info|  -v\tDisplay version information.",
                                           u"Info|  version\tDisplay version information.",
                                           u"Info|  -h\tDisplay help information.",
                                           u"Info|  help\tDisplay help information."};
    };
    const std::vector<std::u16string> version = {u"Info|App Enterprise Version 2.8.2 Build Date 2021.04.30"};
    const std::vector<std::u16string> none;
    // The arguments, the application name, and the lines logged (the result is true exactly when there are any).
    const std::tuple<std::vector<const char*>, const char16_t*, std::vector<std::u16string>> aCases[] = {
        {{"bin"}, u"App", none},
        {{"bin", "-v", "x"}, u"App", none},
        {{"bin", "VeRsIoN"}, u"App", version},
        {{"bin", "-v"}, nullptr, {u"Info| Enterprise Version 2.8.2 Build Date 2021.04.30"}},
        {{"bin", "help"}, u"TrellStudio", help(u"TrellStudio", u"void\tRun TrellStudio")},
        {{"bin", "-h"},
         u"trellstudio",
         help(u"trellstudio", u"[Path]\tRun trellstudio with the full path of project root folder.")},
        {{"bin", "\xFF\xFE"}, u"App", none},
    };
    for (const auto& [args, app, lines] : aCases) {
        CLogRecorder log;
        std::vector<char*> argv;
        for (const char* pszArg : args)
            argv.push_back(const_cast<char*>(pszArg));
        EXPECT_EQ(CSystem::parseBinInfo(static_cast<int>(argv.size()), argv.data(), app), !lines.empty());
        EXPECT_EQ(log.take(), lines) << argv.back();
    }
    EXPECT_FALSE(CSystem::parseBinInfo(2, nullptr, u"App"));
}

// POSIX only (descriptors): listed in tests/WindowsSkips.cmake.
#ifndef _WIN32
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
    ASSERT_TRUE(std::filesystem::exists(temp.native("engine.log")));
    EXPECT_EQ(inheritableDescriptors(), setBefore);
    EXPECT_TRUE(childHoldsOnlyWhatItShould([](const CString& strCommand) {
        CString strOutput;
        CSystem::executeSystemCommand(strCommand, true, strOutput);
        return strOutput;
    }));
    CLog::unInitialize();
    CConfigParser::deleteInstance();
}
#endif
