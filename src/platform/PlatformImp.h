#pragma once

// Creation of the platform implementation objects and the few free platform
// services (clock, stream files). Portable code includes only this header;
// each platform folder implements it, so no front class names a CImp class.

#include <foundation/Export.h>

#include <cstdio>

namespace Trell {

class CString;
class CThread;
class IFile;
class IFolder;
class ILibraryLoader;
class IPath;
class ISyncObject;
class IThread;
class IWaitObject;

namespace PlatformImp {

// Each returns a new object owned by the caller (deleted through the
// interface), or null when the allocation fails. They are exported so that
// the tests can exercise the platform objects directly.
ECS_API ISyncObject* createSyncObject();
// An empty name gives a process-local event, any other a shared named one.
ECS_API IWaitObject* createWaitObject(const CString& strName);
ECS_API IThread* createThread(CThread* pOwner);
ECS_API IPath* createPath();
ECS_API IFile* createFile();
ECS_API IFolder* createFolder();
ECS_API ILibraryLoader* createLibraryLoader();

// Milliseconds of a monotonic system clock, truncated to 32 bits (wraps).
unsigned int getSystemTickCount();

// Local wall-clock time, month 1..12, day 1..31.
struct tagLocalTime
{
    unsigned short usYear;
    unsigned short usMonth;
    unsigned short usDay;
    unsigned short usHour;
    unsigned short usMinute;
    unsigned short usSecond;
    unsigned short usMilliseconds;
};
void getLocalTime(tagLocalTime& time);

// Opens a C stream on a library path (names are converted to the platform's
// file-name encoding). pszMode is the C runtime mode ("rb", "wb", "ab"...).
// Null on failure.
std::FILE* openFileStream(const CString& strPath, const char16_t* pszMode);

// Renames strFrom over strTo in one step, replacing strTo if it exists (the
// file operations of IFile refuse an existing target). Atomic when both lie
// in the same folder. False when either name is empty or the rename fails;
// strTo is then untouched.
bool replaceFile(const CString& strFrom, const CString& strTo);

} // namespace PlatformImp
} // namespace Trell
