#include <platform/posix/CImpSystem.h>

#include <platform/PlatformLog.h>
#include <platform/posix/Clipboard.h>
#include <platform/posix/CommandLine.h>
#include <platform/posix/Utf8Text.h>
#include <text/CString.h>
#include <text/CStringConverter.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace Trell {

namespace {

typedef std::chrono::steady_clock Clock;

std::u16string wide(const CString& strText)
{
    return strText.buffer() ? std::u16string(strText.buffer(), strText.length()) : std::u16string();
}

// Children started without waiting, until a later call reaps them.
std::mutex g_childrenMutex;
std::vector<pid_t> g_aryChildren;

void reapChildren()
{
    std::lock_guard<std::mutex> guard(g_childrenMutex);
    g_aryChildren.erase(std::remove_if(g_aryChildren.begin(), g_aryChildren.end(),
                                       [](pid_t pid) {
                                           const pid_t result = waitpid(pid, nullptr, WNOHANG);
                                           // ECHILD: the host reaped it itself.
                                           return result == pid || (result < 0 && errno != EINTR);
                                       }),
                        g_aryChildren.end());
}

void leaveRunning(pid_t pid)
{
    std::lock_guard<std::mutex> guard(g_childrenMutex);
    g_aryChildren.push_back(pid);
}

void waitForExit(pid_t pid)
{
    while (waitpid(pid, nullptr, 0) < 0 && errno == EINTR) {
    }
}

// True when the child has ended (and is reaped) within iLimitMs; 0 only looks.
bool waitForExit(pid_t pid, int iLimitMs)
{
    const Clock::time_point end = Clock::now() + std::chrono::milliseconds(iLimitMs);
    // Short commands end within a millisecond or two: look often at first.
    std::chrono::microseconds pause(50);
    for (;;) {
        const pid_t result = waitpid(pid, nullptr, WNOHANG);
        if (result == pid || (result < 0 && errno != EINTR))
            return true;
        if (Clock::now() >= end)
            return false;
        std::this_thread::sleep_for(pause);
        pause = std::min(pause * 2, std::chrono::microseconds(4000));
    }
}

// Starts aryArgs[0] (looked up on PATH when it has no "/") with aryArgs as
// its argument vector. With iOutput not -1, that descriptor becomes standard
// output and error and standard input is /dev/null. -1 when it cannot start.
pid_t spawn(const std::vector<std::string>& aryArgs, int iOutput)
{
    std::vector<char*> aryArgv;
    for (const std::string& strArg : aryArgs)
        aryArgv.push_back(const_cast<char*>(strArg.c_str()));
    aryArgv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    if (posix_spawn_file_actions_init(&actions) != 0)
        return -1;
    if (posix_spawnattr_init(&attributes) != 0) {
        posix_spawn_file_actions_destroy(&actions);
        return -1;
    }
    // A child starts with no signal blocked and SIGPIPE at its default, whatever
    // the calling thread or the host set for themselves.
    sigset_t none;
    sigset_t defaults;
    sigemptyset(&none);
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGPIPE);
    bool bOk = posix_spawnattr_setsigmask(&attributes, &none) == 0 &&
               posix_spawnattr_setsigdefault(&attributes, &defaults) == 0 &&
               posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF) == 0;
    if (bOk && iOutput >= 0) {
        bOk = posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0) == 0 &&
              posix_spawn_file_actions_adddup2(&actions, iOutput, 1) == 0 &&
              posix_spawn_file_actions_adddup2(&actions, iOutput, 2) == 0;
    }
    pid_t pid = -1;
    if (bOk) {
        const bool bSearch = aryArgs[0].find('/') == std::string::npos;
        const int iResult = bSearch ? posix_spawnp(&pid, aryArgv[0], &actions, &attributes, aryArgv.data(), environ)
                                    : posix_spawn(&pid, aryArgv[0], &actions, &attributes, aryArgv.data(), environ);
        if (iResult != 0)
            pid = -1;
    }
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    return pid;
}

// The Windows side hands a command naming a batch file to the command
// interpreter, quoted as "cmd" "<command>". The same text gives the same
// command line here, deliberately, so that a host sees one behaviour on both
// systems (and may provide a "cmd" of its own); /bin/sh runs the line.
pid_t spawnShell(const CString& strCommand, int iOutput)
{
    std::u16string strLine = wide(strCommand);
    const std::size_t uiBat = strLine.find(u".bat");
    if (uiBat != std::u16string::npos && uiBat > 0)
        strLine = u"\"cmd\" \"" + strLine + u"\"";
    return spawn({"/bin/sh", "-c", Utf8Text::encode(strLine)}, iOutput);
}

