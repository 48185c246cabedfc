// Drives CByteBuffer with a random sequence of operations and compares every
// result and the whole state after each step with a plain model of the
// buffer (a vector standing for the allocation, the size, the position and
// the owned flag). Not-owned attachments carry guard bytes behind their
// capacity that must survive every write.

#include <foundation/CByteBuffer.h>
#include <foundation/CMemory.h>

#include "FuzzCheck.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

using namespace Trell;

namespace {

const unsigned char GUARD = 0xA5;
const unsigned int GUARD_BYTES = 16;

class CInput
{
public:
    CInput(const uint8_t* data, size_t size) : m_data(data), m_size(size) {}
    bool empty() const { return m_at >= m_size; }
    unsigned int byte() { return m_at < m_size ? m_data[m_at++] : 0; }
    unsigned int word() { return byte() | byte() << 8; }

private:
    const uint8_t* m_data;
    size_t m_size;
    size_t m_at = 0;
};

struct tagModel
{
    std::vector<unsigned char> allocation; // capacity bytes
    unsigned int size = 0;
    unsigned int position = 0;
    unsigned int increment = 0;
    bool owned = true;

    bool requestSize(unsigned int n)
    {
        if (n > allocation.size()) {
            if (!owned)
                return false;
            std::vector<unsigned char> grown(increment + n, 0);
            if (size > 0)
                std::memcpy(grown.data(), allocation.data(), size);
            allocation.swap(grown);
        }
        size = n;
        return true;
    }
    bool write(const unsigned char* bytes, unsigned int count)
    {
        const unsigned int end = position + count;
        if (!requestSize(end) || end > allocation.size())
            return false;
        if (count > 0)
            std::memcpy(allocation.data() + position, bytes, count);
        position = end;
        return true;
    }
    // A typed read of `width` bytes into `out` (zeros when too few are left).
    void read(unsigned char* out, unsigned int width)
    {
        std::memset(out, 0, width);
        if (position <= size && size - position >= width) {
            std::memcpy(out, allocation.data() + position, width);
            position += width;
        } else if (position < size) {
            position = size;
        }
    }
    void clear()
    {
        allocation.clear();
        size = position = 0;
    }
};

template <class T>
void checkRead(CByteBuffer& buffer, tagModel& model, T (CByteBuffer::*read)(), unsigned int width)
{
    unsigned char expected[8];
    model.read(expected, width);
    const T value = (buffer.*read)();
    unsigned char actual[8] = {};
    std::memcpy(actual, &value, sizeof(T));
    // A double written with writeDOUBLE and read back differs; compare bytes.
    FUZZ_CHECK(std::memcmp(actual, expected, width) == 0);
}

void checkState(const CByteBuffer& buffer, const tagModel& model,
                const std::vector<std::unique_ptr<std::vector<unsigned char>>>& external)
{
    FUZZ_CHECK(buffer.getSize() == model.size);
    FUZZ_CHECK(buffer.getPosition() == model.position);
    FUZZ_CHECK(buffer.getCapacity() == model.allocation.size());
    FUZZ_CHECK(buffer.bytesAvailable() == (model.position < model.size ? model.size - model.position : 0));
    if (model.size > 0)
        FUZZ_CHECK(std::memcmp(buffer.buffer(), model.allocation.data(), model.size) == 0);
    for (const auto& memory : external)
        for (size_t i = memory->size() - GUARD_BYTES; i < memory->size(); ++i)
            FUZZ_CHECK((*memory)[i] == GUARD);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    CInput input(data, size);
    tagModel model;
    const unsigned int initial = input.byte();
    model.increment = input.byte() % 65;
    // Attached memory that is not owned must outlive the buffer.
    std::vector<std::unique_ptr<std::vector<unsigned char>>> external;
    CByteBuffer buffer(initial, model.increment);
    if (initial > 0)
        model.requestSize(initial);

    unsigned char bytes[512];
    for (int steps = 0; !input.empty() && steps < 2000; ++steps) {
        const unsigned int op = input.byte() % 20;
        switch (op) {
        case 0: {
            const unsigned char v = static_cast<unsigned char>(input.byte());
            FUZZ_CHECK(buffer.writeBYTE(v) == model.write(&v, 1));
            break;
        }
        case 1: {
            const short v = static_cast<short>(input.word());
            FUZZ_CHECK(buffer.writeSHORT(v) == model.write(reinterpret_cast<const unsigned char*>(&v), 2));
            break;
        }
        case 2: {
            const unsigned int v = input.word() | input.word() << 16;
            FUZZ_CHECK(buffer.writeUINT(v) == model.write(reinterpret_cast<const unsigned char*>(&v), 4));
            break;
        }
        case 3: {
            double v;
            const unsigned long long bits = input.word() | static_cast<unsigned long long>(input.word()) << 48;
            std::memcpy(&v, &bits, 8);
            FUZZ_CHECK(buffer.writeDOUBLE(v) == model.write(reinterpret_cast<const unsigned char*>(&v), 4));
            break;
        }
        case 4: {
            const unsigned int count = input.byte() % sizeof(bytes);
            for (unsigned int i = 0; i < count; ++i)
                bytes[i] = static_cast<unsigned char>(i * 7 + op);
            FUZZ_CHECK(buffer.writeBuffer(bytes, count) == model.write(bytes, count));
            break;
        }
        case 5: {
            unsigned char expected = 0;
            if (model.position < model.allocation.size())
                expected = model.allocation[model.position];
            ++model.position;
            FUZZ_CHECK(buffer.readBYTE() == expected);
            break;
        }
        case 6: checkRead(buffer, model, &CByteBuffer::readSHORT, 2); break;
        case 7: checkRead(buffer, model, &CByteBuffer::readUINT, 4); break;
        case 8: checkRead(buffer, model, &CByteBuffer::readFLOAT, 4); break;
        case 9: checkRead(buffer, model, &CByteBuffer::readDOUBLE, 8); break;
        case 10: {
            const unsigned int count = input.byte() % sizeof(bytes);
            const unsigned int available = model.position < model.size ? model.size - model.position : 0;
            const unsigned int expected = count < available ? count : available;
            FUZZ_CHECK(buffer.readBuffer(bytes, count) == expected);
            FUZZ_CHECK(expected == 0 || std::memcmp(bytes, model.allocation.data() + model.position, expected) == 0);
            model.position += expected;
            break;
        }
        case 11: {
            const unsigned int p = input.word() % 1024;
            buffer.setPosition(p);
            model.position = p < model.size ? p : model.size;
            break;
        }
        case 12: {
            const unsigned int n = input.word() % 1024;
            buffer.setSize(n);
            if (n > 0)
                model.requestSize(n);
            else
                model.clear();
            break;
        }
        case 13:
            buffer.clear();
            model.clear();
            break;
        case 14:
            buffer.detachBuffer();
            model.clear();
            model.owned = true;
            break;
        case 15: {
            const unsigned int n = input.word() % 1024;
            buffer.moveToHead(n);
            if (n >= model.size) {
                model.size = model.position = 0;
            } else {
                std::memmove(model.allocation.data(), model.allocation.data() + n, model.size - n);
                model.size -= n;
                model.position = model.size;
            }
            break;
        }
        case 16:
        case 17: {
            const unsigned int capacity = input.byte();
            const unsigned int used = input.byte();
            const bool owned = op == 17;
            unsigned char* memory;
            if (owned) {
                memory = static_cast<unsigned char*>(CMemory::malloc(capacity, 0));
                FUZZ_CHECK(memory != nullptr);
            } else {
                external.push_back(std::make_unique<std::vector<unsigned char>>(capacity + GUARD_BYTES, GUARD));
                memory = external.back()->data();
            }
            for (unsigned int i = 0; i < capacity; ++i)
                memory[i] = static_cast<unsigned char>(i);
            buffer.attachBuffer(memory, capacity, used, owned);
            model.allocation.assign(memory, memory + capacity);
            model.size = used < capacity ? used : capacity;
            model.position = 0;
            model.owned = owned;
            break;
        }
        case 18: {
            const unsigned short v = static_cast<unsigned short>(input.word());
            FUZZ_CHECK(buffer.writeUSHORT(v) == model.write(reinterpret_cast<const unsigned char*>(&v), 2));
            break;
        }
        default: checkRead(buffer, model, &CByteBuffer::readINT, 4); break;
        }
        checkState(buffer, model, external);
    }
    return 0;
}
