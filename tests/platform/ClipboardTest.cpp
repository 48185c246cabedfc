#include <platform/ISystem.h>
#include <platform/PlatformImp.h>
#include <text/CString.h>

#include "Reaper.h"
#include "support/ChildProcess.h"
#include "support/WaitUntil.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include <signal.h>

using namespace Trell;

#if defined(__SANITIZE_THREAD__)
// The thread sanitizer reports libX11 releasing a display lock it does not
// see taken, even when one thread alone uses the display, as the clipboard
// does; such lock reports from inside libX11 and libxcb are not shown.
extern "C" const char* __tsan_default_suppressions()
{
    return "mutex:libX11.so\nmutex:libxcb.so\n";
}
#endif

namespace {

// An Xvfb of its own, on a display number it picks itself. The shell prints
// its pid and becomes the server, which prints the number once it accepts
// clients. -terminate: the server ends with its last client, so a test
// program that dies half-way leaves no server behind.
class CXServer
{
public:
    CXServer() : m_pPipe(popen("echo $$; exec Xvfb -displayfd 1 -nolisten tcp -terminate 2>/dev/null", "re"))
    {
        char achLine[32];
        if (m_pPipe && std::fgets(achLine, sizeof(achLine), m_pPipe))
            m_pid = std::atoi(achLine);
        if (m_pid > 0 && std::fgets(achLine, sizeof(achLine), m_pPipe))
            m_strDisplay = ":" + std::to_string(std::atoi(achLine));
    }
    ~CXServer() { stop(); }
    void stop()
    {
        if (m_pid > 0)
            kill(m_pid, SIGTERM);
        if (m_pPipe)
            pclose(m_pPipe);
        m_pid = -1;
        m_pPipe = nullptr;
    }
    const std::string& display() const { return m_strDisplay; }

private:
    std::FILE* m_pPipe;
    pid_t m_pid = -1;
    std::string m_strDisplay;
};

// xclip on the CLIPBOARD selection: with input it takes the selection (and
// leaves a daemon serving it), without it prints what the owner gives.
std::string xclip(const std::string& strArgs, const std::string& strInput = "")
{
    std::string strOutput;
    std::FILE* pPipe =
        popen(("xclip -selection clipboard " + strArgs + " 2>/dev/null").c_str(), strInput.empty() ? "r" : "w");
    char achBuffer[65536];
    if (pPipe && !strInput.empty())
        std::fwrite(strInput.data(), 1, strInput.size(), pPipe);
    for (std::size_t n; pPipe && strInput.empty() && (n = std::fread(achBuffer, 1, sizeof(achBuffer), pPipe)) > 0;)
        strOutput.append(achBuffer, n);
    if (pPipe)
        pclose(pPipe);
    return strOutput;
}

// Drops the library's X connection: without DISPLAY the next call goes local.
void disconnect(ISystem& system)
{
    CEnvironment noDisplay("DISPLAY", nullptr);
    system.readFromClipboard();
}

} // namespace

TEST(Clipboard, RoundTripsWithAnotherXClientInBothDirections)
{
    CReaper reaper("clipboard round trip");
    CXServer server;
    if (server.display().empty())
        GTEST_SKIP() << "No X server could be started (Xvfb missing or failing); the X clipboard is untested.";
    CEnvironment display("DISPLAY", server.display().c_str());
    std::unique_ptr<ISystem> pSystem(PlatformImp::createSystem());
    const auto read = [&] { return wide(pSystem->readFromClipboard()); };
    // xclip leaves the selection to a daemon of its own, which takes it soon after.
    const auto readsSoon = [&](const std::u16string& strText) {
        return waitUntil([&] { return read() == strText; }, std::chrono::seconds(10));
    };
    EXPECT_EQ(read(), u""); // nobody owns the clipboard of a fresh server

    // The connection is made now; none of its descriptors reaches a child.
    const std::set<int> setBefore = inheritableDescriptors();
    pSystem->writeToClipboard(CString(u"caf\u00E9 \u4E2D\u6587 \U0001F600!"));
    EXPECT_EQ(inheritableDescriptors(), setBefore);
    EXPECT_TRUE(childHoldsOnlyWhatItShould([&](const CString& strCommand) {
        CString strOutput;
        pSystem->executeSystemCommand(strCommand, true, strOutput);
        return strOutput;
    }));

    const std::string strUtf8 = "caf\xC3\xA9 \xE4\xB8\xAD\xE6\x96\x87 \xF0\x9F\x98\x80!";
    EXPECT_EQ(xclip("-o -t UTF8_STRING"), strUtf8);
    EXPECT_EQ(xclip("-o -t TEXT"), strUtf8);
    EXPECT_NE(xclip("-o -t TARGETS").find("UTF8_STRING"), std::string::npos);
    EXPECT_EQ(xclip("-o -t STRING"), "");
    pSystem->writeToClipboard(CString(u""));
    EXPECT_EQ(read(), u"caf\u00E9 \u4E2D\u6587 \U0001F600!");

    xclip("-i -t UTF8_STRING", "from xclip \xF0\x9F\x98\x80");
    EXPECT_TRUE(readsSoon(u"from xclip \U0001F600"));
    xclip("-i -t STRING", "caf\xE9"); // an owner that gives Latin-1
    EXPECT_TRUE(readsSoon(u"caf\u00E9"));

    // Large enough for an incremental transfer from xclip; one request to it.
    std::string strLarge(3 << 20, 'a');
    for (std::size_t i = 0; i < strLarge.size(); i += 4096)
        strLarge[i] = static_cast<char>('b' + i / 4096 % 20);
    xclip("-i -t UTF8_STRING", strLarge);
    EXPECT_TRUE(readsSoon(ascii(strLarge)));
    strLarge[7] = 'z';
    pSystem->writeToClipboard(text(ascii(strLarge)));
    EXPECT_EQ(xclip("-o -t UTF8_STRING"), strLarge);
    disconnect(*pSystem);
}

TEST(Clipboard, AnXServerThatGoesAwayEndsTheConnectionNotTheProcess)
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
    const std::u16string strDisplay = ascii(server.display());
    EXPECT_EQ(log.take(),
              (std::vector<std::u16string>{u"Warning|The connection to X display " + strDisplay + u" was lost.",
                                           u"Warning|X display " + strDisplay +
                                               u" cannot be opened; the clipboard stays inside this process."}));
    disconnect(*pSystem);
}
