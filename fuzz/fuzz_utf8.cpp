// CStringConverter's UTF-8 decoder and encoder. Arbitrary bytes must decode
// without harm, and the decoded text (up to its first zero unit) must
// survive encoding and decoding again. The same bytes taken as UTF-16 units
// (zeros left out) must come back unchanged from UTF-8.

#include <text/CString.h>
#include <text/CStringConverter.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "FuzzCheck.h"

using namespace Trell;

namespace {

// Encodes with the worst-case size and checks the count it reports.
std::vector<unsigned char> encode(const char16_t* text, unsigned int length)
{
    std::vector<unsigned char> bytes(3u * length + 1, 0xAA);
    unsigned int written = 12345;
    CStringConverter::convertToUTF8(text, bytes.data(), unsigned(bytes.size()), &written);
    FUZZ_CHECK(written <= 3u * length);
    FUZZ_CHECK(bytes[written] == 0);
    bytes.resize(written + 1);
    return bytes;
}

void checkRoundTrip(const char16_t* text, unsigned int length)
{
    std::vector<unsigned char> bytes = encode(text, length);
    CString back;
    CStringConverter::convertFromUTF8(bytes.data(), back);
    FUZZ_CHECK(back.length() == length);
    FUZZ_CHECK(length == 0 || std::memcmp(back.buffer(), text, length * sizeof(char16_t)) == 0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::vector<unsigned char> bytes(data, data + size);
    bytes.push_back(0);
    CString decoded;
    CStringConverter::convertFromUTF8(bytes.data(), decoded);
    FUZZ_CHECK(decoded.length() <= size);
    unsigned int length = 0;
    while (length < decoded.length() && decoded.buffer()[length] != 0)
        ++length;
    checkRoundTrip(decoded.buffer() ? decoded.buffer() : u"", length);

    std::vector<char16_t> units;
    for (size_t i = 0; i + 1 < size; i += 2) {
        char16_t unit = char16_t(data[i] | (data[i + 1] << 8));
        if (unit)
            units.push_back(unit);
    }
    units.push_back(0);
    checkRoundTrip(units.data(), unsigned(units.size() - 1));

    // A buffer too small for the whole text holds only whole sequences.
    if (size > 0) {
        unsigned int small = unsigned(data[0] % 8);
        std::vector<unsigned char> part(small + 1, 0xAA);
        unsigned int written = 0;
        CStringConverter::convertToUTF8(units.data(), part.data(), small, &written);
        FUZZ_CHECK(small == 0 || (written < small && part[written] == 0));
        FUZZ_CHECK(part[small] == 0xAA);
    }
    return 0;
}
