// Named events and mutexes across real processes: names, owner-only entries,
// dead users, churn, and 32/64-bit sharing. The other processes run
// ecs_test_wait_helper (built for this word size and, where the compiler
// can, the other).
#include <platform/CWaitObject.h>
#include <platform/posix/NamedObject.h>
#include <text/CString.h>

#include "Reaper.h"
#include "support/ChildProcess.h"

#include <gtest/gtest.h>

#include <csignal>
#include <set>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

using namespace Trell;
using Clock = std::chrono::steady_clock;

namespace {
std::string s_log; // what the named objects of this program logged
} // namespace

void Trell::logNamedObject(const char* pszText)
{
    s_log += std::string(pszText) + "\n";
}

namespace {

// The helper linked with the library has this build's word size; the bare
// one (when the compiler can build it) the other, so that a 32-bit build
// shares its objects with a 64-bit process too.
#ifdef ECS_TEST_WAIT_HELPER_OTHER
const char* const HELPER_OTHER = ECS_TEST_WAIT_HELPER_OTHER;
#else
const char* const HELPER_OTHER = nullptr;
#endif
const char* const HELPER = ECS_TEST_WAIT_HELPER;
const char* const HELPER64 = sizeof(void*) == 8 ? HELPER : HELPER_OTHER;
const char* const HELPER32 = sizeof(void*) == 4 ? HELPER : HELPER_OTHER;

std::string uniqueName(const char* pszTag)
{
    static int s_iCounter = 0;
    return std::string("ecs_test_") + pszTag + "_" + std::to_string(getpid()) + "_" + std::to_string(++s_iCounter);
}

std::string entryPath(const std::string& name, CNamedObject::EKind eKind = CNamedObject::KIND_EVENT)
{
    return "/dev/shm/" + CNamedObject::fileName(eKind, ascii(name).c_str(), static_cast<unsigned int>(name.size()));
}

bool entryExists(const std::string& name, CNamedObject::EKind eKind = CNamedObject::KIND_EVENT)
{
    return access(entryPath(name, eKind).c_str(), F_OK) == 0;
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

// Whether a wait of uiMilliseconds ended by a signal, i.e. well before its end.
bool signalled(CWaitObject& event, unsigned int uiMilliseconds = 60000)
{
    const auto start = Clock::now();
    event.forceWait(uiMilliseconds);
    return Clock::now() - start < std::chrono::milliseconds(uiMilliseconds * 7 / 8);
}

int openEntry(const std::string& name)
{
    CNamedObject object;
    return object.open(CNamedObject::KIND_EVENT, ascii(name).c_str(), static_cast<unsigned int>(name.size()), 16);
}

// The child's exit code is fn's result, run as another user.
int runAs(uid_t uid, int (*fn)(const std::string&), const std::string& text)
{
    const pid_t pid = fork();
    if (pid == 0)
        _exit(setresgid(uid, uid, uid) == 0 && setresuid(uid, uid, uid) == 0 ? fn(text) : 99);
    return exitCodeOf(pid);
}

struct tagMutex : CNamedMutex
{
    explicit tagMutex(const std::string& name) { open(ascii(name).c_str(), static_cast<unsigned int>(name.size())); }
};

} // namespace

// Every name maps to a valid entry of its own, readable where it fits,
// created 0600 even under a umask that would narrow it, and gone after the
// last close.
TEST(NamedObject, NamesMapToDistinctOwnerOnlyEntries)
{
    const std::u16string longName(300, u'x');
    // The name and its entry's file (null: too long to keep whole).
    const std::pair<std::u16string, const char*> rows[] = {
        {u"plain-Name_1.0", "trell.evt.plain-Name_1.0"},
        {u"with space", "trell.evt.with%20space"},
        {u"a%2Fb", "trell.evt.a%252Fb"},
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
    for (const auto& [name, pszFile] : rows) {
        const unsigned int uiLength = static_cast<unsigned int>(name.size());
        const std::string file = CNamedObject::fileName(CNamedObject::KIND_EVENT, name.c_str(), uiLength);
        SCOPED_TRACE(file);
        EXPECT_EQ(file, pszFile ? pszFile : file.substr(0, 193) + "~" + file.substr(194, 16));
        EXPECT_TRUE(files.insert(file).second) << "two names share an entry";
        CNamedObject object;
        ASSERT_EQ(object.open(CNamedObject::KIND_EVENT, name.c_str(), uiLength, 16), CNamedObject::OPEN_CREATED);
        struct stat st;
        ASSERT_EQ(stat(("/dev/shm/" + file).c_str(), &st), 0);
        EXPECT_EQ(st.st_mode & 07777, 0600u);
    }
    umask(oldMask);
    EXPECT_EQ(CNamedObject::fileName(CNamedObject::KIND_MUTEX, longName.c_str(), 300).substr(0, 194),
              "trell.mtx." + std::string(183, 'x') + "~");
    for (const std::string& file : files)
        EXPECT_NE(access(("/dev/shm/" + file).c_str(), F_OK), 0) << "outlived its last handle";
}

// An entry of the same name created by another user is neither joined nor
// touched, whether its mode lets us in (root) or not, and the refusal is
// logged.
TEST(NamedObject, AnotherUsersEntryIsRefused)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root to create an entry as another user";
    for (const mode_t mode : {0666, 0600}) {
        const std::string name = uniqueName("foreign"), path = entryPath(name);
        ASSERT_EQ(
            runAs(
                65534, [](const std::string& p) { return open(p.c_str(), O_RDWR | O_CREAT, 0600) >= 0 ? 0 : 1; }, path),
            0);
        ASSERT_EQ(chmod(path.c_str(), mode), 0);
        s_log.clear();
        if (mode == 0600) {
            EXPECT_EQ(runAs(65533, openEntry, name), CNamedObject::OPEN_REFUSED);
        } else {
            EXPECT_EQ(openEntry(name), CNamedObject::OPEN_REFUSED);
            EXPECT_NE(s_log.find("belongs to user 65534; refused."), std::string::npos);
            CWaitObject event(toCString(name)); // stays local
            event.notify();
            EXPECT_TRUE(signalled(event));
        }
        struct stat st;
        ASSERT_EQ(stat(path.c_str(), &st), 0);
        EXPECT_EQ(st.st_uid, 65534u);
        EXPECT_EQ(st.st_mode & 07777, mode);
        EXPECT_EQ(st.st_size, 0);
        unlink(path.c_str());
    }
}

// A user that ends without closing (killed in its wait before it ever
// notified) neither keeps the entry nor disturbs the event for the
// others. An entry whose users all died, with contents that would read as
// signalled, is reclaimed as a fresh event. The last close removes the entry.
TEST(NamedObject, DeadUsersLeaveNothingBehind)
{
    CReaper reaper("dead users", std::chrono::seconds(120));
    for (const std::string mode : {"hold", "stale"}) {
        SCOPED_TRACE(mode);
        const std::string name = uniqueName(mode.c_str()), ready = uniqueName("ready");
        if (mode == "stale") {
            const int fd = open(entryPath(name).c_str(), O_RDWR | O_CREAT, 0666);
            const std::vector<unsigned char> garbage(4096, 0xFF);
            ASSERT_EQ(write(fd, garbage.data(), garbage.size()), 4096);
            close(fd);
        }
        {
            CWaitObject event(toCString(name));
            EXPECT_FALSE(signalled(event, 40));
            if (mode == "hold") {
                CWaitObject readyEvent(toCString(ready));
                const pid_t pid = spawnHelper(HELPER, {"hold", name, ready});
                EXPECT_TRUE(signalled(readyEvent));
                kill(pid, SIGKILL);
                waitpid(pid, nullptr, 0);
            }
            EXPECT_EQ(exitCodeOf(spawnHelper(HELPER, {"signal", name})), 0);
            EXPECT_TRUE(signalled(event)) << "lost a signal from a process that has closed it";
            EXPECT_FALSE(signalled(event, 40));
        }
        EXPECT_FALSE(entryExists(name));
    }
}

// Fifty processes open and close two names in a loop while two others rally
// signals over them: no signal is lost, and once all are gone so are the
// entries.
TEST(NamedObject, ChurningOpenersLoseNoSignal)
{
    CReaper reaper("churn", std::chrono::seconds(300));
    const std::string ping = uniqueName("ping"), pong = uniqueName("pong"), side = uniqueName("side");
    const int ROUNDS = 300;
    {
        CWaitObject pingEvent(toCString(ping)), pongEvent(toCString(pong));
        std::vector<pid_t> pids{spawnHelper(HELPER, {"rally", ping, pong, std::to_string(ROUNDS)})};
        for (int i = 0; i < 50; ++i)
            pids.push_back(spawnHelper(HELPER, {"churn", i % 2 ? ping : pong, side, "100"}));
        int iRound = 0;
        while (iRound < ROUNDS && (pingEvent.notify(), signalled(pongEvent)))
            ++iRound;
        EXPECT_EQ(iRound, ROUNDS) << "a signal was lost";
        for (pid_t pid : pids)
            EXPECT_EQ(exitCodeOf(pid), 0);
    }
    for (const std::string& name : {ping, pong, side})
        EXPECT_FALSE(entryExists(name)) << name;
}

// Within one process: the owner may lock again and must unlock as often;
// neither another thread nor another handle gets it meanwhile.
TEST(NamedMutex, OneOwnerThreadAtATime)
{
    CReaper reaper("mutex in one process");
    s_log.clear();
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
    EXPECT_EQ(b.lock(0, false), CNamedMutex::LOCK_TIMEOUT) << "released after the first unlock";
    EXPECT_TRUE(a.unlock());
    EXPECT_FALSE(a.unlock());
    EXPECT_EQ(b.lock(0, false), CNamedMutex::LOCK_TAKEN);
    EXPECT_EQ(s_log, "");
}

class NamedAcrossProcesses : public testing::TestWithParam<int>
{
protected:
    void SetUp() override
    {
        if (!m_pszHelper)
            GTEST_SKIP() << "no " << GetParam() << "-bit helper: the compiler cannot target -m" << GetParam()
                         << " (install g++-multilib)";
    }
    const char* m_pszHelper = GetParam() == 32 ? HELPER32 : HELPER64;
};

// Signals go both ways whichever side creates the events, and the mutex
// passes from the helper to this process; a holder killed while holding it
// leaves it to the next locker, who is told, and the event is logged. The helper is 32- or 64-bit,
// this process either.
TEST_P(NamedAcrossProcesses, EventsAndMutexAreShared)
{
    CReaper reaper("across processes", std::chrono::seconds(200));
    for (const bool bHelperFirst : {false, true}) {
        SCOPED_TRACE(bHelperFirst ? "helper creates" : "this process creates");
        const std::string ping = uniqueName("ping"), pong = uniqueName("pong");
        pid_t pid = bHelperFirst ? spawnHelper(m_pszHelper, {"rally", ping, pong, "1"}) : -1;
        ASSERT_TRUE(!bHelperFirst || waitUntil([&] { return entryExists(pong); }));
        {
            CWaitObject pingEvent(toCString(ping)), pongEvent(toCString(pong));
            pid = bHelperFirst ? pid : spawnHelper(m_pszHelper, {"rally", ping, pong, "1"});
            pingEvent.notify();
            EXPECT_TRUE(signalled(pongEvent));
            EXPECT_EQ(exitCodeOf(pid), 0) << "the helper was not woken";
        }
        EXPECT_FALSE(entryExists(ping));
    }
    const std::string name = uniqueName("mutex"), ready = uniqueName("ready");
    {
        tagMutex mutex(name);
        CWaitObject readyEvent(toCString(ready));
        pid_t pid = spawnHelper(m_pszHelper, {"holdmutex", name, ready, "200"});
        EXPECT_TRUE(signalled(readyEvent));
        EXPECT_EQ(mutex.lock(60000, false), CNamedMutex::LOCK_TAKEN) << "a timed wait outlasts the holder";
        EXPECT_EQ(exitCodeOf(pid), 0);

        EXPECT_TRUE(mutex.unlock());
        pid = spawnHelper(m_pszHelper, {"holdmutex", name, ready, "0"});
        EXPECT_TRUE(signalled(readyEvent));
        s_log.clear();
        std::thread killer([pid] {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            kill(pid, SIGKILL);
        });
        EXPECT_EQ(mutex.lock(0, true), CNamedMutex::LOCK_ABANDONED);
        killer.join();
        waitpid(pid, nullptr, 0);
        EXPECT_NE(s_log.find("was abandoned by its owner"), std::string::npos);
        EXPECT_TRUE(mutex.unlock());
        EXPECT_EQ(mutex.lock(0, false), CNamedMutex::LOCK_TAKEN);
        EXPECT_TRUE(mutex.unlock());
    }
    EXPECT_FALSE(entryExists(name, CNamedObject::KIND_MUTEX));
}

INSTANTIATE_TEST_SUITE_P(WordSize, NamedAcrossProcesses, testing::Values(64, 32),
                         [](const testing::TestParamInfo<int>& info) { return "Helper" + std::to_string(info.param); });
