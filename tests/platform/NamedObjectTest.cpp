// Named events and mutexes across real processes: lifetime, ownership, names,
// and 32/64-bit sharing. The other processes run ecs_test_wait_helper.
#include <platform/CWaitObject.h>
#include <platform/posix/NamedObject.h>
#include <text/CString.h>

#include "Reaper.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

using namespace Trell;
using Clock = std::chrono::steady_clock;

namespace {

std::mutex s_logMutex;
std::string s_log;

} // namespace

namespace Trell {
void logNamedObject(const char* pszText)
{
    std::lock_guard<std::mutex> lock(s_logMutex);
    s_log += pszText;
    s_log += '\n';
}
} // namespace Trell

namespace {

std::string takeLog()
{
    std::lock_guard<std::mutex> lock(s_logMutex);
    return std::exchange(s_log, std::string());
}

std::string uniqueName(const char* pszTag)
{
    static int s_iCounter = 0;
    return std::string("ecs_test_") + pszTag + "_" + std::to_string(getpid()) + "_" + std::to_string(++s_iCounter);
}

std::string entryPath(CNamedObject::EKind eKind, const std::string& name)
{
    const std::u16string wide(name.begin(), name.end());
    return "/dev/shm/" + CNamedObject::fileName(eKind, wide.c_str(), static_cast<unsigned int>(wide.size()));
}

bool entryExists(CNamedObject::EKind eKind, const std::string& name)
{
    struct stat st;
    return stat(entryPath(eKind, name).c_str(), &st) == 0;
}

pid_t spawnHelper(const char* pszProgram, std::vector<std::string> args)
{
    std::vector<char*> argv{const_cast<char*>(pszProgram)};
    for (std::string& arg : args)
        argv.push_back(arg.data());
    argv.push_back(nullptr);
    pid_t pid = -1;
    return posix_spawn(&pid, pszProgram, nullptr, nullptr, argv.data(), environ) == 0 ? pid : -1;
}

int exitCodeOf(pid_t pid)
{
    int status = 0;
    return waitpid(pid, &status, 0) == pid && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Whether a signal arrives within the generous deadline (a lost one fails).
bool signalled(CWaitObject& event)
{
    const auto start = Clock::now();
    event.forceWait(60000);
    return Clock::now() - start < std::chrono::seconds(55);
}

bool unsignalled(CWaitObject& event)
{
    const auto start = Clock::now();
    event.forceWait(40);
    return Clock::now() - start >= std::chrono::milliseconds(35);
}

struct tagMutex : CNamedMutex
{
    explicit tagMutex(const std::string& name)
    {
        const std::u16string wide(name.begin(), name.end());
        EXPECT_NE(open(wide.c_str(), static_cast<unsigned int>(wide.size())), CNamedObject::OPEN_FAILED);
    }
};

const char* const HELPER64 = ECS_TEST_WAIT_HELPER;
#ifdef ECS_TEST_WAIT_HELPER32
const char* const HELPER32 = ECS_TEST_WAIT_HELPER32;
#else
const char* const HELPER32 = nullptr;
#endif

} // namespace

// Every name maps to one valid entry of its own, readable where it fits, and
// is created 0600 even under a umask that would narrow it.
TEST(NamedObject, NamesMapToDistinctOwnerOnlyEntries)
{
    const std::u16string longName(300, u'x');
    const struct
    {
        std::u16string name;
        const char* pszFile; // expected file name, or null where only validity counts
    } rows[] = {
        {u"plain-Name_1.0", "trell.evt.plain-Name_1.0"},
        {u"with space", "trell.evt.with%20space"},
        {u"a/b", "trell.evt.a%2Fb"},
        {u"a%2Fb", "trell.evt.a%252Fb"},
        {u"..", "trell.evt..."},
        {u"../../etc/passwd", "trell.evt...%2F..%2Fetc%2Fpasswd"},
        {u"\u00e9t\u00e9 \u4e2d", "trell.evt.\xc3\xa9t\xc3\xa9%20\xe4\xb8\xad"},
        {u"\U0001F600", "trell.evt.\xf0\x9f\x98\x80"},
        {std::u16string(u"x") + char16_t(0xD800), "trell.evt.x%ED%A0%80"},
        {longName, nullptr},
        {longName + u"y", nullptr},
        {u"x~" + longName, nullptr},
    };
    const mode_t oldMask = umask(0277);
    std::set<std::string> files;
    for (const auto& row : rows) {
        const std::string file = CNamedObject::fileName(CNamedObject::KIND_EVENT, row.name.c_str(),
                                                        static_cast<unsigned int>(row.name.size()));
        SCOPED_TRACE(file);
        if (row.pszFile) {
            EXPECT_EQ(file, row.pszFile);
        }
        EXPECT_LE(file.size(), 210u);
        EXPECT_EQ(file.find('/'), std::string::npos);
        EXPECT_TRUE(files.insert(file).second) << "two names share an entry";
        CNamedObject object;
        ASSERT_EQ(object.open(CNamedObject::KIND_EVENT, row.name.c_str(), static_cast<unsigned int>(row.name.size()), 16),
                  CNamedObject::OPEN_CREATED);
        struct stat st;
        ASSERT_EQ(stat(("/dev/shm/" + file).c_str(), &st), 0);
        EXPECT_EQ(st.st_mode & 07777, 0600u);
    }
    umask(oldMask);
    // A long name keeps its start visible.
    const std::string file = CNamedObject::fileName(CNamedObject::KIND_MUTEX, longName.c_str(), 300);
    EXPECT_EQ(file.substr(0, 194), "trell.mtx." + std::string(183, 'x') + "~");
    EXPECT_EQ(file.size(), 210u);
    for (const std::string& file : files) {
        struct stat st;
        EXPECT_NE(stat(("/dev/shm/" + file).c_str(), &st), 0) << file << " outlived its last handle";
    }
}

// Runs fn in a child process as another user; the child's exit code is
// fn's result.
int runAs(uid_t uid, int (*fn)(const std::string&), const std::string& name)
{
    const pid_t pid = fork();
    if (pid == 0) {
        umask(0);
        _exit(setresgid(uid, uid, uid) == 0 && setresuid(uid, uid, uid) == 0 ? fn(name) : 99);
    }
    return exitCodeOf(pid);
}

int openEntry(const std::string& name)
{
    const std::u16string wide(name.begin(), name.end());
    CNamedObject object;
    return object.open(CNamedObject::KIND_EVENT, wide.c_str(), static_cast<unsigned int>(wide.size()), 16);
}

// An entry of the same name created by another user is neither joined nor
// touched, whether its mode lets us in or not, and the refusal is logged.
TEST(NamedObject, AnotherUsersEntryIsRefused)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root to create an entry as another user";
    for (const mode_t mode : {0666, 0600}) {
        const std::string name = uniqueName("foreign");
        const std::string path = entryPath(CNamedObject::KIND_EVENT, name);
        auto create = [](const std::string& p) {
            const int fd = open(p.c_str(), O_RDWR | O_CREAT | O_EXCL, 0600);
            return fd >= 0 && ftruncate(fd, 48) == 0 ? 0 : 1;
        };
        ASSERT_EQ(runAs(65534, create, path), 0);
        ASSERT_EQ(chmod(path.c_str(), mode), 0);
        takeLog();
        // Root opens any file; another user is kept out of a 0600 one.
        if (mode == 0600) {
            EXPECT_EQ(runAs(65533, openEntry, name), CNamedObject::OPEN_REFUSED);
        } else {
            EXPECT_EQ(openEntry(name), CNamedObject::OPEN_REFUSED);
            EXPECT_NE(takeLog().find("belongs to user 65534; refused."), std::string::npos);
            // Nor does the library's event join it: it stays local.
            CWaitObject event(toCString(name));
            event.notify();
            EXPECT_TRUE(signalled(event));
        }
        struct stat st;
        ASSERT_EQ(stat(path.c_str(), &st), 0);
        EXPECT_EQ(st.st_uid, 65534u);
        EXPECT_EQ(st.st_mode & 07777, mode);
        EXPECT_EQ(st.st_size, 48);
        unlink(path.c_str());
    }
}

