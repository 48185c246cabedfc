#include <system/CPath.h>
#include <text/CString.h>

#include "TempFolder.h"

#include <gtest/gtest.h>

#include <tuple>
#include <utility>
#include <vector>

using namespace Trell;

// A rule's name and the rule.
#define RULE(name) #name, &CPath::name

// Each rule over its rows of input and expected output.
TEST(CPath, NameRulesAndChanges)
{
    using Rows = std::vector<std::pair<const char16_t*, const char16_t*>>;
    const std::tuple<const char*, CString (*)(const CString&), Rows> rules[] = {
        {RULE(addTrailingPathDelimiter), {{u"a", u"a/"}, {u"a\\", u"a\\"}, {nullptr, u"/"}}},
        {RULE(deleteTrailingPathDelimiter), {{u"a/", u"a"}, {u"a\\", u"a"}, {u"a//", u"a/"}, {u"a", u"a"}, {u"", u""}}},
        {RULE(getFileFolder), {{u"a/b\\c", u"a/b\\"}, {u"file", u""}, {u"/", u"/"}}},
        {RULE(getFileFolderNoLastSeparator), {{u"a\\b\\c.xml", u"a\\b"}, {u"file", u""}, {u"/x", u""}}},
        {RULE(getFileName), {{u"a\\b\\c.xml", u"c.xml"}, {u"file", u"file"}, {u"dir/", u""}, {u"", u""}}},
        {RULE(getFileTitle), {{u"dir/file.tar.gz", u"file.tar"}, {u"a.b/c", u"c"}, {u".profile", u""}, {u"", u""}}},
        {RULE(getFileExtern),
         {{u"dir/file.tar.gz", u"gz"}, {u"a.b/c", u""}, {u"a.b\\c", u""}, {u"x.", u""}, {u"", u""}}},
    };
    for (const auto& [name, rule, rows] : rules) {
        for (const auto& [input, expected] : rows) {
            const CString result = rule(CString(input));
            EXPECT_TRUE(result == expected)
                << name << "('" << narrow(CString(input)) << "') gave '" << narrow(result) << "'";
        }
    }
    // The changes take a path and a new part.
    using Change = CString (*)(const CString&, const CString&);
    const Change ext = &CPath::changeFileExtern, title = &CPath::changeFileTitle;
    const std::tuple<Change, const char16_t*, const char16_t*, const char16_t*> changes[] = {
        {ext, u"a/b.txt", u"", u"a/b"},
        {ext, u"a/b", u"xml", u"a/b.xml"},
        {ext, u"a/b.txt", u"xml", u"a/b.xml"},
        {ext, u"a.d/b", u"xml", u"a.d/b.xml"},
        {ext, u"a/b", u"", u"a/b"},
        {ext, u"", u"xml", u""},
        {title, u"a\\b.txt", u"c", u"a\\c.txt"},
        {title, u"b.tar.gz", u"x", u"x.gz"},
        {title, u".gz", u"x", u"x.gz"},
        {title, u"a.d/b", u"c", u"a.d/c"},
        {title, u"", u"c", u""},
    };
    for (const auto& [rule, path, part, expected] : changes) {
        EXPECT_TRUE(rule(CString(path), CString(part)) == expected)
            << (rule == ext ? "extern " : "title ") << narrow(CString(path)) << " + " << narrow(CString(part));
    }
    // Any last dot counts for the extension's index, even one inside a folder name.
    const std::tuple<const char16_t*, unsigned int, unsigned int> indexes[] = {
        {u"dir/file.txt", 4, 9}, {u"a.b\\c", 4, 2}, {u"file", 0, 0}, {nullptr, 0, 0}};
    for (const auto& [path, nameStart, extStart] : indexes) {
        EXPECT_EQ(CPath::getFileNameStartIndex(CString(path)), nameStart);
        EXPECT_EQ(CPath::getFileExternStartIndex(CString(path)), extStart);
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
    // A folder starting with "." is replaced by the executable's folder, as is an empty one.
    CPath::setApplicationFolder(CString(u"./bin"));
    const CString folder = CPath::getApplicationFolder();
    EXPECT_TRUE(folder.length() > 0 && !CPath::hasTrailingPathDelimiter(folder) && folder.buffer()[0] != u'.');
    CPath::setProjectFolder(CString(u"/p/proj"));
    CPath::setApplicationFolder(CString(u"/opt/app"));
    CPath::clearData();
    EXPECT_EQ(CPath::getProjectFolder().length(), 0u);
    EXPECT_TRUE(CPath::getApplicationFolder() == folder);
    CPath::clearData();
}
