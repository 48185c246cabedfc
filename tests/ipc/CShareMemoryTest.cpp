// The shared-memory channel inside one process: a reader and a writer with
// handles of their own, this thread as the message thread.
#include <configuration/CConfigParser.h>
#include <ipc/CMsgShareMemory.h>
#include <ipc/CShareMemory.h>
#include <ipc/CShareMemoryProxy.h>

#include "ipc/ShareMemoryTestSupport.h"

#include <climits>
#include <filesystem>
#include <memory>

using namespace Trell;
using namespace ShmTest;

namespace {

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
        m_keys.push_back(uniqueKey());
        return m_keys.back();
    }

    CReaper m_reaper{"shared-memory test"};
    CLogCatcher m_log;
    std::vector<unsigned int> m_keys;
};

// Exposes the count operation.
class CCountingChannel : public CShareMemory
{
public:
    using CShareMemory::readerCountChange;
};

// The reader that comes first names every object after the key and creates
// the region zeroed; a block lies at offset 8 with its length at offset 4,
// the rest zeroed (a shorter block leaves nothing of a longer one), and the
// count says one reader holds it while the listener runs. The last close
// removes every entry.
TEST_F(CShareMemoryTest, RegionIsNamedLaidOutAndZeroed)
{
    const unsigned int uiKey = key();
    const std::string k = std::to_string(uiKey);
    CShareMemory reader, writer;
    CRecorder recorder(reader);
    std::vector<std::string> held; // the region as the listener saw it
    recorder.m_onData = [&](const std::string&) { held.push_back(regionBytes(uiKey)); };

    ASSERT_TRUE(reader.open(uiKey, CShareMemory::MODE_TYPE_READER, 16));
    EXPECT_EQ(entriesOf(uiKey), (std::vector<std::string>{"trell.evt." + k + "_Event", "trell.evt." + k + "_Reader",
                                                            "trell.mem." + k + "_Roster", "trell.mem." + k + "_ShareMemory",
                                                            "trell.mtx." + k + "_Read", "trell.mtx." + k + "_Write"}));
    EXPECT_EQ(regionBytes(uiKey), std::string(24, '\0'));
    EXPECT_TRUE(reader.isEmpty());

    ASSERT_TRUE(writer.open(uiKey, CShareMemory::MODE_TYPE_WRITER, 16));
    ASSERT_TRUE(writeWhenAllowed(writer, "abcdefghijklmnop"));
    ASSERT_TRUE(pumpUntil([&] { return recorder.m_blocks.size() == 1; }));
    ASSERT_TRUE(writeWhenAllowed(writer, "xyz"));
    ASSERT_TRUE(pumpUntil([&] { return recorder.m_blocks.size() == 2; }));
    EXPECT_EQ(recorder.m_blocks, (std::vector<std::string>{"abcdefghijklmnop", "xyz"}));
    ASSERT_EQ(held.size(), 2u);
    EXPECT_EQ(held[1], std::string("\x01\0\0\0\x03\0\0\0xyz", 11) + std::string(13, '\0'));
    EXPECT_EQ(le32(held[0], 4), 16u);
    EXPECT_EQ(reader.getSize(), 3u);
    EXPECT_EQ(writer.getSize(), 3u);

    // The count is back to 0 once the block is let go.
    ASSERT_TRUE(pumpUntil([&] { return le32(regionBytes(uiKey), 0) == 0; }));
    writer.close();
    ASSERT_TRUE(pumpUntil([&] { return recorder.m_iFarewells == 1; }));
    reader.close();
}

