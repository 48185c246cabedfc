// What only the Windows platform layer does: wide names reach the system
// unchanged, attributes decide read-only and hidden, events are kernel
// objects shared by name, and the clock is the system's own.
#include <platform/CWaitObject.h>
#include <platform/IFile.h>
#include <platform/IFolder.h>
#include <platform/PlatformImp.h>
#include <system/CFile.h>
#include <system/CTime.h>
#include <text/CString.h>

#include "system/TempFolder.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <tuple>

#include <windows.h>

using namespace Trell;

namespace {

std::wstring wideOf(const CString& str)
{
    return std::wstring(reinterpret_cast<const wchar_t*>(str.buffer()), str.length());
}

} // namespace

// A wide name (Cyrillic, CJK and a surrogate pair) reaches the system as
// the UTF-16 units it stores and comes back unchanged; attributes decide
// read-only and hidden.
TEST(Win32Layer, WideNamesReachTheSystemUnchangedAndAttributesDecideReadOnlyAndHidden)
{
    CTempFolder temp;
    const CString name(u"\u0434\u0430\u043d\u043d\u044b\u0435_\u6587\u4ef6_\U0001F600.txt");
    CString path = temp.path();
    path.append(u"/");
    path.append(name);
    for (const CString& strFile : {path, temp.path("readonly.txt"), temp.path("hidden.txt"), temp.path("system.txt")}) {
        CFile created;
        ASSERT_TRUE(created.open(strFile, u"wb"));
    }
    WIN32_FIND_DATAW data;
    HANDLE hFind = FindFirstFileW(wideOf(path).c_str(), &data);
    ASSERT_NE(hFind, INVALID_HANDLE_VALUE);
    FindClose(hFind);
    EXPECT_EQ(std::wstring(data.cFileName), wideOf(name));
    SetFileAttributesW(wideOf(temp.path("readonly.txt")).c_str(), FILE_ATTRIBUTE_READONLY);
    SetFileAttributesW(wideOf(temp.path("hidden.txt")).c_str(), FILE_ATTRIBUTE_HIDDEN);
    SetFileAttributesW(wideOf(temp.path("system.txt")).c_str(), FILE_ATTRIBUTE_SYSTEM);

    std::unique_ptr<IFile> file(PlatformImp::createFile());
    EXPECT_FALSE(file->isReadOnly(path));
    EXPECT_TRUE(file->isReadOnly(temp.path("readonly.txt")));
    EXPECT_TRUE(file->setWritable(temp.path("readonly.txt")));
    EXPECT_FALSE(file->isReadOnly(temp.path("readonly.txt")));
    EXPECT_EQ(GetFileAttributesW(wideOf(temp.path("readonly.txt")).c_str()) & FILE_ATTRIBUTE_READONLY, 0u);

    CObjectArray<IFolder::tagEntry> entries(true);
    std::unique_ptr<IFolder> folder(PlatformImp::createFolder());
    ASSERT_TRUE(folder->listEntries(temp.path(), entries));
    ASSERT_EQ(entries.getCount(), 4u);
    int iWide = 0;
    for (const IFolder::tagEntry* pEntry : entries) {
        const std::string strName = narrow(pEntry->name);
        EXPECT_EQ(pEntry->isHidden, strName == "hidden.txt" || strName == "system.txt") << strName;
        iWide += pEntry->name == name;
    }
    EXPECT_EQ(iWide, 1);
}

TEST(Win32Layer, NamedEventIsTheKernelObjectOfThatName)
{
    const std::wstring strName = L"ecs_test_event_" + std::to_wstring(GetCurrentProcessId());
    CWaitObject event(CString(reinterpret_cast<const char16_t*>(strName.c_str())));
    HANDLE hEvent = OpenEventW(EVENT_MODIFY_STATE | SYNCHRONIZE, FALSE, strName.c_str());
    ASSERT_NE(hEvent, nullptr) << "the event exists under its name";
    SetEvent(hEvent);
    event.forceWait(10000); // returns at once: the kernel object is the same
    EXPECT_EQ(WaitForSingleObject(hEvent, 0), static_cast<DWORD>(WAIT_TIMEOUT)) << "the wait reset it";
    event.notify();
    EXPECT_EQ(WaitForSingleObject(hEvent, 0), static_cast<DWORD>(WAIT_OBJECT_0));
    CloseHandle(hEvent);
}

TEST(Win32Layer, ClockIsTheSystemsTickAndLocalTime)
{
    CTime::getTickCount(); // sets the common base
    const DWORD uiBefore = GetTickCount();
    const unsigned int uiTick = CTime::getTickCount() + CTime::s_ulStartTickCount.load();
    const DWORD uiAfter = GetTickCount();
    // Read between two reads of the system tick (unsigned: wrapping is fine).
    EXPECT_LE(uiTick - static_cast<unsigned int>(uiBefore), static_cast<unsigned int>(uiAfter - uiBefore));

    SYSTEMTIME before;
    GetLocalTime(&before);
    const CTime local = CTime::getCurrentTime();
    // Fields as the system names them (month 1..12, day 1..31); a minute
    // boundary between the two reads is the only allowed difference.
    EXPECT_EQ(std::make_tuple(local.getYear(), local.getMonth(), local.getDay(), local.getHour()),
              std::make_tuple(before.wYear, before.wMonth, before.wDay, before.wHour));
    EXPECT_LE(local.getMinute() * 60 + local.getSecond() - (before.wMinute * 60 + before.wSecond), 1);
}