// One read of at most uiMax bytes, waiting at most iLimitMs for the first
// ones. The number of bytes read, 0 when none came.
std::size_t readOnce(int fd, char* pBuffer, std::size_t uiMax, int iLimitMs)
{
    const Clock::time_point end = Clock::now() + std::chrono::milliseconds(iLimitMs);
    for (;;) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
        pollfd pfd = {fd, POLLIN, 0};
        const int iReady = poll(&pfd, 1, left > 0 ? static_cast<int>(left) : 0);
        if (iReady < 0 && errno == EINTR)
            continue;
        if (iReady <= 0)
            return 0;
        const ssize_t iRead = read(fd, pBuffer, uiMax);
        if (iRead < 0 && errno == EINTR)
            continue;
        return iRead > 0 ? static_cast<std::size_t>(iRead) : 0;
    }
}

// The path of an executable found on PATH, empty when there is none.
std::string findOnPath(const std::string& strName)
{
    const char* pszPath = std::getenv("PATH");
    const std::string strPath = pszPath ? pszPath : "/usr/bin:/bin";
    std::size_t uiStart = 0;
    for (;;) {
        const std::size_t uiEnd = strPath.find(':', uiStart);
        std::string strFolder =
            strPath.substr(uiStart, uiEnd == std::string::npos ? std::string::npos : uiEnd - uiStart);
        // An empty entry is the current folder.
        const std::string strCandidate = (strFolder.empty() ? std::string(".") : strFolder) + "/" + strName;
        struct stat st;
        if (stat(strCandidate.c_str(), &st) == 0 && S_ISREG(st.st_mode) && access(strCandidate.c_str(), X_OK) == 0)
            return strCandidate;
        if (uiEnd == std::string::npos)
            return std::string();
        uiStart = uiEnd + 1;
    }
}

void logUrlFailure(const char16_t* pszFormat, const CString& strURL)
{
    const CString strLine = CStringConverter::format(pszFormat, strURL.buffer() ? strURL.buffer() : u"");
    PlatformLog::logWarning(strLine.buffer());
}

} // namespace

void CImpSystem::startProcess(const CString& strPath, const CString& strParameters, bool /*bShow*/, bool bWait)
{
    reapChildren();
    // The command line the Windows side builds, then cut as its program
    // would cut it.
    std::u16string strLine = wide(strParameters);
    if (strPath.length() > 0)
        strLine = u"\"" + wide(strPath) + u"\" \"" + strLine + u"\"";
    std::vector<std::u16string> aryWide = CommandLine::split(strLine);
    if (aryWide.empty() || aryWide[0].empty())
        return;
    std::replace(aryWide[0].begin(), aryWide[0].end(), u'\\', u'/');
    std::vector<std::string> aryArgs;
    for (const std::u16string& strArg : aryWide)
        aryArgs.push_back(Utf8Text::encode(strArg));
    const pid_t pid = spawn(aryArgs, -1);
    if (pid < 0)
        return;
    if (bWait)
        waitForExit(pid);
    else
        leaveRunning(pid);
}

void CImpSystem::openURL(const CString& strURL)
{
    reapChildren();
    const std::string strOpener = findOnPath("xdg-open");
    if (strOpener.empty()) {
        logUrlFailure(u"Can't open URL %ls: xdg-open was not found on PATH.", strURL);
        return;
    }
    const pid_t pid = spawn({strOpener, Utf8Text::encode(wide(strURL))}, -1);
    if (pid < 0) {
        logUrlFailure(u"Can't open URL %ls: xdg-open cannot be started.", strURL);
        return;
    }
    leaveRunning(pid);
}

void CImpSystem::executeSystemCommand(const CString& strCommand, bool bWait, CString& strOutput)
{
    reapChildren();
    strOutput = CString(u"");
    if (strCommand.length() == 0)
        return;
    int aiPipe[2];
    if (pipe2(aiPipe, O_CLOEXEC) != 0)
        return;
    const pid_t pid = spawnShell(strCommand, aiPipe[1]);
    // Only the child may hold the writing end, or the read below would never
    // see the end of its output.
    close(aiPipe[1]);
    if (pid < 0) {
        close(aiPipe[0]);
        return;
    }
    bool bEnded = bWait && waitForExit(pid, OUTPUT_WAIT_MS);
    char achBuffer[OUTPUT_BYTES + 1] = {};
    const std::size_t uiRead = readOnce(aiPipe[0], achBuffer, OUTPUT_BYTES, OUTPUT_READ_MS);
    close(aiPipe[0]);
    if (!bEnded)
        bEnded = waitForExit(pid, 0);
    if (!bEnded)
        leaveRunning(pid);
    const std::u16string strText = Utf8Text::decode(achBuffer, uiRead, true);
    strOutput = CString(strText.c_str(), static_cast<unsigned int>(strText.size()));
}

void CImpSystem::executeSystemCommand(const CString& strCommand, bool bWait)
{
    reapChildren();
    if (strCommand.length() == 0)
        return;
    const pid_t pid = spawnShell(strCommand, -1);
    if (pid < 0)
        return;
    if (bWait)
        waitForExit(pid);
    else
        leaveRunning(pid);
}

void CImpSystem::writeToClipboard(const CString& strText)
{
    Clipboard::writeText(strText);
}

CString CImpSystem::readFromClipboard()
{
    return Clipboard::readText();
}

} // namespace Trell