// writeData answers false unless the writer thread holds "_Write" for it: not
// open, a reader, a block still pending (the reader has not handled it); a
// block beyond the size given to open is refused (logged) without using up
// the right to write; a null block of some length is refused.
TEST_F(CShareMemoryTest, WriteDataRefusals)
{
    const unsigned int uiKey = key();
    CShareMemory reader, writer;
    CRecorder recorder(reader);
    EXPECT_FALSE(writer.writeData(bytesOf("x"), 1)) << "not open";

    ASSERT_TRUE(reader.open(uiKey, CShareMemory::MODE_TYPE_READER, 16));
    EXPECT_FALSE(reader.writeData(bytesOf("x"), 1)) << "a reader";
    ASSERT_TRUE(writer.open(uiKey, CShareMemory::MODE_TYPE_WRITER, 16));
    ASSERT_TRUE(waitUntil([&] { return !writer.writeData(bytesOf("seventeen bytes!!"), 17) && m_log.has("17 bytes do not fit its 16"); }));
    EXPECT_FALSE(writer.writeData(nullptr, 3));
    ASSERT_TRUE(writeWhenAllowed(writer, "sixteen bytes!!!"));

    // Nobody handles the notification: the reader keeps the region.
    const auto end = Clock::now() + std::chrono::milliseconds(300);
    while (Clock::now() < end)
        ASSERT_FALSE(writer.writeData(bytesOf("two"), 3)) << "second block while the first is pending";
    ASSERT_TRUE(pumpUntil([&] { return recorder.m_blocks.size() == 1; }));
    ASSERT_TRUE(writeWhenAllowed(writer, ""));
    ASSERT_TRUE(pumpUntil([&] { return recorder.m_blocks.size() == 2; }));
    EXPECT_EQ(recorder.m_blocks, (std::vector<std::string>{"sixteen bytes!!!", ""}));
    writer.close();
    reader.close();
}

// readData: false while not open or for length 0 (or no buffer); a length
// beyond the region copies nothing but answers true; getSize is 0 without a
// region.
TEST_F(CShareMemoryTest, ReadDataAndSize)
{
    const unsigned int uiKey = key();
    CShareMemory reader, writer;
    unsigned char acBuffer[12];
    std::memset(acBuffer, '-', sizeof(acBuffer));
    EXPECT_FALSE(reader.readData(acBuffer, 4));
    EXPECT_EQ(reader.getSize(), 0u);
    EXPECT_TRUE(reader.isEmpty());

    ASSERT_TRUE(reader.open(uiKey, CShareMemory::MODE_TYPE_READER, 8));
    ASSERT_TRUE(writer.open(uiKey, CShareMemory::MODE_TYPE_WRITER, 8));
    ASSERT_TRUE(writeWhenAllowed(writer, "12345678"));
    ASSERT_TRUE(waitUntil([&] { return reader.getSize() == 8; }));
    EXPECT_FALSE(reader.isEmpty());
    EXPECT_FALSE(reader.readData(acBuffer, 0));
    EXPECT_FALSE(reader.readData(nullptr, 4));
    EXPECT_TRUE(reader.readData(acBuffer, 9));
    EXPECT_EQ(std::string(reinterpret_cast<char*>(acBuffer), 12), std::string(12, '-'));
    EXPECT_TRUE(reader.readData(acBuffer, 8));
    EXPECT_EQ(std::string(reinterpret_cast<char*>(acBuffer), 12), "12345678----");

    writer.close();
    reader.close();
    EXPECT_FALSE(reader.readData(acBuffer, 4));
    EXPECT_EQ(reader.getSize(), 0u);
}

// "#exit#" is the farewell whoever writes it; a longer block that starts
// with it is data. A writer's close says farewell; a region too small for
// the farewell closes without one (logged).
TEST_F(CShareMemoryTest, FarewellIsTheExitText)
{
    const unsigned int uiKey = key();
    CShareMemory reader, writer;
    CRecorder recorder(reader);
    ASSERT_TRUE(reader.open(uiKey, CShareMemory::MODE_TYPE_READER, 16));
    ASSERT_TRUE(writer.open(uiKey, CShareMemory::MODE_TYPE_WRITER, 16));
    ASSERT_TRUE(writeWhenAllowed(writer, "#exit#"));
    ASSERT_TRUE(pumpUntil([&] { return recorder.m_iFarewells == 1; }));
    ASSERT_TRUE(writeWhenAllowed(writer, "#exit#!"));
    ASSERT_TRUE(pumpUntil([&] { return recorder.m_blocks.size() == 1; }));
    EXPECT_EQ(recorder.m_blocks[0], "#exit#!");
    ASSERT_TRUE(pumpUntil([&] { return le32(regionBytes(uiKey), 0) == 0; }));
    writer.close();
    ASSERT_TRUE(pumpUntil([&] { return recorder.m_iFarewells == 2; }));
    reader.close();

    const unsigned int uiSmallKey = key();
    CShareMemory smallReader, smallWriter;
    CRecorder smallRecorder(smallReader);
    ASSERT_TRUE(smallReader.open(uiSmallKey, CShareMemory::MODE_TYPE_READER, 4));
    ASSERT_TRUE(smallWriter.open(uiSmallKey, CShareMemory::MODE_TYPE_WRITER, 4));
    smallWriter.close();
    EXPECT_TRUE(m_log.has("6 bytes do not fit its 4"));
    pumpFor(std::chrono::milliseconds(100));
    EXPECT_EQ(smallRecorder.m_iFarewells, 0);
    smallReader.close();
}

