#pragma once

// Threading contract
// ------------------
// Every operation is static and may be called from any thread. Each call
// builds its own platform object; clipboard calls are serialised inside the
// platform layer, which on X11 serves the clipboard from a thread of its own
// (stopped at library unload). A wait for a process blocks only the calling
// thread.

#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/Export.h>
#include <text/CString.h>

namespace Trell {

// The host's command-line options, processes, shell commands, URLs and the
// clipboard.
class ECS_API CSystem : public CObject
{
    TRELL_DECLARE_ALLOCATOR(u"CSystem")

public:
    CSystem();
    ~CSystem() override;

    // Answers a single "-v"/"version" or "-h"/"help" argument (any case;
    // converted from the multibyte code page) with Info lines under the
    // engine category and returns true; false, printing nothing, for any
    // other argument or unless argc is 2. A null application name prints as
    // empty text.
    static bool parseBinInfo(int argc, char** argv, const char16_t* pszAppName);
    // Runs the command line "<path>" "<parameters>" (or the parameters alone
    // for an empty path), waiting for its end without limit when bWait is
    // set. bShow has no effect where windows are not the caller's to show.
    // A program that cannot start is ignored.
    static void startProcess(const CString& strPath, const CString& strParameters, bool bShow, bool bWait);
    // Opens the URL with the desktop's handler; a failure is logged.
    static void openURL(const CString& strURL);
    // Runs a shell command; one naming ".bat" after its first character runs
    // as "cmd" "<command>". Waits without limit when bWait is set.
    static void executeSystemCommand(const CString& strCommand, bool bWait);
    // The same, capturing standard output and error: waits at most 1000 ms
    // when bWait is set, then reads once at most 1023 bytes (see the platform
    // layer for how long that read may wait).
    static void executeSystemCommand(const CString& strCommand, bool bWait, CString& strOutput);
    // Empty text leaves the clipboard as it is.
    static void writeToClipboard(const CString& strText);
    // Empty when the clipboard holds no text or cannot be read.
    static CString readFromClipboard();

protected:
    CSystem(const CSystem& other);
    CSystem& operator=(const CSystem& other);
};

} // namespace Trell
