#pragma once

// Threading contract
// ------------------
//  - open, close, setListener and destruction belong to one controlling
//    thread (close may also be called from inside a listener callback).
//  - The channel's own worker thread grants the right to write (writer) or
//    waits for blocks and queues their notification (reader).
//  - Listener callbacks run on the thread that pops and handles messages;
//    while one runs the reader keeps the region locked against the writer,
//    so getSize and readData see a stable block there. A listener must not
//    destroy its channel from inside a callback; destroying a channel on
//    another thread waits for a callback of it that is running.
//  - writeData is called by one thread at a time; it is refused (false)
//    while the worker does not hold "_Write" for it.
//
// Across processes the region, its mutexes and events are named from the
// key; how they map onto the system, and what happens when a participant
// dies, is described with the platform side (CImpShareMemory).

#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/Export.h>
#include <platform/CThread.h>
#include <platform/CWaitObject.h>

#include <atomic>

namespace Trell {

class IShareMemory;
class IShareMemoryListener;

// One block of bytes at a time from one writer process to any number of
// reader processes through a named shared region. Region layout (integers
// little-endian): offset 0 the number of readers holding the region (signed
// 32-bit), offset 4 the length of the current data (unsigned 32-bit), offset
// 8 the data, for data size + 8 bytes in all. The data "#exit#" (6 bytes) is
// the writer's farewell.
class ECS_API CShareMemory : public CObject, public CThread
{
    TRELL_DECLARE_ALLOCATOR(u"CShareMemory")

public:
    enum EModeType
    {
        MODE_TYPE_READER = 0,
        MODE_TYPE_WRITER = 1
    };

    CShareMemory();
    // Stops the worker (no farewell) and releases the region.
    ~CShareMemory() override;

    // Opens or creates the region of uiKey for uiSize bytes of data and
    // starts the worker (thread entry "sm" of the configuration). False when
    // the region cannot be opened (another size, another user, too large),
    // or the channel is open already; each refusal is logged.
    bool open(unsigned int uiKey, EModeType eMode, unsigned int uiSize);
    // While open: a writer says farewell with "#exit#" first (waiting up to
    // two seconds for readers still at the last block); then the worker stops
    // and everything is released.
    void close();

    // Not owned; null removes it.
    void setListener(IShareMemoryListener* pListener) { m_pListener.store(pListener); }

    // The length field of the region; 0 without a region.
    unsigned int getSize() const;
    bool isEmpty() const { return getSize() == 0; }

    // Writer: while the worker holds "_Write" for it, zeroes the region from
    // offset 4, stores the length and the data, and lets the worker hand the
    // block to the readers. False otherwise, or (logged) when uiLength
    // exceeds the size given to open.
    bool writeData(const unsigned char* pData, unsigned int uiLength);
    // False while not open or for uiLength 0. Otherwise copies uiLength bytes
    // from offset 8 when they fit the region (else nothing) and answers true.
    bool readData(unsigned char* pBuffer, unsigned int uiLength);

protected:
    CShareMemory(const CShareMemory& other) = delete;
    CShareMemory& operator=(const CShareMemory& other) = delete;

    // Adds or subtracts 1 at offset 0 and returns the new count (0 without a
    // region). Callers hold "_Read".
    int readerCountChange(bool bIncrease);
    // On the message thread: calls onWritterClose for "#exit#", else
    // onDataAvailable, then lets the reader's worker go on. Nothing on a
    // writer, after a stop request, or without a listener.
    void handleShareMemoryMessage();
    void prepareStopThread() override;
    void run() override;

private:
    friend class CMsgShareMemory;
    friend class CShareMemoryOwner;

    // Runs handleShareMemoryMessage of pChannel if it still exists and is in
    // the open uiOpenSerial.
    static void dispatchMessage(CShareMemory* pChannel, unsigned int uiOpenSerial);
    // Unless a stop is requested, queues a CMsgShareMemory; false when none was queued.
    bool queueNotification();
    void setOpenSerial(unsigned int uiSerial);

    std::atomic<IShareMemoryListener*> m_pListener;
    EModeType m_eMode;
    unsigned char* m_pView;
    unsigned int m_uiRegionSize;
    bool m_bCanWrite; // guarded by m_syncThread
    CWaitObject m_waitDataWritten;
    CWaitObject m_waitMessageHandled;
    IShareMemory* m_pImpl;
    unsigned int m_uiKey;
    std::atomic<unsigned int> m_uiOpenSerial;
};

} // namespace Trell
