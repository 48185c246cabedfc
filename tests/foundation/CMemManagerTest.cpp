#include <foundation/CMemAllocator.h>
#include <foundation/CMemChecker.h>
#include <foundation/CMemManager.h>
#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/IMemManagerListener.h>

#include "foundation/MemTestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

using namespace Trell;
using namespace MemTest;

namespace {

// The library is loaded, and its manager constructed, before this program's
// own static objects are initialised.
const bool s_bManagerActiveAtStaticInit = CMemManager::getInstance() != nullptr;

// Whether an object made by a static initialiser of this program comes from
// the manager's pools (a system-heap block would not carry a pool header).
bool objectFromStaticInitIsPooled()
{
    CMemManager* manager = CMemManager::getInstance();
    if (!manager)
        return false;
    CObject* object = new CObject();
    void* block = object;
    if (manager->getChecker())
        block = reinterpret_cast<char*>(object) - CMemChecker::HEADER_SIZE;
    const bool pooled = manager->getAllocator()->getBlockClass(block) >= 0;
    delete object;
    return pooled;
}
const bool s_bStaticObjectPooled = objectFromStaticInitIsPooled();

// Listener whose reaction to a failure is chosen by the test. It is
// installed for its lifetime, and disarms the heap hook when it goes.
class CTestListener : public IMemManagerListener
{
public:
    enum EReaction
    {
        REACT_NOTHING,        // leave the heap failing
        REACT_HEAL,           // make the heap work again
        REACT_ALLOCATE_AGAIN, // allocate from inside the callback (still failing)
    };

    explicit CTestListener(EReaction reaction) : m_eReaction(reaction)
    {
        CMemManager::getInstance()->setListener(this);
    }
    ~CTestListener() override
    {
        MemTesting::failSystemHeapAfter(-1);
        CMemManager::getInstance()->setListener(nullptr);
    }

    void onAllocateFailed() override
    {
        ++calls;
        if (m_eReaction == REACT_HEAL)
            MemTesting::failSystemHeapAfter(-1);
        else if (m_eReaction == REACT_ALLOCATE_AGAIN)
            innerResult = CMemory::malloc(4096, 0);
    }

    int calls = 0;
    void* innerResult = reinterpret_cast<void*>(1);

private:
    EReaction m_eReaction;
};

} // namespace

TEST(CMemManager, ActiveBeforeTheProgramsStaticObjects)
{
    EXPECT_TRUE(s_bManagerActiveAtStaticInit);
    EXPECT_TRUE(s_bStaticObjectPooled);
}

TEST(CMemManager, LibraryObjectsComeFromTheManager)
{
    CMemManager* manager = CMemManager::getInstance();
    ASSERT_NE(manager, nullptr);
    ASSERT_NE(manager->getAllocator(), nullptr);
    EXPECT_EQ(manager->getChecker() != nullptr, CMemManager::isCheckingMode());

    CObject* object = new CObject();
    ASSERT_NE(object, nullptr);
    if (CMemChecker* checker = manager->getChecker()) {
        // The checker's header sits in front of the allocator's block.
        void* block = reinterpret_cast<char*>(object) - CMemChecker::HEADER_SIZE;
        EXPECT_GE(manager->getAllocator()->getBlockClass(block), 0);
        EXPECT_NE(checker->getClassName(CObject::trellClassId().load()), nullptr);
    } else {
        EXPECT_GE(manager->getAllocator()->getBlockClass(object), 0);
    }
    CObject* array = new CObject[3];
    ASSERT_NE(array, nullptr);
    delete[] array;
    delete object;
}

TEST(CMemManager, ClassIdentifiersNeedCheckingMode)
{
    const unsigned int first = CMemory::registClassName(u"CMemManagerTestFirst");
    const unsigned int second = CMemory::registClassName(u"CMemManagerTestSecond");
    EXPECT_EQ(CMemory::registClassName(nullptr), 0u);
    if (!CMemManager::isCheckingMode()) {
        EXPECT_EQ(first, 0u);
        EXPECT_EQ(second, 0u);
        EXPECT_EQ(CMemManager::getInstance()->registClassName(u"CMemManagerTestFirst"), 0u);
    } else {
        EXPECT_NE(first, 0u);
        EXPECT_EQ(second, first + 1);
        EXPECT_EQ(CMemory::registClassName(u"CMemManagerTestFirst"), first);
    }
}

