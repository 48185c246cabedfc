#pragma once

#include <platform/IWaitObject.h>

#include <atomic>
#include <cstdint>
#include <string>

#include <pthread.h>

namespace Trell {

class CString;

// Manual-reset event built from a mutex, a condition variable, a signalled
// flag and a generation count.
//
// Unnamed events live in this object. A named event lives in a POSIX
// shared-memory object ("/trell.evt.<name>") holding a process-shared,
// robust mutex and a process-shared condition, so every process that opens
// the same name shares it. The first opener creates and initialises the
// block (O_EXCL decides who); later openers wait until it is marked ready
// (and remove a block whose creator died before that).
// The block counts its openers; the last one to close unlinks the name,
// marking the block dead first so that a late opener retries with a fresh
// one. A process that dies without closing leaves the object behind; it is
// reused by the next opener.
//
// notify raises the flag and advances the generation, so every thread that
// was waiting at that moment is released even if another one resets the
// flag first (the manual-reset behaviour); every wait clears the flag under
// the mutex before it returns.
class CImpWaitObject : public IWaitObject
{
    TRELL_DECLARE_ALLOCATOR(u"CImpWaitObject")

public:
    explicit CImpWaitObject(const CString& strName);
    ~CImpWaitObject() override;

    void reset() override;
    void wait(unsigned int uiMilliseconds) override;
    void forceWait(unsigned int uiMilliseconds) override;
    void notify() override;

    // True when the event is shared under a name.
    bool isShared() const { return !m_strShmName.empty(); }

    // The shared-memory object name used for an event name (exposed for tests).
    static std::string toShmName(const CString& strName);

    struct tagEventBlock
    {
        TRELL_DECLARE_ALLOCATOR(u"CImpWaitObject::tagEventBlock")

        std::atomic<std::uint32_t> uiState; // STATE_READY once initialised
        std::uint32_t uiOpenCount;
        std::uint32_t uiGeneration;
        std::uint32_t uiSignalled;
        std::uint32_t uiDead;
        pthread_mutex_t mutex;
        pthread_cond_t cond;
    };

private:
    CImpWaitObject(const CImpWaitObject&) = delete;
    CImpWaitObject& operator=(const CImpWaitObject&) = delete;

    static void initBlock(tagEventBlock* pBlock, bool bShared);
    bool openShared(const std::string& strShmName);
    void closeShared();
    void lockBlock();
    void unlockBlock();
    // Waits up to uiMilliseconds (bForever: without limit), then clears the flag.
    void waitAndReset(unsigned int uiMilliseconds, bool bForever);

    tagEventBlock* m_pBlock;
    tagEventBlock m_localBlock;
    std::string m_strShmName;
};

} // namespace Trell
