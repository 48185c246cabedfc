#include <platform/IPath.h>
#include <platform/PlatformImp.h>
#include <text/CString.h>

#include "system/TempFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <tuple>

using namespace Trell;

namespace {

std::unique_ptr<IPath> path()
{
    return std::unique_ptr<IPath>(PlatformImp::createPath());
}

} // namespace

TEST(CImpPath, GenerateAbsolutePathCombinesLexically)
{
    // Base, path, expected.
    const std::tuple<const char16_t*, const char16_t*, const char16_t*> cases[] = {
        {u"C:/p", u"x\\y.xml", u"C:/p/x/y.xml"},
        {u"C:\\p\\", u"x\\y.xml", u"C:/p/x/y.xml"},
        {u"/home/u/project/", u"./res/../img/a.png", u"/home/u/project/img/a.png"},
        {u"/a", u"../../../b", u"/b"},
        {u"C:/", u"..\\x", u"C:/x"},
        {u"/a//b", u"c//d/", u"/a/b/c/d/"},
        {u"rel/base", u"../../../x", u"../x"},
        {u"/base", u"/abs/path.xml", u"/abs/path.xml"},
        {u"/base", u"D:\\abs\\path.xml", u"D:/abs/path.xml"},
        {u"/base", u"\\\\server\\share\\x", u"//server/share/x"},
    };
    for (const auto& [base, relative, expected] : cases) {
        const CString result = path()->generateAbsolutePath(CString(base), CString(relative));
        EXPECT_TRUE(result == expected) << narrow(CString(base)) << " + " << narrow(CString(relative)) << " gave "
                                        << narrow(result);
    }
}

TEST(CImpPath, GenerateRelativePathNeedsASharedRoot)
{
    // Base, whether it is a folder, path, expected.
    const std::tuple<const char16_t*, bool, const char16_t*, const char16_t*> cases[] = {
        {u"C:/a/b/c", true, u"C:/a/d/e.txt", u"../../d/e.txt"},
        {u"C:/a/b/c.xml", false, u"C:/a/d/e.txt", u"../d/e.txt"},
        {u"c:/a", true, u"C:/a/x.txt", u"./x.txt"},
        {u"/home/u/p/proj.xml", false, u"/home/u/p/res/a.png", u"./res/a.png"},
        {u"/home/u/p", true, u"/home/u", u".."},
        {u"/home/u/p", true, u"/home/u/p", u"."},
#ifdef _WIN32
        {u"/home/u/p", true, u"/home/U/p/x", u"./x"}, // Windows folder names ignore case
#else
        {u"/home/u/p", true, u"/home/U/p/x", u"../../U/p/x"},
#endif
        {u"/a/./b/../c", true, u"/a/c/d", u"./d"},
        {u"C:/a", true, u"D:/a/x.txt", u"D:/a/x.txt"},
        {u"rel/base", true, u"/abs/x.txt", u"/abs/x.txt"},
        {u"/base", true, u"already\\relative.txt", u"already/relative.txt"},
        {u"//srv/share/a", true, u"//srv/share/b/x", u"../b/x"},
        {u"//srv/share/a", true, u"//other/share/b", u"//other/share/b"},
    };
    for (const auto& [base, folder, target, expected] : cases) {
        const CString result = path()->generateRelativePath(CString(base), folder, CString(target));
        EXPECT_TRUE(result == expected) << narrow(CString(base)) << " -> " << narrow(CString(target)) << " gave "
                                        << narrow(result);
    }
}

TEST(CImpPath, ApplicationFolderIsTheExecutablesFolder)
{
#ifdef _WIN32
    // No /proc here: the folder is the one that holds this test program.
    const std::string folder = narrow(path()->getApplicationFolder());
    EXPECT_TRUE(std::filesystem::is_regular_file(folder + "/tests_platform.exe")) << folder;
    EXPECT_EQ(folder.find('\\'), std::string::npos) << folder;
#else
    const std::string expected = std::filesystem::read_symlink("/proc/self/exe").parent_path().string();
    EXPECT_EQ(narrow(path()->getApplicationFolder()), expected);
#endif
}