// Handling does nothing without a listener (the reader then holds the region
// until it closes), for a writer, for a destroyed channel and for one opened
// again since; the message is type 32 and names its channel.
TEST_F(CShareMemoryTest, NotificationsReachOnlyTheirOpenChannel)
{
    const unsigned int uiKey = key();
    CShareMemory writer;
    auto pReader = std::make_unique<CShareMemory>();
    ASSERT_TRUE(pReader->open(uiKey, CShareMemory::MODE_TYPE_READER, 8));
    ASSERT_TRUE(writer.open(uiKey, CShareMemory::MODE_TYPE_WRITER, 8));
    ASSERT_TRUE(writeWhenAllowed(writer, "nobody"));
    ASSERT_TRUE(pumpUntil([&] { return m_log.has("a block arrived without a listener"); }));
    pumpFor(std::chrono::milliseconds(200));
    EXPECT_FALSE(writer.writeData(bytesOf("x"), 1)) << "the listener-less reader let the region go";
    pReader->close();
    ASSERT_TRUE(writeWhenAllowed(writer, "queued"));
    // Its close ends the round of that block before a reader comes in.
    writer.close();

    // A notification queued for a reader that is destroyed, or opened again,
    // before it is handled reaches nothing.
    CRecorder recorder(*pReader);
    ASSERT_TRUE(pReader->open(uiKey, CShareMemory::MODE_TYPE_READER, 8));
    ASSERT_TRUE(writer.open(uiKey, CShareMemory::MODE_TYPE_WRITER, 8));
    ASSERT_TRUE(writeWhenAllowed(writer, "stale"));
    ASSERT_TRUE(waitUntil([] { return CMessageCenter::getInstance()->getMessageCount() == 1; }));
    pReader->close();
    ASSERT_TRUE(pReader->open(uiKey, CShareMemory::MODE_TYPE_READER, 8));
    pumpFor(std::chrono::milliseconds(100));
    EXPECT_TRUE(recorder.m_blocks.empty());
    ASSERT_TRUE(writeWhenAllowed(writer, "fresh"));
    ASSERT_TRUE(waitUntil([] { return CMessageCenter::getInstance()->getMessageCount() == 1; }));
    pReader->setListener(nullptr);
    pReader.reset();
    pumpFor(std::chrono::milliseconds(100));
    EXPECT_TRUE(recorder.m_blocks.empty());

    CRecorder writerRecorder(writer);
    CMsgShareMemory toWriter(&writer);
    toWriter.handleMessage();
    EXPECT_TRUE(writerRecorder.m_blocks.empty() && writerRecorder.m_iFarewells == 0);
    EXPECT_EQ(toWriter.getType(), CBaseMessage::MESSAGE_TYPE_SHARE_MEMORY);
    EXPECT_EQ(toWriter.getShareMemory(), &writer);
    CMsgShareMemory empty;
    EXPECT_EQ(empty.getShareMemory(), nullptr);
    empty.handleMessage();
    writer.close();
}

