#include <platform/CAutoSync.h>
#include <platform/CSyncObject.h>

#include "Reaper.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

using namespace Trell;

// The owner may lock again (directly or through CAutoSync); another thread
// gets the lock only once every lock is released.
TEST(CSyncObject, LockIsReentrantAndExcludesOthersUntilFullyReleased)
{
    CReaper reaper("re-entrant lock");
    CSyncObject sync;
    std::atomic<bool> bTaken{false};
    sync.lock();
    sync.lock();
    {
        CAutoSync nested(sync);
    }
    std::thread other([&] {
        CAutoSync hold(sync);
        bTaken = true;
    });
    // Give a broken lock the chance to let the other thread in.
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(bTaken.load());
    sync.unlock();
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(bTaken.load()) << "one unlock of two released the lock";
    sync.unlock();
    other.join();
    EXPECT_TRUE(bTaken.load());
}
