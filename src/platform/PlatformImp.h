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
class IPlayerMP3;
class ISyncObject;
class ISystem;
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
ECS_API ISystem* createSystem();
// The built-in MP3 player (defined beside its implementation).
ECS_API IPlayerMP3* createPlayerMP3();

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

// Whether the path is itself a symbolic link (or junction), whatever it
// leads to.
bool isLink(const CString& strPath);

// Current folder of the process, "/"-separated; empty when it cannot be read.
CString getCurrentFolder();

// Replaces the content of strPath with uiCount bytes so that a crash or power
// cut at any moment leaves either the old content or the new one. A link is
// followed: the file it leads to is replaced and the link stays. The bytes go
// to a temporary of a unique name beside that file, with its permissions,
// and reach the disk before the temporary is renamed over it. On failure the
// file is untouched and the temporary removed.
bool replaceFileContent(const CString& strPath, const unsigned char* pData, unsigned int uiCount);

} // namespace PlatformImp
} // namespace Trell
