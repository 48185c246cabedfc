#include <system/CFolder.h>
#include <text/CString.h>

#include "TempFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

using namespace Trell;

namespace {

// Found paths relative to the temporary folder, sorted (listing order is the
// system's).
std::vector<std::string> relative(const CTempFolder& temp, CDataList<CString>& found)
{
    std::vector<std::string> out;
    const std::string prefix = temp.native() + "/";
    for (const CString& path : found) {
        std::string text = narrow(path);
        if (text.compare(0, prefix.size(), prefix) == 0)
            text = text.substr(prefix.size());
        out.push_back(text);
    }
    std::sort(out.begin(), out.end());
    return out;
}

void makeTree(const CTempFolder& temp)
{
    temp.writeFile("tree/a.xml", "a");
    temp.writeFile("tree/B.XML", "b");
    temp.writeFile("tree/c.png", "c");
    temp.writeFile("tree/readme", "r");
    temp.writeFile("tree/.hidden.xml", "h");
    temp.writeFile("tree/sub/d.xml", "d");
    temp.writeFile("tree/sub/a.txt", "a2");
    temp.writeFile("tree/sub/deeper/A.Xml", "e");
    temp.writeFile("tree/.git/config.xml", "g");
}

typedef std::vector<std::string> Names;

Names byExt(const CTempFolder& temp, const std::string& folder, const char16_t* ext, bool recursive)
{
    CDataList<CString> found;
    CFolder::findFilesByExt(temp.path(folder), CString(ext), found, recursive);
    return relative(temp, found);
}

Names byTitle(const CTempFolder& temp, const char16_t* title, bool matchCase, bool recursive)
{
    CDataList<CString> found;
    CFolder::findFilesByFileTile(temp.path("tree"), CString(title), found, matchCase, recursive);
    return relative(temp, found);
}

} // namespace

TEST(CFolder, OpenListsVisibleEntriesWithFullPaths)
{
    CTempFolder temp;
    makeTree(temp);
    CFolder folder;
    ASSERT_TRUE(folder.open(temp.path("tree")));
    std::set<std::string> files, folders;
    for (unsigned int i = 0; i < folder.getEntryCount(); ++i) {
        const IFolder::tagEntry* pEntry = folder.getEntry(i);
        ASSERT_NE(pEntry, nullptr);
        EXPECT_EQ(narrow(pEntry->path), temp.native("tree") + "/" + narrow(pEntry->name));
        (pEntry->isFolder ? folders : files).insert(narrow(pEntry->name));
    }
    EXPECT_EQ(files, (std::set<std::string>{"a.xml", "B.XML", "c.png", "readme"}));
    EXPECT_EQ(folders, (std::set<std::string>{"sub"}));
    EXPECT_EQ(folder.getEntry(folder.getEntryCount()), nullptr);
    folder.close();
    EXPECT_EQ(folder.getEntryCount(), 0u);
}

TEST(CFolder, OpenAcceptsWindowsSeparatorsAndAnswersPathsWithSlashes)
{
    CTempFolder temp;
    makeTree(temp);
    std::string windows = temp.native("tree/sub");
    std::replace(windows.begin(), windows.end(), '/', '\\');
    CFolder folder;
    ASSERT_TRUE(folder.open(CTempFolder::toCString(windows)));
    ASSERT_EQ(folder.getEntryCount(), 3u);
    for (unsigned int i = 0; i < folder.getEntryCount(); ++i)
        EXPECT_EQ(narrow(folder.getEntry(i)->path).find('\\'), std::string::npos);
}

TEST(CFolder, OpenFailsForWhatCannotBeListed)
{
    CTempFolder temp;
    temp.writeFile("file.txt", "x");
    CFolder folder;
    ASSERT_TRUE(folder.open(temp.path()));
    EXPECT_EQ(folder.getEntryCount(), 1u);
    // A failed open drops the earlier entries.
    EXPECT_FALSE(folder.open(temp.path("missing")));
    EXPECT_EQ(folder.getEntryCount(), 0u);
    EXPECT_FALSE(folder.open(temp.path("file.txt")));
    EXPECT_FALSE(folder.open(CString()));
    EXPECT_EQ(folder.getEntry(0), nullptr);
}

TEST(CFolder, UnreadableFolderGivesEmptyResults)
{
    if (geteuid() == 0)
        GTEST_SKIP() << "permissions do not bind the super-user";
    CTempFolder temp;
    temp.writeFile("locked/a.xml", "a");
    ASSERT_EQ(chmod(temp.native("locked").c_str(), 0), 0);
    CFolder folder;
    EXPECT_FALSE(folder.open(temp.path("locked")));
    CDataList<CString> found;
    CFolder::findFilesByExt(temp.path("locked"), CString(u"xml"), found, true);
    EXPECT_EQ(found.getCount(), 0u);
    chmod(temp.native("locked").c_str(), 0755);
}

