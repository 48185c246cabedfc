#pragma once

#include <foundation/CArrayPtr.h>
#include <foundation/CMemory.h>
#include <foundation/Export.h>
#include <text/CString.h>

namespace Trell {

class CCursor;
class CXMLParser;

// Receives what a CDataTransfer got from its peer, on the thread that
// handles the message center's messages (the main thread), never on the
// socket thread. Every callback does nothing by default. Not owned by the
// data transfer.
class ECS_API IDataTransferListener
{
    TRELL_DECLARE_ALLOCATOR(u"IDataTransferListener")

public:
    // The host application's operation codes; this library only carries
    // them, as signed 32-bit integers.
    enum EOperationHandle : int
    {};

    virtual ~IDataTransferListener();

    virtual void onConnect();
    virtual void onDisconnect();
    // A "touch_input" command.
    virtual void onTouchInputAvailable(const CCursor& cursor);
    // A "page_cmd" command.
    virtual void onPageCMDAvailable(IDataTransferListener::EOperationHandle eHandle, CString strPageName);
    // A "popup_cmd" command.
    virtual void onPopupCMDAvailable(IDataTransferListener::EOperationHandle eHandle, CString strPopupName);
    // A raw payload (or, in raw mode, one received chunk); the listener owns it.
    virtual void onLogicDataAvailable(CArrayPtr<unsigned char> bytes);
    // Any other XML document; valid only during the call.
    virtual void onLogicDataAvailable(CXMLParser* pDocument);
};

} // namespace Trell
