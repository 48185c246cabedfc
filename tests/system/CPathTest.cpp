#include <system/CPath.h>
#include <text/CString.h>

#include "TempFolder.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

using namespace Trell;

// Each rule over its rows of input and expected output.
TEST(CPath, NameRules)
{
    const struct
    {
        const char* name;
        CString (*rule)(const CString&);
        std::vector<std::pair<const char16_t*, const char16_t*>> rows;
    } rules[] = {
        {"addTrailingPathDelimiter",
         &CPath::addTrailingPathDelimiter,
         {{u"a", u"a/"}, {u"a/", u"a/"}, {u"a\\", u"a\\"}, {u"", u"/"}, {nullptr, u"/"}}},
        {"deleteTrailingPathDelimiter",
         &CPath::deleteTrailingPathDelimiter,
         {{u"a/", u"a"}, {u"a\\", u"a"}, {u"a//", u"a/"}, {u"a", u"a"}, {u"", u""}, {u"/", u""}}},
        {"getFileFolder",
         &CPath::getFileFolder,
         {{u"dir/file.txt", u"dir/"}, {u"a/b\\c", u"a/b\\"}, {u"file", u""}, {u"/", u"/"}, {u"", u""}}},
        {"getFileFolderNoLastSeparator",
         &CPath::getFileFolderNoLastSeparator,
         {{u"dir/file.txt", u"dir"}, {u"a\\b\\c.xml", u"a\\b"}, {u"file", u""}, {u"/x", u""}, {u"", u""}}},
        {"getFileName",
         &CPath::getFileName,
         {{u"dir/file.txt", u"file.txt"}, {u"a\\b\\c.xml", u"c.xml"}, {u"file", u"file"}, {u"dir/", u""}, {u"", u""}}},
        {"getFileTitle",
         &CPath::getFileTitle,
         {{u"dir/file.tar.gz", u"file.tar"}, {u"a.b/c", u"c"}, {u"file", u"file"}, {u".profile", u""}, {u"", u""}}},
        {"getFileExtern",
         &CPath::getFileExtern,
         {{u"dir/file.tar.gz", u"gz"}, {u"a.b/c", u""}, {u"a.b\\c", u""}, {u"x.", u""}, {u"file", u""}, {u"", u""}}},
    };
    for (const auto& rule : rules) {
        for (const auto& [input, expected] : rule.rows) {
            const CString result = rule.rule(CString(input));
            EXPECT_TRUE(result == expected)
                << rule.name << "('" << narrow(CString(input)) << "') gave '" << narrow(result) << "'";
        }
    }
    EXPECT_TRUE(CPath::hasTrailingPathDelimiter(CString(u"a/")) && CPath::hasTrailingPathDelimiter(CString(u"a\\")));
    EXPECT_FALSE(CPath::hasTrailingPathDelimiter(CString(u"a")) || CPath::hasTrailingPathDelimiter(CString()));
    // Any last dot counts for the extension's index, even one inside a folder name.
    const std::pair<const char16_t*, unsigned int> indexes[][2] = {{{u"dir/file.txt", 4}, {u"dir/file.txt", 9}},
                                                                   {{u"a\\b", 2}, {u"a.b/c", 2}},
                                                                   {{u"file", 0}, {u"file", 0}},
                                                                   {{nullptr, 0}, {nullptr, 0}}};
    for (const auto& [name, ext] : indexes) {
        EXPECT_EQ(CPath::getFileNameStartIndex(CString(name.first)), name.second);
        EXPECT_EQ(CPath::getFileExternStartIndex(CString(ext.first)), ext.second);
    }
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
        {&CPath::changeFileTitle, u".gz", u"x", u"x.gz"},
        {&CPath::changeFileTitle, u"a.d/b", u"c", u"a.d/c"},
        {&CPath::changeFileTitle, u"", u"c", u""},
    };
    for (const auto& row : rows) {
        EXPECT_TRUE(row.rule(CString(row.path), CString(row.part)) == row.expected)
            << (row.rule == &CPath::changeFileExtern ? "extern " : "title ") << narrow(CString(row.path)) << " + "
            << narrow(CString(row.part));
    }
}

// The combining rules themselves are the platform's; CPath adds the project
// and application folders, and empty output for empty input.
TEST(CPath, GeneratorsAndFolders)
{
    EXPECT_TRUE(CPath::generateAbsolutePath(CString(u"/p"), CString(u"x\\y.xml")) == u"/p/x/y.xml");
    EXPECT_TRUE(CPath::generateRelativePath(CString(u"/p"), true, CString(u"/p/x.xml")) == u"./x.xml");
    const CString empty, some(u"/x");
    for (const auto& pair : {std::make_pair(empty, some), std::make_pair(some, empty)}) {
        EXPECT_EQ(CPath::generateAbsolutePath(pair.first, pair.second).length(), 0u);
        EXPECT_EQ(CPath::generateRelativePath(pair.first, true, pair.second).length(), 0u);
    }

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
    CPath::clearData();
    EXPECT_EQ(CPath::getProjectFolder().length(), 0u);
    // Empty also means: ask for the executable's folder.
    EXPECT_TRUE(CPath::getApplicationFolder() == folder);
    CPath::clearData();
}
