#pragma once

// Threading contract
// ------------------
// One CX11Clipboard is one connection to an X display, used by one thread of
// its own: that thread serves the CLIPBOARD selection while this process
// owns it and performs every request. write() and read() may be called from
// any thread; they hand the request to the thread and wait for its answer,
// one request at a time. The destructor stops and joins the thread and
// closes the connection; no call may run concurrently with it.
//
// Errors: the first connection installs process-wide Xlib error handlers
// that swallow the errors of the library's own connection (a requestor
// window that vanished, a server that went away: the connection is then
// marked broken, the process is not ended) and hand every other display's
// errors to the handlers that were installed before. A host that installs
// its own handlers afterwards takes those errors over.

#include <foundation/CMemory.h>

#include <string>

namespace Trell {

class CX11Clipboard
{
    TRELL_DECLARE_ALLOCATOR(u"CX11Clipboard")

public:
    // A reply or a transfer step that takes longer than this fails the read.
    static constexpr int STEP_TIMEOUT_MS = 1000;
    // An incremental transfer may take this long in all.
    static constexpr int TRANSFER_LIMIT_MS = 10000;

    // Connects to the display and starts the serving thread; null when the
    // display cannot be opened (or when the library was built without X11).
    static CX11Clipboard* connect(const std::string& strDisplay);
    ~CX11Clipboard();

    // The connection to the server is lost; every request fails from then on.
    bool isBroken() const;
    // Takes the CLIPBOARD selection and serves strUtf8 as UTF8_STRING (and
    // TEXT) until another client takes it. A text larger than the server
    // accepts in one request is refused to requestors. False when the server
    // did not give the selection.
    bool write(const std::string& strUtf8);
    // The text of the selection's owner, asked as UTF8_STRING (an answer
    // typed Latin-1 STRING is converted); incremental transfers are followed.
    // False when nobody owns the selection, the owner refuses or does not
    // answer in time.
    bool read(std::string& strUtf8);

    struct tagState;

private:
    explicit CX11Clipboard(tagState* pState);
    CX11Clipboard(const CX11Clipboard&);
    CX11Clipboard& operator=(const CX11Clipboard&);

    tagState* m_pState;
};

} // namespace Trell
