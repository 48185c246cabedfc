#include <platform/ISystem.h>
#include <platform/PlatformImp.h>
#include <text/CString.h>

#include "Reaper.h"
#include "support/ChildProcess.h"
#include "support/WaitUntil.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>

#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace Trell;

extern char** environ;

namespace {

const std::u16string TEXT = u"caf\u00E9 \u4E2D\u6587 \U0001F600!";
const std::string TEXT_UTF8 = "caf\xC3\xA9 \xE4\xB8\xAD\xE6\x96\x87 \xF0\x9F\x98\x80!";

// An Xvfb of its own, on a display number it picks itself.
class CXServer
{
public:
    CXServer()
    {
        int aiPipe[2];
        if (pipe(aiPipe) != 0)
            return;
        const std::string strFd = std::to_string(aiPipe[1]);
        const char* apszArgs[] = {"Xvfb", "-displayfd", strFd.c_str(), "-nolisten", "tcp", "-screen", "0", "64x64x24",
                                  nullptr};
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addclose(&actions, aiPipe[0]);
        posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
        if (posix_spawnp(&m_pid, "Xvfb", &actions, nullptr, const_cast<char**>(apszArgs), environ) != 0)
            m_pid = -1;
        posix_spawn_file_actions_destroy(&actions);
        close(aiPipe[1]);
        // The server writes its display number and a newline once it accepts
        // clients, and dies if the pipe closes before the newline.
        std::string strNumber;
        pollfd pfd = {aiPipe[0], POLLIN, 0};
        for (char ch; m_pid > 0 && poll(&pfd, 1, 20000) == 1 && read(aiPipe[0], &ch, 1) == 1 && ch != '\n';)
            strNumber += ch;
        if (!strNumber.empty())
            m_strDisplay = ":" + strNumber;
        close(aiPipe[0]);
    }
    ~CXServer() { stop(); }
    void stop()
    {
        if (m_pid > 0) {
            kill(m_pid, SIGTERM);
            waitpid(m_pid, nullptr, 0);
            m_pid = -1;
        }
    }
    const std::string& display() const { return m_strDisplay; }

private:
    pid_t m_pid = -1;
    std::string m_strDisplay;
};

std::string run(const std::string& strCommand, const std::string& strInput = "")
{
    std::string strOutput;
    std::FILE* pPipe = popen(strCommand.c_str(), strInput.empty() ? "r" : "w");
    if (!pPipe)
        return strOutput;
    if (!strInput.empty())
        std::fwrite(strInput.data(), 1, strInput.size(), pPipe);
    char achBuffer[65536];
    for (std::size_t n; strInput.empty() && (n = std::fread(achBuffer, 1, sizeof(achBuffer), pPipe)) > 0;)
        strOutput.append(achBuffer, n);
    pclose(pPipe);
    return strOutput;
}

std::string xclipOut(const char* pszTarget = "UTF8_STRING")
{
    return run(std::string("xclip -selection clipboard -o -t ") + pszTarget + " 2>/dev/null");
}

void xclipIn(const std::string& strBytes, const char* pszTarget = "UTF8_STRING")
{
    run(std::string("xclip -selection clipboard -i -t ") + pszTarget, strBytes);
}

// Drops the library's X connection: without DISPLAY the next call goes local.
void disconnect(ISystem& system)
{
    CEnvironment noDisplay("DISPLAY", nullptr);
    system.readFromClipboard();
}

class XClipboard : public ::testing::Test
{
protected:
    static void SetUpTestSuite() { s_pServer = new CXServer(); }
    static void TearDownTestSuite()
    {
        std::unique_ptr<ISystem> pSystem(PlatformImp::createSystem());
        disconnect(*pSystem);
        delete s_pServer;
        s_pServer = nullptr;
    }
    void SetUp() override
    {
        if (s_pServer->display().empty())
            GTEST_SKIP() << "No X server could be started (Xvfb missing or failing); the X clipboard is untested.";
        m_pDisplay = std::make_unique<CEnvironment>("DISPLAY", s_pServer->display().c_str());
    }
    std::u16string read() { return wide(m_pSystem->readFromClipboard()); }
    // xclip hands its text to a daemon of its own, which owns the selection soon after.
    bool readsSoon(const std::u16string& strExpected)
    {
        return waitUntil([&] { return read() == strExpected; }, std::chrono::seconds(10));
    }

