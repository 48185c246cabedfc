// The shared-memory channel within this process (readers and writer with
// handles of their own, this thread handling the messages) and against a
// reader or writer in ecs_test_shm_helper killed with SIGKILL while it holds
// or fills a block.
// Every wait is bounded; the reaper ends a hung run.
#include <ipc/CShareMemory.h>
#include <ipc/CShareMemoryProxy.h>
#include <ipc/IShareMemoryListener.h>

#include "ipc/SocketTestSupport.h"
#include "platform/Reaper.h"

#include <climits>
#include <filesystem>
#include <fstream>
#include <functional>

using namespace IpcTest;
using Clock = std::chrono::steady_clock;

namespace {

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

class CShareMemoryTest : public ::testing::Test
{
protected:
    void SetUp() override { CMessageCenter::getInstance(); }
    void TearDown() override
    {
        CMessageCenter::deleteInstance();
        for (unsigned int uiKey : m_keys)
            EXPECT_TRUE(entriesOf(uiKey).empty()) << "entries left for key " << uiKey;
    }
    unsigned int key()
    {
        static unsigned int s_uiCounter = 0;
        m_keys.push_back(0x40000000u | (static_cast<unsigned int>(getpid()) & 0xFFFFFu) << 8 | (++s_uiCounter & 0xFFu));
        return m_keys.back();
    }

    CReaper m_reaper{"shared-memory test", 120s};
    std::vector<unsigned int> m_keys;
    CLogRecorder m_log;
};

// The reader that comes first names every object after the key and creates
// the region zeroed. A block lies at offset 8 with its length at 4 and at 0
// the count of readers holding it while their listeners run, when the
// writer waits. A shorter block leaves nothing of a longer one.
// "#exit#" is the farewell whoever writes it, a longer block is data, and
// the writer's close says it too. The writer is a proxy. The last close
// removes every entry.
TEST_F(CShareMemoryTest, RegionIsNamedLaidOutAndZeroed)
{
    const unsigned int uiKey = key();
    const std::string k = std::to_string(uiKey);
    CShareMemory reader;
    CShareMemoryProxy writer;
    tagRecorder recorder(reader);
    ASSERT_TRUE(reader.open(uiKey, CShareMemory::MODE_TYPE_READER, 16));
    EXPECT_EQ(entriesOf(uiKey),
              (std::vector<std::string>{"trell.evt." + k + "_Event", "trell.evt." + k + "_Reader",
                                        "trell.mem." + k + "_Roster", "trell.mem." + k + "_ShareMemory",
                                        "trell.mtx." + k + "_Read", "trell.mtx." + k + "_Write"}));
    EXPECT_EQ(regionBytes(uiKey), std::string(24, '\0'));
    std::vector<std::string> held;
    recorder.onData = [&](const std::string&) {
        held.push_back(regionBytes(uiKey));
        EXPECT_FALSE(writer.writeData(bytesOf("early"), 5)) << "written while the reader holds";
    };
    ASSERT_TRUE(writer.open(uiKey, true, 16));
    const std::vector<std::string> blocks = {"abcdefghijklmnop", "xyz", "#exit#", "#exit#!"};
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        ASSERT_TRUE(writeWhenAllowed(writer, blocks[i]));
        ASSERT_TRUE(pumpUntil([&] { return recorder.events.size() == i + 1; }));
    }
    EXPECT_EQ(held.at(1), std::string("\1\0\0\0\3\0\0\0xyz", 11) + std::string(13, '\0'));
    writer.close();
    ASSERT_TRUE(pumpUntil([&] { return recorder.events.size() == 5; }));
    EXPECT_EQ(recorder.events,
              (std::vector<std::string>{"abcdefghijklmnop", "xyz", "<farewell>", "#exit#!", "<farewell>"}));
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
        {&other, 16, 7, "mode 7 is neither reader nor writer"},
        {&other, 32, 1, "the region exists with a size of 24 bytes, not 40; refused"},
    };
    for (const auto& row : rows) {
        const unsigned int uiBefore = m_log.count(row.pszLog);
        EXPECT_FALSE(row.pChannel->open(uiKey, static_cast<CShareMemory::EModeType>(row.iMode), row.uiSize));
        EXPECT_EQ(m_log.count(row.pszLog), uiBefore + 1) << row.pszLog;
    }
    EXPECT_FALSE(reader.writeData(bytesOf("x"), 1));
    const std::string tooLong(17, 'x');
    ASSERT_TRUE(waitUntil(
        [&] { return !writer.writeData(bytesOf(tooLong), 17) && m_log.count("17 bytes do not fit its 16") > 0; }));
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

    ASSERT_TRUE(pumpUntil([&] { return m_log.count("a block arrived without a listener") > 0; }));
    EXPECT_TRUE(refusedFor(writer, 200ms)) << "the listener-less reader let the region go";
    reader.close();
    ASSERT_TRUE(writeWhenAllowed(writer, ""));
    writer.close();
}

