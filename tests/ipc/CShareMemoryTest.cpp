// The shared-memory channel within this process (reader and writer with
// handles of their own, this thread handling the messages) and between
// processes, with readers and writers in ecs_test_shm_helper, some of them
// killed with SIGKILL. Every wait is bounded; the reaper ends a hung run.
#include <configuration/CConfigParser.h>
#include <ipc/CMsgShareMemory.h>
#include <ipc/CShareMemory.h>
#include <ipc/CShareMemoryProxy.h>
#include <ipc/IShareMemoryListener.h>
#include <message/CMessageCenter.h>
#include <system/CLog.h>
#include <system/ILogOuter.h>

#include "platform/Reaper.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

extern char** environ;

using namespace Trell;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

namespace {

const unsigned char* bytesOf(const std::string& text)
{
    return reinterpret_cast<const unsigned char*>(text.data());
}

// The key's entries under /dev/shm, sorted.
std::vector<std::string> entriesOf(unsigned int uiKey)
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator("/dev/shm")) {
        const std::string name = entry.path().filename().string();
        if (name.rfind("trell.", 0) == 0 && name.find(std::to_string(uiKey) + "_") == 10)
            names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    return names;
}

// The region as its entry holds it (after the 32-byte object header).
std::string regionBytes(unsigned int uiKey)
{
    std::ifstream file("/dev/shm/trell.mem." + std::to_string(uiKey) + "_ShareMemory", std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    return bytes.size() > 32 ? bytes.substr(32) : std::string();
}

// Pops and handles this process's messages until done() holds.
bool pumpUntil(const std::function<bool()>& done, Clock::duration deadline = 30s)
{
    for (const auto end = Clock::now() + deadline; !done();) {
        if (CObjectPtr<CBaseMessage> pMessage = CMessageCenter::getInstance()->popMessage())
            pMessage->handleMessage();
        else if (Clock::now() > end)
            return false;
        else
            usleep(200);
    }
    return true;
}

template <class TChannel>
bool writeWhenAllowed(TChannel& channel, const std::string& data)
{
    return waitUntil([&] { return channel.writeData(bytesOf(data), static_cast<unsigned int>(data.size())); });
}

bool refusedFor(CShareMemory& writer, Clock::duration span)
{
    for (const auto end = Clock::now() + span; Clock::now() < end; usleep(1000)) {
        if (writer.writeData(bytesOf("early"), 5))
            return false;
    }
    return true;
}

// What a reader hears: each block as the callback reads it, "<farewell>".
struct tagRecorder : IShareMemoryListener
{
    explicit tagRecorder(CShareMemory& channel) : channel(channel) { channel.setListener(this); }
    void onDataAvailable() override
    {
        std::string block(channel.getSize(), '\0');
        channel.readData(reinterpret_cast<unsigned char*>(block.data()), static_cast<unsigned int>(block.size()));
        if (onData)
            onData(block);
        events.push_back(block);
    }
    void onWritterClose() override { events.push_back("<farewell>"); }

    CShareMemory& channel;
    std::vector<std::string> events;
    std::function<void(const std::string&)> onData;
};

// A helper process: lines to its stdin, its '@' lines from its stdout.
class CHelper
{
public:
    explicit CHelper(std::vector<std::string> args)
    {
        int aiIn[2], aiOut[2];
        EXPECT_EQ(pipe2(aiIn, O_CLOEXEC) | pipe2(aiOut, O_CLOEXEC), 0);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, aiIn[0], 0);
        posix_spawn_file_actions_adddup2(&actions, aiOut[1], 1);
        args.insert(args.begin(), ECS_TEST_SHM_HELPER);
        std::vector<char*> argv;
        for (std::string& arg : args)
            argv.push_back(arg.data());
        argv.push_back(nullptr);
        EXPECT_EQ(posix_spawn(&m_pid, argv[0], &actions, nullptr, argv.data(), environ), 0);
        posix_spawn_file_actions_destroy(&actions);
        close(aiIn[0]);
        close(aiOut[1]);
        m_iIn = aiIn[1];
        m_pOut = fdopen(aiOut[0], "r");
    }
    ~CHelper()
    {
        kill(SIGKILL);
        wait();
        close(m_iIn);
        std::fclose(m_pOut);
    }
    // The next '@' line without its mark; "" once it ended (the reaper bounds the wait).
    std::string readLine()
    {
        char acLine[256];
        while (std::fgets(acLine, sizeof(acLine), m_pOut)) {
            if (acLine[0] == '@')
                return std::string(acLine + 1, std::strcspn(acLine + 1, "\n"));
        }
        return std::string();
    }
    void send(const std::string& line) { EXPECT_GT(write(m_iIn, (line + "\n").c_str(), line.size() + 1), 0); }
    void kill(int iSignal)
    {
        if (m_pid > 0)
            ::kill(m_pid, iSignal);
    }
    // The status as waitpid gives it; -1 once collected.
    int wait()
    {
        int iStatus = -1;
        if (m_pid > 0 && waitpid(m_pid, &iStatus, 0) == m_pid)
            m_pid = -1;
        return iStatus;
    }
    bool exitedCleanly()
    {
        const int iStatus = wait();
        return WIFEXITED(iStatus) && WEXITSTATUS(iStatus) == 0;
    }

private:
    pid_t m_pid = -1;
    int m_iIn = -1;
    std::FILE* m_pOut = nullptr;
};

