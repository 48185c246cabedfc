#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>
#include <ipc/IDataTransferListener.h>
#include <text/CString.h>

namespace Trell {

class CCursor;
class CDataTransfer;
class CXMLParser;

// A forwarding facade that owns one CDataTransfer (made in the constructor,
// closed and deleted in the destructor). Threading as for CDataTransfer.
class ECS_API CDataTransferProxy
{
    TRELL_DECLARE_ALLOCATOR(u"CDataTransferProxy")

public:
    CDataTransferProxy();
    ~CDataTransferProxy();

    void setListener(IDataTransferListener* pListener);
    void openAsServer(unsigned int uiPort);
    void openAsServer(unsigned int uiPort, const CString& strBindAddress);
    void openAsClient(const CString& strAddress, unsigned int uiPort);
    void close();
    bool isConnect() const;
    void setRawConnection(bool bRaw);
    void sendTouchInput(const CCursor& cursor);
    void sendPageCMD(IDataTransferListener::EOperationHandle eHandle, CString strPageName);
    void sendPopupCMD(IDataTransferListener::EOperationHandle eHandle, CString strPopupName);
    void sendLogicData(CXMLParser* pDocument, bool bFormatted);
    void sendLogicData(const unsigned char* pData, unsigned int uiLength);

    // The owned data transfer (null only when memory was short).
    CDataTransfer* getDataTransfer() const { return m_pDataTransfer; }

private:
    CDataTransferProxy(const CDataTransferProxy&) = delete;
    CDataTransferProxy& operator=(const CDataTransferProxy&) = delete;

    CDataTransfer* m_pDataTransfer;
};

} // namespace Trell
