#include <ipc/IDataTransferListener.h>

namespace Trell {

IDataTransferListener::~IDataTransferListener()
{}

void IDataTransferListener::onConnect()
{}

void IDataTransferListener::onDisconnect()
{}

void IDataTransferListener::onTouchInputAvailable(const CCursor&)
{}

void IDataTransferListener::onPageCMDAvailable(IDataTransferListener::EOperationHandle, CString)
{}

void IDataTransferListener::onPopupCMDAvailable(IDataTransferListener::EOperationHandle, CString)
{}

void IDataTransferListener::onLogicDataAvailable(CArrayPtr<unsigned char>)
{}

void IDataTransferListener::onLogicDataAvailable(CXMLParser*)
{}

} // namespace Trell
