#include <platform/IFolder.h>
#include <platform/PlatformImp.h>
#include <text/CString.h>

#include "system/TempFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <tuple>

using namespace Trell;
namespace fs = std::filesystem;

namespace {

std::unique_ptr<IFolder> folderImp()
{
    return std::unique_ptr<IFolder>(PlatformImp::createFolder());
}

// name -> "F" folder / "f" file, then "L" for a link and "H" for hidden.
std::map<std::string, std::string> kinds(const CTempFolder& temp, const std::string& strFolder)
{
    CObjectArray<IFolder::tagEntry> entries(true);
    std::map<std::string, std::string> out;
    if (!folderImp()->listEntries(temp.path(strFolder), entries))
        return out;
    for (const IFolder::tagEntry* pEntry : entries) {
        EXPECT_EQ(narrow(pEntry->path), temp.native("tree") + "/" + narrow(pEntry->name));
        out[narrow(pEntry->name)] =
            std::string(pEntry->isFolder ? "F" : "f") + (pEntry->isLink ? "L" : "") + (pEntry->isHidden ? "H" : "");
    }
    return out;
}

} // namespace

TEST(CImpFolder, ListingReportsLinksAndHiddenEntriesAsTheyAreAndDeleteTakesOnlyTheLink)
{
    CTempFolder temp;
    temp.writeFile("tree/file.txt", "x");
    temp.writeFile("tree/sub/inner.txt", "x");
    temp.writeFile("tree/.keep", "");
    temp.writeFile("tree/.git/config", "");
    fs::create_directory_symlink("sub", temp.native("tree/to-folder"));
    fs::create_symlink("file.txt", temp.native("tree/to-file"));
    fs::create_symlink("nowhere", temp.native("tree/dangling"));
    fs::create_directory_symlink("..", temp.native("tree/.up"));

    const std::map<std::string, std::string> expected = {
        {"file.txt", "f"},   {"sub", "F"},      {".keep", "fH"},    {".git", "FH"},
        {"to-folder", "FL"}, {"to-file", "fL"}, {"dangling", "fL"}, {".up", "FLH"},
    };
    EXPECT_EQ(kinds(temp, "tree"), expected);
    EXPECT_EQ(kinds(temp, "tree/"), expected) << "a trailing separator adds none to the paths";

    CObjectArray<IFolder::tagEntry> entries(true);
    EXPECT_FALSE(folderImp()->listEntries(temp.path("missing"), entries) ||
                 folderImp()->listEntries(temp.path("tree/file.txt"), entries) ||
                 folderImp()->listEntries(CString(), entries));
    EXPECT_EQ(entries.getCount(), 0u);

    // Deleting removes an empty folder or a link (named with or without a
    // trailing separator), never what the link leads to.
    auto imp = folderImp();
    fs::create_directory(temp.native("empty"));
    EXPECT_FALSE(imp->deleteFolder(temp.path("tree/sub")));
    EXPECT_TRUE(imp->deleteFolder(temp.path("empty")) && imp->deleteFolder(temp.path("tree/to-folder")) &&
                imp->deleteFolder(temp.path("tree/.up/")));
    EXPECT_FALSE(fs::exists(fs::symlink_status(temp.native("tree/to-folder"))) ||
                 fs::exists(fs::symlink_status(temp.native("tree/.up"))) || temp.exists("empty"));
    EXPECT_EQ(temp.readFile("tree/sub/inner.txt"), "x");
    EXPECT_FALSE(imp->deleteFolder(temp.path("empty")) || imp->deleteFolder(CString()));
}

TEST(CImpFolder, CreateFolderMakesEveryMissingLevel)
{
    CTempFolder temp;
    temp.writeFile("plain", "x");
    auto imp = folderImp();
    // The path, whether it is made, and the folder then there.
    const std::tuple<const char*, bool, const char*> cases[] = {
        {"x/y/z", true, "x/y/z"}, {"x/y/z", true, "x/y/z"},                                  // existing
        {"w\\v\\", true, "w/v"},  {"m//n", true, "m/n"},    {"plain/below", false, nullptr}, // a file stands in the way
    };
    for (const auto& [path, ok, made] : cases) {
        EXPECT_EQ(imp->createFolder(temp.path(path)), ok) << path;
        EXPECT_TRUE(!made || fs::is_directory(temp.native(made))) << path;
    }
    EXPECT_FALSE(imp->createFolder(CString()));
}
