#include <system/CPath.h>
#include <text/CString.h>

#include "TempFolder.h"

#include <gtest/gtest.h>

#include <string>

using namespace Trell;

namespace {

struct tagCase
{
    const char16_t* pszInput;
    const char16_t* pszExpected;
};

typedef CString (*PathRule)(const CString&);

void checkRule(const char* pszRule, PathRule rule, std::initializer_list<tagCase> cases)
{
    for (const tagCase& c : cases) {
        const CString result = rule(CString(c.pszInput));
        EXPECT_TRUE(result == c.pszExpected)
            << pszRule << "('" << narrow(CString(c.pszInput)) << "') gave '" << narrow(result) << "', expected '"
            << narrow(CString(c.pszExpected)) << "'";
    }
}

} // namespace

TEST(CPath, TrailingDelimiters)
{
    EXPECT_TRUE(CPath::hasTrailingPathDelimiter(CString(u"a/")));
    EXPECT_TRUE(CPath::hasTrailingPathDelimiter(CString(u"a\\")));
    EXPECT_FALSE(CPath::hasTrailingPathDelimiter(CString(u"a")));
    EXPECT_FALSE(CPath::hasTrailingPathDelimiter(CString()));
    checkRule("addTrailingPathDelimiter", &CPath::addTrailingPathDelimiter,
              {{u"a", u"a/"}, {u"a/", u"a/"}, {u"a\\", u"a\\"}, {u"", u"/"}});
    checkRule("deleteTrailingPathDelimiter", &CPath::deleteTrailingPathDelimiter,
              {{u"a/", u"a"}, {u"a\\", u"a"}, {u"a//", u"a/"}, {u"a", u"a"}, {u"", u""}, {u"/", u""}});
    EXPECT_TRUE(CPath::addTrailingPathDelimiter(CString()) == u"/");
}

TEST(CPath, FolderNameTitleAndExtension)
{
    checkRule("getFileFolder", &CPath::getFileFolder,
              {{u"dir/file.txt", u"dir/"}, {u"a\\b\\c.xml", u"a\\b\\"}, {u"a/b\\c", u"a/b\\"}, {u"file", u""},
               {u"/", u"/"}, {u"", u""}});
    checkRule("getFileFolderNoLastSeparator", &CPath::getFileFolderNoLastSeparator,
              {{u"dir/file.txt", u"dir"}, {u"a\\b\\c.xml", u"a\\b"}, {u"file", u""}, {u"/x", u""}, {u"", u""}});
    checkRule("getFileName", &CPath::getFileName,
              {{u"dir/file.txt", u"file.txt"}, {u"a\\b\\c.xml", u"c.xml"}, {u"file", u"file"}, {u"dir/", u""},
               {u"", u""}});
    checkRule("getFileTitle", &CPath::getFileTitle,
              {{u"dir/file.tar.gz", u"file.tar"}, {u"a.b/c", u"c"}, {u"a\\b\\c.xml", u"c"}, {u"file", u"file"},
               {u".profile", u""}, {u"", u""}});
    checkRule("getFileExtern", &CPath::getFileExtern,
              {{u"dir/file.tar.gz", u"gz"}, {u"a.b/c", u""}, {u"a.b\\c", u""}, {u"x.", u""}, {u"file", u""},
               {u"", u""}});
}

TEST(CPath, StartIndexes)
{
    EXPECT_EQ(CPath::getFileNameStartIndex(CString(u"dir/file.txt")), 4u);
    EXPECT_EQ(CPath::getFileNameStartIndex(CString(u"a\\b")), 2u);
    EXPECT_EQ(CPath::getFileNameStartIndex(CString(u"file")), 0u);
    EXPECT_EQ(CPath::getFileNameStartIndex(CString()), 0u);
    EXPECT_EQ(CPath::getFileExternStartIndex(CString(u"dir/file.txt")), 9u);
    // Any last dot counts here, even one inside a folder name.
    EXPECT_EQ(CPath::getFileExternStartIndex(CString(u"a.b/c")), 2u);
    EXPECT_EQ(CPath::getFileExternStartIndex(CString(u"file")), 0u);
}

// Both take a path and a new part; the rows name which one.
TEST(CPath, ChangeExtensionAndTitle)
{
    struct
    {
        CString (*rule)(const CString&, const CString&);
        const char16_t* path;
        const char16_t* part;
        const char16_t* expected;
    } const rows[] = {
        {&CPath::changeFileExtern, u"a/b.txt", u"", u"a/b"},
        {&CPath::changeFileExtern, u"a/b", u"xml", u"a/b.xml"},
        {&CPath::changeFileExtern, u"a/b.txt", u"xml", u"a/b.xml"},
        {&CPath::changeFileExtern, u"a.d/b", u"xml", u"a.d/b.xml"},
        {&CPath::changeFileExtern, u"a/b", u"", u"a/b"},
        {&CPath::changeFileExtern, u"", u"xml", u""},
        {&CPath::changeFileExtern, u"x.tar.gz", u"bz2", u"x.tar.bz2"},
        {&CPath::changeFileTitle, u"a/b.txt", u"c", u"a/c.txt"},
        {&CPath::changeFileTitle, u"a\\b", u"c", u"a\\c"},
        {&CPath::changeFileTitle, u"b.tar.gz", u"x", u"x.gz"},
        {&CPath::changeFileTitle, u"a.d/b", u"c", u"a.d/c"},
        {&CPath::changeFileTitle, u"", u"c", u""},
    };
    for (const auto& row : rows) {
        EXPECT_TRUE(row.rule(CString(row.path), CString(row.part)) == row.expected)
            << (row.rule == &CPath::changeFileExtern ? "extern " : "title ") << narrow(CString(row.path)) << " + "
            << narrow(CString(row.part));
    }
}