class CShareMemoryTest : public ::testing::Test, public ILogOuter
{
protected:
    void SetUp() override
    {
        CMessageCenter::getInstance();
        CLog::setLogOuter(this);
    }
    void TearDown() override
    {
        CLog::setLogOuter(nullptr);
        CMessageCenter::deleteInstance();
        for (unsigned int uiKey : m_keys)
            EXPECT_TRUE(entriesOf(uiKey).empty()) << "entries left for key " << uiKey;
    }
    void outputLog(const CString&, const CString&, const CString& message) override
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_log += std::string(message.buffer(), message.buffer() + message.length()) + "\n";
    }
    void clearLog()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_log.clear();
    }
    bool logged(const std::string& text)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_log.find(text) != std::string::npos;
    }
    unsigned int key()
    {
        static unsigned int s_uiCounter = 0;
        m_keys.push_back(0x40000000u | (static_cast<unsigned int>(getpid()) & 0xFFFFFu) << 8 | (++s_uiCounter & 0xFFu));
        return m_keys.back();
    }

    CReaper m_reaper{"shared-memory test", 120s};
    std::vector<unsigned int> m_keys;
    std::mutex m_mutex;
    std::string m_log;
};
using CShareMemoryProcessTest = CShareMemoryTest;

// The reader that comes first names every object after the key and creates
// the region zeroed. A block lies at offset 8 with its length at offset 4
// and the count at 0 (one reader holds it while the listener runs); a shorter
// block leaves nothing of a longer one. "#exit#" is the farewell whoever
// writes it, a longer block is data, and the writer's close says it too. The
// writer here is a proxy. The last close removes every entry.
TEST_F(CShareMemoryTest, RegionIsNamedLaidOutAndZeroed)
{
    const unsigned int uiKey = key();
    const std::string k = std::to_string(uiKey);
    CShareMemory reader;
    CShareMemoryProxy writer;
    tagRecorder recorder(reader);
    std::vector<std::string> held;
    recorder.onData = [&](const std::string&) { held.push_back(regionBytes(uiKey)); };
    ASSERT_TRUE(reader.open(uiKey, CShareMemory::MODE_TYPE_READER, 16));
    EXPECT_EQ(entriesOf(uiKey), (std::vector<std::string>{"trell.evt." + k + "_Event", "trell.evt." + k + "_Reader",
                                                            "trell.mem." + k + "_Roster", "trell.mem." + k + "_ShareMemory",
                                                            "trell.mtx." + k + "_Read", "trell.mtx." + k + "_Write"}));
    EXPECT_EQ(regionBytes(uiKey), std::string(24, '\0'));

    EXPECT_TRUE(writer.isEmpty());
    ASSERT_TRUE(writer.open(uiKey, true, 16));
    const std::vector<std::string> blocks = {"abcdefghijklmnop", "xyz", "#exit#", "#exit#!"};
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        ASSERT_TRUE(writeWhenAllowed(writer, blocks[i]));
        ASSERT_TRUE(pumpUntil([&] { return recorder.events.size() == i + 1; }));
    }
    EXPECT_EQ(recorder.events, (std::vector<std::string>{"abcdefghijklmnop", "xyz", "<farewell>", "#exit#!"}));
    EXPECT_EQ(held.at(1), std::string("\1\0\0\0\3\0\0\0xyz", 11) + std::string(13, '\0'));
    unsigned char acLast[7] = {};
    EXPECT_TRUE(writer.readData(acLast, 7));
    EXPECT_EQ(std::string(acLast, acLast + 7), "#exit#!");
    writer.close();
    ASSERT_TRUE(pumpUntil([&] { return recorder.events.size() == 5; }));
    EXPECT_EQ(recorder.events.back(), "<farewell>");
    reader.close();
}

