#pragma once

// The front object of a shared-memory channel as its platform side sees it.
// The front class (CShareMemory) belongs to a family above the platform, so
// it hands its platform object this view of itself instead of its type.
//
// Threading: isWriter and getRegionSize are fixed while the channel is open;
// setView is called by the thread that opens and closes the channel; the
// others are called by the channel's worker thread (isStopRequested from
// any thread).

#include <foundation/CMemory.h>

namespace Trell {

class IShareMemory;

class IShareMemoryOwner
{
    TRELL_DECLARE_ALLOCATOR(u"IShareMemoryOwner")

public:
    virtual ~IShareMemoryOwner() {}

    virtual bool isWriter() const = 0;
    // Data size + 8: the bytes of the shared region.
    virtual unsigned int getRegionSize() const = 0;
    // The mapped region, or null once it is unmapped.
    virtual void setView(unsigned char* pView) = 0;
    virtual bool isStopRequested() const = 0;

    // Writer: whether writeData is accepted now.
    virtual void setCanWrite(bool bCanWrite) = 0;
    // Writer: blocks until writeData or a stop request signals; then no
    // write is in progress, writeData is refused, and the answer is whether
    // a block was written.
    virtual bool waitDataWritten() = 0;

    // Reader: adds or subtracts 1 at offset 0 of the region and returns the
    // new count. The caller holds "_Read".
    virtual int readerCountChange(bool bIncrease) = 0;
    // Reader: unless a stop is requested, queues the notification for the
    // message thread; false when none was queued.
    virtual bool queueNotification() = 0;
    // Reader: blocks until the queued notification has been handled (or a stop).
    virtual void waitNotificationHandled() = 0;
};

namespace PlatformImp {

// The platform object of a channel. It takes ownership of pOwner (deleted
// with it, or at once when the allocation fails, the result then being null).
IShareMemory* createShareMemory(IShareMemoryOwner* pOwner);

} // namespace PlatformImp
} // namespace Trell
