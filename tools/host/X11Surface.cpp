#include "X11Surface.h"

#include "CHostApp.h"

#if ECS_HOST_X11

#include <input/CCursor.h>
#include <input/CCursorManager.h>
#include <input/CSurface.h>
#include <input/CSurfaceNotifier.h>
#include <message/CMessageCenter.h>
#include <platform/IPlatformFactory.h>
#include <platform/ISurface.h>

#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <atomic>
#include <cstdio>
#include <map>
#include <thread>
#include <vector>

#include <poll.h>
#include <unistd.h>

using namespace Trell;

namespace Host {

namespace {

// Wheel amount of one notch, as the usual desktop platforms report it.
const int WHEEL_NOTCH = 120;

class CX11System;

// The X11 window behind surface 0; other surfaces have no window.
class CX11Surface : public ISurface
{
    TRELL_DECLARE_ALLOCATOR(u"Host::CX11Surface")

public:
    CX11Surface(CX11System* pSystem, CSurface* pOwner) : m_pSystem(pSystem), m_pOwner(pOwner) {}
    ~CX11Surface() override;
    bool initialize() override;
    void unInitialize() override;
    void updateSurfacePos() override {}
    void setTransparency(bool, EReceiveTouch) override {}
    void setSurfaceName(const CString& strName) override;

private:
    CX11System* m_pSystem;
    CSurface* m_pOwner;
};

struct tagTrack
{
    std::vector<XPoint> points;
    int iXSpeed = 0;
    int iYSpeed = 0;
    unsigned int uiRepeats = 0;
    bool bDown = false;
};

class CX11System : public IWindowSystem, public IPlatformFactory, public ITrackView
{
public:
    CX11System(Display* pDisplay, const std::string& strScreenshot)
        : m_pDisplay(pDisplay), m_strScreenshot(strScreenshot)
    {
        m_aWake[0] = m_aWake[1] = -1;
        if (::pipe(m_aWake) != 0)
            m_aWake[0] = m_aWake[1] = -1;
    }

    ~CX11System() override
    {
        stop();
        destroyWindow();
        XCloseDisplay(m_pDisplay);
        for (int fd : m_aWake) {
            if (fd >= 0)
                ::close(fd);
        }
    }

    IPlatformFactory* getFactory() override { return this; }
    ITrackView* getTrackView() override { return this; }

    ISurface* createSurface(CSurface* pSurface) override { return new CX11Surface(this, pSurface); }

    bool createWindow(CSurface* pOwner)
    {
        if (pOwner->getSurfaceIndex() != 0)
            return true;
        XLockDisplay(m_pDisplay);
        const int iScreen = DefaultScreen(m_pDisplay);
        m_uiWidth = pOwner->getSurfaceWidth() ? pOwner->getSurfaceWidth() : 800;
        m_uiHeight = pOwner->getSurfaceHeight() ? pOwner->getSurfaceHeight() : 480;
        m_window = XCreateSimpleWindow(m_pDisplay, RootWindow(m_pDisplay, iScreen), 0, 0, m_uiWidth, m_uiHeight, 0,
                                       BlackPixel(m_pDisplay, iScreen), BlackPixel(m_pDisplay, iScreen));
        XSelectInput(m_pDisplay, m_window,
                     ExposureMask | ButtonPressMask | ButtonReleaseMask | Button1MotionMask | StructureNotifyMask);
        m_wmDelete = XInternAtom(m_pDisplay, "WM_DELETE_WINDOW", False);
        XSetWMProtocols(m_pDisplay, m_window, &m_wmDelete, 1);
        m_gc = XCreateGC(m_pDisplay, m_window, 0, nullptr);
        XMapWindow(m_pDisplay, m_window);
        XFlush(m_pDisplay);
        m_pOwner = pOwner;
        XUnlockDisplay(m_pDisplay);
        return true;
    }

    void destroyWindow()
    {
        XLockDisplay(m_pDisplay);
        if (m_window) {
            XFreeGC(m_pDisplay, m_gc);
            XDestroyWindow(m_pDisplay, m_window);
            XFlush(m_pDisplay);
            m_window = 0;
        }
        m_pOwner = nullptr;
        XUnlockDisplay(m_pDisplay);
    }

    void setName(const CString& strName)
    {
        XLockDisplay(m_pDisplay);
        if (m_window) {
            const std::string strTitle = "ecs-host: " + toUtf8(strName);
            XStoreName(m_pDisplay, m_window, strTitle.c_str());
            XFlush(m_pDisplay);
        }
        XUnlockDisplay(m_pDisplay);
    }