TEST(CMemManager, FreeOfNullOrForeignPointersFreesNothing)
{
    std::vector<unsigned char> foreign(128, 0);
    const std::vector<unsigned char> copy = foreign;
    const std::string out = captureStdout([&] {
        CMemory::free(nullptr);
        CMemory::free(foreign.data() + 64);
        CMemory::free(foreign.data() + 67);
    });
    EXPECT_EQ(std::count(out.begin(), out.end(), '\n'), 2) << "one warning each, none for null: " << out;
    EXPECT_EQ(countOf(out, "[Warning][TrellEngine] Free(0x"), 2u) << out;
    EXPECT_EQ(countOf(out, "Invalid Pointer"), 2u) << out;
    EXPECT_EQ(foreign, copy);
}

TEST(CMemManager, ListenerIsCalledOnceAndTheRequestRetried)
{
    CTestListener listener(CTestListener::REACT_HEAL);
    MemTesting::failSystemHeapAfter(0);
    void* p = CMemory::malloc(4096, 0);
    EXPECT_EQ(listener.calls, 1);
    ASSERT_NE(p, nullptr);
    std::memset(p, 0x3C, 4096);
    CMemory::free(p);
}

TEST(CMemManager, RetryThatFailsAgainYieldsNull)
{
    CTestListener listener(CTestListener::REACT_NOTHING);
    MemTesting::failSystemHeapAfter(0);
    EXPECT_EQ(CMemory::malloc(4096, 0), nullptr);
    EXPECT_EQ(listener.calls, 1);
    EXPECT_EQ(MemTesting::getRefusedSystemHeapRequests(), 2u) << "first attempt and the single retry";
    EXPECT_EQ(CMemManager::getInstance()->malloc(4096, 0), nullptr);
    EXPECT_EQ(listener.calls, 2) << "every failing request gets its own callback";
}

TEST(CMemManager, FailureInsideTheCallbackDoesNotCallItAgain)
{
    CTestListener listener(CTestListener::REACT_ALLOCATE_AGAIN);
    MemTesting::failSystemHeapAfter(0);
    EXPECT_EQ(CMemory::malloc(4096, 0), nullptr);
    EXPECT_EQ(listener.calls, 1);
    EXPECT_EQ(listener.innerResult, nullptr);
}

TEST(CMemManager, WithoutListenerAFailureYieldsNull)
{
    tagHookGuard guard;
    ASSERT_EQ(CMemManager::getInstance()->getListener(), nullptr);
    MemTesting::failSystemHeapAfter(0);
    EXPECT_EQ(CMemory::malloc(100000, 0), nullptr);
    EXPECT_EQ(MemTesting::getRefusedSystemHeapRequests(), 1u) << "no retry without a listener";
}

TEST(CMemManager, PoolExhaustionReachesTheListener)
{
    // Fill the class of 456-byte requests until its newest chunk is full, so
    // that the next request needs a chunk from the (failing) system heap.
    CMemAllocator* allocator = CMemManager::getInstance()->getAllocator();
    const unsigned int extra = CMemManager::isCheckingMode() ? CMemAllocator::CHECKER_OVERHEAD : 0;
    const unsigned int cls = static_cast<unsigned int>(allocator->findClass(456 + extra));
    std::vector<void*> blocks;
    unsigned int total = allocator->getTotalSlots(cls);
    do {
        blocks.push_back(CMemory::malloc(456, 0));
        ASSERT_NE(blocks.back(), nullptr);
    } while (allocator->getTotalSlots(cls) == total);
    const unsigned int added = allocator->getTotalSlots(cls) - total;
    total += added;
    for (unsigned int i = 1; i < added; ++i)
        blocks.push_back(CMemory::malloc(456, 0));
    ASSERT_EQ(allocator->getTotalSlots(cls), total);
    ASSERT_EQ(allocator->getFreeSlotCount(cls), 0u);

    CTestListener listener(CTestListener::REACT_HEAL);
    void* p = nullptr;
    {
            MemTesting::failSystemHeapAfter(0);
        const std::string out = captureStdout([&] { p = CMemory::malloc(456, 0); });
        EXPECT_EQ(out.find("[Warning][TrellEngine] Allocate memory pool block failed (size = "), 0u) << out;
    }
    EXPECT_EQ(listener.calls, 1);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(allocator->getTotalSlots(cls), total + allocator->getGrowthCount(cls)) << "the retry got its chunk";
    blocks.push_back(p);
    for (void* block : blocks)
        CMemory::free(block);
}

TEST(CMemManager, TwoThreadsKeepTheirBlocksApart)
{
    EXPECT_EQ(twoThreadsOfTraffic(
                  200000, 500, [](std::mt19937& random) { return static_cast<unsigned int>(random() % 700); },
                  [](unsigned int size, std::mt19937&) { return CMemory::malloc(size, 0); },
                  [](void* p) { CMemory::free(p); }, 3u, 101u),
              0);
}
