#include <ipc/CMsgDataTransfer.h>

#include <document/CXMLElement.h>
#include <document/CXMLParser.h>
#include <ipc/CDataTransfer.h>

#include <cstdint>
#include <cstring>
#include <utility>

namespace Trell {

namespace {

unsigned int idOf(const CDataTransfer* pDataTransfer)
{
    return static_cast<unsigned int>(reinterpret_cast<std::uintptr_t>(pDataTransfer));
}

// Commands travel with the touch input.
bool isCommand(const CXMLParser* pDocument)
{
    const CXMLElement* pRoot = pDocument->getRootElement();
    return pRoot && (pRoot->hasChild(u"touch_input") || pRoot->hasChild(u"page_cmd") || pRoot->hasChild(u"popup_cmd"));
}

} // namespace

CMsgDataTransfer::CMsgDataTransfer()
    : CBaseMessage(MESSAGE_TYPE_DATA_TRANSFER), m_pDataTransfer(nullptr), m_bConnectionEvent(false),
      m_bConnected(false), m_pDocument(nullptr), m_bytes(), m_uiSerial(0)
{}

CMsgDataTransfer::CMsgDataTransfer(CDataTransfer* pDataTransfer, bool bConnected)
    : CBaseMessage(MESSAGE_TYPE_DATA_TRANSFER, idOf(pDataTransfer)), m_pDataTransfer(pDataTransfer),
      m_bConnectionEvent(true), m_bConnected(bConnected), m_pDocument(nullptr), m_bytes(),
      m_uiSerial(pDataTransfer ? pDataTransfer->getSerial() : 0)
{}

CMsgDataTransfer::CMsgDataTransfer(EMessageType eType, CDataTransfer* pDataTransfer, CXMLParser* pDocument,
                                   CArrayPtr<unsigned char>&& bytes)
    : CBaseMessage(eType, idOf(pDataTransfer)), m_pDataTransfer(pDataTransfer), m_bConnectionEvent(false),
      m_bConnected(false), m_pDocument(pDocument), m_bytes(std::move(bytes)),
      m_uiSerial(pDataTransfer ? pDataTransfer->getSerial() : 0)
{}

CMsgDataTransfer::~CMsgDataTransfer()
{
    delete m_pDocument;
}

CMsgDataTransfer* CMsgDataTransfer::create(CDataTransfer* pDataTransfer, const unsigned char* pPayload,
                                           unsigned int uiLength, bool bXml)
{
    if (!bXml) {
        CArrayPtr<unsigned char> bytes;
        if (pPayload && uiLength > 0) {
            bytes.reset(CArrayPtr<unsigned char>::allocate(uiLength), uiLength);
            if (!bytes)
                return nullptr;
            std::memcpy(bytes.get(), pPayload, uiLength);
        }
        return new CMsgDataTransfer(MESSAGE_TYPE_DATA_TRANSFER, pDataTransfer, nullptr, std::move(bytes));
    }
    CXMLParser* pDocument = new CXMLParser();
    if (!pDocument)
        return nullptr;
    if (pPayload && uiLength > 0) {
        if (pPayload[uiLength - 1] == 0) {
            pDocument->parseFromStream(pPayload);
        } else {
            // A peer that left out the closing zero byte: parse a terminated copy.
            CArrayPtr<unsigned char> text(uiLength + 1);
            if (text) {
                std::memcpy(text.get(), pPayload, uiLength);
                pDocument->parseFromStream(text.get());
            }
        }
    }
    const EMessageType eType = isCommand(pDocument) ? MESSAGE_TYPE_TOUCH : MESSAGE_TYPE_DATA_TRANSFER;
    CMsgDataTransfer* pMessage = new CMsgDataTransfer(eType, pDataTransfer, pDocument, CArrayPtr<unsigned char>());
    if (!pMessage)
        delete pDocument;
    return pMessage;
}

void CMsgDataTransfer::handleMessage()
{
    // The instance may be gone (its type 20 messages stay queued): it is
    // looked up before it is touched.
    if (!m_pDataTransfer || !CDataTransfer::acceptMessage(m_pDataTransfer, m_uiSerial))
        return;
    if (m_bConnectionEvent) {
        m_pDataTransfer->handleDataTransferMessage(m_bConnected);
        return;
    }
    if (m_pDocument && m_pDocument->hasRootElement())
        m_pDataTransfer->handleDataTransferMessage(m_pDocument);
    else if (m_bytes)
        m_pDataTransfer->handleDataTransferMessage(std::move(m_bytes));
}

} // namespace Trell
