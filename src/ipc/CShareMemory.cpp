#include <ipc/CShareMemory.h>

#include <configuration/CConfigParser.h>
#include <ipc/CMsgShareMemory.h>
#include <ipc/IShareMemoryListener.h>
#include <message/CMessageCenter.h>
#include <platform/CAutoSync.h>
#include <platform/IShareMemory.h>
#include <system/CLogEngine.h>
#include <text/CString.h>
#include <text/CStringConverter.h>

#include "platform/IShareMemoryOwner.h"

#include <chrono>
#include <climits>
#include <cstring>
#include <mutex>
#include <set>
#include <thread>
#include <utility>

namespace Trell {

namespace {

const unsigned char FAREWELL[] = {'#', 'e', 'x', 'i', 't', '#'};
const unsigned int FAREWELL_LENGTH = sizeof(FAREWELL);
const unsigned int HEADER_BYTES = 8;
// How long close gives readers still at the last block before it writes
// the farewell (the writer cannot write until they are done).
const unsigned int FAREWELL_WAIT_MS = 2000;

std::atomic<unsigned int> s_uiNextOpenSerial{0};

// The channels alive, each with the serial of its current open. A queued
// notification runs only while its pair is here, under the mutex, so a
// channel destroyed or opened again meanwhile is never reached by it. The
// mutex is recursive: a listener may close (not destroy) its channel.
// Never destroyed, so channels that are static objects may outlive others.
struct tagRegistry
{
    std::recursive_mutex mutex;
    std::set<std::pair<const CShareMemory*, unsigned int>> live;
};

tagRegistry& registry()
{
    static tagRegistry* s_pRegistry = new tagRegistry();
    return *s_pRegistry;
}

unsigned int readLE32(const unsigned char* p)
{
    return static_cast<unsigned int>(p[0]) | static_cast<unsigned int>(p[1]) << 8 |
           static_cast<unsigned int>(p[2]) << 16 | static_cast<unsigned int>(p[3]) << 24;
}

void writeLE32(unsigned char* p, unsigned int uiValue)
{
    for (int i = 0; i < 4; ++i)
        p[i] = static_cast<unsigned char>(uiValue >> (8 * i));
}

void logWarning(const CString& strText)
{
    CLogEngine::warning2(strText);
}

} // namespace

// The channel as its platform side sees it.
class CShareMemoryOwner : public IShareMemoryOwner
{
    TRELL_DECLARE_ALLOCATOR(u"CShareMemoryOwner")

public:
    explicit CShareMemoryOwner(CShareMemory& channel) : m_channel(channel) {}