// A process that ends without closing (by _exit, or killed in its wait)
// neither keeps the entry nor disturbs the event for the others; the last
// close removes the entry. An entry left by users that all died, with
// contents that would read as signalled, is reclaimed as a fresh event.
TEST(NamedObject, DeadUsersLeaveNothingBehind)
{
    CReaper reaper("dead users", std::chrono::seconds(120));
    for (const char* pszMode : {"openexit", "hold", "stale"}) {
        SCOPED_TRACE(pszMode);
        const std::string name = uniqueName(pszMode);
        const std::string path = entryPath(CNamedObject::KIND_EVENT, name);
        if (std::string(pszMode) == "stale") {
            const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_EXCL, 0666);
            ASSERT_GE(fd, 0);
            const std::vector<unsigned char> garbage(4096, 0xFF);
            ASSERT_EQ(write(fd, garbage.data(), garbage.size()), 4096);
            close(fd);
        }
        {
            CWaitObject event(toCString(name));
            EXPECT_TRUE(unsignalled(event));
            if (std::string(pszMode) == "openexit") {
                EXPECT_EQ(exitCodeOf(spawnHelper(HELPER64, {"openexit", name})), 0);
            } else if (std::string(pszMode) == "hold") {
                const std::string ready = uniqueName("ready");
                CWaitObject readyEvent(toCString(ready));
                const pid_t pid = spawnHelper(HELPER64, {"hold", name, ready});
                ASSERT_GT(pid, 0);
                EXPECT_TRUE(signalled(readyEvent));
                kill(pid, SIGKILL);
                waitpid(pid, nullptr, 0);
            }
            EXPECT_EQ(exitCodeOf(spawnHelper(HELPER64, {"signal", name})), 0);
            EXPECT_TRUE(signalled(event)) << "a signal from a process that has closed it was lost";
            EXPECT_TRUE(unsignalled(event));
        }
        EXPECT_FALSE(entryExists(CNamedObject::KIND_EVENT, name));
    }
}

