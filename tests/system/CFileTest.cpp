#include <system/CFile.h>
#include <text/CString.h>

#include "TempFolder.h"

#include <gtest/gtest.h>

#include <string>

#include <sys/stat.h>

using namespace Trell;

namespace {

bool writeAll(CFile& file, const std::string& text)
{
    return file.writeData(reinterpret_cast<const unsigned char*>(text.data()), static_cast<unsigned int>(text.size()));
}

std::string readSome(CFile& file, unsigned int uiCount)
{
    std::string text(uiCount, '\0');
    return file.readData(reinterpret_cast<unsigned char*>(text.data()), uiCount) ? text : "<failed>";
}

} // namespace

// Writes create the missing folders, reads create nothing; transfers count
// only whole; a closed file refuses everything.
TEST(CFile, StreamTransfersWholeAndRefusesBadInput)
{
    CTempFolder temp;
    CFile file;
    EXPECT_FALSE(file.open(CString(), true) || file.open(temp.path("x.txt"), static_cast<const char16_t*>(nullptr)) ||
                 file.open(temp.path("nodir/x.txt"), u"rb") || file.open(temp.path(), u"rb") || temp.exists("nodir"))
        << "a read must not create anything";
    ASSERT_TRUE(file.open(temp.path("deep/er/data.bin"), u"ab"));
    EXPECT_TRUE(writeAll(file, "hello"));
    ASSERT_TRUE(file.open(temp.path("deep\\er\\data.bin"), u"ab"));
    EXPECT_TRUE(writeAll(file, " world"));
    ASSERT_TRUE(file.open(temp.path("deep/er/data.bin"), true)) << "opening again closes the written stream";
    EXPECT_EQ(file.getFileSize(), 11u) << "the size query keeps the position";
    EXPECT_EQ(readSome(file, 5), "hello");
    EXPECT_EQ(readSome(file, 7), "<failed>") << "only a whole transfer counts";
    file.seekTo(-5, CFile::SEEK_TYPE_END);
    EXPECT_EQ(readSome(file, 5), "world");
    file.seekTo(1, CFile::SEEK_TYPE_BEGIN);
    file.seekTo(5, CFile::SEEK_TYPE_CURRENT);
    EXPECT_EQ(readSome(file, 1), "w");
    EXPECT_TRUE(file.readData(nullptr, 4) && file.readData(reinterpret_cast<unsigned char*>(&file), 0));

    EXPECT_FALSE(file.open(temp.path("nothing.txt"), true) || file.isOpen());
    unsigned char buffer[4] = {};
    EXPECT_FALSE(file.readData(buffer, 4) || file.writeData(buffer, 4) || file.readData(nullptr, 0));
    EXPECT_TRUE(file.isEmpty());
    const std::string name = "\xE6\xB5\x8B\xE8\xAF\x95-\xC3\xA9.txt"; // stored as UTF-8
    ASSERT_TRUE(file.open(temp.path(name), false));
    file.close();
    EXPECT_TRUE(temp.exists(name));
}

// The platform answers; CFile adds argument checks, the extension rule for
// missing paths, and the rename and copy refusals.
TEST(CFile, PathQueriesAndRenameCopyDeleteRules)
{
    CTempFolder temp;
    for (const char* name : {"a.txt", "b.txt", "ro.txt", "noext"})
        temp.writeFile(name, name[0] == 'b' ? "B" : "A");
    ASSERT_EQ(chmod(temp.native("ro.txt").c_str(), 0444) + chmod(temp.native("b.txt").c_str(), 0444), 0);
    EXPECT_TRUE(CFile::isExist(temp.path("a.txt")) && CFile::isExist(temp.path()));
    EXPECT_FALSE(CFile::isExist(temp.path("nope")) || CFile::isExist(CString()));
    // A missing path is judged by its extension; a device is no file.
    EXPECT_TRUE(CFile::isFile(temp.path("noext")) && CFile::isFile(temp.path("x.txt")));
    EXPECT_FALSE(CFile::isFile(temp.path()) || CFile::isFile(CString(u"/dev/null")) || CFile::isFile(temp.path("x")) ||
                 CFile::isFile(CString()));
    EXPECT_TRUE(CFile::isReadOnly(temp.path("ro.txt")));
    EXPECT_FALSE(CFile::isReadOnly(temp.path("a.txt")) || CFile::isReadOnly(temp.path("missing.txt")));
    EXPECT_TRUE(CFile::setWritable(temp.path("ro.txt")));
    EXPECT_FALSE(CFile::isReadOnly(temp.path("ro.txt")));
    EXPECT_TRUE(CFile::getLastModifyTime(temp.path("a.txt")) > 0 && CFile::getLastModifyTime(CString()) == 0);

    EXPECT_FALSE(CFile::renameFile(temp.path("a.txt"), temp.path("A.TXT"))) << "names equal ignoring case";
    EXPECT_FALSE(CFile::renameFile(temp.path("a.txt"), temp.path("b.txt"))) << "target exists";
    EXPECT_TRUE(CFile::renameFile(temp.path("a.txt"), temp.path("c.txt")));
    EXPECT_FALSE(CFile::renameFile(temp.path("a.txt"), temp.path("d.txt")) ||
                 CFile::renameFile(CString(), temp.path("d.txt")));
    EXPECT_FALSE(CFile::copyFile(temp.path("c.txt"), temp.path("C.txt"), true) ||
                 CFile::copyFile(temp.path("c.txt"), temp.path("b.txt"), false));
    EXPECT_EQ(temp.readFile("b.txt"), "B");
    EXPECT_TRUE(CFile::copyFile(temp.path("c.txt"), temp.path("b.txt"), true)) << "read-only target overwritten";
    EXPECT_TRUE(CFile::copyFile(temp.path("c.txt"), temp.path("new/folder/copy.txt"), false));
    EXPECT_EQ(temp.readFile("b.txt") + temp.readFile("new/folder/copy.txt"), "AA");
    EXPECT_FALSE(CFile::copyFile(temp.path("c.txt"), temp.path("new/../c.txt"), true)) << "the same file";
    EXPECT_EQ(temp.readFile("c.txt"), "A");
    EXPECT_FALSE(CFile::copyFile(temp.path("missing.txt"), temp.path("x.txt"), true) || temp.exists("x.txt"));

    EXPECT_TRUE(CFile::deleteFile(temp.path("c.txt")));
    EXPECT_FALSE(temp.exists("c.txt") || CFile::deleteFile(temp.path("c.txt")) || CFile::deleteFile(CString()));
}
