#include <system/CFile.h>
#include <text/CString.h>

#include "TempFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Trell;
namespace fs = std::filesystem;

namespace {

bool writeAll(CFile& file, const std::string& text)
{
    return file.writeData(reinterpret_cast<const unsigned char*>(text.data()), static_cast<unsigned int>(text.size()));
}

} // namespace

TEST(CFile, WriteThenReadBack)
{
    CTempFolder temp;
    ASSERT_TRUE(temp.isValid());
    CFile file;
    EXPECT_FALSE(file.isOpen());
    ASSERT_TRUE(file.open(temp.path("data.bin"), false));
    EXPECT_TRUE(file.isOpen());
    EXPECT_TRUE(writeAll(file, "hello world"));
    file.close();
    EXPECT_FALSE(file.isOpen());

    ASSERT_TRUE(file.open(temp.path("data.bin"), true));
    EXPECT_EQ(file.getFileSize(), 11u);
    EXPECT_FALSE(file.isEmpty());
    unsigned char buffer[16] = {};
    ASSERT_TRUE(file.readData(buffer, 5));
    EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer), 5), "hello");
    // The size query keeps the position.
    EXPECT_EQ(file.getFileSize(), 11u);
    ASSERT_TRUE(file.readData(buffer, 6));
    EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer), 6), " world");
    // Past the end: only a whole transfer counts.
    EXPECT_FALSE(file.readData(buffer, 1));
    file.seekTo(-5, CFile::SEEK_TYPE_END);
    ASSERT_TRUE(file.readData(buffer, 5));
    EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer), 5), "world");
    file.seekTo(0, CFile::SEEK_TYPE_BEGIN);
    file.seekTo(6, CFile::SEEK_TYPE_CURRENT);
    ASSERT_TRUE(file.readData(buffer, 1));
    EXPECT_EQ(buffer[0], 'w');
    // Null buffer or zero count transfer nothing and succeed.
    EXPECT_TRUE(file.readData(nullptr, 4));
    EXPECT_TRUE(file.readData(buffer, 0));
}

TEST(CFile, ClosedFileAnswersWithoutAStream)
{
    CFile file;
    unsigned char buffer[4] = {};
    EXPECT_FALSE(file.readData(buffer, 4));
    EXPECT_FALSE(file.writeData(buffer, 4));
    EXPECT_FALSE(file.readData(nullptr, 0));
    EXPECT_EQ(file.getFileSize(), 0u);
    EXPECT_TRUE(file.isEmpty());
    file.seekTo(3, CFile::SEEK_TYPE_BEGIN);
    file.flush();
    file.close();
}

TEST(CFile, OpenFailsForBadInput)
{
    CTempFolder temp;
    CFile file;
    EXPECT_FALSE(file.open(CString(), true));
    EXPECT_FALSE(file.open(CString(u""), u"rb"));
    EXPECT_FALSE(file.open(temp.path("x.txt"), static_cast<const char16_t*>(nullptr)));
    EXPECT_FALSE(file.open(temp.path("missing.txt"), u"rb"));
    EXPECT_FALSE(file.open(temp.path("missing.txt"), true));
    EXPECT_FALSE(temp.exists("missing.txt")) << "a read must not create the file";
    // A folder is no file to read.
    EXPECT_FALSE(file.open(temp.path(), u"rb"));
    EXPECT_FALSE(file.isOpen());
}

TEST(CFile, OpeningAgainClosesTheFirstStream)
{
    CTempFolder temp;
    temp.writeFile("a.txt", "aaa");
    temp.writeFile("b.txt", "bb");
    CFile file;
    ASSERT_TRUE(file.open(temp.path("a.txt"), true));
    ASSERT_TRUE(file.open(temp.path("b.txt"), true));
    EXPECT_EQ(file.getFileSize(), 2u);
    EXPECT_FALSE(file.open(temp.path("nothing.txt"), true));
    EXPECT_FALSE(file.isOpen());
}

TEST(CFile, WriteModesCreateMissingFolders)
{
    CTempFolder temp;
    CFile file;
    ASSERT_TRUE(file.open(temp.path("deep/er/log.txt"), u"ab"));
    EXPECT_TRUE(writeAll(file, "one"));
    file.close();
    ASSERT_TRUE(file.open(temp.path("deep/er/log.txt"), u"ab"));
    EXPECT_TRUE(writeAll(file, "two"));
    file.flush();
    EXPECT_EQ(temp.readFile("deep/er/log.txt"), "onetwo");
    file.close();
    // Windows-style separators name the same folders.
    ASSERT_TRUE(file.open(temp.path("win\\style\\f.txt"), false));
    file.close();
    EXPECT_TRUE(temp.exists("win/style/f.txt"));
    EXPECT_TRUE(CFile::isExist(temp.path("win\\style\\f.txt")));
}

TEST(CFile, UnicodeNamesAreStoredAsUtf8)
{
    CTempFolder temp;
    const std::string name = "\xE6\xB5\x8B\xE8\xAF\x95-\xC3\xA9.txt"; // "测试-é.txt"
    CFile file;
    ASSERT_TRUE(file.open(temp.path(name), false));
    EXPECT_TRUE(writeAll(file, "x"));
    file.close();
    EXPECT_TRUE(temp.exists(name));
    EXPECT_TRUE(CFile::isExist(temp.path(name)));
}