    static CXServer* s_pServer;
    CReaper m_reaper{"clipboard test"};
    std::unique_ptr<CEnvironment> m_pDisplay;
    std::unique_ptr<ISystem> m_pSystem{PlatformImp::createSystem()};
};

CXServer* XClipboard::s_pServer = nullptr;

} // namespace

TEST(Clipboard, WithoutADisplayTheTextStaysInTheProcess)
{
    CEnvironment noDisplay("DISPLAY", nullptr);
    std::unique_ptr<ISystem> pSystem(PlatformImp::createSystem());
    pSystem->writeToClipboard(text(TEXT));
    pSystem->writeToClipboard(CString(u""));
    pSystem->writeToClipboard(CString());
    EXPECT_EQ(wide(pSystem->readFromClipboard()), TEXT);
}

TEST_F(XClipboard, RoundTripsWithAnotherClientInBothDirections)
{
    EXPECT_EQ(read(), u""); // a fresh server: nobody owns the clipboard

    m_pSystem->writeToClipboard(text(TEXT));
    EXPECT_EQ(xclipOut(), TEXT_UTF8);
    EXPECT_EQ(xclipOut("TEXT"), TEXT_UTF8);
    const std::string strTargets = xclipOut("TARGETS");
    EXPECT_NE(strTargets.find("UTF8_STRING"), std::string::npos) << strTargets;
    EXPECT_EQ(xclipOut("STRING"), "");
    EXPECT_EQ(read(), TEXT);
    m_pSystem->writeToClipboard(CString(u""));
    EXPECT_EQ(xclipOut(), TEXT_UTF8);

    xclipIn("from xclip \xF0\x9F\x98\x80");
    EXPECT_TRUE(readsSoon(u"from xclip \U0001F600"));
    xclipIn("caf\xE9", "STRING"); // an owner that offers Latin-1 only
    EXPECT_TRUE(readsSoon(u"caf\u00E9"));

    // Enough for an incremental transfer from xclip, and a single large one to it.
    std::string strLarge(3 << 20, 'a');
    for (std::size_t i = 0; i < strLarge.size(); i += 4096)
        strLarge[i] = static_cast<char>('b' + i / 4096 % 20);
    xclipIn(strLarge);
    EXPECT_TRUE(readsSoon(std::u16string(strLarge.begin(), strLarge.end())));
    strLarge[7] = 'z';
    m_pSystem->writeToClipboard(text(std::u16string(strLarge.begin(), strLarge.end())));
    EXPECT_EQ(xclipOut(), strLarge);
}

TEST_F(XClipboard, TheConnectionIsNotInherited)
{
    disconnect(*m_pSystem);
    const std::set<int> setBefore = inheritableDescriptors();
    m_pSystem->writeToClipboard(CString(u"held")); // connects: a socket and a wake-up pipe
    EXPECT_EQ(inheritableDescriptors(), setBefore);
    const auto [setHeld, setExpected] = childDescriptors([this](const CString& strCommand) {
        CString strOutput;
        m_pSystem->executeSystemCommand(strCommand, true, strOutput);
        return strOutput;
    });
    EXPECT_EQ(setHeld, setExpected);
}

TEST(XClipboardLoss, AServerThatGoesAwayEndsTheConnectionNotTheProcess)
{
    CReaper reaper("server loss");
    CXServer server;
    if (server.display().empty())
        GTEST_SKIP() << "No X server could be started (Xvfb missing or failing).";
    CLogRecorder log;
    CEnvironment display("DISPLAY", server.display().c_str());
    std::unique_ptr<ISystem> pSystem(PlatformImp::createSystem());
    pSystem->writeToClipboard(CString(u"held"));
    server.stop();
    EXPECT_EQ(wide(pSystem->readFromClipboard()), u"");
    pSystem->writeToClipboard(CString(u"local"));
    EXPECT_EQ(wide(pSystem->readFromClipboard()), u"local");
    const std::u16string strDisplay = wide(server.display());
    EXPECT_EQ(log.take(), (std::vector<std::u16string>{
                              u"Warning|The connection to X display " + strDisplay + u" was lost.",
                              u"Warning|X display " + strDisplay +
                                  u" cannot be opened; the clipboard stays inside this process."}));
    disconnect(*pSystem);
}
