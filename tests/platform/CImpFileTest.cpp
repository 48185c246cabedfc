#include <platform/IFile.h>
#include <platform/PlatformImp.h>
#include <text/CString.h>

#include "system/TempFolder.h"

#include <gtest/gtest.h>

#include <memory>

#include <fcntl.h>
#include <sys/stat.h>

using namespace Trell;

// The platform's file services on real files (CFile adds argument checks).
TEST(CImpFile, KindTimeAndCopiesThatKeepModeAndTime)
{
    CTempFolder temp;
    std::unique_ptr<IFile> file(PlatformImp::createFile());
    temp.writeFile("a.txt", "A");
    ASSERT_EQ(chmod(temp.native("a.txt").c_str(), 0444), 0);
    // 2021-04-30 12:00:00.5 UTC, counted from 1601 in 100-nanosecond units.
    const timespec times[2] = {{1619784000, 500000000}, {1619784000, 500000000}};
    ASSERT_EQ(utimensat(AT_FDCWD, temp.native("a.txt").c_str(), times, 0), 0);
    const unsigned long long ullTime = (1619784000ull + 11644473600ull) * 10000000ull + 5000000ull;
    EXPECT_EQ(file->getLastModifyTime(temp.path("a.txt")), ullTime);
    EXPECT_EQ(file->getLastModifyTime(temp.path()) + file->getLastModifyTime(temp.path("none")), 0ull);
    const IFile::EFileType kinds[] = {file->getFileType(temp.path("a.txt")), file->getFileType(temp.path()),
                                      file->getFileType(CString(u"/dev/null")), file->getFileType(temp.path("x"))};
    EXPECT_TRUE(kinds[0] == IFile::FILE_TYPE_FILE && kinds[1] == IFile::FILE_TYPE_FOLDER &&
                kinds[2] == IFile::FILE_TYPE_DEVICE && kinds[3] == IFile::FILE_TYPE_NONE);

    // No folder is copied, nor a file onto itself; an existing target only
    // without bFailIfExists. A copy keeps mode and time.
    EXPECT_FALSE(file->copyFile(temp.path(), temp.path("dir"), false) || temp.exists("dir"));
    EXPECT_FALSE(file->copyFile(temp.path("a.txt"), temp.path("./a.txt"), false));
    EXPECT_TRUE(file->copyFile(temp.path("a.txt"), temp.path("b.txt"), true));
    EXPECT_FALSE(file->copyFile(temp.path("a.txt"), temp.path("b.txt"), true));
    EXPECT_EQ(temp.readFile("b.txt"), "A");
    EXPECT_EQ(file->getLastModifyTime(temp.path("b.txt")), ullTime);
    EXPECT_TRUE(file->isReadOnly(temp.path("b.txt")));
    EXPECT_TRUE(file->setWritable(temp.path("b.txt")) && !file->isReadOnly(temp.path("b.txt")));
    EXPECT_TRUE(file->moveFile(temp.path("b.txt"), temp.path("c.txt")) && file->deleteFile(temp.path("c.txt")));
    EXPECT_FALSE(file->isExist(temp.path("c.txt")) || file->deleteFile(temp.path("c.txt")) ||
                 file->moveFile(temp.path("c.txt"), temp.path("d.txt")) || file->moveFile(CString(), temp.path("d")));
}
