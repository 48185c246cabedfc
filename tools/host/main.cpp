// ecs-host, the reference host program: the engine's start-up, main loop and
// shutdown around the library, driven by touches on its surface (window
// mode) or remotely over the data transfer protocol.

#include "CHostApp.h"
#include "X11Surface.h"

#include <HeadlessSurface.h>
#include <system/CSystem.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <thread>

#include <pthread.h>
#include <signal.h>

namespace {

const char* const USAGE =
    "usage: ecs-host [options] [PROJECT_FOLDER]\n"
    "       ecs-host -v | version | -h | help\n"
    "\n"
    "Starts the engine's subsystems on PROJECT_FOLDER/engine-config.xml, prints\n"
    "every message it handles as one line and runs until a quit: SIGINT, SIGTERM,\n"
    "a remote <quit/> document, the window being closed or the run time ending.\n"
    "\n"
    "options:\n"
    "  --config FILE     the engine configuration (default PROJECT_FOLDER/engine-config.xml)\n"
    "  --port N          data transfer server port (default 4000; 0 for none)\n"
    "  --bind A          interface to listen on (default 127.0.0.1; 0.0.0.0 for every one)\n"
    "  --for S           quit after S seconds (default: run until a quit)\n"
    "  --shm KEY[:SIZE]  read the shared-memory channel KEY (blocks of SIZE bytes, default 4096)\n"
    "  --play FILE       add FILE to the audio player's playlist (repeatable); playing starts at once\n"
    "  --window          an X11 window as the surface (default when DISPLAY is set and CI is not)\n"
    "  --headless        no window, whatever the display\n"
    "  --screenshot FILE window mode: write the drawn tracks as a PPM image at quit\n"
    "  --help            this text\n";

bool parseUnsigned(const char* pszText, unsigned int& uiOut)
{
    char* pszEnd = nullptr;
    const unsigned long ulValue = std::strtoul(pszText, &pszEnd, 10);
    if (!pszEnd || *pszEnd != '\0' || pszEnd == pszText || ulValue > 0xFFFFFFFFul)
        return false;
    uiOut = static_cast<unsigned int>(ulValue);
    return true;
}

// 0 when fine, else the exit status for bad usage.
int parseOptions(int argc, char** argv, Host::tagHostOptions& options, bool& bHelp)
{
    const char* pszDisplay = std::getenv("DISPLAY");
    options.bWindow = Host::isWindowModeAvailable() && pszDisplay && *pszDisplay && !std::getenv("CI");
    for (int i = 1; i < argc; ++i) {
        const std::string strArg = argv[i];
        const bool bHasValue = i + 1 < argc;
        if (strArg == "--help") {
            bHelp = true;
        } else if (strArg == "--config" && bHasValue) {
            options.strConfigPath = argv[++i];
        } else if (strArg == "--port" && bHasValue) {
            if (!parseUnsigned(argv[++i], options.uiPort) || options.uiPort > 65535)
                return 64;
        } else if (strArg == "--bind" && bHasValue) {
            options.strBindAddress = argv[++i];
        } else if (strArg == "--for" && bHasValue) {
            char* pszEnd = nullptr;
            const double dSeconds = std::strtod(argv[++i], &pszEnd);
            if (!pszEnd || *pszEnd != '\0' || !(dSeconds > 0.0) || dSeconds > 4.0e6)
                return 64;
            options.uiRunMilliseconds = static_cast<unsigned int>(dSeconds * 1000.0 + 0.5);
        } else if (strArg == "--shm" && bHasValue) {
            // KEY or KEY:SIZE
            std::string strValue = argv[++i];
            const size_t uiColon = strValue.find(':');
            if (uiColon != std::string::npos) {
                if (!parseUnsigned(strValue.substr(uiColon + 1).c_str(), options.uiShareMemorySize) ||
                    options.uiShareMemorySize == 0)
                    return 64;
                strValue.resize(uiColon);
            }
            if (!parseUnsigned(strValue.c_str(), options.uiShareMemoryKey))
                return 64;
        } else if (strArg == "--play" && bHasValue) {
            options.audioFiles.push_back(argv[++i]);
        } else if (strArg == "--window") {
            options.bWindow = true;
        } else if (strArg == "--headless") {
            options.bWindow = false;
        } else if (strArg == "--screenshot" && bHasValue) {
            options.strScreenshot = argv[++i];
        } else if (!strArg.empty() && strArg[0] != '-' && options.strProjectFolder.empty()) {
            options.strProjectFolder = strArg;
        } else {
            return 64;
        }
    }
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    // "-v", "version", "-h", "help" as every engine executable answers them.
    if (Trell::CSystem::parseBinInfo(argc, argv, u"ecs-host"))
        return 0;
    Host::tagHostOptions options;
    bool bHelp = false;
    if (const int iStatus = parseOptions(argc, argv, options, bHelp)) {
        std::fputs(USAGE, stderr);
        return iStatus;
    }
    if (bHelp) {
        std::fputs(USAGE, stdout);
        return 0;
    }

    // SIGINT and SIGTERM are taken by one thread of the host's own (blocked
    // everywhere else, including the library's threads, which inherit the
    // mask); it turns them into a quit message. SIGUSR1 ends that thread.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);

    std::unique_ptr<Host::CHostApp> app(new Host::CHostApp(stdout));
    std::unique_ptr<Host::IWindowSystem> window;
    std::unique_ptr<Headless::CHeadlessPlatformFactory> headless;
    Trell::IPlatformFactory* pFactory = nullptr;
    if (options.bWindow) {
        window = Host::createWindowSystem(app.get(), options.strScreenshot);
        if (!window) {
            std::fprintf(stderr, "ecs-host: no X display to open a window on (use --headless)\n");
            return 2;
        }
        pFactory = window->getFactory();
        app->setTrackView(window->getTrackView());
    } else {
        headless.reset(new Headless::CHeadlessPlatformFactory());
        pFactory = headless.get();
    }
    app->printHost(options.bWindow ? "window mode" : "headless mode");

    int iExit = 0;
    if (app->startUp(options, pFactory)) {
        std::thread signalThread([&app, signals]() {
            for (;;) {
                int iSignal = 0;
                if (sigwait(&signals, &iSignal) != 0 || iSignal == SIGUSR1)
                    return;
                app->requestQuit(iSignal == SIGINT ? "SIGINT" : "SIGTERM");
            }
        });
        if (window)
            window->start();
        app->run();
        if (window)
            window->stop();
        pthread_kill(signalThread.native_handle(), SIGUSR1);
        signalThread.join();
    } else {
        iExit = 2;
    }
    app->shutDown();
    app.reset();
    window.reset();
    headless.reset();
    std::printf("host: exit %d\n", iExit);
    return iExit;
}
