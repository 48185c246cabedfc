#pragma once

#include <platform/ISystem.h>

namespace Trell {

// Processes on posix_spawn, URLs through xdg-open, the clipboard through
// Clipboard.h. Any thread may call these.
//
// Children inherit the caller's environment and every descriptor not marked
// close-on-exec (the library marks all of its own), with signals unblocked
// and SIGPIPE at its default. A child started without waiting is reaped by a
// later call of any of these operations, so it stays a zombie at most until
// then. Window visibility has no meaning here: the show flag is ignored.
class CImpSystem : public ISystem
{
    TRELL_DECLARE_ALLOCATOR(u"CImpSystem")

public:
    // The captured-output limits: the wait, the bytes read, and how long the
    // one read waits for a child that has written nothing yet.
    static constexpr int OUTPUT_WAIT_MS = 1000;
    static constexpr unsigned int OUTPUT_BYTES = 1023;
    static constexpr int OUTPUT_READ_MS = 1000;

    CImpSystem() {}
    ~CImpSystem() override {}

    // The program is found on PATH when its name has no "/"; backslashes in
    // it become "/". A program that cannot be started is silently ignored.
    void startProcess(const CString& strPath, const CString& strParameters, bool bShow, bool bWait) override;
    // Logs a warning when there is no xdg-open on PATH or it cannot start.
    void openURL(const CString& strURL) override;
    // Standard output and error go to the captured text, standard input is
    // /dev/null. Unlike a blocking read, the one read waits at most
    // OUTPUT_READ_MS for the first bytes; a child still running afterwards
    // keeps running, and gets SIGPIPE if it writes again. The bytes are UTF-8,
    // the system's multibyte encoding here; a character cut by the byte limit
    // is left out. Empty when the command cannot be started.
    void executeSystemCommand(const CString& strCommand, bool bWait, CString& strOutput) override;
    void executeSystemCommand(const CString& strCommand, bool bWait) override;
    void writeToClipboard(const CString& strText) override;
    CString readFromClipboard() override;
};

} // namespace Trell
