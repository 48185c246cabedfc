#pragma once

// Threading contract
// ------------------
// The window system is made, started, stopped and destroyed on the main
// thread; the track view is drawn there too (inside message handling). One
// event thread of its own reads the X connection and reports input, paint,
// close, move and resize to the library, as a platform's input thread does.
// Every use of the X connection holds the display lock.

#include <memory>
#include <string>

namespace Trell {
class IPlatformFactory;
}

namespace Host {

class CHostApp;
class ITrackView;

// Window mode: surface 0 is an X11 window; mouse button 1 is finger 1, the
// wheel turns are wheel events, and the handled touches are drawn as tracks.
class IWindowSystem
{
public:
    virtual ~IWindowSystem() = default;
    virtual Trell::IPlatformFactory* getFactory() = 0;
    virtual ITrackView* getTrackView() = 0;
    // Starts and stops the event thread.
    virtual void start() = 0;
    // Also writes the screenshot, when one was asked for.
    virtual void stop() = 0;
};

// Whether this build has window mode at all.
bool isWindowModeAvailable();
// Null when window mode is not built in or no display can be opened.
std::unique_ptr<IWindowSystem> createWindowSystem(CHostApp* pApp, const std::string& strScreenshot);

} // namespace Host