    void start() override
    {
        if (m_thread.joinable())
            return;
        m_bStop.store(false);
        m_thread = std::thread([this]() { eventLoop(); });
    }

    void stop() override
    {
        if (!m_thread.joinable())
            return;
        m_bStop.store(true);
        const char cWake = 1;
        if (m_aWake[1] >= 0 && ::write(m_aWake[1], &cWake, 1) < 0) {
            // The poll's timeout still ends the thread.
        }
        m_thread.join();
        if (!m_strScreenshot.empty())
            writeScreenshot();
    }

    // ITrackView, on the main thread.
    void addTouch(const CCursor& cursor) override
    {
        tagTrack& track = m_tracks[cursor.getID()];
        const XPoint point = {static_cast<short>(cursor.getX()), static_cast<short>(cursor.getY())};
        switch (cursor.getTouchStatus()) {
        case CCursor::TOUCH_STATUS_PRESS:
            track = tagTrack();
            track.bDown = true;
            track.points.push_back(point);
            break;
        case CCursor::TOUCH_STATUS_MOVE:
            if (!track.points.empty() && track.points.back().x == point.x && track.points.back().y == point.y)
                ++track.uiRepeats;
            else
                track.points.push_back(point);
            break;
        case CCursor::TOUCH_STATUS_RELEASE:
            track.points.push_back(point);
            track.iXSpeed = cursor.getXSpeed();
            track.iYSpeed = cursor.getYSpeed();
            track.bDown = false;
            break;
        default: break;
        }
        redraw();
    }

    void redraw() override
    {
        XLockDisplay(m_pDisplay);
        if (m_window) {
            XSetForeground(m_pDisplay, m_gc, 0x101820);
            XFillRectangle(m_pDisplay, m_window, m_gc, 0, 0, m_uiWidth, m_uiHeight);
            static const unsigned long s_colours[] = {0x40c0ff, 0xffb040, 0x80ff80, 0xff6090};
            int iLine = 0;
            for (const auto& entry : m_tracks) {
                const tagTrack& track = entry.second;
                if (track.points.empty())
                    continue;
                XSetForeground(m_pDisplay, m_gc, s_colours[entry.first % 4]);
                XSetLineAttributes(m_pDisplay, m_gc, 3, LineSolid, CapRound, JoinRound);
                if (track.points.size() > 1)
                    XDrawLines(m_pDisplay, m_window, m_gc, const_cast<XPoint*>(track.points.data()),
                               static_cast<int>(track.points.size()), CoordModeOrigin);
                const XPoint& first = track.points.front();
                const XPoint& last = track.points.back();
                XDrawArc(m_pDisplay, m_window, m_gc, first.x - 6, first.y - 6, 12, 12, 0, 360 * 64);
                const int iRadius = track.bDown ? 14 : 8;
                XFillArc(m_pDisplay, m_window, m_gc, last.x - iRadius, last.y - iRadius, 2 * iRadius, 2 * iRadius, 0,
                         360 * 64);
                char szText[128];
                const int iLength =
                    std::snprintf(szText, sizeof(szText), "finger %u: %s, speed %d,%d, repeats %u", entry.first,
                                  track.bDown ? "down" : "up", track.iXSpeed, track.iYSpeed, track.uiRepeats);
                XDrawString(m_pDisplay, m_window, m_gc, 10, 20 + 16 * iLine++, szText, iLength);
            }
            XFlush(m_pDisplay);
        }
        XUnlockDisplay(m_pDisplay);
    }

private:
    void eventLoop()
    {
        const int iConnection = ConnectionNumber(m_pDisplay);
        while (!m_bStop.load()) {
            pollfd fds[2] = {{iConnection, POLLIN, 0}, {m_aWake[0], POLLIN, 0}};
            ::poll(fds, m_aWake[0] >= 0 ? 2 : 1, 1000);
            XLockDisplay(m_pDisplay);
            while (!m_bStop.load() && XPending(m_pDisplay) > 0) {
                XEvent event;
                XNextEvent(m_pDisplay, &event);
                handleEvent(event);
            }
            XUnlockDisplay(m_pDisplay);
        }
    }