TEST(CPath, GenerateAbsolutePath)
{
    struct
    {
        const char16_t* base;
        const char16_t* path;
        const char16_t* expected;
    } const cases[] = {
        {u"C:/p", u"x\\y.xml", u"C:/p/x/y.xml"},
        {u"C:\\p\\", u"x\\y.xml", u"C:/p/x/y.xml"},
        {u"/home/u/project", u"res/a.png", u"/home/u/project/res/a.png"},
        {u"/home/u/project/", u"./res/../img/a.png", u"/home/u/project/img/a.png"},
        {u"/home/u/project", u"../other/a.png", u"/home/u/other/a.png"},
        {u"/a", u"../../../b", u"/b"},
        {u"C:/", u"..\\x", u"C:/x"},
        {u"/a//b", u"c//d/", u"/a/b/c/d/"},
        {u"rel/base", u"../../../x", u"../x"},
        {u"/base", u"/abs/path.xml", u"/abs/path.xml"},
        {u"/base", u"D:\\abs\\path.xml", u"D:/abs/path.xml"},
        {u"/base", u"\\\\server\\share\\x", u"//server/share/x"},
        {u"", u"x", u""},
        {u"/base", u"", u""},
    };
    for (const auto& c : cases) {
        const CString result = CPath::generateAbsolutePath(CString(c.base), CString(c.path));
        EXPECT_TRUE(result == c.expected) << narrow(CString(c.base)) << " + " << narrow(CString(c.path)) << " gave "
                                          << narrow(result);
    }
}

TEST(CPath, GenerateRelativePath)
{
    struct
    {
        const char16_t* base;
        bool folder;
        const char16_t* path;
        const char16_t* expected;
    } const cases[] = {
        {u"C:/a/b/c", true, u"C:/a/d/e.txt", u"../../d/e.txt"},
        {u"C:\\a\\b\\c", true, u"C:\\a\\d\\e.txt", u"../../d/e.txt"},
        {u"C:/a/b/c.xml", false, u"C:/a/d/e.txt", u"../d/e.txt"},
        {u"C:/a", true, u"C:/a/b/c.txt", u"./b/c.txt"},
        {u"c:/a", true, u"C:/a/x.txt", u"./x.txt"},
        {u"/home/u/p/proj.xml", false, u"/home/u/p/res/a.png", u"./res/a.png"},
        {u"/home/u/p", true, u"/home/u", u".."},
        {u"/home/u/p", true, u"/home/u/p", u"."},
        {u"/home/u/p", true, u"/home/U/p/x", u"../../U/p/x"},
        {u"/a/./b/../c", true, u"/a/c/d", u"./d"},
        {u"C:/a", true, u"D:/a/x.txt", u"D:/a/x.txt"},
        {u"rel/base", true, u"/abs/x.txt", u"/abs/x.txt"},
        {u"/base", true, u"already\\relative.txt", u"already/relative.txt"},
        {u"//srv/share/a", true, u"//srv/share/b/x", u"../b/x"},
        {u"//srv/share/a", true, u"//other/share/b", u"//other/share/b"},
        {u"", true, u"/x", u""},
        {u"/x", true, u"", u""},
    };
    for (const auto& c : cases) {
        const CString result = CPath::generateRelativePath(CString(c.base), c.folder, CString(c.path));
        EXPECT_TRUE(result == c.expected) << narrow(CString(c.base)) << " -> " << narrow(CString(c.path))
                                          << " gave " << narrow(result);
    }
}

TEST(CPath, RelativeThenAbsoluteComesBack)
{
    const CString base(u"/home/u/project/pages");
    const char16_t* targets[] = {u"/home/u/project/pages/a.xml", u"/home/u/project/res/img/b.png", u"/etc/c.conf",
                                 u"/home/u/project/pages/sub/d.xml"};
    for (const char16_t* target : targets) {
        const CString relative = CPath::generateRelativePath(base, true, CString(target));
        EXPECT_TRUE(CPath::generateAbsolutePath(base, relative) == target) << narrow(relative);
    }
}

TEST(CPath, ProjectAndApplicationFolders)
{
    CPath::setProjectFolder(CString(u"/p/proj"));
    EXPECT_TRUE(CPath::getProjectFolder() == u"/p/proj");

    CPath::setApplicationFolder(CString(u"/opt/app"));
    EXPECT_TRUE(CPath::getApplicationFolder() == u"/opt/app");

    // A folder starting with "." is replaced by the executable's folder.
    CPath::setApplicationFolder(CString(u"./bin"));
    const CString folder = CPath::getApplicationFolder();
    EXPECT_GT(folder.length(), 0u);
    EXPECT_FALSE(CPath::hasTrailingPathDelimiter(folder));
    EXPECT_NE(folder.buffer()[0], u'.');
    EXPECT_TRUE(CPath::getApplicationFolder() == folder);

    CPath::clearData();
    EXPECT_EQ(CPath::getProjectFolder().length(), 0u);
    // Empty also means: ask for the executable's folder.
    EXPECT_TRUE(CPath::getApplicationFolder() == folder);
    CPath::clearData();
}