// Each refusal answers false, and the ones a caller cannot see coming are
// logged: opens (a second one, sizes that overflow or cannot be mapped, an
// unknown mode, a live region of another size); writes (not open, a reader,
// no data, beyond the size, a second block while the first is pending);
// reads (not open, length 0, no buffer; beyond the region copies nothing).
// Without a listener a reader holds the region until it closes.
TEST_F(CShareMemoryTest, BadInputIsRefused)
{
    const unsigned int uiKey = key();
    CShareMemory reader, writer, other;
    unsigned char acBuffer[4] = {'-', '-', '-', '-'};
    EXPECT_FALSE(writer.writeData(bytesOf("x"), 1));
    EXPECT_FALSE(reader.readData(acBuffer, 4));
    ASSERT_TRUE(reader.open(uiKey, CShareMemory::MODE_TYPE_READER, 16));
    ASSERT_TRUE(writer.open(uiKey, CShareMemory::MODE_TYPE_WRITER, 16));
    const struct
    {
        CShareMemory* pChannel;
        unsigned int uiSize;
        int iMode;
        const char* pszLog;
    } rows[] = {
        {&reader, 16, 0, "already open"},
        {&other, UINT_MAX, 1, "a region of 4294967295 bytes is too large"},
        {&other, UINT_MAX - 8, 1, "a region of 4294967295 bytes is too large"},
        {&other, 1u << 30, 1, "a region of 1073741832 bytes is too large"},
        {&other, 16, 7, "mode 7 is neither reader nor writer"},
        {&other, 32, 1, "the region exists with a size of 24 bytes, not 40; refused"},
    };
    for (const auto& row : rows) {
        clearLog();
        EXPECT_FALSE(row.pChannel->open(uiKey, static_cast<CShareMemory::EModeType>(row.iMode), row.uiSize));
        EXPECT_TRUE(logged(row.pszLog)) << row.pszLog;
    }
    EXPECT_FALSE(other.writeData(bytesOf("x"), 1));
    EXPECT_FALSE(reader.writeData(bytesOf("x"), 1));
    const std::string tooLong(17, 'x');
    ASSERT_TRUE(waitUntil([&] { return !writer.writeData(bytesOf(tooLong), 17) && logged("17 bytes do not fit its 16"); }));
    EXPECT_FALSE(writer.writeData(nullptr, 3));
    struct tagCounting : CShareMemory
    {
        using CShareMemory::readerCountChange;
    } unopened;
    EXPECT_EQ(unopened.readerCountChange(true), 0) << "a count without a region";
    ASSERT_TRUE(writeWhenAllowed(writer, "sixteen bytes!!!"));
    EXPECT_TRUE(refusedFor(writer, 300ms)) << "a second block while the first is pending";

    EXPECT_FALSE(reader.readData(acBuffer, 0));
    EXPECT_FALSE(reader.readData(nullptr, 4));
    EXPECT_TRUE(reader.readData(acBuffer, 17));
    EXPECT_EQ(std::string(acBuffer, acBuffer + 4), "----");
    EXPECT_TRUE(reader.readData(acBuffer, 4));
    EXPECT_EQ(std::string(acBuffer, acBuffer + 4), "sixt");

    ASSERT_TRUE(pumpUntil([&] { return logged("a block arrived without a listener"); }));
    EXPECT_TRUE(refusedFor(writer, 200ms)) << "the listener-less reader let the region go";
    reader.close();
    ASSERT_TRUE(writeWhenAllowed(writer, ""));
    writer.close();
}

// A notification queued for a reader that is opened again, or destroyed,
// before it is handled reaches nothing; nor does one for a writer. The
// message is type 32 and names its channel.
TEST_F(CShareMemoryTest, NotificationsReachOnlyTheirOpenChannel)
{
    const unsigned int uiKey = key();
    CShareMemory writer;
    auto pReader = std::make_unique<CShareMemory>();
    tagRecorder recorder(*pReader);
    ASSERT_TRUE(pReader->open(uiKey, CShareMemory::MODE_TYPE_READER, 8));
    ASSERT_TRUE(writer.open(uiKey, CShareMemory::MODE_TYPE_WRITER, 8));
    for (bool bDestroy : {false, true}) {
        ASSERT_TRUE(writeWhenAllowed(writer, "stale"));
        ASSERT_TRUE(waitUntil([] { return CMessageCenter::getInstance()->getMessageCount() == 1; }));
        if (bDestroy) {
            pReader.reset();
        } else {
            pReader->close();
            ASSERT_TRUE(pReader->open(uiKey, CShareMemory::MODE_TYPE_READER, 8));
        }
        ASSERT_TRUE(pumpUntil([] { return CMessageCenter::getInstance()->getMessageCount() == 0; }));
    }
    EXPECT_TRUE(recorder.events.empty());

    tagRecorder onWriter(writer);
    CMsgShareMemory toWriter(&writer);
    toWriter.handleMessage();
    EXPECT_TRUE(onWriter.events.empty());
    EXPECT_EQ(toWriter.getType(), CBaseMessage::MESSAGE_TYPE_SHARE_MEMORY);
    EXPECT_EQ(toWriter.getShareMemory(), &writer);
    CMsgShareMemory().handleMessage();
    writer.close();
}

