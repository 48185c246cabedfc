#include <foundation/CByteBuffer.h>

#include <foundation/CMemory.h>
#include <system/CLog.h>
#include <system/ILogOuter.h>
#include <text/CString.h>
#if defined(ECS_MEMORY_TESTING)
#include "foundation/MemTesting.h"
#endif

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

using namespace Trell;

namespace {

std::vector<unsigned char> bytesOf(const CByteBuffer& b)
{
    return b.getSize() ? std::vector<unsigned char>(b.buffer(), b.buffer() + b.getSize())
                       : std::vector<unsigned char>();
}

void write(CByteBuffer& b, const char* text)
{
    b.writeBuffer(reinterpret_cast<const unsigned char*>(text), unsigned(std::strlen(text)));
}

} // namespace

TEST(CByteBuffer, TypedWritesAreLittleEndianAndReadBack)
{
    CByteBuffer b(0, 4);
    EXPECT_TRUE(b.writeBYTE(0x81));
    b.writeSHORT(-2);
    b.writeUSHORT(0xBEEF);
    b.writeINT(-3);
    b.writeUINT(0x11223344u);
    b.writeFLOAT(1.5f);
    EXPECT_EQ(b.getSize(), 17u);
    EXPECT_EQ(b.getPosition(), 17u);
    EXPECT_EQ(bytesOf(b), (std::vector<unsigned char>{0x81, 0xFE, 0xFF, 0xEF, 0xBE, 0xFD, 0xFF, 0xFF, 0xFF, 0x44, 0x33,
                                                      0x22, 0x11, 0x00, 0x00, 0xC0, 0x3F}));
    b.setPosition(0);
    EXPECT_EQ(b.readBYTE(), 0x81);
    EXPECT_EQ(b.readSHORT(), -2);
    EXPECT_EQ(b.readUSHORT(), 0xBEEF);
    EXPECT_EQ(b.readINT(), -3);
    EXPECT_EQ(b.readUINT(), 0x11223344u);
    EXPECT_EQ(b.readFLOAT(), 1.5f);
    EXPECT_EQ(b.bytesAvailable(), 0u);
}

TEST(CByteBuffer, DoubleIsWrittenAsFourBytesButReadAsEight)
{
    CByteBuffer b(0, 16);
    b.writeDOUBLE(1.0); // the low half of 1.0 is all zero
    b.writeDOUBLE(1.0);
    EXPECT_EQ(b.getSize(), 8u);
    b.setPosition(0);
    EXPECT_NE(b.readDOUBLE(), 1.0);
    EXPECT_EQ(b.getPosition(), 8u);
}

