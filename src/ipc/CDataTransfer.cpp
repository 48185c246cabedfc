#include <ipc/CDataTransfer.h>

#include <configuration/CConfigParser.h>
#include <document/CXMLElement.h>
#include <document/CXMLParser.h>
#include <input/CCursor.h>
#include <ipc/CMsgDataTransfer.h>
#include <ipc/CSocketClient.h>
#include <ipc/CSocketServer.h>
#include <message/CMessageCenter.h>
#include <platform/CAutoSync.h>
#include <system/CLog.h>
#include <system/CLogEngine.h>
#include <text/CStringConverter.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <utility>

namespace Trell {

namespace {

// The pending bytes' allocation grows by this much beyond a request.
const unsigned int PENDING_INCREMENT = 1024;
// An emptied pending buffer larger than this is given back, so that one big
// frame does not pin its memory for the rest of the connection.
const unsigned int PENDING_KEEP_CAPACITY = 4u * 1024u * 1024u;
// Frames with payloads up to this size leave in one send (the peer wakes
// once per frame); larger ones as header and payload.
const unsigned int SINGLE_SEND_LIMIT = 8192;

std::atomic<unsigned int> s_uiNextSerial{1};

struct tagInstance
{
    const CDataTransfer* pInstance;
    unsigned int uiSerial;
};

// A plain growable array of instance records from the memory manager. Its
// capacity grows to capacity * 3 / 2 + 1 until a new record fits.
struct tagInstanceList
{
    tagInstance* pRecords;
    unsigned int uiCount;
    unsigned int uiCapacity;