// The worker takes the name and priority of the "sm" thread entry.
TEST_F(CShareMemoryTest, WorkerTakesTheSmThreadEntry)
{
    const unsigned int uiKey = key();
    CShareMemory channel;
    ASSERT_TRUE(channel.open(uiKey, CShareMemory::MODE_TYPE_READER, 4));
    EXPECT_TRUE(channel.getThreadName().isEmpty());
    EXPECT_EQ(channel.getThreadPriority(), 51);
    channel.close();
    const std::string path = (std::filesystem::temp_directory_path() / "shm-thread-entry.xml").string();
    std::ofstream(path) << "<engine><thread_set><thread id=\"dt\" name=\"sockets\" priority=\"7\"/>"
                           "<thread id=\"sm\" name=\"shared\" priority=\"42\"/></thread_set></engine>";
    ASSERT_TRUE(CConfigParser::getInstance()->load(toCString(path)));
    ASSERT_TRUE(channel.open(uiKey, CShareMemory::MODE_TYPE_READER, 4));
    EXPECT_TRUE(channel.getThreadName() == CString(u"shared"));
    EXPECT_EQ(channel.getThreadPriority(), 42);
    channel.close();
    CConfigParser::deleteInstance();
    std::filesystem::remove(path);
}

// Two readers come first (the region exists, zeroed, before any writer); a
// block reaches both, and the writer cannot write again until both have
// handled it, whichever lets go first; the farewell ends them.
TEST_F(CShareMemoryProcessTest, WriterWaitsForBothReadersAndTheFarewellEndsThem)
{
    const unsigned int uiKey = key();
    CHelper a({"reader", std::to_string(uiKey), "16"}), b({"reader", std::to_string(uiKey), "16"});
    ASSERT_EQ(a.readLine(), "ready");
    ASSERT_EQ(b.readLine(), "ready");
    EXPECT_EQ(regionBytes(uiKey), std::string(24, '\0'));
    CShareMemory writer;
    ASSERT_TRUE(writer.open(uiKey, CShareMemory::MODE_TYPE_WRITER, 16));
    for (const std::string block : {"first", "second"}) {
        ASSERT_TRUE(writeWhenAllowed(writer, block));
        ASSERT_EQ(a.readLine(), "data " + block);
        ASSERT_EQ(b.readLine(), "data " + block);
        EXPECT_EQ(regionBytes(uiKey)[0], 2) << "the count of readers holding it";
        EXPECT_TRUE(refusedFor(writer, 300ms)) << "written while both readers hold";
        (block == "first" ? a : b).send("go");
        EXPECT_TRUE(refusedFor(writer, 200ms)) << "written while one reader holds";
        (block == "first" ? b : a).send("go");
    }
    writer.close();
    EXPECT_EQ(a.readLine(), "close");
    EXPECT_EQ(b.readLine(), "close");
    EXPECT_TRUE(a.exitedCleanly());
    EXPECT_TRUE(b.exitedCleanly());
}