// ecs_test_shm_helper in a mode: its pid, then its '@' lines without the mark.
struct tagHelper
{
    tagHelper(const char* pszMode, unsigned int uiKey, unsigned int uiSize)
        : pOut(popen(("exec " ECS_TEST_SHM_HELPER " " + std::string(pszMode) + " " + std::to_string(uiKey) + " " +
                      std::to_string(uiSize))
                         .c_str(),
                     "re")),
          pid(std::atoi(line(false).c_str()))
    {}
    ~tagHelper() { end(SIGKILL); }
    std::string line(bool bAt = true)
    {
        for (char acLine[256]; pOut && std::fgets(acLine, sizeof(acLine), pOut);) {
            if (!bAt || acLine[0] == '@')
                return std::string(acLine + bAt, std::strcspn(acLine + bAt, "\n"));
        }
        return std::string();
    }
    // Signals it (0: none) and collects its status once it ended.
    int end(int iSignal = 0)
    {
        if (!pOut)
            return -1;
        if (iSignal != 0)
            ::kill(pid, iSignal);
        const int iStatus = pclose(pOut);
        pOut = nullptr;
        return iStatus;
    }
    std::FILE* pOut;
    pid_t pid;
};

// A lone reader process killed while it holds a block (so holding "_Write")
// does not wedge the writer: it takes over what the reader left, with the
// count repaired, and goes on.
TEST_F(CShareMemoryTest, ReaderProcessKilledWhileHoldingTheRegionIsRecovered)
{
    const unsigned int uiKey = key();
    tagHelper reader("reader", uiKey, 16);
    ASSERT_EQ(reader.line(), "ready");
    CShareMemory writer;
    ASSERT_TRUE(writer.open(uiKey, CShareMemory::MODE_TYPE_WRITER, 16));
    ASSERT_TRUE(writeWhenAllowed(writer, "block"));
    ASSERT_EQ(reader.line(), "data block");
    EXPECT_TRUE(refusedFor(writer, 200ms)) << "written while the reader holds";
    reader.end(SIGKILL);
    ASSERT_TRUE(writeWhenAllowed(writer, "after"));
    EXPECT_TRUE(m_log.count("_Write was abandoned by its owner; taken over.") > 0);
    EXPECT_TRUE(m_log.count(": a reader died; the reader count goes from 1 to 0.") > 0);
    writer.close();
}

// A writer killed while it copies a block never announces it: the reader
// here delivers nothing torn and does not hang, and the next writer's block
// arrives whole.
TEST_F(CShareMemoryTest, WriterKilledMidCopyLeavesNothingTorn)
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
    tagHelper writer("tear", uiKey, uiSize);
    ASSERT_EQ(writer.line(), "before");
    ASSERT_TRUE(pumpUntil([&] { return recorder.events.size() == 1; }));
    const bool bCopied = writer.line() == "complete";
    const int iStatus = writer.end();
    ASSERT_TRUE(WIFSIGNALED(iStatus) && WTERMSIG(iStatus) == SIGKILL);
    waitUntil([] { return pumpMessages(), false; }, 1s);
    EXPECT_FALSE(bTorn);
    if (!bCopied) {
        // Killed mid-copy: the length is in, part of the data is not (the
        // pattern has no zero byte; a memcpy may write the end first).
        EXPECT_EQ(recorder.events.size(), 1u);
        std::string data(uiSize, '-');
        ASSERT_TRUE(reader.readData(reinterpret_cast<unsigned char*>(data.data()), uiSize));
        EXPECT_NE(data.find('\0', 4), std::string::npos);
    }
    CShareMemory next;
    ASSERT_TRUE(next.open(uiKey, CShareMemory::MODE_TYPE_WRITER, uiSize));
    ASSERT_TRUE(writeWhenAllowed(next, "after"));
    ASSERT_TRUE(pumpUntil([&] { return recorder.events.back() == "after"; }));
    next.close();
    reader.close();
}

} // namespace
