#pragma once

#include <platform/ISystem.h>

namespace Trell {

// Processes on CreateProcessW, URLs through ShellExecuteW, the clipboard as
// CF_UNICODETEXT. Any thread may call these.
//
// startProcess and the plain executeSystemCommand let the child inherit the
// handles the host made inheritable (the library makes none); the capturing
// executeSystemCommand passes the child its pipe end and nothing else, so a
// concurrent start elsewhere cannot keep that pipe open.
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

    // A program that cannot be started is silently ignored.
    void startProcess(const CString& strPath, const CString& strParameters, bool bShow, bool bWait) override;
    // Logs a warning when the shell cannot open it.
    void openURL(const CString& strURL) override;
    // Standard output and error go to the captured text, standard input is
    // the null device. Unlike a blocking read, the one read waits at most
    // OUTPUT_READ_MS for the first bytes; a child still running afterwards
    // keeps running. The bytes are in the ANSI code page; a character cut by
    // the byte limit is left out. Empty when the command cannot be started.
    void executeSystemCommand(const CString& strCommand, bool bWait, CString& strOutput) override;
    void executeSystemCommand(const CString& strCommand, bool bWait) override;
    // While the clipboard cannot be opened (no window station, as for a
    // service) the text stays inside the process.
    void writeToClipboard(const CString& strText) override;
    CString readFromClipboard() override;
};

} // namespace Trell
