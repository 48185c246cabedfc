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
#include <tuple>

using namespace Trell;

namespace {

std::string bytesOf(const CByteBuffer& b)
{
    return b.getSize() ? std::string(reinterpret_cast<const char*>(b.buffer()), b.getSize()) : std::string();
}

bool write(CByteBuffer& b, const std::string& bytes)
{
    return b.writeBuffer(reinterpret_cast<const unsigned char*>(bytes.data()), unsigned(bytes.size()));
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
    b.writeDOUBLE(1.0); // only its first four bytes, all zero
    EXPECT_EQ(bytesOf(b), std::string("\x81\xFE\xFF\xEF\xBE\xFD\xFF\xFF\xFF\x44\x33\x22\x11\0\0\xC0\x3F\0\0\0\0", 21));
    b.setPosition(0);
    EXPECT_TRUE(b.readBYTE() == 0x81 && b.readSHORT() == -2 && b.readUSHORT() == 0xBEEF && b.readINT() == -3 &&
                b.readUINT() == 0x11223344u && b.readFLOAT() == 1.5f);
    b.writeDOUBLE(1.0);
    b.setPosition(17);
    EXPECT_TRUE(b.readDOUBLE() != 1.0 && b.bytesAvailable() == 0u);
}

// A write anywhere sets the size to its end; growth keeps the data and zero-fills.
TEST(CByteBuffer, WriteTruncatesToItsEndAndGrowthKeepsData)
{
    CByteBuffer b(10, 6);
    EXPECT_EQ(bytesOf(b), std::string(10, '\0'));
    b.setSize(16);
    EXPECT_EQ(b.getCapacity(), 16u) << "an exact fit does not grow";
    b.writeINT(0x01020304);
    b.setPosition(2);
    EXPECT_TRUE(b.writeBuffer(nullptr, 0)) << "an empty write still truncates";
    b.setSize(17);
    EXPECT_EQ(b.getCapacity(), 23u);
    EXPECT_EQ(bytesOf(b), std::string("\x04\x03", 2) + std::string(15, '\0'));
    EXPECT_TRUE(!b.writeBuffer(nullptr, 1) && b.getSize() == 17u);

    b.setPosition(3);
    EXPECT_TRUE(write(b, "ABCDEF"));
    b.moveToHead(6);
    EXPECT_EQ(bytesOf(b), "DEF");
    EXPECT_EQ(b.getPosition(), 3u) << "ready for appending";
    b.moveToHead(3);
    EXPECT_EQ(b.getSize() + b.getPosition(), 0u);
    b.setSize(0);
    EXPECT_EQ(b.getCapacity(), 0u);
}

// A short read consumes the rest and yields 0. readBYTE alone never checks
// the size: it stays inside the allocation and then yields 0.
TEST(CByteBuffer, ReadsPastTheEndYieldZero)
{
    CByteBuffer b(0, 8);
    write(b, "\x7F\x7F\x7F\x7F\x7F\x7F\x7F\x7F\x7F");
    for (unsigned int left : {1u, 3u, 7u}) {
        b.setPosition(9 - left);
        EXPECT_EQ(left == 1 ? b.readSHORT() : left == 3 ? double(b.readUINT()) : b.readDOUBLE(), 0.0) << left;
        EXPECT_EQ(b.getPosition(), 9u) << left;
    }
    b.setPosition(7);
    unsigned char out[4] = {};
    EXPECT_EQ(b.readBuffer(nullptr, 4), 0u);
    EXPECT_EQ(b.readBuffer(out, 4), 2u);
    EXPECT_EQ(b.readBuffer(out + 2, 4), 0u);
    EXPECT_STREQ(reinterpret_cast<char*>(out), "\x7F\x7F");
    b.setPosition(100);
    EXPECT_EQ(b.getPosition(), 9u) << "clamped to the size";

    b.setSize(1); // the rest stays behind the size, inside the allocation of 17
    b.setPosition(0);
    EXPECT_TRUE(b.readBYTE() == 0x7F && b.readBYTE() == 0x7F);
    for (int i = 2; i < 17; ++i)
        b.readBYTE();
    EXPECT_TRUE(b.readBYTE() == 0 && b.getPosition() == 18u && b.bytesAvailable() == 0u);
    EXPECT_TRUE(b.readINT() == 0 && b.getPosition() == 18u);
    b.writeBYTE('Z'); // grows to the position; the gap is zeros
    EXPECT_EQ(bytesOf(b), "\x7F" + std::string(17, '\0') + "Z");
}

TEST(CByteBuffer, AttachedBufferThatIsNotOwnedNeverGrows)
{
#if defined(ECS_MEMORY_TESTING)
    MemTesting::failAllocationsAfter(1 << 30); // counts what the buffers allocate and free
#endif
    unsigned char memory[8] = {'a', 'b', 'c', 'd', 'e', 'f', '!', '!'};
    {
        CByteBuffer b(4, 8);
        b.attachBuffer(memory, 6, 10, false); // the size is cut to the capacity
        b.setSize(10);
        b.setPosition(4);
        EXPECT_FALSE(b.writeINT(0x21212121));
        EXPECT_TRUE(b.getPosition() == 4u && b.getSize() == 6u);
        EXPECT_TRUE(b.writeSHORT(0x5A5A));
        EXPECT_EQ(std::string(reinterpret_cast<char*>(memory), 8), "abcdZZ!!");
        b.clear(); // keeps "not owned": nothing fits any more
        EXPECT_FALSE(b.writeBYTE(1));
        b.detachBuffer();
        EXPECT_TRUE(b.writeBYTE(1));
        auto* owned = static_cast<unsigned char*>(CMemory::malloc(4, 0));
        b.attachBuffer(owned, 4, 0, true);
        b.attachBuffer(owned, 4, 4, true); // the same block again is kept
        EXPECT_TRUE(b.writeINT(7));
    }
#if defined(ECS_MEMORY_TESTING)
    EXPECT_EQ(MemTesting::getAllocationBalance(), 0) << "owned blocks are freed once, not-owned ones never";
    MemTesting::failAllocationsAfter(-1);
#endif
}

#if defined(ECS_MEMORY_TESTING)
TEST(CByteBuffer, FailedGrowthIsLoggedAndRefusesTheWrite)
{
    struct CRecorder : ILogOuter
    {
        void outputLog(const CString& level, const CString& category, const CString& message) override
        {
            line += std::u16string(level.buffer()) + u"|" + category.buffer() + u"|" + message.buffer() + u"\n";
        }
        std::u16string line;
    } recorder;
    CLog::setLogOuter(&recorder);
    CByteBuffer b(0, 0);
    write(b, "AB");
    MemTesting::failAllocationsAfter(0, 1);
    EXPECT_FALSE(b.writeBYTE('C'));
    MemTesting::failAllocationsAfter(-1);
    CLog::setLogOuter(nullptr);
    EXPECT_TRUE(bytesOf(b) == "AB" && b.getPosition() == 2u);
    EXPECT_EQ(recorder.line, u"Error|TrellEngine|Out of memory.\n");
}
#endif