    // A record that finds no memory is not kept: the instance's messages are
    // then delivered (while alive) or dropped (once gone) all the same.
    void add(const tagInstance& record)
    {
        if (uiCount == uiCapacity) {
            unsigned int uiNew = uiCapacity;
            while (uiNew <= uiCount)
                uiNew = uiNew * 3 / 2 + 1;
            tagInstance* pNew = static_cast<tagInstance*>(CMemory::malloc(uiNew * sizeof(tagInstance), 0));
            if (!pNew)
                return;
            if (uiCount > 0)
                std::memcpy(pNew, pRecords, uiCount * sizeof(tagInstance));
            CMemory::free(pRecords);
            pRecords = pNew;
            uiCapacity = uiNew;
        }
        pRecords[uiCount++] = record;
    }
    bool removeOne(const CDataTransfer* pInstance, unsigned int uiSerial)
    {
        for (unsigned int i = 0; i < uiCount; ++i) {
            if (pRecords[i].pInstance == pInstance && pRecords[i].uiSerial == uiSerial) {
                std::memmove(pRecords + i, pRecords + i + 1, (uiCount - i - 1) * sizeof(tagInstance));
                --uiCount;
                return true;
            }
        }
        return false;
    }
    bool contains(const CDataTransfer* pInstance, unsigned int uiSerial) const
    {
        for (unsigned int i = 0; i < uiCount; ++i) {
            if (pRecords[i].pInstance == pInstance && pRecords[i].uiSerial == uiSerial)
                return true;
        }
        return false;
    }
    void release()
    {
        CMemory::free(pRecords);
        pRecords = nullptr;
        uiCount = uiCapacity = 0;
    }
};

// The instances alive and the list of destroyed ones. Constant-initialised
// and never destroyed, so an instance that is a static object may still
// come and go while the library unloads.
std::mutex s_registryMutex;
tagInstanceList s_live = {nullptr, 0, 0};
tagInstanceList s_destroyed = {nullptr, 0, 0};

unsigned int messageIdOf(const CDataTransfer* pInstance)
{
    return static_cast<unsigned int>(reinterpret_cast<std::uintptr_t>(pInstance));
}

unsigned int readLE32(const unsigned char* p)
{
    return static_cast<unsigned int>(p[0]) | static_cast<unsigned int>(p[1]) << 8 |
           static_cast<unsigned int>(p[2]) << 16 | static_cast<unsigned int>(p[3]) << 24;
}

void writeLE32(unsigned char* p, unsigned int uiValue)
{
    p[0] = static_cast<unsigned char>(uiValue);
    p[1] = static_cast<unsigned char>(uiValue >> 8);
    p[2] = static_cast<unsigned char>(uiValue >> 16);
    p[3] = static_cast<unsigned char>(uiValue >> 24);
}

void writeHeader(unsigned char* pHeader, unsigned int uiLength, bool bXml)
{
    writeLE32(pHeader, CDataTransfer::FRAME_MAGIC);
    pHeader[4] = 0;
    writeLE32(pHeader + 5, uiLength);
    pHeader[9] = bXml ? CDataTransfer::PAYLOAD_XML : CDataTransfer::PAYLOAD_RAW;
}

// Name and priority of the "dt" thread entry (the entry's defaults without
// a configuration).
void configureThread(CThread& thread)
{
    if (CConfigParser::hasInstance()) {
        const CConfigParser::tagThread* pThread = CConfigParser::getInstance()->getThread();
        thread.setThreadName(pThread->name[CConfigParser::tagThread::SLOT_DT]);
        thread.setThreadPriority(pThread->priority[CConfigParser::tagThread::SLOT_DT]);
    } else {
        thread.setThreadName(CString());
        thread.setThreadPriority(CConfigParser::DEFAULT_THREAD_PRIORITY);
    }
}

// A document of the form <root><name .../></root>, the element returned.
CXMLElement* commandDocument(CXMLParser& document, const char16_t* pszName)
{
    document.create(CXMLParser::XML_ENCODING_UTF8);
    CXMLElement* pRoot = document.addRootElement(u"root");
    return pRoot ? pRoot->addChild(pszName) : nullptr;
}

} // namespace

CDataTransfer::CDataTransfer()
    : CObject(), ISocketServerListener(), ISocketClientListener(), m_pListener(nullptr), m_pServer(nullptr),
      m_pClient(nullptr), m_bRawConnection(false), m_bConnected(false), m_pending(0, PENDING_INCREMENT),
      m_uiPendingSize(0), m_uiMaxFrameLength(DEFAULT_MAX_FRAME_LENGTH), m_bOversizeLogged(false), m_syncEndpoint(),
      m_uiSerial(s_uiNextSerial.fetch_add(1))
{
    std::lock_guard<std::mutex> guard(s_registryMutex);
    s_live.add({this, m_uiSerial});
}

CDataTransfer::~CDataTransfer()
{
    {
        std::lock_guard<std::mutex> guard(s_registryMutex);
        s_live.removeOne(this, m_uiSerial);
        // The last instance gone, the live list's storage goes back too: a
        // host that ends cleanly leaves nothing in the memory report.
        if (s_live.uiCount == 0)
            s_live.release();
        s_destroyed.add({this, m_uiSerial});
    }
    m_pListener.store(nullptr);
    if (CSocketServer* pServer = m_pServer.load())
        pServer->setListener(nullptr);
    if (CSocketClient* pClient = m_pClient.load())
        pClient->setListener(nullptr);
    close();
    if (CMessageCenter::hasInstance())
        CMessageCenter::getInstance()->deleteMessageByTypeAndID(CBaseMessage::MESSAGE_TYPE_DATA_TRANSFER,
                                                                messageIdOf(this));
    clearPending();
}

void CDataTransfer::deleteAllInstance()
{
    std::lock_guard<std::mutex> guard(s_registryMutex);
    s_destroyed.release();
}

bool CDataTransfer::acceptMessage(const CDataTransfer* pDataTransfer, unsigned int uiSerial)
{
    std::lock_guard<std::mutex> guard(s_registryMutex);
    if (s_live.contains(pDataTransfer, uiSerial))
        return true;
    s_destroyed.removeOne(pDataTransfer, uiSerial);
    return false;
}

void CDataTransfer::openAsServer(unsigned int uiPort)
{
    openAsServer(uiPort, CString());
}

void CDataTransfer::openAsServer(unsigned int uiPort, const CString& strBindAddress)
{
    if (uiPort == 0 || m_pServer.load() || m_pClient.load())
        return;
    CSocketServer* pServer = new CSocketServer(uiPort, SOCKET_BUFFER_SIZE);
    if (!pServer)
        return;
    pServer->setBindAddress(strBindAddress);
    openEndpoint(pServer, nullptr);
    pServer->start();
}

void CDataTransfer::openAsClient(const CString& strAddress, unsigned int uiPort)
{
    if (uiPort == 0 || strAddress.length() == 0 || m_pServer.load() || m_pClient.load())
        return;
    CSocketClient* pClient = new CSocketClient(strAddress, uiPort, true, SOCKET_BUFFER_SIZE);
    if (!pClient)
        return;
    openEndpoint(nullptr, pClient);
    pClient->start(false);
}

void CDataTransfer::openEndpoint(CSocketServer* pServer, CSocketClient* pClient)
{
    CThread& thread = pServer ? static_cast<CThread&>(*pServer) : static_cast<CThread&>(*pClient);
    configureThread(thread);
    if (pServer)
        pServer->setListener(this);
    else
        pClient->setListener(this);
    CAutoSync lock(m_syncEndpoint);
    m_pServer.store(pServer);
    m_pClient.store(pClient);
}

void CDataTransfer::close()
{
    CSocketServer* pServer = m_pServer.load();
    CSocketClient* pClient = m_pClient.load();
    if (pServer) {
        if (!canNotifyListener())
            pServer->setListener(nullptr);
        pServer->stop();
    }
    if (pClient) {
        if (!canNotifyListener())
            pClient->setListener(nullptr);
        pClient->stop();
    }
    {
        // Waits for a send that still uses an endpoint.
        CAutoSync lock(m_syncEndpoint);
        m_pServer.store(nullptr);
        m_pClient.store(nullptr);
    }
    delete pServer;
    delete pClient;
    m_bConnected.store(false);
    clearPending();
}

void CDataTransfer::sendTouchInput(const CCursor& cursor)
{
    CXMLParser document;
    CXMLElement* pTouch = commandDocument(document, u"touch_input");
    if (!pTouch)
        return;
    pTouch->setAttribute(u"id", cursor.getID());
    pTouch->setAttribute(u"x", cursor.getX());
    pTouch->setAttribute(u"x_delta", cursor.getXDelta());
    pTouch->setAttribute(u"x_speed", cursor.getXSpeed());
    pTouch->setAttribute(u"y", cursor.getY());
    pTouch->setAttribute(u"y_delta", cursor.getYDelta());
    pTouch->setAttribute(u"y_speed", cursor.getYSpeed());
    pTouch->setAttribute(u"touch_status", static_cast<int>(cursor.getTouchStatus()));
    pTouch->setAttribute(u"time_stamp", cursor.getTimestamp());
    sendLogicData(&document, false);
}

void CDataTransfer::sendPageCMD(IDataTransferListener::EOperationHandle eHandle, CString strPageName)
{
    CXMLParser document;
    CXMLElement* pCommand = commandDocument(document, u"page_cmd");
    if (!pCommand)
        return;
    pCommand->setAttribute(u"ope_handle", static_cast<int>(eHandle));
    pCommand->setAttribute(u"page_name", strPageName);
    sendLogicData(&document, false);
}

void CDataTransfer::sendPopupCMD(IDataTransferListener::EOperationHandle eHandle, CString strPopupName)
{
    CXMLParser document;
    CXMLElement* pCommand = commandDocument(document, u"popup_cmd");
    if (!pCommand)
        return;
    pCommand->setAttribute(u"ope_handle", static_cast<int>(eHandle));
    // Written as "page_name" but read back from "popup_name": the two sides
    // have always differed, and peers rely on each side as it is. A popup
    // command sent by this library arrives with an empty name at another
    // instance of it; this is deliberate.
    pCommand->setAttribute(u"page_name", strPopupName);
    sendLogicData(&document, false);
}

void CDataTransfer::sendLogicData(CXMLParser* pDocument, bool bFormatted)
{
    if (!pDocument)
        return;
    CString strText;
    if (!pDocument->saveToString(strText, bFormatted))
        return;
    const unsigned long long ullSize = 3ull * strText.length() + 2;
    if (ullSize > 0xFFFFFFFFull)
        return;
    CArrayPtr<unsigned char> utf8(static_cast<unsigned int>(ullSize));
    if (!utf8)
        return;
    unsigned int uiWritten = 0;
    CStringConverter::convertToUTF8(strText, utf8.get(), utf8.getCount(), &uiWritten);
    // The closing zero byte is part of the payload.
    sendData(utf8.get(), uiWritten + 1, true);
}

void CDataTransfer::sendLogicData(const unsigned char* pData, unsigned int uiLength)
{
    sendData(pData, uiLength, false);
}

void CDataTransfer::sendData(const unsigned char* pData, unsigned int uiLength, bool bXml)
{
    if (!pData && uiLength > 0)
        return;
    unsigned char header[FRAME_HEADER_SIZE];
    writeHeader(header, uiLength, bXml);
    const bool bRaw = m_bRawConnection.load();
    // A small frame goes out in one piece; the bytes on the wire are the same.
    unsigned char single[FRAME_HEADER_SIZE + SINGLE_SEND_LIMIT];
    const bool bSingle = !bRaw && uiLength <= SINGLE_SEND_LIMIT;
    if (bSingle) {
        std::memcpy(single, header, FRAME_HEADER_SIZE);
        if (pData)
            std::memcpy(single + FRAME_HEADER_SIZE, pData, uiLength);
    }

    CAutoSync lock(m_syncEndpoint);
    if (CSocketServer* pServer = m_pServer.load()) {
        // Client 0, not the accepted client's handle: the server side has
        // always sent so, and reaches its peer only when that handle is 0.
        if (bSingle) {
            pServer->sendData(single, FRAME_HEADER_SIZE + uiLength, 0);
            return;
        }
        if (!bRaw)
            pServer->sendData(header, FRAME_HEADER_SIZE, 0);
        pServer->sendData(pData, uiLength, 0);
    } else if (CSocketClient* pClient = m_pClient.load()) {
        if (!bRaw)
            pClient->stopHeartBeat();
        if (bSingle) {
            pClient->sendData(single, FRAME_HEADER_SIZE + uiLength);
        } else {
            if (!bRaw)
                pClient->sendData(header, FRAME_HEADER_SIZE);
            pClient->sendData(pData, uiLength);
        }
        // After any framed send the heartbeat runs, 5 s after the last send,
        // whatever the client's own heartbeat switch says.
        if (!bRaw)
            pClient->startHeartBeat();
    }
}

void CDataTransfer::setConnected(bool bConnected)
{
    m_bConnected.store(bConnected);
    clearPending();
    m_bOversizeLogged = false;
    if (canNotifyListener())
        queue(new CMsgDataTransfer(this, bConnected));
}

void CDataTransfer::onConnect(CSocketServer*, unsigned int)
{
    setConnected(true);
}

void CDataTransfer::onDisconnect(CSocketServer*, unsigned int)
{
    setConnected(false);
}

void CDataTransfer::onDataAvailable(CSocketServer*, unsigned int, unsigned char* pData, int iLength)
{
    if (iLength > 0)
        parseData(pData, static_cast<unsigned int>(iLength));
}

void CDataTransfer::onConnect(CSocketClient*)
{
    setConnected(true);
}

void CDataTransfer::onDisconnect(CSocketClient*)
{
    setConnected(false);
}

void CDataTransfer::onDataAvailable(CSocketClient*, unsigned char* pData, int iLength)
{
    if (iLength > 0)
        parseData(pData, static_cast<unsigned int>(iLength));
}

void CDataTransfer::queue(CMsgDataTransfer* pMessage)
{
    if (pMessage)
        CMessageCenter::getInstance()->pushMessage(pMessage);
}

void CDataTransfer::clearPending()
{
    m_pending.clear();
    m_uiPendingSize.store(0);
}

void CDataTransfer::logOversize(unsigned int uiLength, unsigned int uiBuffered)
{
    if (m_bOversizeLogged)
        return;
    m_bOversizeLogged = true;
    if (CLog::isWarningEnabled())
        CLogEngine::warning2(CStringConverter::format(
            u"Data transfer frame of %u bytes exceeds the limit of %u bytes; %u buffered bytes discarded.", uiLength,
            m_uiMaxFrameLength.load(), uiBuffered));
}

void CDataTransfer::parseData(const unsigned char* pData, unsigned int uiLength)
{
    if (!m_pServer.load() && !m_pClient.load())
        return;
    if (m_bRawConnection.load()) {
        if (canNotifyListener())
            queue(CMsgDataTransfer::create(this, pData, uiLength, false));
        return;
    }
    if (!pData)
        return;
    unsigned int uiFrameSize = 0;
    bool bKept = true;
    if (m_pending.getSize() == 0) {
        // Nothing held back: the frames are read in place, and only an
        // incomplete tail is copied.
        const long long llKeep = parseFrames(pData, uiLength, uiFrameSize);
        if (llKeep < 0) {
            bKept = false;
        } else {
            const unsigned int uiKeep = static_cast<unsigned int>(llKeep);
            m_pending.setPosition(0);
            bKept = m_pending.writeBuffer(pData + uiKeep, uiLength - uiKeep);
        }
    } else {
        m_pending.setPosition(m_pending.getSize());
        bKept = m_pending.writeBuffer(pData, uiLength);
        const long long llKeep = bKept ? parseFrames(m_pending.buffer(), m_pending.getSize(), uiFrameSize) : -1;
        if (llKeep < 0)
            bKept = false;
        else
            m_pending.moveToHead(static_cast<unsigned int>(llKeep));
    }
    if (!bKept) {
        clearPending();
        return;
    }
    const unsigned int uiSize = m_pending.getSize();
    if (uiSize == 0 && m_pending.getCapacity() > PENDING_KEEP_CAPACITY) {
        m_pending.clear();
    } else if (uiFrameSize > m_pending.getCapacity()) {
        // Room for the whole frame at once, instead of a copy per chunk.
        m_pending.setSize(uiFrameSize);
        m_pending.setSize(uiSize);
    }
    m_uiPendingSize.store(m_pending.getSize());
}

long long CDataTransfer::parseFrames(const unsigned char* pData, unsigned int uiSize, unsigned int& uiFrameSize)
{
    const long long DISCARD = -1;
    uiFrameSize = 0;
    const unsigned int uiMaxLength = m_uiMaxFrameLength.load();
    const bool bNotify = canNotifyListener();
    // `remaining` counts down by whole frames only; a frame of another type
    // is stepped over (magic and type) and the next four bytes are taken as
    // a magic again.
    unsigned int uiRemaining = uiSize;
    unsigned int uiRead = 0;
    unsigned int uiKeep = 0;
    while (uiRemaining > 4) {
        if (uiSize - uiRead < 4 || readLE32(pData + uiRead) != FRAME_MAGIC)
            return DISCARD;
        const unsigned int uiStart = uiRead;
        uiRead += 4;
        // A byte that has not arrived yet is not read: the frame waits.
        if (uiRead == uiSize)
            return uiStart;
        if (pData[uiRead++] != 0)
            continue;
        // Fewer than 10 bytes from the frame's start (`remaining` is never
        // less than that, so this also covers remaining < 10).
        if (uiSize - uiStart < FRAME_HEADER_SIZE)
            return uiStart;
        const unsigned int uiLength = readLE32(pData + uiStart + 5);
        const bool bXml = pData[uiStart + 9] == PAYLOAD_XML;
        if (uiLength == 0)
            return DISCARD;
        if (uiLength > uiMaxLength) {
            logOversize(uiLength, uiSize);
            return DISCARD;
        }
        if (uiSize - uiStart - FRAME_HEADER_SIZE < uiLength) {
            uiFrameSize = FRAME_HEADER_SIZE + uiLength;
            return uiStart;
        }
        if (bNotify)
            queue(CMsgDataTransfer::create(this, pData + uiStart + FRAME_HEADER_SIZE, uiLength, bXml));
        uiRead = uiStart + FRAME_HEADER_SIZE + uiLength;
        uiRemaining -= std::min(uiRemaining, FRAME_HEADER_SIZE + uiLength);
        uiKeep = uiRead;
    }
    return uiKeep;
}

void CDataTransfer::handleDataTransferMessage(bool bConnected)
{
    IDataTransferListener* pListener = m_pListener.load();
    if (!pListener)
        return;
    if (bConnected)
        pListener->onConnect();
    else
        pListener->onDisconnect();
}

void CDataTransfer::handleDataTransferMessage(CXMLParser* pDocument)
{
    IDataTransferListener* pListener = m_pListener.load();
    const CXMLElement* pRoot = pDocument ? pDocument->getRootElement() : nullptr;
    if (!pListener || !pRoot)
        return;
    if (const CXMLElement* pTouch = pRoot->getSingleChild(u"touch_input")) {
        CCursor cursor;
        cursor.setID(pTouch->getAttributeUInt(u"id", 0));
        cursor.setX(pTouch->getAttributeInt(u"x", 0));
        cursor.setXDelta(pTouch->getAttributeInt(u"x_delta", 0));
        cursor.setXSpeed(pTouch->getAttributeInt(u"x_speed", 0));
        cursor.setY(pTouch->getAttributeInt(u"y", 0));
        cursor.setYDelta(pTouch->getAttributeInt(u"y_delta", 0));
        cursor.setYSpeed(pTouch->getAttributeInt(u"y_speed", 0));
        cursor.setTouchStatus(static_cast<CCursor::ETouchStatus>(pTouch->getAttributeInt(u"touch_status", 0)));
        cursor.setTimestamp(pTouch->getAttributeUInt(u"time_stamp", 0));
        pListener->onTouchInputAvailable(cursor);
    } else if (const CXMLElement* pPage = pRoot->getSingleChild(u"page_cmd")) {
        pListener->onPageCMDAvailable(
            static_cast<IDataTransferListener::EOperationHandle>(pPage->getAttributeInt(u"ope_handle", 0)),
            pPage->getAttributeString(u"page_name", STRING_NULL));
    } else if (const CXMLElement* pPopup = pRoot->getSingleChild(u"popup_cmd")) {
        pListener->onPopupCMDAvailable(
            static_cast<IDataTransferListener::EOperationHandle>(pPopup->getAttributeInt(u"ope_handle", 0)),
            pPopup->getAttributeString(u"popup_name", STRING_NULL));
    } else {
        pListener->onLogicDataAvailable(pDocument);
    }
}

void CDataTransfer::handleDataTransferMessage(CArrayPtr<unsigned char> bytes)
{
    if (IDataTransferListener* pListener = m_pListener.load())
        pListener->onLogicDataAvailable(std::move(bytes));
}

} // namespace Trell