// Fifty processes open and close two names in a loop while two others
// rally signals over them: no signal is lost, and once all are gone so are
// the entries.
TEST(NamedObject, ChurningOpenersLoseNoSignal)
{
    CReaper reaper("churn", std::chrono::seconds(300));
    const std::string ping = uniqueName("ping"), pong = uniqueName("pong"), side = uniqueName("side");
    const int ROUNDS = 300;
    std::vector<pid_t> churners;
    {
        CWaitObject pingEvent(toCString(ping));
        CWaitObject pongEvent(toCString(pong));
        const pid_t rally = spawnHelper(HELPER64, {"rally", ping, pong, std::to_string(ROUNDS)});
        ASSERT_GT(rally, 0);
        for (int i = 0; i < 50; ++i)
            churners.push_back(spawnHelper(HELPER64, {"churn", i % 2 ? ping : pong, side, "100"}));
        int iLost = 0;
        for (int i = 0; i < ROUNDS && iLost == 0; ++i) {
            pingEvent.notify();
            iLost += !signalled(pongEvent);
        }
        EXPECT_EQ(iLost, 0);
        EXPECT_EQ(exitCodeOf(rally), 0);
        for (pid_t pid : churners)
            EXPECT_EQ(exitCodeOf(pid), 0);
    }
    for (const std::string& name : {ping, pong, side})
        EXPECT_FALSE(entryExists(CNamedObject::KIND_EVENT, name)) << name;
}

