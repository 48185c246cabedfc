#pragma once

#include <foundation/CArrayPtr.h>
#include <foundation/CMemory.h>
#include <foundation/Export.h>
#include <message/CBaseMessage.h>

namespace Trell {

class CDataTransfer;
class CXMLParser;

// One received payload or connection event of a CDataTransfer, on its way
// from the socket thread to the thread that handles messages. Its ID is the
// CDataTransfer it belongs to (the address, taken as 32 bits).
//
// The type is 33 (data transfer), except that a document whose root has a
// "touch_input", "page_cmd" or "popup_cmd" child travels with the touch
// type 20, so that commands keep their order with the touch input.
class ECS_API CMsgDataTransfer : public CBaseMessage
{
    TRELL_DECLARE_ALLOCATOR(u"CMsgDataTransfer")

public:
    // An empty message of type 33 that delivers nothing.
    CMsgDataTransfer();
    // A connection event carrying the new state.
    CMsgDataTransfer(CDataTransfer* pDataTransfer, bool bConnected);
    ~CMsgDataTransfer() override;

    // A message for a payload: an XML payload (UTF-8, normally ending in a
    // zero byte) is parsed into the document, a raw one copied. A payload
    // that does not parse gives a message that delivers nothing. Null when
    // memory is short.
    static CMsgDataTransfer* create(CDataTransfer* pDataTransfer, const unsigned char* pPayload, unsigned int uiLength,
                                    bool bXml);

    // Passes the content to its data transfer, unless that is gone.
    void handleMessage() override;

    CDataTransfer* getDataTransfer() const { return m_pDataTransfer; }
    bool isConnectionEvent() const { return m_bConnectionEvent; }
    bool isConnected() const { return m_bConnected; }
    // Null unless the payload was XML.
    CXMLParser* getDocument() const { return m_pDocument; }
    const CArrayPtr<unsigned char>& getBytes() const { return m_bytes; }

protected:
    CMsgDataTransfer(EMessageType eType, CDataTransfer* pDataTransfer, CXMLParser* pDocument,
                     CArrayPtr<unsigned char>&& bytes);
    CMsgDataTransfer(const CMsgDataTransfer&) = delete;
    CMsgDataTransfer& operator=(const CMsgDataTransfer&) = delete;

private:
    CDataTransfer* m_pDataTransfer;
    bool m_bConnectionEvent;
    bool m_bConnected;
    CXMLParser* m_pDocument;
    CArrayPtr<unsigned char> m_bytes;
    // Which life of m_pDataTransfer the message belongs to: an address may
    // be reused by a later instance.
    unsigned int m_uiSerial;
};

} // namespace Trell