// A write anywhere sets the size to its end; growth keeps the data and zero-fills.
TEST(CByteBuffer, WriteTruncatesToItsEndAndGrowthKeepsData)
{
    CByteBuffer b(10, 6);
    EXPECT_EQ(bytesOf(b), std::vector<unsigned char>(10, 0));
    EXPECT_EQ(b.getCapacity(), 16u);
    b.writeINT(0x01020304);
    EXPECT_EQ(b.getSize(), 4u);
    b.setPosition(2);
    EXPECT_TRUE(b.writeBuffer(nullptr, 0)) << "an empty write still truncates";
    EXPECT_EQ(b.getSize(), 2u);
    b.setSize(17);
    EXPECT_EQ(b.getCapacity(), 23u);
    EXPECT_EQ(bytesOf(b), (std::vector<unsigned char>{4, 3, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_FALSE(b.writeBuffer(nullptr, 1));
    EXPECT_EQ(b.getSize(), 17u);
}

TEST(CByteBuffer, ShortReadsConsumeTheRestAndYieldZero)
{
    struct tagCase
    {
        unsigned int bytes;
        double (*read)(CByteBuffer&);
    } cases[] = {
        {1, [](CByteBuffer& b) { return double(b.readSHORT()); }},
        {1, [](CByteBuffer& b) { return double(b.readUSHORT()); }},
        {3, [](CByteBuffer& b) { return double(b.readINT()); }},
        {3, [](CByteBuffer& b) { return double(b.readUINT()); }},
        {3, [](CByteBuffer& b) { return double(b.readFLOAT()); }},
        {7, [](CByteBuffer& b) { return b.readDOUBLE(); }},
    };
    for (const tagCase& c : cases) {
        CByteBuffer b(0, 8);
        b.writeBYTE(0x7F);
        write(b, "\x7F\x7F\x7F\x7F\x7F\x7F\x7F\x7F");
        b.setPosition(b.getSize() - c.bytes);
        EXPECT_EQ(c.read(b), 0.0) << c.bytes;
        EXPECT_EQ(b.getPosition(), b.getSize()) << c.bytes;
    }
    CByteBuffer b(0, 8);
    write(b, "ABCDEF");
    b.setPosition(4);
    unsigned char out[8] = {};
    EXPECT_EQ(b.readBuffer(out, 8), 2u);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(out)), "EF");
    EXPECT_EQ(b.readBuffer(out, 8), 0u);
    b.setPosition(100);
    EXPECT_EQ(b.getPosition(), 6u) << "clamped to the size";
}

// readBYTE never checks the size; it stays inside the allocation and then yields 0.
TEST(CByteBuffer, ReadByteRunsPastTheEndWithoutLeavingTheAllocation)
{
    CByteBuffer b(0, 2);
    write(b, "ABCD");
    b.setSize(1); // "BCD" stay behind the size, inside the allocation
    b.setPosition(0);
    EXPECT_EQ(b.readBYTE(), 'A');
    EXPECT_EQ(b.readBYTE(), 'B');
    for (int i = 0; i < 4; ++i)
        b.readBYTE();
    EXPECT_EQ(b.readBYTE(), 0) << "beyond the capacity of 6";
    EXPECT_EQ(b.getPosition(), 7u);
    EXPECT_EQ(b.bytesAvailable(), 0u);
    EXPECT_EQ(b.readINT(), 0);
    EXPECT_EQ(b.getPosition(), 7u);
    b.writeBYTE('Z'); // grows to the position; the gap is zeros
    EXPECT_EQ(bytesOf(b), (std::vector<unsigned char>{'A', 0, 0, 0, 0, 0, 0, 'Z'}));
}

TEST(CByteBuffer, MoveToHeadKeepsTheRestForAppending)
{
    CByteBuffer b(0, 0);
    write(b, "ABCDEF");
    b.moveToHead(3);
    EXPECT_EQ(bytesOf(b), (std::vector<unsigned char>{'D', 'E', 'F'}));
    EXPECT_EQ(b.getPosition(), 3u);
    b.moveToHead(3);
    EXPECT_EQ(b.getSize(), 0u);
    EXPECT_EQ(b.getPosition(), 0u);
}

TEST(CByteBuffer, AttachedBufferThatIsNotOwnedNeverGrows)
{
    unsigned char memory[8] = {'a', 'b', 'c', 'd', 'e', 'f', '!', '!'};
    CByteBuffer b(4, 8);
    b.attachBuffer(memory, 6, 10, false);
    EXPECT_EQ(b.getSize(), 6u) << "cut to the capacity";
    b.setSize(10);
    EXPECT_EQ(b.getSize(), 6u);
    b.setPosition(4);
    EXPECT_FALSE(b.writeINT(0x21212121));
    EXPECT_EQ(b.getPosition(), 4u);
    EXPECT_TRUE(b.writeSHORT(0x5A5A));
    EXPECT_EQ(std::string(reinterpret_cast<char*>(memory), 8), "abcdZZ!!");
    b.clear(); // keeps "not owned": nothing fits any more
    EXPECT_FALSE(b.writeBYTE(1));
    EXPECT_EQ(b.buffer(), nullptr);
    b.detachBuffer();
    EXPECT_TRUE(b.writeBYTE(1));
    // An owned attachment is freed by the buffer.
    auto* owned = static_cast<unsigned char*>(CMemory::malloc(4, 0));
    b.attachBuffer(owned, 4, 0, true);
    b.attachBuffer(owned, 4, 4, true); // the same block again is kept
    EXPECT_TRUE(b.writeINT(7));
    b.setSize(0);
    EXPECT_EQ(b.getCapacity(), 0u);
}

#if defined(ECS_MEMORY_TESTING)
TEST(CByteBuffer, FailedGrowthIsLoggedAndRefusesTheWrite)
{
    struct CRecorder : ILogOuter
    {
        void outputLog(const CString& level, const CString& category, const CString& message) override
        {
            lines.push_back(std::u16string(level.buffer()) + u"|" + category.buffer() + u"|" + message.buffer());
        }
        std::vector<std::u16string> lines;
    } recorder;
    CLog::setLogOuter(&recorder);
    CByteBuffer b(0, 0);
    write(b, "AB");
    MemTesting::failAllocationsAfter(0, 1);
    EXPECT_FALSE(b.writeBYTE('C'));
    MemTesting::failAllocationsAfter(-1);
    CLog::setLogOuter(nullptr);
    EXPECT_EQ(bytesOf(b), (std::vector<unsigned char>{'A', 'B'}));
    EXPECT_EQ(b.getPosition(), 2u);
    EXPECT_EQ(recorder.lines, std::vector<std::u16string>{u"Error|TrellEngine|Out of memory."});
}
#endif
