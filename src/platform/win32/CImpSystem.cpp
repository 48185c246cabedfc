#include <platform/win32/CImpSystem.h>

#include <platform/PlatformImp.h>
#include <platform/PlatformLog.h>
#include <platform/win32/WideText.h>
#include <text/CString.h>
#include <text/CStringConverter.h>

#include <chrono>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <windows.h>

// Needs the types windows.h declares.
#include <shellapi.h>

namespace Trell {

namespace {

typedef std::chrono::steady_clock Clock;

std::u16string text(const CString& strText)
{
    return strText.buffer() ? std::u16string(strText.buffer(), strText.length()) : std::u16string();
}

// The command line of a system command: a batch file goes to the command
// interpreter as "cmd" "<command>", unless ".bat" starts the command.
std::u16string commandLine(const CString& strCommand)
{
    std::u16string strLine = text(strCommand);
    const std::size_t uiBat = strLine.find(u".bat");
    if (uiBat != std::u16string::npos && uiBat > 0)
        strLine = u"\"cmd\" \"" + strLine + u"\"";
    return strLine;
}

// Starts the command line; the process handle, or null when it cannot start.
// With hOutput, that handle becomes standard output and error, standard input
// is the null device, and the child inherits those two handles only.
HANDLE spawn(std::u16string strLine, bool bShow, HANDLE hOutput)
{
    STARTUPINFOEXW startup{};
    startup.StartupInfo.cb = sizeof(startup.StartupInfo);
    startup.StartupInfo.dwFlags = STARTF_USESHOWWINDOW;
    startup.StartupInfo.wShowWindow = static_cast<WORD>(bShow ? SW_SHOWNORMAL : SW_HIDE);
    DWORD dwFlags = 0;
    HANDLE hInput = nullptr;
    std::vector<unsigned char> aryAttributes;
    // The attribute list points at this array until the process is made.
    HANDLE ahInherited[2] = {nullptr, hOutput};
    if (hOutput) {
        SECURITY_ATTRIBUTES inherit{sizeof(inherit), nullptr, TRUE};
        hInput =
            CreateFileW(L"NUL", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherit, OPEN_EXISTING, 0, nullptr);
        if (hInput == INVALID_HANDLE_VALUE)
            return nullptr;
        startup.StartupInfo.dwFlags |= STARTF_USESTDHANDLES;
        startup.StartupInfo.hStdInput = hInput;
        startup.StartupInfo.hStdOutput = hOutput;
        startup.StartupInfo.hStdError = hOutput;
        SIZE_T size = 0;
        InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
        aryAttributes.resize(size);
        startup.lpAttributeList = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(aryAttributes.data());
        ahInherited[0] = hInput;
        if (!InitializeProcThreadAttributeList(startup.lpAttributeList, 1, 0, &size) ||
            !UpdateProcThreadAttribute(startup.lpAttributeList, 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, ahInherited,
                                       sizeof(ahInherited), nullptr, nullptr)) {
            CloseHandle(hInput);
            return nullptr;
        }
        dwFlags |= EXTENDED_STARTUPINFO_PRESENT;
    }
    PROCESS_INFORMATION info{};
    // CreateProcessW may write into the command line.
    strLine.push_back(u'\0');
    const BOOL bStarted = CreateProcessW(nullptr, reinterpret_cast<wchar_t*>(&strLine[0]), nullptr, nullptr, TRUE,
                                         dwFlags, nullptr, nullptr, &startup.StartupInfo, &info);
    if (hOutput) {
        DeleteProcThreadAttributeList(startup.lpAttributeList);
        CloseHandle(hInput);
    }
    if (!bStarted)
        return nullptr;
    CloseHandle(info.hThread);
    return info.hProcess;
}

void finish(HANDLE hProcess, bool bWait)
{
    if (bWait)
        WaitForSingleObject(hProcess, INFINITE);
    CloseHandle(hProcess);
}

// One read of at most uiMax bytes, waiting at most iLimitMs for the first
// ones (an anonymous pipe has no timed read, so its content is looked at).
// The number of bytes read, 0 when none came.
DWORD readOnce(HANDLE hPipe, char* pBuffer, DWORD dwMax, int iLimitMs)
{
    const Clock::time_point end = Clock::now() + std::chrono::milliseconds(iLimitMs);
    std::chrono::microseconds pause(50);
    for (;;) {
        DWORD dwAvailable = 0;
        // Fails once the child has ended and its end is closed: nothing more comes.
        if (!PeekNamedPipe(hPipe, nullptr, 0, nullptr, &dwAvailable, nullptr))
            return 0;
        if (dwAvailable > 0) {
            DWORD dwRead = 0;
            if (!ReadFile(hPipe, pBuffer, dwAvailable < dwMax ? dwAvailable : dwMax, &dwRead, nullptr))
                return 0;
            return dwRead;
        }
        if (Clock::now() >= end)
            return 0;
        std::this_thread::sleep_for(pause);
        pause = std::min(pause * 2, std::chrono::microseconds(4000));
    }
}

// The ANSI bytes as text, leaving out a double-byte character cut at the end.
CString decodeAnsi(const char* pBytes, DWORD dwCount)
{
    DWORD dwWhole = 0;
    for (DWORD i = 0; i < dwCount; ++i) {
        if (IsDBCSLeadByteEx(CP_ACP, static_cast<BYTE>(pBytes[i])) && ++i >= dwCount)
            break;
        dwWhole = i + 1;
    }
    if (dwWhole == 0)
        return CString(u"");
    const int iUnits = MultiByteToWideChar(CP_ACP, 0, pBytes, static_cast<int>(dwWhole), nullptr, 0);
    if (iUnits <= 0)
        return CString(u"");
    std::u16string strText(static_cast<std::size_t>(iUnits), u'\0');
    MultiByteToWideChar(CP_ACP, 0, pBytes, static_cast<int>(dwWhole), reinterpret_cast<wchar_t*>(&strText[0]), iUnits);
    return CString(strText.c_str(), static_cast<unsigned int>(strText.size()));
}

// The clipboard is shared with other processes, which hold it open briefly.
bool openClipboard()
{
    for (int i = 0; i < 10; ++i) {
        if (OpenClipboard(nullptr))
            return true;
        Sleep(10);
    }
    return false;
}

// The clipboard's text while none can be opened; guarded by g_localMutex.
std::mutex g_localMutex;
std::u16string g_strLocal;
bool g_bLocalReported = false;

} // namespace

void CImpSystem::startProcess(const CString& strPath, const CString& strParameters, bool bShow, bool bWait)
{
    std::u16string strLine = text(strParameters);
    if (strPath.length() > 0)
        strLine = u"\"" + text(strPath) + u"\" \"" + strLine + u"\"";
    if (HANDLE hProcess = spawn(strLine, bShow, nullptr))
        finish(hProcess, bWait);
}

void CImpSystem::openURL(const CString& strURL)
{
    const HINSTANCE hResult =
        ShellExecuteW(nullptr, L"open", WideText::toWide(strURL), nullptr, nullptr, SW_SHOWNORMAL);
    // Above 32 is success; the rest are error codes.
    const INT_PTR iResult = reinterpret_cast<INT_PTR>(hResult);
    if (iResult <= 32) {
        const CString strLine =
            CStringConverter::format(u"Can't open URL %ls: the shell answered %d.",
                                     strURL.buffer() ? strURL.buffer() : u"", static_cast<int>(iResult));
        PlatformLog::logWarning(strLine.buffer());
    }
}

void CImpSystem::executeSystemCommand(const CString& strCommand, bool bWait, CString& strOutput)
{
    strOutput = CString(u"");
    if (strCommand.length() == 0)
        return;
    // Neither end is inheritable as made: the child gets its end through the
    // handle list only.
    HANDLE hRead = nullptr;
    HANDLE hWrite = nullptr;
    if (!CreatePipe(&hRead, &hWrite, nullptr, OUTPUT_BYTES))
        return;
    SetHandleInformation(hWrite, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
    HANDLE hProcess = spawn(commandLine(strCommand), false, hWrite);
    // Only the child may hold the writing end, or the pipe would never show
    // the end of its output.
    CloseHandle(hWrite);
    if (!hProcess) {
        CloseHandle(hRead);
        return;
    }
    if (bWait)
        WaitForSingleObject(hProcess, OUTPUT_WAIT_MS);
    char achBuffer[OUTPUT_BYTES + 1] = {};
    const DWORD dwRead = readOnce(hRead, achBuffer, OUTPUT_BYTES, OUTPUT_READ_MS);
    CloseHandle(hRead);
    CloseHandle(hProcess);
    strOutput = decodeAnsi(achBuffer, dwRead);
}

void CImpSystem::executeSystemCommand(const CString& strCommand, bool bWait)
{
    if (strCommand.length() == 0)
        return;
    if (HANDLE hProcess = spawn(commandLine(strCommand), false, nullptr))
        finish(hProcess, bWait);
}

void CImpSystem::writeToClipboard(const CString& strText)
{
    if (strText.length() == 0)
        return;
    if (!openClipboard()) {
        std::lock_guard<std::mutex> guard(g_localMutex);
        // Once per process, not on every call that finds it away.
        if (!g_bLocalReported)
            PlatformLog::logWarning(u"The clipboard cannot be opened; the clipboard stays inside this process.");
        g_bLocalReported = true;
        g_strLocal.assign(strText.buffer(), strText.length());
        return;
    }
    EmptyClipboard();
    const SIZE_T size = (static_cast<SIZE_T>(strText.length()) + 1) * sizeof(char16_t);
    HGLOBAL hMemory = GlobalAlloc(GMEM_MOVEABLE, size);
    if (hMemory) {
        if (void* pMemory = GlobalLock(hMemory)) {
            CopyMemory(pMemory, strText.buffer(), size);
            GlobalUnlock(hMemory);
            // The clipboard owns the memory once it is set.
            if (!SetClipboardData(CF_UNICODETEXT, hMemory))
                GlobalFree(hMemory);
        } else {
            GlobalFree(hMemory);
        }
    }
    CloseClipboard();
    std::lock_guard<std::mutex> guard(g_localMutex);
    g_strLocal.clear();
}

CString CImpSystem::readFromClipboard()
{
    if (!openClipboard()) {
        std::lock_guard<std::mutex> guard(g_localMutex);
        return CString(g_strLocal.c_str(), static_cast<unsigned int>(g_strLocal.size()));
    }
    CString strText(u"");
    if (IsClipboardFormatAvailable(CF_UNICODETEXT)) {
        if (HANDLE hData = GetClipboardData(CF_UNICODETEXT)) {
            if (const char16_t* pszData = static_cast<const char16_t*>(GlobalLock(hData))) {
                strText = CString(pszData);
                GlobalUnlock(hData);
            }
        }
    }
    CloseClipboard();
    return strText;
}

} // namespace Trell
