#include <system/CFolder.h>
#include <text/CString.h>

#include "TempFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <string>

using namespace Trell;
namespace fs = std::filesystem;

namespace {

typedef std::set<std::string> Names; // sorted: listing order is the system's

// Found paths relative to the temporary folder.
Names relative(const CTempFolder& temp, CDataList<CString>& found)
{
    Names out;
    for (const CString& path : found)
        out.insert(narrow(path).substr(temp.native().size() + 1));
    return out;
}

void makeTree(const CTempFolder& temp)
{
    for (const char* name : {"a.xml", "B.XML", "c.png", "readme", ".hidden.xml", "sub/d.xml", "sub/a.txt",
                             "sub/deeper/A.Xml", ".git/config.xml"})
        temp.writeFile(std::string("tree/") + name, name);
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

// Hidden entries are left out. A link back to the tree itself is listed as
// a folder link and never walked into (a copy or search would not end); a
// link to a file counts as that file.
TEST(CFolder, OpenListsVisibleEntriesAndNoWalkFollowsAFolderLink)
{
    CTempFolder temp;
    makeTree(temp);
    fs::create_directory_symlink(".", temp.native("tree/sub/loop"));
    fs::create_symlink("a.txt", temp.native("tree/sub/e.xml"));
    temp.writeFile("tree/sub/.hidden", "");
    std::string windows = temp.native("tree/sub");
    std::replace(windows.begin(), windows.end(), '/', '\\');
    CFolder folder;
    ASSERT_TRUE(folder.open(CTempFolder::toCString(windows)));
    Names names; // a folder ends in "/", a link in "@"
    for (unsigned int i = 0; i < folder.getEntryCount(); ++i)
        names.insert(narrow(folder.getEntry(i)->name) + (folder.getEntry(i)->isFolder ? "/" : "") +
                     (folder.getEntry(i)->isLink ? "@" : ""));
    EXPECT_EQ(names, (Names{"a.txt", "d.xml", "deeper/", "e.xml@", "loop/@"}));
    EXPECT_EQ(folder.getEntry(folder.getEntryCount()), nullptr);
    // A failed open drops the earlier entries.
    EXPECT_FALSE(folder.open(temp.path("missing")));
    EXPECT_EQ(folder.getEntryCount(), 0u);
    EXPECT_FALSE(folder.open(temp.path("tree/a.xml")) || folder.open(CString()));

    EXPECT_TRUE(CFolder::copyFilesTo(temp.path("tree/sub"), temp.path("copy"), true, true));
    EXPECT_EQ(temp.readFile("copy/e.xml"), "sub/a.txt");
    EXPECT_FALSE(fs::exists(fs::symlink_status(temp.native("copy/loop"))));
    EXPECT_EQ(byExt(temp, "tree/sub", u"xml", true),
              (Names{"tree/sub/d.xml", "tree/sub/deeper/A.Xml", "tree/sub/e.xml"}));
    EXPECT_FALSE(CFolder::createFolder(CString())); // the levels are the platform's
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
    temp.writeFile("kept/.keep", "");

    // A link named as the folder to delete goes alone; a folder holding only
    // a hidden entry goes whole.
    for (const char* name : {"tree", "top-link/", "kept"}) {
        EXPECT_TRUE(CFolder::deleteFolder(temp.path(name))) << name;
        EXPECT_FALSE(fs::exists(fs::symlink_status(temp.native(name)))) << name;
        EXPECT_EQ(temp.readFile("precious/photo.jpg"), "keep me");
    }
    EXPECT_FALSE(CFolder::deleteFolder(temp.path("kept")) || CFolder::deleteFolder(CString()));
}

TEST(CFolder, CopyAndFindHonourOverwriteRecursionAndCase)
{
    CTempFolder temp;
    makeTree(temp);
    temp.writeFile("dest/a.xml", "kept");
    EXPECT_TRUE(CFolder::copyFilesTo(temp.path("tree"), temp.path("dest"), false, false));
    EXPECT_EQ(temp.readFile("dest/a.xml") + temp.readFile("dest/c.png"), "keptc.png") << "no overwrite";
    EXPECT_FALSE(temp.exists("dest/sub") || temp.exists("dest/.hidden.xml"));
    EXPECT_TRUE(CFolder::copyFilesTo(temp.path("tree"), temp.path("dest\\"), true, true));
    EXPECT_EQ(temp.readFile("dest/a.xml"), "a.xml");
    EXPECT_EQ(temp.readFile("dest/sub/deeper/A.Xml"), "sub/deeper/A.Xml");
    EXPECT_FALSE(CFolder::copyFilesTo(temp.path("missing"), temp.path("dest2"), true, true) ||
                 CFolder::copyFilesTo(CString(), temp.path("dest2"), true, true) ||
                 CFolder::copyFilesTo(temp.path("tree"), CString(), true, true));

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