TEST(CFile, ExistenceAndKind)
{
    CTempFolder temp;
    temp.writeFile("f.txt", "1");
    temp.writeFile("noext", "1");
    EXPECT_TRUE(CFile::isExist(temp.path("f.txt")));
    EXPECT_TRUE(CFile::isExist(temp.path()));
    EXPECT_FALSE(CFile::isExist(temp.path("nope")));
    EXPECT_FALSE(CFile::isExist(CString()));

    EXPECT_TRUE(CFile::isFile(temp.path("f.txt")));
    EXPECT_TRUE(CFile::isFile(temp.path("noext")));
    EXPECT_FALSE(CFile::isFile(temp.path()));
    EXPECT_FALSE(CFile::isFile(CString(u"/dev/null"))) << "a device is no file";
    // Missing paths: judged by their extension.
    EXPECT_TRUE(CFile::isFile(temp.path("x.txt")));
    EXPECT_FALSE(CFile::isFile(temp.path("x")));
    EXPECT_FALSE(CFile::isFile(CString()));
}

TEST(CFile, ReadOnlyAndSetWritable)
{
    CTempFolder temp;
    temp.writeFile("ro.txt", "1");
    temp.writeFile("rw.txt", "1");
    ASSERT_EQ(chmod(temp.native("ro.txt").c_str(), 0444), 0);
    EXPECT_TRUE(CFile::isReadOnly(temp.path("ro.txt")));
    EXPECT_FALSE(CFile::isReadOnly(temp.path("rw.txt")));
    EXPECT_FALSE(CFile::isReadOnly(temp.path("missing.txt")));

    EXPECT_TRUE(CFile::setWritable(temp.path("rw.txt")));
    EXPECT_TRUE(CFile::setWritable(temp.path("missing.txt")));
    EXPECT_TRUE(CFile::setWritable(temp.path("ro.txt")));
    EXPECT_FALSE(CFile::isReadOnly(temp.path("ro.txt")));
    CFile file;
    EXPECT_TRUE(file.open(temp.path("ro.txt"), u"ab"));
}

TEST(CFile, LastModifyTimeCountsFrom1601In100Nanoseconds)
{
    CTempFolder temp;
    temp.writeFile("t.txt", "1");
    // 2021-04-30 12:00:00.5 UTC.
    const long long unixSeconds = 1619784000;
    timespec times[2] = {{unixSeconds, 500000000}, {unixSeconds, 500000000}};
    ASSERT_EQ(utimensat(AT_FDCWD, temp.native("t.txt").c_str(), times, 0), 0);
    const unsigned long long expected = (unixSeconds + 11644473600ull) * 10000000ull + 5000000ull;
    EXPECT_EQ(CFile::getLastModifyTime(temp.path("t.txt")), expected);
    EXPECT_EQ(CFile::getLastModifyTime(temp.path("missing.txt")), 0ull);
    EXPECT_EQ(CFile::getLastModifyTime(CString()), 0ull);
}

TEST(CFile, RenameRules)
{
    CTempFolder temp;
    temp.writeFile("a.txt", "A");
    temp.writeFile("b.txt", "B");
    EXPECT_FALSE(CFile::renameFile(temp.path("a.txt"), temp.path("A.TXT"))) << "names equal ignoring case";
    EXPECT_FALSE(CFile::renameFile(temp.path("a.txt"), temp.path("b.txt"))) << "target exists";
    EXPECT_EQ(temp.readFile("b.txt"), "B");
    EXPECT_TRUE(CFile::renameFile(temp.path("a.txt"), temp.path("c.txt")));
    EXPECT_FALSE(temp.exists("a.txt"));
    EXPECT_EQ(temp.readFile("c.txt"), "A");
    EXPECT_FALSE(CFile::renameFile(temp.path("a.txt"), temp.path("d.txt"))) << "source vanished";
    EXPECT_FALSE(CFile::renameFile(CString(), temp.path("d.txt")));
}

TEST(CFile, CopyRules)
{
    CTempFolder temp;
    temp.writeFile("src.txt", "source");
    temp.writeFile("old.txt", "old");
    EXPECT_FALSE(CFile::copyFile(temp.path("src.txt"), temp.path("SRC.txt"), true));
    EXPECT_FALSE(CFile::copyFile(temp.path("src.txt"), temp.path("old.txt"), false));
    EXPECT_EQ(temp.readFile("old.txt"), "old");

    ASSERT_EQ(chmod(temp.native("old.txt").c_str(), 0444), 0);
    EXPECT_TRUE(CFile::copyFile(temp.path("src.txt"), temp.path("old.txt"), true));
    EXPECT_EQ(temp.readFile("old.txt"), "source");

    EXPECT_TRUE(CFile::copyFile(temp.path("src.txt"), temp.path("new/folder/copy.txt"), false));
    EXPECT_EQ(temp.readFile("new/folder/copy.txt"), "source");

    // Another spelling of the same file must not truncate it.
    EXPECT_FALSE(CFile::copyFile(temp.path("src.txt"), temp.path("new/../src.txt"), true));
    EXPECT_EQ(temp.readFile("src.txt"), "source");

    EXPECT_FALSE(CFile::copyFile(temp.path("missing.txt"), temp.path("x.txt"), true));
    EXPECT_FALSE(temp.exists("x.txt"));
    EXPECT_FALSE(CFile::copyFile(temp.path(), temp.path("dir-copy"), true)) << "a folder is not copied";
}

TEST(CFile, DeleteFile)
{
    CTempFolder temp;
    temp.writeFile("d.txt", "12345");
    CFile file;
    ASSERT_TRUE(file.open(temp.path("d.txt"), true));
    EXPECT_TRUE(CFile::deleteFile(temp.path("d.txt")));
    EXPECT_FALSE(temp.exists("d.txt"));
    // A stream opened before still answers from the file it had.
    EXPECT_EQ(file.getFileSize(), 5u);
    EXPECT_FALSE(CFile::deleteFile(temp.path("d.txt")));
    EXPECT_FALSE(CFile::deleteFile(temp.path())) << "folders are not files";
    EXPECT_FALSE(CFile::deleteFile(CString()));
}
