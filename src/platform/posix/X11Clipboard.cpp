#include <platform/posix/X11Clipboard.h>

#ifdef ECS_HAVE_X11

#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <X11/Xatom.h>
#include <X11/Xlib.h>

namespace Trell {

namespace {

typedef std::chrono::steady_clock Clock;

// The connection whose errors the handlers below swallow; one at a time.
std::atomic<Display*> g_pOwnDisplay{nullptr};
XErrorHandler g_pPreviousErrorHandler = nullptr;
XIOErrorHandler g_pPreviousIOErrorHandler = nullptr;
std::once_flag g_handlersOnce;

int onError(Display* pDisplay, XErrorEvent* pEvent)
{
    if (pDisplay == g_pOwnDisplay.load())
        return 0;
    return g_pPreviousErrorHandler ? g_pPreviousErrorHandler(pDisplay, pEvent) : 0;
}

// Xlib's default would end the process; for the library's own connection the
// exit handler marks it broken instead and the failing call returns.
int onIOError(Display* pDisplay)
{
    if (pDisplay == g_pOwnDisplay.load())
        return 0;
    return g_pPreviousIOErrorHandler ? g_pPreviousIOErrorHandler(pDisplay) : 0;
}

void installHandlers()
{
    std::call_once(g_handlersOnce, [] {
        g_pPreviousErrorHandler = XSetErrorHandler(&onError);
        g_pPreviousIOErrorHandler = XSetIOErrorHandler(&onIOError);
    });
}

int remainingMs(Clock::time_point deadline)
{
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return left <= 0 ? 0 : static_cast<int>(left);
}

// ISO 8859-1 bytes as UTF-8.
std::string latin1ToUtf8(const unsigned char* pBytes, unsigned long ulCount)
{
    std::string strOut;
    strOut.reserve(ulCount);
    for (unsigned long i = 0; i < ulCount; ++i) {
        const unsigned char c = pBytes[i];
        if (c < 0x80) {
            strOut += static_cast<char>(c);
        } else {
            strOut += static_cast<char>(0xC0 | (c >> 6));
            strOut += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    return strOut;
}

enum ERequest
{
    REQUEST_NONE,
    REQUEST_WRITE,
    REQUEST_READ,
    REQUEST_STOP
};

} // namespace

struct CX11Clipboard::tagState
{
    TRELL_DECLARE_ALLOCATOR(u"CX11Clipboard::tagState")

    Display* pDisplay = nullptr;
    Window window = 0;
    Atom atomClipboard = 0;
    Atom atomUtf8 = 0;
    Atom atomText = 0;
    Atom atomTargets = 0;
    Atom atomIncr = 0;
    Atom atomProperty = 0; // where owners deliver to this client
    int aiWake[2] = {-1, -1};
    std::thread thread;
    std::atomic<bool> bBroken{false};

    // The request slot; guarded by mutex.
    std::mutex mutex;
    std::condition_variable changed;
    ERequest eRequest = REQUEST_NONE;
    bool bDone = false;
    bool bResult = false;
    bool bOpened = false;
    bool bStopped = false;
    std::string strText;

    // Used by the thread alone.
    bool bOwner = false;
    std::string strOwned;

    // The thread: opens the display, serves requests and events until
    // stopped or broken, closes the display.
    void run(const std::string& strDisplay);
    bool open(const std::string& strDisplay);
    void loop();
    bool perform(ERequest eWhat, std::string& strText);
    bool take(const std::string& strText);
    bool fetch(std::string& strText);
    bool readIncremental(std::string& strBytes, Atom& type, Clock::time_point transferEnd);
    void handle(XEvent& event);
    void serve(const XSelectionRequestEvent& request);
    // Waits for an event that bWanted accepts, handling all others; false
    // when the deadline passes or the connection breaks first.
    template <class Wanted>
    bool waitFor(Wanted bWanted, XEvent& event, Clock::time_point deadline);
};

CX11Clipboard* CX11Clipboard::connect(const std::string& strDisplay)
{
    installHandlers();
    tagState* pState = new tagState();
    CX11Clipboard* pClipboard = pState ? new CX11Clipboard(pState) : nullptr;
    if (!pClipboard) {
        delete pState;
        return nullptr;
    }
    if (pipe2(pState->aiWake, O_CLOEXEC | O_NONBLOCK) != 0) {
        delete pClipboard;
        return nullptr;
    }
    // Xlib meets the display on one thread only, from its opening to its
    // closing.
    try {
        pState->thread = std::thread([pState, strDisplay] { pState->run(strDisplay); });
    } catch (...) {
        delete pClipboard;
        return nullptr;
    }
    bool bOpened;
    {
        std::unique_lock<std::mutex> lock(pState->mutex);
        pState->changed.wait(lock, [pState] { return pState->bOpened || pState->bStopped; });
        bOpened = !pState->bStopped;
    }
    if (!bOpened) {
        delete pClipboard;
        return nullptr;
    }
    return pClipboard;
}

bool CX11Clipboard::tagState::open(const std::string& strDisplay)
{
    pDisplay = XOpenDisplay(strDisplay.c_str());
    if (!pDisplay)
        return false;
    g_pOwnDisplay.store(pDisplay);
    // Xlib opens its socket close-on-exec already; said again so that no
    // library of another make can leak it into a child.
    fcntl(ConnectionNumber(pDisplay), F_SETFD, FD_CLOEXEC);
    XSetIOErrorExitHandler(
        pDisplay, [](Display*, void* pData) { static_cast<tagState*>(pData)->bBroken.store(true); }, this);
    window = XCreateSimpleWindow(pDisplay, DefaultRootWindow(pDisplay), 0, 0, 1, 1, 0, 0, 0);
    XSelectInput(pDisplay, window, PropertyChangeMask);
    atomClipboard = XInternAtom(pDisplay, "CLIPBOARD", False);
    atomUtf8 = XInternAtom(pDisplay, "UTF8_STRING", False);
    atomText = XInternAtom(pDisplay, "TEXT", False);
    atomTargets = XInternAtom(pDisplay, "TARGETS", False);
    atomIncr = XInternAtom(pDisplay, "INCR", False);
    atomProperty = XInternAtom(pDisplay, "TRELL_CLIPBOARD", False);
    XSync(pDisplay, False);
    return !bBroken.load();
}

CX11Clipboard::CX11Clipboard(tagState* pState) : m_pState(pState)
{}

CX11Clipboard::~CX11Clipboard()
{
    if (m_pState->thread.joinable()) {
        std::string strUnused;
        m_pState->perform(REQUEST_STOP, strUnused);
        m_pState->thread.join();
    }
    for (int fd : m_pState->aiWake) {
        if (fd >= 0)
            close(fd);
    }
    delete m_pState;
}

bool CX11Clipboard::isBroken() const
{
    return m_pState->bBroken.load();
}

bool CX11Clipboard::write(const std::string& strUtf8)
{
    std::string strText = strUtf8;
    return m_pState->perform(REQUEST_WRITE, strText);
}

bool CX11Clipboard::read(std::string& strUtf8)
{
    return m_pState->perform(REQUEST_READ, strUtf8);
}

// Called by any thread but the clipboard's own.
bool CX11Clipboard::tagState::perform(ERequest eWhat, std::string& strIo)
{
    std::unique_lock<std::mutex> lock(mutex);
    changed.wait(lock, [this] { return eRequest == REQUEST_NONE || bStopped; });
    if (bStopped)
        return false;
    eRequest = eWhat;
    strText.swap(strIo);
    bDone = false;
    const char chWake = 1;
    // The pipe never fills: the thread drains it before it takes a request.
    if (::write(aiWake[1], &chWake, 1) != 1 && errno != EAGAIN) {
        eRequest = REQUEST_NONE;
        return false;
    }
    changed.wait(lock, [this] { return bDone || bStopped; });
    const bool bOk = bDone && bResult;
    if (bDone)
        strIo.swap(strText);
    strText.clear();
    eRequest = REQUEST_NONE;
    changed.notify_all();
    return bOk;
}

void CX11Clipboard::tagState::run(const std::string& strDisplay)
{
    const bool bOpened = open(strDisplay);
    if (bOpened) {
        std::lock_guard<std::mutex> guard(mutex);
        this->bOpened = true;
        changed.notify_all();
    }
    if (bOpened)
        loop();
    // Closing gives up the selection and destroys the window with it. After
    // a connection error Xlib keeps the display locked for the thread that
    // met it, which is this one, so no other thread could close it.
    if (pDisplay)
        XCloseDisplay(pDisplay);
    pDisplay = nullptr;
    g_pOwnDisplay.store(nullptr);
    std::lock_guard<std::mutex> guard(mutex);
    bStopped = true;
    changed.notify_all();
}

void CX11Clipboard::tagState::loop()
{
    const int fdDisplay = ConnectionNumber(pDisplay);
    for (;;) {
        // XPending sends what is buffered and reads what has arrived.
        while (!bBroken.load() && XPending(pDisplay) > 0) {
            XEvent event;
            XNextEvent(pDisplay, &event);
            handle(event);
        }
        if (bBroken.load())
            break;
        pollfd aFds[2] = {{fdDisplay, POLLIN, 0}, {aiWake[0], POLLIN, 0}};
        if (poll(aFds, 2, -1) < 0) {
            if (errno == EINTR)
                continue;
            // Cannot wait any more: as good as a lost connection to callers.
            bBroken.store(true);
            break;
        }
        if (!(aFds[1].revents & POLLIN))
            continue;
        char achDrain[16];
        while (::read(aiWake[0], achDrain, sizeof(achDrain)) > 0) {
        }
        ERequest eWhat;
        std::string strIo;
        {
            std::lock_guard<std::mutex> guard(mutex);
            eWhat = eRequest;
            strIo.swap(strText);
        }
        if (eWhat == REQUEST_STOP)
            break;
        bool bOk = false;
        if (eWhat == REQUEST_WRITE)
            bOk = take(strIo);
        else if (eWhat == REQUEST_READ)
            bOk = fetch(strIo);
        else
            continue;
        std::lock_guard<std::mutex> guard(mutex);
        strText.swap(strIo);
        bResult = bOk;
        bDone = true;
        changed.notify_all();
    }
}

bool CX11Clipboard::tagState::take(const std::string& strNew)
{
    strOwned = strNew;
    // CurrentTime, as command-line clients do: this client has no event
    // time of a user action to offer.
    XSetSelectionOwner(pDisplay, atomClipboard, window, CurrentTime);
    bOwner = XGetSelectionOwner(pDisplay, atomClipboard) == window;
    if (!bOwner)
        strOwned.clear();
    return bOwner;
}

bool CX11Clipboard::tagState::fetch(std::string& strOut)
{
    strOut.clear();
    // Asked even when this client owns the selection: the answer also tells
    // of an owner whose SelectionClear is still unread, and of a server that
    // went away.
    const Window owner = XGetSelectionOwner(pDisplay, atomClipboard);
    if (bBroken.load())
        return false;
    if (bOwner && owner == window) {
        strOut = strOwned;
        return true;
    }
    bOwner = false;
    strOwned.clear();
    if (owner == None)
        return false;
    XDeleteProperty(pDisplay, window, atomProperty);
    XConvertSelection(pDisplay, atomClipboard, atomUtf8, atomProperty, window, CurrentTime);
    const Clock::time_point start = Clock::now();
    XEvent event;
    const auto isReply = [this](const XEvent& e) {
        return e.type == SelectionNotify && e.xselection.requestor == window && e.xselection.selection == atomClipboard;
    };
    if (!waitFor(isReply, event, start + std::chrono::milliseconds(STEP_TIMEOUT_MS)) ||
        event.xselection.property == None)
        return false;
    Atom type = None;
    int iFormat = 0;
    unsigned long ulItems = 0;
    unsigned long ulAfter = 0;
    unsigned char* pData = nullptr;
    // Deleting the property is what tells an incremental sender to start.
    if (XGetWindowProperty(pDisplay, window, atomProperty, 0, 0x1FFFFFFF, True, AnyPropertyType, &type, &iFormat,
                           &ulItems, &ulAfter, &pData) != Success)
        return false;
    std::string strBytes;
    if (pData && iFormat == 8)
        strBytes.assign(reinterpret_cast<const char*>(pData), ulItems);
    if (pData)
        XFree(pData);
    if (type == atomIncr) {
        strBytes.clear();
        if (!readIncremental(strBytes, type, start + std::chrono::milliseconds(TRANSFER_LIMIT_MS)))
            return false;
    } else if (type == None || iFormat != 8) {
        return false;
    }
    // The type the owner gave tells the encoding: some owners answer every
    // request with what they hold, Latin-1 STRING included.
    strOut = type == XA_STRING ? latin1ToUtf8(reinterpret_cast<const unsigned char*>(strBytes.data()), strBytes.size())
                               : strBytes;
    return true;
}

template <class Wanted>
bool CX11Clipboard::tagState::waitFor(Wanted bWanted, XEvent& event, Clock::time_point deadline)
{
    const int fdDisplay = ConnectionNumber(pDisplay);
    for (;;) {
        while (!bBroken.load() && XPending(pDisplay) > 0) {
            XNextEvent(pDisplay, &event);
            if (bWanted(event))
                return true;
            handle(event);
        }
        const int iLeft = remainingMs(deadline);
        if (bBroken.load() || iLeft == 0)
            return false;
        pollfd pfd = {fdDisplay, POLLIN, 0};
        if (poll(&pfd, 1, iLeft) < 0 && errno != EINTR)
            return false;
    }
}

bool CX11Clipboard::tagState::readIncremental(std::string& strBytes, Atom& type, Clock::time_point transferEnd)
{
    const auto isChunk = [this](const XEvent& e) {
        return e.type == PropertyNotify && e.xproperty.window == window && e.xproperty.atom == atomProperty &&
               e.xproperty.state == PropertyNewValue;
    };
    for (;;) {
        const Clock::time_point stepEnd = Clock::now() + std::chrono::milliseconds(STEP_TIMEOUT_MS);
        XEvent event;
        if (!waitFor(isChunk, event, stepEnd < transferEnd ? stepEnd : transferEnd))
            return false;
        int iFormat = 0;
        unsigned long ulItems = 0;
        unsigned long ulAfter = 0;
        unsigned char* pData = nullptr;
        if (XGetWindowProperty(pDisplay, window, atomProperty, 0, 0x1FFFFFFF, True, AnyPropertyType, &type, &iFormat,
                               &ulItems, &ulAfter, &pData) != Success)
            return false;
        const bool bEnd = ulItems == 0;
        if (pData && iFormat == 8)
            strBytes.append(reinterpret_cast<const char*>(pData), ulItems);
        if (pData)
            XFree(pData);
        // An empty chunk ends the transfer.
        if (bEnd)
            return true;
    }
}

void CX11Clipboard::tagState::handle(XEvent& event)
{
    if (event.type == SelectionClear && event.xselectionclear.selection == atomClipboard) {
        // Another client took the selection; its text is the clipboard now.
        bOwner = false;
        strOwned.clear();
    } else if (event.type == SelectionRequest) {
        serve(event.xselectionrequest);
    }
}

void CX11Clipboard::tagState::serve(const XSelectionRequestEvent& request)
{
    XSelectionEvent reply;
    std::memset(&reply, 0, sizeof(reply));
    reply.type = SelectionNotify;
    reply.display = request.display;
    reply.requestor = request.requestor;
    reply.selection = request.selection;
    reply.target = request.target;
    reply.time = request.time;
    reply.property = None;
    // Obsolete clients name no property: the target's name is used.
    const Atom property = request.property == None ? request.target : request.property;
    long lMaxRequest = XExtendedMaxRequestSize(pDisplay);
    if (lMaxRequest == 0)
        lMaxRequest = XMaxRequestSize(pDisplay);
    // Room for the request's own header; larger texts would need an
    // incremental transfer, which this owner does not offer.
    const unsigned long ulMaxBytes = static_cast<unsigned long>(lMaxRequest) * 4 - 64;
    if (bOwner && request.selection == atomClipboard && request.owner == window) {
        if (request.target == atomTargets) {
            Atom aTargets[] = {atomTargets, atomUtf8, atomText};
            XChangeProperty(pDisplay, request.requestor, property, XA_ATOM, 32, PropModeReplace,
                            reinterpret_cast<unsigned char*>(aTargets), 3);
            reply.property = property;
        } else if ((request.target == atomUtf8 || request.target == atomText) && strOwned.size() <= ulMaxBytes) {
            XChangeProperty(pDisplay, request.requestor, property, atomUtf8, 8, PropModeReplace,
                            reinterpret_cast<const unsigned char*>(strOwned.data()), static_cast<int>(strOwned.size()));
            reply.property = property;
        }
    }
    XSendEvent(pDisplay, request.requestor, False, NoEventMask, reinterpret_cast<XEvent*>(&reply));
}

} // namespace Trell

#else // no X11 at build time: the clipboard stays inside the process

namespace Trell {

struct CX11Clipboard::tagState
{
    TRELL_DECLARE_ALLOCATOR(u"CX11Clipboard::tagState")
};

CX11Clipboard* CX11Clipboard::connect(const std::string&)
{
    return nullptr;
}

CX11Clipboard::CX11Clipboard(tagState* pState) : m_pState(pState)
{}

CX11Clipboard::~CX11Clipboard()
{
    delete m_pState;
}

bool CX11Clipboard::isBroken() const
{
    return true;
}

bool CX11Clipboard::write(const std::string&)
{
    return false;
}

bool CX11Clipboard::read(std::string&)
{
    return false;
}

} // namespace Trell

#endif