    bool isWriter() const override { return m_channel.m_eMode == CShareMemory::MODE_TYPE_WRITER; }
    unsigned int getRegionSize() const override { return m_channel.m_uiRegionSize; }
    void setView(unsigned char* pView) override { m_channel.m_pView = pView; }
    bool isStopRequested() const override { return m_channel.isPrepareStopThread(); }
    void setCanWrite(bool bCanWrite) override
    {
        CAutoSync lock(m_channel.m_syncThread);
        m_channel.m_bCanWrite = bCanWrite;
    }
    bool waitDataWritten() override
    {
        m_channel.m_waitDataWritten.wait(0);
        // Taken under the lock that writeData holds while it copies, so a
        // stop never lets "_Write" go in the middle of a block.
        CAutoSync lock(m_channel.m_syncThread);
        const bool bWritten = !m_channel.m_bCanWrite;
        m_channel.m_bCanWrite = false;
        return bWritten;
    }
    int readerCountChange(bool bIncrease) override { return m_channel.readerCountChange(bIncrease); }
    bool queueNotification() override { return m_channel.queueNotification(); }
    void waitNotificationHandled() override { m_channel.m_waitMessageHandled.wait(0); }

private:
    CShareMemory& m_channel;
};

CShareMemory::CShareMemory()
    : CObject(), CThread(), m_pListener(nullptr), m_eMode(MODE_TYPE_READER), m_pView(nullptr), m_uiRegionSize(0),
      m_bCanWrite(false), m_waitDataWritten(CString()), m_waitMessageHandled(CString()), m_pImpl(nullptr), m_uiKey(0),
      m_uiOpenSerial(0)
{
    if (CShareMemoryOwner* pOwner = new CShareMemoryOwner(*this))
        m_pImpl = PlatformImp::createShareMemory(pOwner);
    setOpenSerial(++s_uiNextOpenSerial);
}

CShareMemory::~CShareMemory()
{
    {
        // Waits for a callback of this channel running on another thread.
        std::lock_guard<std::recursive_mutex> lock(registry().mutex);
        registry().live.erase(std::make_pair(this, m_uiOpenSerial.load()));
    }
    stopThread();
    delete m_pImpl;
    m_pImpl = nullptr;
}

void CShareMemory::setOpenSerial(unsigned int uiSerial)
{
    std::lock_guard<std::recursive_mutex> lock(registry().mutex);
    registry().live.erase(std::make_pair(this, m_uiOpenSerial.load()));
    m_uiOpenSerial.store(uiSerial);
    registry().live.insert(std::make_pair(this, uiSerial));
}

bool CShareMemory::open(unsigned int uiKey, EModeType eMode, unsigned int uiSize)
{
    if (m_bRunning.load()) {
        logWarning(CStringConverter::format(u"Shared memory %u: already open; close it first.", m_uiKey));
        return false;
    }
    if (eMode != MODE_TYPE_READER && eMode != MODE_TYPE_WRITER) {
        logWarning(CStringConverter::format(u"Shared memory %u: mode %d is neither reader nor writer; refused.", uiKey,
                                            static_cast<int>(eMode)));
        return false;
    }
    if (uiSize > UINT_MAX - HEADER_BYTES) {
        logWarning(
            CStringConverter::format(u"Shared memory %u: a region of %u bytes is too large; refused.", uiKey, uiSize));
        return false;
    }
    if (!m_pImpl)
        return false;
    m_uiRegionSize = uiSize + HEADER_BYTES;
    m_eMode = eMode;
    m_uiKey = uiKey;
    // Notifications still queued from an earlier open reach nothing, and no
    // signal left by an earlier stop releases the new worker early.
    setOpenSerial(++s_uiNextOpenSerial);
    m_waitDataWritten.reset();
    m_waitMessageHandled.reset();
    {
        CAutoSync lock(m_syncThread);
        m_bCanWrite = false;
    }
    if (!m_pImpl->open(uiKey))
        return false;
    // The center is created lazily without a lock: not first by the worker.
    if (eMode == MODE_TYPE_READER)
        CMessageCenter::getInstance();
    if (CConfigParser::hasInstance()) {
        const CConfigParser::tagThread* pThread = CConfigParser::getInstance()->getThread();
        setThreadName(pThread->name[CConfigParser::tagThread::SLOT_SM]);
        setThreadPriority(pThread->priority[CConfigParser::tagThread::SLOT_SM]);
    } else {
        setThreadName(CString());
        setThreadPriority(CConfigParser::DEFAULT_THREAD_PRIORITY);
    }
    startThread();
    return true;
}

void CShareMemory::close()
{
    if (!m_bRunning.load())
        return;
    if (m_eMode == MODE_TYPE_WRITER) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(FAREWELL_WAIT_MS);
        for (;;) {
            {
                CAutoSync lock(m_syncThread);
                if (m_bCanWrite)
                    break;
            }
            if (std::chrono::steady_clock::now() >= deadline)
                break;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        writeData(FAREWELL, FAREWELL_LENGTH);
    }
    stopThread();
    m_pImpl->close();
}

unsigned int CShareMemory::getSize() const
{
    return m_pView ? readLE32(m_pView + 4) : 0;
}

bool CShareMemory::writeData(const unsigned char* pData, unsigned int uiLength)
{
    if (!m_bRunning.load() || (!pData && uiLength > 0))
        return false;
    {
        CAutoSync lock(m_syncThread);
        if (!m_bCanWrite)
            return false;
        if (uiLength > m_uiRegionSize - HEADER_BYTES) {
            logWarning(CStringConverter::format(u"Shared memory %u: %u bytes do not fit its %u bytes of data; refused.",
                                                m_uiKey, uiLength, m_uiRegionSize - HEADER_BYTES));
            return false;
        }
        m_bCanWrite = false;
        if (m_pView) {
            // The region ends up zeroed past the data; only that part is
            // cleared, the data overwrites the rest.
            writeLE32(m_pView + 4, uiLength);
            if (uiLength > 0)
                std::memcpy(m_pView + HEADER_BYTES, pData, uiLength);
            std::memset(m_pView + HEADER_BYTES + uiLength, 0, m_uiRegionSize - HEADER_BYTES - uiLength);
        }
    }
    // After the lock: the writer thread takes it first thing when it wakes.
    m_waitDataWritten.notify();
    return true;
}

bool CShareMemory::readData(unsigned char* pBuffer, unsigned int uiLength)
{
    if (!m_bRunning.load() || uiLength == 0 || !pBuffer)
        return false;
    if (m_pView && m_uiRegionSize >= HEADER_BYTES && uiLength <= m_uiRegionSize - HEADER_BYTES)
        std::memcpy(pBuffer, m_pView + HEADER_BYTES, uiLength);
    return true;
}

int CShareMemory::readerCountChange(bool bIncrease)
{
    if (!m_pView)
        return 0;
    const int iCount = static_cast<int>(readLE32(m_pView)) + (bIncrease ? 1 : -1);
    writeLE32(m_pView, static_cast<unsigned int>(iCount));
    return iCount;
}

void CShareMemory::handleShareMemoryMessage()
{
    if (isPrepareStopThread() || m_eMode == MODE_TYPE_WRITER)
        return;
    IShareMemoryListener* pListener = m_pListener.load();
    if (!pListener) {
        // The reader goes on holding the region until it is closed.
        logWarning(CStringConverter::format(u"Shared memory %u: a block arrived without a listener.", m_uiKey));
        return;
    }
    if (getSize() == FAREWELL_LENGTH && m_uiRegionSize >= HEADER_BYTES + FAREWELL_LENGTH &&
        std::memcmp(m_pView + HEADER_BYTES, FAREWELL, FAREWELL_LENGTH) == 0)
        pListener->onWritterClose();
    else
        pListener->onDataAvailable();
    m_waitMessageHandled.notify();
}

bool CShareMemory::queueNotification()
{
    if (isPrepareStopThread())
        return false;
    CMsgShareMemory* pMessage = new CMsgShareMemory(this);
    if (!pMessage) {
        logWarning(
            CStringConverter::format(u"Shared memory %u: no memory for a notification; block skipped.", m_uiKey));
        return false;
    }
    CMessageCenter::getInstance()->pushMessage(pMessage);
    return true;
}

void CShareMemory::dispatchMessage(CShareMemory* pChannel, unsigned int uiOpenSerial)
{
    std::lock_guard<std::recursive_mutex> lock(registry().mutex);
    if (registry().live.count(std::make_pair(pChannel, uiOpenSerial)) != 0)
        pChannel->handleShareMemoryMessage();
}

void CShareMemory::prepareStopThread()
{
    CThread::prepareStopThread();
    if (!m_pImpl)
        return;
    if (m_eMode == MODE_TYPE_READER) {
        m_pImpl->prepareStopForRead();
        m_waitMessageHandled.notify();
    } else {
        m_pImpl->prepareStopForWrite();
        m_waitDataWritten.notify();
    }
}

void CShareMemory::run()
{
    if (m_pImpl)
        m_pImpl->run();
}

} // namespace Trell