// Within one process: the owner may lock again and must unlock as often;
// neither another thread nor another handle gets it meanwhile.
TEST(NamedMutex, OneOwnerThreadAtATime)
{
    CReaper reaper("mutex in one process");
    const std::string name = uniqueName("mutex");
    tagMutex a(name), b(name);
    EXPECT_EQ(a.lock(0, true), CNamedMutex::LOCK_TAKEN);
    EXPECT_EQ(a.lock(0, true), CNamedMutex::LOCK_TAKEN);
    EXPECT_EQ(b.lock(30, false), CNamedMutex::LOCK_TIMEOUT);
    std::thread([&] {
        EXPECT_EQ(a.lock(30, false), CNamedMutex::LOCK_TIMEOUT);
        EXPECT_FALSE(a.unlock());
    }).join();
    EXPECT_TRUE(a.unlock());
    EXPECT_EQ(b.lock(30, false), CNamedMutex::LOCK_TIMEOUT);
    std::thread waiter([&] {
        EXPECT_EQ(b.lock(0, true), CNamedMutex::LOCK_TAKEN);
        EXPECT_TRUE(b.unlock());
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_TRUE(a.unlock());
    EXPECT_FALSE(a.unlock());
    waiter.join();
    EXPECT_EQ(a.lock(0, false), CNamedMutex::LOCK_TAKEN);
    EXPECT_TRUE(a.unlock());
    EXPECT_EQ(takeLog(), "");
}

class NamedAcrossProcesses : public testing::TestWithParam<int>
{
protected:
    const char* helper()
    {
        const char* pszHelper = GetParam() == 32 ? HELPER32 : HELPER64;
        if (!pszHelper)
            ADD_FAILURE() << "unreachable";
        return pszHelper;
    }
    void SetUp() override
    {
        if (GetParam() == 32 && !HELPER32)
            GTEST_SKIP() << "no 32-bit helper: the compiler cannot target -m32 (install g++-multilib)";
    }
};

// Signals go both ways whichever side creates the events (the helper is
// 32- or 64-bit, this process 64-bit).
TEST_P(NamedAcrossProcesses, EventsWorkBothWaysInEitherStartOrder)
{
    CReaper reaper("events across processes", std::chrono::seconds(150));
    for (const bool bHelperFirst : {false, true}) {
        SCOPED_TRACE(bHelperFirst ? "helper creates" : "this process creates");
        const std::string ping = uniqueName("ping"), pong = uniqueName("pong");
        pid_t pid = -1;
        if (bHelperFirst) {
            pid = spawnHelper(helper(), {"pingpong", ping, pong});
            ASSERT_TRUE(waitUntil([&] { return entryExists(CNamedObject::KIND_EVENT, pong); }));
        }
        {
            CWaitObject pingEvent(toCString(ping));
            CWaitObject pongEvent(toCString(pong));
            if (!bHelperFirst)
                pid = spawnHelper(helper(), {"pingpong", ping, pong});
            ASSERT_GT(pid, 0);
            EXPECT_TRUE(signalled(pingEvent));
            pongEvent.notify();
            EXPECT_EQ(exitCodeOf(pid), 0) << "the helper was not woken";
        }
        EXPECT_FALSE(entryExists(CNamedObject::KIND_EVENT, ping));
    }
}

// The mutex passes between the processes both ways; a holder killed while
// holding it leaves it to the next locker, who is told and the event logged.
TEST_P(NamedAcrossProcesses, MutexHandoverAndAbandonment)
{
    CReaper reaper("mutex across processes", std::chrono::seconds(150));
    const std::string name = uniqueName("mutex"), ready = uniqueName("ready");
    {
        tagMutex mutex(name);
        CWaitObject readyEvent(toCString(ready));

        pid_t pid = spawnHelper(helper(), {"handover", name, ready});
        EXPECT_TRUE(signalled(readyEvent));
        EXPECT_EQ(mutex.lock(0, true), CNamedMutex::LOCK_TAKEN);
        EXPECT_EQ(exitCodeOf(pid), 0);

        pid = spawnHelper(helper(), {"lockmutex", name});
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        EXPECT_TRUE(mutex.unlock());
        EXPECT_EQ(exitCodeOf(pid), 0);

        pid = spawnHelper(helper(), {"holdmutex", name, ready});
        EXPECT_TRUE(signalled(readyEvent));
        takeLog();
        std::thread killer([pid] {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            kill(pid, SIGKILL);
        });
        EXPECT_EQ(mutex.lock(0, true), CNamedMutex::LOCK_ABANDONED);
        killer.join();
        waitpid(pid, nullptr, 0);
        EXPECT_NE(takeLog().find("was abandoned by its owner"), std::string::npos);
        EXPECT_TRUE(mutex.unlock());
        EXPECT_EQ(mutex.lock(0, false), CNamedMutex::LOCK_TAKEN);
        EXPECT_TRUE(mutex.unlock());
    }
    EXPECT_FALSE(entryExists(CNamedObject::KIND_MUTEX, name));
}

INSTANTIATE_TEST_SUITE_P(WordSize, NamedAcrossProcesses, testing::Values(64, 32),
                         [](const testing::TestParamInfo<int>& info) { return "Helper" + std::to_string(info.param); });
