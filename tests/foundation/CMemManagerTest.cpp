#include <foundation/CMemAllocator.h>
#include <foundation/CMemChecker.h>
#include <foundation/CMemManager.h>
#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/IMemManagerListener.h>
#include <text/CStringConverter.h>

#include "foundation/MemTestSupport.h"

#include <gtest/gtest.h>

#ifndef _WIN32
#include <sys/wait.h>
#include <unistd.h>
#endif

#include <clocale>
#include <cstdio>
#include <cwchar>
#include <regex>
#include <string>

using namespace Trell;
using namespace MemTest;

namespace {

// The library is loaded, and its manager constructed, before this program's
// own static objects are initialised: an object made by a static initialiser
// comes from the manager's pools (a system-heap block carries no pool header).
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

// Installed for its lifetime; counts its calls and reacts as the test says.
struct tagTestListener : IMemManagerListener
{
    explicit tagTestListener(void (*r)(tagTestListener&)) : react(r) { CMemManager::getInstance()->setListener(this); }
    ~tagTestListener() override { CMemManager::getInstance()->setListener(nullptr); }
    void onAllocateFailed() override
    {
        ++calls;
        react(*this);
    }

    void (*react)(tagTestListener&);
    int calls = 0;
    void* innerResult = nullptr;
};

} // namespace

TEST(CMemManager, ActiveBeforeTheProgramsStaticObjects)
{
    EXPECT_TRUE(s_bStaticObjectPooled);
}

// The listener is called once per failing request and the request retried
// once: what the retry gets is the answer, and a failure inside the
// callback does not call it again. Without a listener there is no retry.
TEST(CMemManager, ListenerIsCalledOnceAndTheRequestRetriedOnce)
{
    const struct
    {
        void (*react)(tagTestListener&);
        bool served;
        unsigned int refused;
    } rows[] = {
        {[](tagTestListener&) { MemTesting::failSystemHeapAfter(-1); }, true, 0}, // healing resets the count
        {[](tagTestListener&) {}, false, 2},
        // Allocating from inside the callback fails (null) without calling it again.
        {[](tagTestListener& l) { l.innerResult = CMemory::malloc(4096, 0); }, false, 3},
    };
    tagHookGuard guard;
    for (const auto& row : rows) {
        tagTestListener listener(row.react);
        MemTesting::failSystemHeapAfter(0);
        void* p = CMemory::malloc(4096, 0);
        EXPECT_TRUE((p != nullptr) == row.served && listener.calls == 1 && listener.innerResult == nullptr &&
                    MemTesting::getRefusedSystemHeapRequests() == row.refused)
            << row.refused;
        CMemory::free(p);
        MemTesting::failSystemHeapAfter(-1);
    }
    ASSERT_EQ(CMemManager::getInstance()->getListener(), nullptr);
    MemTesting::failSystemHeapAfter(0);
    EXPECT_TRUE(CMemory::malloc(100000, 0) == nullptr && MemTesting::getRefusedSystemHeapRequests() == 1u);
}

// POSIX only (fork): listed in tests/WindowsSkips.cmake.
#ifndef _WIN32
namespace {

int s_iForeign = 0;

// What a child process prints when the library writes to the console after
// (with `wideHost`) the host made stdout wide-oriented with wprintf.
std::string consoleOfChild(bool wideHost)
{
    int fds[2];
    if (::pipe(fds) != 0)
        return "<no pipe>";
    std::fflush(stdout); // else the child's freopen writes what the parent still buffers
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::dup2(fds[1], 1);
        ::close(fds[0]);
        ::close(fds[1]);
        // A fresh, unoriented stream on the pipe, as in a new process.
        if (!std::freopen(nullptr, "w", stdout))
            ::_exit(2);
        if (wideHost) {
            std::setlocale(LC_CTYPE, "C.UTF-8");
            std::wprintf(L"host\n");
        }
        CStringConverter::printf(u"lib %ls\n", u"\u0080caf\u00e9 \U0001F600 \xD800!\xDC00");
        CMemory::free(&s_iForeign);
        // A warning naming a class formats non-ASCII text itself.
        CMemAllocator pool(true);
        CMemChecker checker(&pool);
        void* block = checker.malloc(1, checker.registClassName(u"C\u00e9\u20ac\U0001F600"));
        checker.free(block);
        checker.free(block);
        std::fflush(stdout);
        ::_exit(0);
    }
    ::close(fds[1]);
    std::string out;
    char buffer[256];
    for (ssize_t n; (n = ::read(fds[0], buffer, sizeof(buffer))) > 0;)
        out.append(buffer, static_cast<std::size_t>(n));
    ::close(fds[0]);
    int status = 0;
    ::waitpid(pid, &status, 0);
    return out;
}

} // namespace

// The library's console text reaches the host's stdout in either
// orientation, and a character outside the BMP is one UTF-8 sequence.
TEST(CMemManager, ConsoleOutputFollowsTheHostsStreamOrientation)
{
    // An unpaired surrogate becomes U+FFFD; the checker's block lies at an
    // address only the child knows.
    // In checking mode the checker judges the foreign pointer, in its words.
    const std::string library =
        "lib \xC2\x80"
        "caf\xC3\xA9 \xF0\x9F\x98\x80 \xEF\xBF\xBD!\xEF\xBF\xBD\n" +
        (CMemManager::isCheckingMode()
             ? freeWarning(&s_iForeign, "", "Invalid Pointer. Maybe Block had been freed or crashed!")
             : invalidPointerWarning(&s_iForeign)) +
        "[Warning][TrellEngine] Free(0x?)<C\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80>: Invalid Pointer. Block had been "
        "freed before!\n";
    const std::regex checkerAddress("Free\\(0x[0-9A-F]+\\)<");
    EXPECT_EQ(std::regex_replace(consoleOfChild(false), checkerAddress, "Free(0x?)<"), library);
    EXPECT_EQ(std::regex_replace(consoleOfChild(true), checkerAddress, "Free(0x?)<"), "host\n" + library);
}

#endif
