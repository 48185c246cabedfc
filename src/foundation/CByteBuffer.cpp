#include <foundation/CByteBuffer.h>

#include "foundation/EngineLog.h"

#include <cstring>

namespace Trell {

CByteBuffer::CByteBuffer(unsigned int initialSize, unsigned int increment)
    : CObject(), m_pBuffer(nullptr), m_bOwned(true), m_uiCapacity(0), m_uiSize(0), m_uiIncrement(increment),
      m_uiPosition(0)
{
    if (initialSize > 0)
        requstSize(initialSize);
}

CByteBuffer::~CByteBuffer()
{
    if (m_bOwned)
        CMemory::free(m_pBuffer);
}

bool CByteBuffer::requstSize(unsigned int size)
{
    if (size > m_uiCapacity) {
        if (!m_bOwned)
            return false;
        const unsigned int capacity = m_uiIncrement + size;
        unsigned char* pGrown = capacity < size ? nullptr : static_cast<unsigned char*>(CMemory::malloc(capacity, 0));
        if (pGrown == nullptr) {
            EngineLog::error(u"Out of memory.");
            return false;
        }
        // Everything beyond the old data reads as zero.
        memcopy(pGrown, m_pBuffer, m_uiSize);
        memclear(pGrown + m_uiSize, 0, capacity - m_uiSize);
        CMemory::free(m_pBuffer);
        m_pBuffer = pGrown;
        m_uiCapacity = capacity;
    }
    m_uiSize = size;
    return true;
}

bool CByteBuffer::writeGrowing(const void* data, unsigned int count)
{
    const unsigned int end = m_uiPosition + count;
    // A position near 4 GiB would wrap the end round to the buffer's start.
    if (end < m_uiPosition || !requstSize(end))
        return false;
    memcopy(m_pBuffer + m_uiPosition, data, count);
    m_uiPosition = end;
    return true;
}

bool CByteBuffer::writeBuffer(const unsigned char* data, unsigned int count)
{
    if (count == 0)
        return requstSize(m_uiPosition); // stores nothing, but still sets the size
    if (data == nullptr)
        return false;
    if (static_cast<unsigned long long>(m_uiPosition) + count > m_uiCapacity)
        return writeGrowing(data, count);
    memcopy(m_pBuffer + m_uiPosition, data, count);
    m_uiPosition += count;
    m_uiSize = m_uiPosition;
    return true;
}

unsigned int CByteBuffer::readBuffer(unsigned char* out, unsigned int count)
{
    const unsigned int available = bytesAvailable();
    const unsigned int copied = count < available ? count : available;
    if (out == nullptr || copied == 0)
        return 0;
    memcopy(out, m_pBuffer + m_uiPosition, copied);
    m_uiPosition += copied;
    return copied;
}

void CByteBuffer::setSize(unsigned int size)
{
    if (size > 0)
        requstSize(size);
    else
        clear();
}

void CByteBuffer::clear()
{
    if (m_bOwned)
        CMemory::free(m_pBuffer);
    m_pBuffer = nullptr;
    m_uiCapacity = 0;
    m_uiSize = 0;
    m_uiPosition = 0;
}

void CByteBuffer::detachBuffer()
{
    clear();
    m_bOwned = true;
}

void CByteBuffer::attachBuffer(unsigned char* data, unsigned int capacity, unsigned int size, bool owned)
{
    if (m_bOwned && m_pBuffer != data)
        CMemory::free(m_pBuffer);
    if (data == nullptr)
        capacity = 0;
    m_pBuffer = data;
    m_bOwned = owned;
    m_uiCapacity = capacity;
    m_uiSize = size < capacity ? size : capacity;
    m_uiPosition = 0;
}

void CByteBuffer::moveToHead(unsigned int count)
{
    if (count >= m_uiSize) {
        m_uiSize = 0;
        m_uiPosition = 0;
        return;
    }
    m_uiSize -= count;
    std::memmove(m_pBuffer, m_pBuffer + count, m_uiSize);
    m_uiPosition = m_uiSize;
}

void CByteBuffer::memcopy(void* dst, const void* src, unsigned int count)
{
    // memcpy wants valid pointers even for 0 bytes; an empty buffer has none.
    if (count > 0)
        std::memcpy(dst, src, count);
}

void CByteBuffer::memclear(void* dst, int value, unsigned int count)
{
    if (count > 0)
        std::memset(dst, value, count);
}

} // namespace Trell