// A reader killed while it holds the region does not wedge the writer: alone
// (so holding "_Write") the writer takes over what it left; beside another
// reader the survivor is never written over. The writer goes on.
TEST_F(CShareMemoryProcessTest, ReaderKilledWhileHoldingTheRegionIsRecovered)
{
    for (int iReaders : {1, 2}) {
        const unsigned int uiKey = key();
        std::vector<std::unique_ptr<CHelper>> readers;
        for (int i = 0; i < iReaders; ++i) {
            readers.push_back(std::make_unique<CHelper>(std::vector<std::string>{"reader", std::to_string(uiKey), "16"}));
            ASSERT_EQ(readers.back()->readLine(), "ready");
        }
        CShareMemory writer;
        ASSERT_TRUE(writer.open(uiKey, CShareMemory::MODE_TYPE_WRITER, 16));
        ASSERT_TRUE(writeWhenAllowed(writer, "block"));
        for (auto& pReader : readers)
            ASSERT_EQ(pReader->readLine(), "data block");
        auto released = Clock::now();
        readers[0]->kill(SIGKILL);
        readers[0]->wait();
        if (iReaders == 2) {
            EXPECT_TRUE(refusedFor(writer, 300ms)) << "written while a reader holds";
            released = Clock::now();
            readers[1]->send("go");
        }
        ASSERT_TRUE(writeWhenAllowed(writer, "after"));
        const double dMs = std::chrono::duration<double, std::milli>(Clock::now() - released).count();
        std::printf("[ recovery ] %d reader(s): the writer writes again %.1f ms after the %s\n", iReaders, dMs,
                    iReaders == 1 ? "kill" : "survivor let go");
        if (iReaders == 1) {
            // With two, the survivor may have repaired the count, in its own log.
            EXPECT_TRUE(logged("_Write was abandoned by its owner; taken over."));
            EXPECT_TRUE(logged(": a reader died; the reader count goes from 1 to 0."));
        } else {
            ASSERT_EQ(readers[1]->readLine(), "data after");
            readers[1]->send("go");
        }
        writer.close();
        EXPECT_TRUE(iReaders == 1 || (readers[1]->readLine() == "close" && readers[1]->exitedCleanly()));
    }
}

// A writer killed while it copies a block (the helper kills itself once the
// block's length shows) never announces it: the reader here delivers nothing
// torn and does not hang, and the next writer's block arrives whole. Entries
// whose users all died are then reclaimed by the next open, zeroed at its size.
TEST_F(CShareMemoryProcessTest, KilledWritersLeaveNothingTornOrStale)
{
    const unsigned int uiKey = key(), uiSize = 64u << 20;
    CShareMemory reader;
    tagRecorder recorder(reader);
    bool bTorn = false;
    recorder.onData = [&](const std::string& block) {
        for (std::size_t i = 4; block.compare(0, 4, "PAT:") == 0 && i < block.size(); ++i)
            bTorn = bTorn || static_cast<unsigned char>(block[i]) != ((i * 131u + 7u) | 1u);
    };
    ASSERT_TRUE(reader.open(uiKey, CShareMemory::MODE_TYPE_READER, uiSize));
    CHelper writer({"writer", std::to_string(uiKey), std::to_string(uiSize)});
    ASSERT_EQ(writer.readLine(), "before");
    ASSERT_TRUE(pumpUntil([&] { return recorder.events.size() == 1; }));
    writer.send("go");
    const int iStatus = writer.wait();
    ASSERT_TRUE(WIFSIGNALED(iStatus) && WTERMSIG(iStatus) == SIGKILL);
    const bool bCopied = writer.readLine() == "complete";
    pumpUntil([] { return false; }, 500ms);
    EXPECT_FALSE(bTorn);
    if (!bCopied) {
        // Killed mid-copy: the length is in, part of the data is not (the
        // pattern has no zero byte; a memcpy may write the end first, as the
        // 32-bit C library's does).
        EXPECT_EQ(recorder.events.size(), 1u);
        EXPECT_EQ(reader.getSize(), uiSize);
        std::string data(uiSize, '-');
        ASSERT_TRUE(reader.readData(reinterpret_cast<unsigned char*>(data.data()), uiSize));
        EXPECT_NE(data.find('\0', 4), std::string::npos);
    }
    CShareMemory next;
    ASSERT_TRUE(next.open(uiKey, CShareMemory::MODE_TYPE_WRITER, uiSize));
    ASSERT_TRUE(writeWhenAllowed(next, "after"));
    ASSERT_TRUE(pumpUntil([&] { return recorder.events.back() == "after"; }));
    EXPECT_TRUE(logged("_Write was abandoned by its owner; taken over."));
    next.close();
    reader.close();

    const unsigned int uiStaleKey = key();
    CHelper stale({"writer", std::to_string(uiStaleKey), "16"});
    ASSERT_EQ(stale.readLine(), "before");
    stale.kill(SIGKILL);
    stale.wait();
    EXPECT_EQ(entriesOf(uiStaleKey).size(), 6u);
    EXPECT_EQ(regionBytes(uiStaleKey).substr(4, 10), std::string("\6\0\0\0before", 10));
    ASSERT_TRUE(reader.open(uiStaleKey, CShareMemory::MODE_TYPE_READER, 32));
    EXPECT_EQ(regionBytes(uiStaleKey), std::string(40, '\0'));
    reader.close();
}

} // namespace