// Refused opens answer false with a log line and leave the channel closed:
// a second open, a size that overflows or exceeds what can be mapped, an
// unknown mode, a live region of another size.
TEST_F(CShareMemoryTest, OpenRefusals)
{
    const unsigned int uiKey = key();
    CShareMemory reader, other;
    ASSERT_TRUE(reader.open(uiKey, CShareMemory::MODE_TYPE_READER, 16));
    const struct
    {
        CShareMemory* pChannel;
        unsigned int uiSize;
        int iMode;
        const char* pszLog;
    } rows[] = {
        {&reader, 16, 0, "already open"},
        {&other, UINT_MAX, 1, "a region of 4294967295 bytes is too large"},
        {&other, 1u << 30, 1, "a region of 1073741832 bytes is too large"},
        {&other, 16, 7, "mode 7 is neither reader nor writer"},
        {&other, 32, 1, "the region exists with a size of 24 bytes, not 40; refused"},
    };
    for (const auto& row : rows) {
        m_log.clear();
        EXPECT_FALSE(row.pChannel->open(uiKey, static_cast<CShareMemory::EModeType>(row.iMode), row.uiSize))
            << row.pszLog;
        EXPECT_TRUE(m_log.has(row.pszLog)) << row.pszLog;
    }
    EXPECT_FALSE(other.writeData(bytesOf("x"), 1));
    EXPECT_EQ(other.getSize(), 0u);
    other.close();
    reader.close();
}

// The count at offset 0 moves by one each way; without a region it is 0.
TEST_F(CShareMemoryTest, ReaderCountChange)
{
    const unsigned int uiKey = key();
    CCountingChannel channel;
    EXPECT_EQ(channel.readerCountChange(true), 0);
    ASSERT_TRUE(channel.open(uiKey, CShareMemory::MODE_TYPE_READER, 4));
    EXPECT_EQ(channel.readerCountChange(true), 1);
    EXPECT_EQ(channel.readerCountChange(true), 2);
    EXPECT_EQ(le32(regionBytes(uiKey), 0), 2u);
    EXPECT_EQ(channel.readerCountChange(false), 1);
    EXPECT_EQ(channel.readerCountChange(false), 0);
    EXPECT_EQ(channel.readerCountChange(false), -1);
    EXPECT_EQ(le32(regionBytes(uiKey), 0), 0xFFFFFFFFu);
    EXPECT_EQ(channel.readerCountChange(true), 0);
    channel.close();
}

// The worker takes the name and priority of the "sm" thread entry.
TEST_F(CShareMemoryTest, WorkerTakesTheSmThreadEntry)
{
    const unsigned int uiKey = key();
    CShareMemory channel;
    ASSERT_FALSE(CConfigParser::hasInstance());
    ASSERT_TRUE(channel.open(uiKey, CShareMemory::MODE_TYPE_WRITER, 4));
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

// The proxy forwards to the channel it owns, and its destruction closes it
// (a writer's farewell reaches the reader).
TEST_F(CShareMemoryTest, ProxyForwards)
{
    const unsigned int uiKey = key();
    struct tagListener : IShareMemoryListener
    {
        CShareMemoryProxy* pProxy = nullptr;
        std::string block;
        int iFarewells = 0;
        void onDataAvailable() override
        {
            block.assign(pProxy->getSize(), '\0');
            pProxy->readData(reinterpret_cast<unsigned char*>(&block[0]), lengthOf(block));
        }
        void onWritterClose() override { ++iFarewells; }
    } listener;
    CShareMemoryProxy reader;
    auto pWriter = std::make_unique<CShareMemoryProxy>();
    listener.pProxy = &reader;
    reader.setListener(&listener);
    EXPECT_TRUE(reader.isEmpty());
    ASSERT_TRUE(reader.open(uiKey, false, 8));
    ASSERT_TRUE(pWriter->open(uiKey, true, 8));
    EXPECT_FALSE(reader.writeData(bytesOf("x"), 1));
    const auto end = Clock::now() + std::chrono::seconds(30);
    while (!pWriter->writeData(bytesOf("proxied"), 7) && Clock::now() < end)
        usleep(200);
    ASSERT_TRUE(pumpUntil([&] { return !listener.block.empty(); }));
    EXPECT_EQ(listener.block, "proxied");
    EXPECT_EQ(pWriter->getSize(), 7u);
    EXPECT_FALSE(pWriter->isEmpty());
    ASSERT_TRUE(pumpUntil([&] { return le32(regionBytes(uiKey), 0) == 0; }));
    pWriter.reset();
    ASSERT_TRUE(pumpUntil([&] { return listener.iFarewells == 1; }));
    reader.close();
    EXPECT_TRUE(reader.isEmpty());
}

} // namespace