    // On the event thread, with the display lock held.
    void handleEvent(const XEvent& event)
    {
        CSurface* pOwner = m_pOwner;
        if (!pOwner || event.xany.window != m_window)
            return;
        const unsigned int uiIndex = pOwner->getSurfaceIndex();
        CMessageCenter* pCenter = CMessageCenter::getInstance();
        switch (event.type) {
        case Expose:
            if (event.xexpose.count == 0)
                CSurfaceNotifier::notifyPaintSurface(pOwner);
            break;
        case ButtonPress:
            if (event.xbutton.button == Button1)
                pCenter->pushTouchMessage(uiIndex, 1, event.xbutton.x, event.xbutton.y, 0);
            else if (event.xbutton.button == Button4 || event.xbutton.button == Button5)
                pOwner->getCursorManager().wheelCursor(event.xbutton.x, event.xbutton.y,
                                                       event.xbutton.button == Button4 ? WHEEL_NOTCH : -WHEEL_NOTCH);
            break;
        case MotionNotify: pCenter->pushTouchMessage(uiIndex, 1, event.xmotion.x, event.xmotion.y, 1); break;
        case ButtonRelease:
            if (event.xbutton.button == Button1)
                pCenter->pushTouchMessage(uiIndex, 1, event.xbutton.x, event.xbutton.y, 2);
            break;
        case ConfigureNotify:
            m_uiWidth = static_cast<unsigned int>(event.xconfigure.width);
            m_uiHeight = static_cast<unsigned int>(event.xconfigure.height);
            CSurfaceNotifier::notifySurfaceSizeChange(pOwner, m_uiWidth, m_uiHeight);
            CSurfaceNotifier::notifySurfacePosChange(pOwner, event.xconfigure.x, event.xconfigure.y);
            break;
        case ClientMessage:
            if (static_cast<Atom>(event.xclient.data.l[0]) == m_wmDelete)
                CSurfaceNotifier::notifyQuitSurface(pOwner);
            break;
        default: break;
        }
    }

    // The window's pixels as a binary PPM (P6).
    void writeScreenshot()
    {
        XLockDisplay(m_pDisplay);
        XImage* pImage =
            m_window ? XGetImage(m_pDisplay, m_window, 0, 0, m_uiWidth, m_uiHeight, AllPlanes, ZPixmap) : nullptr;
        XUnlockDisplay(m_pDisplay);
        if (!pImage) {
            std::printf("host: no screenshot (window not readable)\n");
            return;
        }
        std::FILE* pFile = std::fopen(m_strScreenshot.c_str(), "wb");
        if (pFile) {
            std::fprintf(pFile, "P6\n%d %d\n255\n", pImage->width, pImage->height);
            for (int y = 0; y < pImage->height; ++y) {
                for (int x = 0; x < pImage->width; ++x) {
                    const unsigned long ulPixel = XGetPixel(pImage, x, y);
                    const unsigned char rgb[3] = {static_cast<unsigned char>((ulPixel >> 16) & 0xFF),
                                                  static_cast<unsigned char>((ulPixel >> 8) & 0xFF),
                                                  static_cast<unsigned char>(ulPixel & 0xFF)};
                    std::fwrite(rgb, 1, 3, pFile);
                }
            }
            std::fclose(pFile);
            std::printf("host: screenshot %s %dx%d\n", m_strScreenshot.c_str(), pImage->width, pImage->height);
        }
        XDestroyImage(pImage);
    }

    Display* m_pDisplay;
    std::string m_strScreenshot;
    Window m_window = 0;
    GC m_gc = nullptr;
    Atom m_wmDelete = 0;
    unsigned int m_uiWidth = 0;
    unsigned int m_uiHeight = 0;
    std::atomic<CSurface*> m_pOwner{nullptr};
    std::thread m_thread;
    std::atomic<bool> m_bStop{false};
    int m_aWake[2];
    std::map<unsigned int, tagTrack> m_tracks;
};

CX11Surface::~CX11Surface()
{
    unInitialize();
}

bool CX11Surface::initialize()
{
    return m_pSystem->createWindow(m_pOwner);
}

void CX11Surface::unInitialize()
{
    if (m_pOwner && m_pOwner->getSurfaceIndex() == 0)
        m_pSystem->destroyWindow();
}

void CX11Surface::setSurfaceName(const CString& strName)
{
    if (m_pOwner && m_pOwner->getSurfaceIndex() == 0)
        m_pSystem->setName(strName);
}

} // namespace

bool isWindowModeAvailable()
{
    return true;
}

std::unique_ptr<IWindowSystem> createWindowSystem(CHostApp* pApp, const std::string& strScreenshot)
{
    (void)pApp;
    XInitThreads();
    Display* pDisplay = XOpenDisplay(nullptr);
    if (!pDisplay)
        return nullptr;
    return std::unique_ptr<IWindowSystem>(new CX11System(pDisplay, strScreenshot));
}

} // namespace Host

#else

namespace Host {

bool isWindowModeAvailable()
{
    return false;
}

std::unique_ptr<IWindowSystem> createWindowSystem(CHostApp*, const std::string&)
{
    return nullptr;
}

} // namespace Host

#endif