TEST(CFolder, CreateFolderMakesEveryMissingLevel)
{
    CTempFolder temp;
    EXPECT_TRUE(CFolder::createFolder(temp.path("x/y/z")));
    EXPECT_TRUE(std::filesystem::is_directory(temp.native("x/y/z")));
    EXPECT_TRUE(CFolder::createFolder(temp.path("x/y/z"))) << "an existing folder";
    EXPECT_TRUE(CFolder::createFolder(temp.path("w\\v\\")));
    EXPECT_TRUE(std::filesystem::is_directory(temp.native("w/v")));
    EXPECT_TRUE(CFolder::createFolder(temp.path("m//n")));
    EXPECT_TRUE(std::filesystem::is_directory(temp.native("m/n")));
    EXPECT_FALSE(CFolder::createFolder(CString()));

    temp.writeFile("plain", "x");
    EXPECT_FALSE(CFolder::createFolder(temp.path("plain/below"))) << "a file stands in the way";
}

TEST(CFolder, DeleteFolderRemovesEverythingBelow)
{
    CTempFolder temp;
    makeTree(temp);
    EXPECT_TRUE(CFolder::deleteFolder(temp.path("tree/sub")));
    EXPECT_FALSE(temp.exists("tree/sub"));
    EXPECT_TRUE(temp.exists("tree/a.xml"));
    EXPECT_FALSE(CFolder::deleteFolder(temp.path("tree/sub")));
    EXPECT_FALSE(CFolder::deleteFolder(CString()));
    // Hidden entries are not listed, so a folder holding them stays.
    EXPECT_FALSE(CFolder::deleteFolder(temp.path("tree")));
    EXPECT_TRUE(temp.exists("tree/.hidden.xml"));
    EXPECT_FALSE(temp.exists("tree/a.xml"));
}

TEST(CFolder, CopyFilesToHonoursOverwriteAndRecursion)
{
    CTempFolder temp;
    makeTree(temp);
    temp.writeFile("dest/a.xml", "kept");

    EXPECT_TRUE(CFolder::copyFilesTo(temp.path("tree"), temp.path("dest"), false, false));
    EXPECT_EQ(temp.readFile("dest/a.xml"), "kept") << "no overwrite";
    EXPECT_EQ(temp.readFile("dest/c.png"), "c");
    EXPECT_FALSE(temp.exists("dest/sub")) << "not recursive";
    EXPECT_FALSE(temp.exists("dest/.hidden.xml"));

    EXPECT_TRUE(CFolder::copyFilesTo(temp.path("tree"), temp.path("dest"), true, true));
    EXPECT_EQ(temp.readFile("dest/a.xml"), "a");
    EXPECT_EQ(temp.readFile("dest/sub/deeper/A.Xml"), "e");

    EXPECT_TRUE(CFolder::copyFilesTo(temp.path("tree/sub"), temp.path("fresh\\target"), false, true));
    EXPECT_EQ(temp.readFile("fresh/target/d.xml"), "d");

    EXPECT_FALSE(CFolder::copyFilesTo(temp.path("missing"), temp.path("dest2"), true, true));
    EXPECT_FALSE(CFolder::copyFilesTo(CString(), temp.path("dest2"), true, true));
    EXPECT_FALSE(CFolder::copyFilesTo(temp.path("tree"), CString(), true, true));
}

TEST(CFolder, FindFilesByExtIgnoresCaseAndTakesExtensionsWithoutDot)
{
    CTempFolder temp;
    makeTree(temp);
    EXPECT_EQ(byExt(temp, "tree", u"xml", false), (Names{"tree/B.XML", "tree/a.xml"}));
    EXPECT_EQ(byExt(temp, "tree", u"XmL", true),
              (Names{"tree/B.XML", "tree/a.xml", "tree/sub/d.xml", "tree/sub/deeper/A.Xml"}));

    CDataArray<CString> externs;
    externs.add(CString(u"png"));
    externs.add(CString(u".txt")); // a leading dot is tolerated
    externs.add(CString(u""));     // files without extension
    CDataList<CString> several;
    CFolder::findFilesByExt(temp.path("tree"), externs, several, true);
    EXPECT_EQ(relative(temp, several), (Names{"tree/c.png", "tree/readme", "tree/sub/a.txt"}));

    // Results are appended to what the list holds.
    CFolder::findFilesByExt(temp.path("tree/sub"), CString(u"txt"), several, false);
    EXPECT_EQ(several.getCount(), 4u);

    EXPECT_TRUE(byExt(temp, "missing", u"xml", true).empty());
    CDataList<CString> none;
    CFolder::findFilesByExt(CString(), CString(u"xml"), none, true);
    EXPECT_EQ(none.getCount(), 0u);
}

TEST(CFolder, FindFilesByFileTitle)
{
    CTempFolder temp;
    makeTree(temp);
    EXPECT_EQ(byTitle(temp, u"a", true, true), (Names{"tree/a.xml", "tree/sub/a.txt"}));
    EXPECT_EQ(byTitle(temp, u"a", false, true), (Names{"tree/a.xml", "tree/sub/a.txt", "tree/sub/deeper/A.Xml"}));
    EXPECT_EQ(byTitle(temp, u"b", false, false), (Names{"tree/B.XML"}));
    EXPECT_TRUE(byTitle(temp, u"sub", true, true).empty()) << "folders are not files";
}
