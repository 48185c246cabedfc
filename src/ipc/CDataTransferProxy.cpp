#include <ipc/CDataTransferProxy.h>

#include <ipc/CDataTransfer.h>

namespace Trell {

CDataTransferProxy::CDataTransferProxy() : m_pDataTransfer(new CDataTransfer())
{}

CDataTransferProxy::~CDataTransferProxy()
{
    if (m_pDataTransfer)
        m_pDataTransfer->close();
    delete m_pDataTransfer;
}

void CDataTransferProxy::setListener(IDataTransferListener* pListener)
{
    if (m_pDataTransfer)
        m_pDataTransfer->setListener(pListener);
}

void CDataTransferProxy::openAsServer(unsigned int uiPort)
{
    if (m_pDataTransfer)
        m_pDataTransfer->openAsServer(uiPort);
}

void CDataTransferProxy::openAsServer(unsigned int uiPort, const CString& strBindAddress)
{
    if (m_pDataTransfer)
        m_pDataTransfer->openAsServer(uiPort, strBindAddress);
}

void CDataTransferProxy::openAsClient(const CString& strAddress, unsigned int uiPort)
{
    if (m_pDataTransfer)
        m_pDataTransfer->openAsClient(strAddress, uiPort);
}

void CDataTransferProxy::close()
{
    if (m_pDataTransfer)
        m_pDataTransfer->close();
}

bool CDataTransferProxy::isConnect() const
{
    return m_pDataTransfer && m_pDataTransfer->isConnect();
}

void CDataTransferProxy::setRawConnection(bool bRaw)
{
    if (m_pDataTransfer)
        m_pDataTransfer->setRawConnection(bRaw);
}

void CDataTransferProxy::sendTouchInput(const CCursor& cursor)
{
    if (m_pDataTransfer)
        m_pDataTransfer->sendTouchInput(cursor);
}

void CDataTransferProxy::sendPageCMD(IDataTransferListener::EOperationHandle eHandle, CString strPageName)
{
    if (m_pDataTransfer)
        m_pDataTransfer->sendPageCMD(eHandle, strPageName);
}

void CDataTransferProxy::sendPopupCMD(IDataTransferListener::EOperationHandle eHandle, CString strPopupName)
{
    if (m_pDataTransfer)
        m_pDataTransfer->sendPopupCMD(eHandle, strPopupName);
}

void CDataTransferProxy::sendLogicData(CXMLParser* pDocument, bool bFormatted)
{
    if (m_pDataTransfer)
        m_pDataTransfer->sendLogicData(pDocument, bFormatted);
}

void CDataTransferProxy::sendLogicData(const unsigned char* pData, unsigned int uiLength)
{
    if (m_pDataTransfer)
        m_pDataTransfer->sendLogicData(pData, uiLength);
}

} // namespace Trell
