#pragma once

#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/Export.h>

#include <cstring>

namespace Trell {

// A growable byte array with one read/write position and typed reads and
// writes in the machine's byte order (little-endian on the target); the
// channels assemble and take apart their data in it. Not synchronised: one
// thread uses an object at a time.
//
// Deliberate quirks, kept because the channels stream into a buffer from its
// start and rely on them: every write sets the size to the end of that write
// (a write in the middle truncates the data there); writeDOUBLE stores only
// the first four bytes of the double while readDOUBLE reads eight; a typed
// read with too few bytes left consumes them and yields 0.
//
// Where nothing would stop a write or read from leaving the memory:
// - A write that would end beyond the capacity of a buffer that cannot grow
//   (attached and not owned, or its growth failed) is refused: nothing is
//   stored, size and position stay, and the write returns false.
// - readBYTE never checks the size and always advances; at or beyond the
//   capacity (the end of the allocation) it yields 0 instead of reading there.
// - A position beyond the size (readBYTE past the end, a shrinking setSize)
//   leaves no bytes available: bytesAvailable() is 0, other reads yield 0 or
//   copy nothing and leave the position where it is.
class ECS_API CByteBuffer : public CObject
{
    TRELL_DECLARE_ALLOCATOR(u"CByteBuffer")

public:
    static constexpr unsigned int DEFAULT_INCREMENT = 256;

    // With `initialSize` above 0 the buffer starts with that many zero bytes.
    // `increment`: extra bytes allocated beyond a requested size on growth.
    explicit CByteBuffer(unsigned int initialSize = 0, unsigned int increment = DEFAULT_INCREMENT);
    ~CByteBuffer() override;

    // Each write stores at the position, sets the size to the end of what it
    // wrote and advances the position past it; false when it was refused.
    bool writeBYTE(unsigned char value) { return writeValue(value); }
    bool writeSHORT(short value) { return writeValue(value); }
    bool writeUSHORT(unsigned short value) { return writeValue(value); }
    bool writeINT(int value) { return writeValue(value); }
    bool writeUINT(unsigned int value) { return writeValue(value); }
    bool writeFLOAT(float value) { return writeValue(value); }
    // Deliberately four bytes: the first half of the double (see above).
    bool writeDOUBLE(double value)
    {
        unsigned int half;
        std::memcpy(&half, &value, sizeof(half));
        return writeValue(half);
    }
    // A null `data` with a count above 0 is refused.
    bool writeBuffer(const unsigned char* data, unsigned int count);

    unsigned char readBYTE()
    {
        const unsigned int at = m_uiPosition++;
        return at < m_uiCapacity ? m_pBuffer[at] : 0;
    }
    short readSHORT() { return readValue<short>(); }
    unsigned short readUSHORT() { return readValue<unsigned short>(); }
    int readINT() { return readValue<int>(); }
    unsigned int readUINT() { return readValue<unsigned int>(); }
    float readFLOAT() { return readValue<float>(); }
    double readDOUBLE() { return readValue<double>(); }
    // Copies min(count, bytesAvailable()) bytes to `out` and advances by as
    // many; returns that number (0 for a null `out`).
    unsigned int readBuffer(unsigned char* out, unsigned int count);

    unsigned int getSize() const { return m_uiSize; }
    unsigned int getCapacity() const { return m_uiCapacity; }
    unsigned int getPosition() const { return m_uiPosition; }
    // Clamped to the size.
    void setPosition(unsigned int position) { m_uiPosition = position < m_uiSize ? position : m_uiSize; }
    unsigned int bytesAvailable() const { return m_uiPosition < m_uiSize ? m_uiSize - m_uiPosition : 0; }
    unsigned char* buffer() { return m_pBuffer; }
    const unsigned char* buffer() const { return m_pBuffer; }

    // Above 0 as requstSize(n); 0 empties the buffer as clear() does.
    void setSize(unsigned int size);
    // Frees an owned buffer; capacity, size and position become 0, the
    // owned flag stays.
    void clear();
    // Drops the first `count` bytes; the position goes to the new end.
    void moveToHead(unsigned int count);
    // Frees an owned buffer (unless it is `data` itself) and adopts `data`,
    // position 0. An owned `data` must come from CMemory::malloc. The size
    // is cut to the capacity; a null `data` gives an empty buffer.
    void attachBuffer(unsigned char* data, unsigned int capacity, unsigned int size, bool owned);
    // As clear(), and the buffer owns what it allocates from then on.
    void detachBuffer();

protected:
    // The one place where the buffer grows: beyond the capacity an owned
    // buffer is reallocated to `increment + size` bytes (a buffer that is not
    // owned stays as it is, size included); then the size becomes `size`.
    // False when the size could not be set.
    bool requstSize(unsigned int size);
    static void memcopy(void* dst, const void* src, unsigned int count);
    static void memclear(void* dst, int value, unsigned int count);

private:
    CByteBuffer(const CByteBuffer&) = delete;
    CByteBuffer& operator=(const CByteBuffer&) = delete;

    // Inline: the channels write and read field by field, and a call into
    // the library per field would cost more than the copy.
    template <class T>
    bool writeValue(T value)
    {
        // In 64 bits one comparison also covers a position near 4 GiB.
        const unsigned long long end = static_cast<unsigned long long>(m_uiPosition) + sizeof(T);
        if (end > m_uiCapacity) {
            // The value's bytes travel in a register, not through memory.
            unsigned long long bytes = 0;
            std::memcpy(&bytes, &value, sizeof(T));
            return writeGrowing(&bytes, sizeof(T));
        }
        std::memcpy(m_pBuffer + m_uiPosition, &value, sizeof(T));
        m_uiSize = static_cast<unsigned int>(end);
        m_uiPosition = static_cast<unsigned int>(end);
        return true;
    }
    bool writeGrowing(const void* data, unsigned int count);

    template <class T>
    T readValue()
    {
        T value = T(0);
        if (static_cast<unsigned long long>(m_uiPosition) + sizeof(T) <= m_uiSize) {
            std::memcpy(&value, m_pBuffer + m_uiPosition, sizeof(T));
            m_uiPosition += static_cast<unsigned int>(sizeof(T));
        } else if (m_uiPosition < m_uiSize) {
            m_uiPosition = m_uiSize; // a short read consumes what is left
        }
        return value;
    }

    unsigned char* m_pBuffer;
    bool m_bOwned;
    unsigned int m_uiCapacity;
    unsigned int m_uiSize;
    unsigned int m_uiIncrement;
    unsigned int m_uiPosition;
};

} // namespace Trell
