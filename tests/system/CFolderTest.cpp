#include <system/CFolder.h>
#include <text/CString.h>

#include "TempFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

using namespace Trell;
namespace fs = std::filesystem;

namespace {

typedef std::vector<std::string> Names;

// Found paths relative to the temporary folder, sorted (listing order is the
// system's).
Names relative(const CTempFolder& temp, CDataList<CString>& found)
{
    Names out;
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

TEST(CFolder, OpenListsVisibleEntriesWithSlashPathsAndFailsForWhatCannotBeListed)
{
    CTempFolder temp;
    makeTree(temp);
    fs::create_directory_symlink("sub", temp.native("tree/link"));
    std::string windows = temp.native("tree");
    std::replace(windows.begin(), windows.end(), '/', '\\');
    CFolder folder;
    ASSERT_TRUE(folder.open(CTempFolder::toCString(windows)));
    Names files, folders;
    for (unsigned int i = 0; i < folder.getEntryCount(); ++i) {
        const IFolder::tagEntry* pEntry = folder.getEntry(i);
        EXPECT_EQ(narrow(pEntry->path), temp.native("tree") + "/" + narrow(pEntry->name));
        EXPECT_EQ(pEntry->isLink, narrow(pEntry->name) == "link");
        (pEntry->isFolder ? folders : files).push_back(narrow(pEntry->name));
    }
    std::sort(files.begin(), files.end());
    std::sort(folders.begin(), folders.end());
    EXPECT_EQ(files, (Names{"B.XML", "a.xml", "c.png", "readme"}));
    EXPECT_EQ(folders, (Names{"link", "sub"}));
    EXPECT_EQ(folder.getEntry(folder.getEntryCount()), nullptr);

    // A failed open drops the earlier entries.
    EXPECT_FALSE(folder.open(temp.path("missing")));
    EXPECT_EQ(folder.getEntryCount(), 0u);
    EXPECT_FALSE(folder.open(temp.path("tree/a.xml")));
    EXPECT_FALSE(folder.open(CString()));
}

TEST(CFolder, CreateFolderMakesEveryMissingLevel)
{
    CTempFolder temp;
    EXPECT_TRUE(CFolder::createFolder(temp.path("x/y/z")));
    EXPECT_TRUE(fs::is_directory(temp.native("x/y/z")));
    EXPECT_TRUE(CFolder::createFolder(temp.path("x/y/z"))) << "an existing folder";
    EXPECT_TRUE(CFolder::createFolder(temp.path("w\\v\\")));
    EXPECT_TRUE(fs::is_directory(temp.native("w/v")));
    EXPECT_TRUE(CFolder::createFolder(temp.path("m//n")));
    EXPECT_TRUE(fs::is_directory(temp.native("m/n")));
    EXPECT_FALSE(CFolder::createFolder(CString()));
    temp.writeFile("plain", "x");
    EXPECT_FALSE(CFolder::createFolder(temp.path("plain/below"))) << "a file stands in the way";
}

TEST(CFolder, DeleteFolderRemovesHiddenEntriesAndLinksButNeverWhatLinksLeadTo)
{
    CTempFolder temp;
    makeTree(temp);
    temp.writeFile("precious/photo.jpg", "keep me");
    fs::create_directory_symlink("../../precious", temp.native("tree/sub/link-to-folder"));
    fs::create_symlink("../precious/photo.jpg", temp.native("tree/link-to-file"));
    fs::create_symlink("nowhere", temp.native("tree/.dangling"));
    fs::create_directory_symlink(temp.native("precious"), temp.native("top-link"));

    EXPECT_TRUE(CFolder::deleteFolder(temp.path("tree")));
    EXPECT_FALSE(fs::exists(fs::symlink_status(temp.native("tree"))));
    EXPECT_EQ(temp.readFile("precious/photo.jpg"), "keep me");

    // A link named as the folder to delete goes alone, too.
    EXPECT_TRUE(CFolder::deleteFolder(temp.path("top-link/")));
    EXPECT_FALSE(fs::exists(fs::symlink_status(temp.native("top-link"))));
    EXPECT_EQ(temp.readFile("precious/photo.jpg"), "keep me");

    // A folder holding only a hidden entry is deleted whole.
    temp.writeFile("kept/.keep", "");
    EXPECT_TRUE(CFolder::deleteFolder(temp.path("kept")));
    EXPECT_FALSE(temp.exists("kept"));

    EXPECT_FALSE(CFolder::deleteFolder(temp.path("kept")));
    EXPECT_FALSE(CFolder::deleteFolder(CString()));
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

TEST(CFolder, CopyAndSearchDoNotFollowALinkCycle)
{
    CTempFolder temp;
    temp.writeFile("tree/a/x.xml", "x");
    fs::create_directory_symlink("..", temp.native("tree/a/loop"));
    fs::create_symlink("x.xml", temp.native("tree/a/y.xml"));

    EXPECT_TRUE(CFolder::copyFilesTo(temp.path("tree"), temp.path("copy"), true, true));
    EXPECT_EQ(temp.readFile("copy/a/x.xml"), "x");
    EXPECT_EQ(temp.readFile("copy/a/y.xml"), "x") << "a link to a file copies the file";
    EXPECT_FALSE(fs::exists(fs::symlink_status(temp.native("copy/a/loop"))));

    EXPECT_EQ(byExt(temp, "tree", u"xml", true), (Names{"tree/a/x.xml", "tree/a/y.xml"}));
    CDataList<CString> found;
    CFolder::findFilesByFileTile(temp.path("tree"), CString(u"x"), found, true, true);
    EXPECT_EQ(relative(temp, found), (Names{"tree/a/x.xml"}));
}

TEST(CFolder, FindFilesByExtAndTitle)
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

    EXPECT_EQ(byTitle(temp, u"a", true, true), (Names{"tree/a.xml", "tree/sub/a.txt"}));
    EXPECT_EQ(byTitle(temp, u"a", false, true), (Names{"tree/a.xml", "tree/sub/a.txt", "tree/sub/deeper/A.Xml"}));
    EXPECT_EQ(byTitle(temp, u"b", false, false), (Names{"tree/B.XML"}));
    EXPECT_TRUE(byTitle(temp, u"sub", true, true).empty()) << "folders are not files";
}
