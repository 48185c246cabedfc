#include "text/CodePage.h"

#include <cstdint>

namespace Trell {
namespace CodePage {

namespace {

const unsigned int LEAD_FIRST = 0x81;
const unsigned int LEAD_LAST = 0xFE;
const unsigned int TRAIL_FIRST = 0x40;
const unsigned int TRAIL_LAST = 0xFE;
const unsigned int TRAILS = TRAIL_LAST - TRAIL_FIRST + 1;
// The one single byte above ASCII: the euro sign, as in code page 936.
const unsigned char EURO_BYTE = 0x80;
const char16_t EURO = 0x20AC;

// Decode table: [lead - LEAD_FIRST][trail - TRAIL_FIRST], 0 where GBK has no character.
const std::uint16_t DECODE[LEAD_LAST - LEAD_FIRST + 1][TRAILS] = {
#include "text/GbkTable.inc"
};

// The decode table is one-to-one (the generator checks it), so the encoder
// is its inverse: the two GBK bytes of each unit, 0 for none. Built on first
// use; the static's initialisation is thread-safe.
const std::uint16_t* encodeTable()
{
    static const std::uint16_t* const s_pTable = [] {
        static std::uint16_t s_aTable[0x10000];
        for (unsigned int lead = LEAD_FIRST; lead <= LEAD_LAST; ++lead) {
            for (unsigned int trail = TRAIL_FIRST; trail <= TRAIL_LAST; ++trail) {
                const std::uint16_t unit = DECODE[lead - LEAD_FIRST][trail - TRAIL_FIRST];
                if (unit != 0)
                    s_aTable[unit] = static_cast<std::uint16_t>(lead << 8 | trail);
            }
        }
        return s_aTable;
    }();
    return s_pTable;
}

bool isHighSurrogate(char16_t c)
{
    return c >= 0xD800 && c <= 0xDBFF;
}

bool isLowSurrogate(char16_t c)
{
    return c >= 0xDC00 && c <= 0xDFFF;
}

} // namespace

int fromUnicode(const char16_t* text, char* out, unsigned int limit)
{
    const std::uint16_t* table = encodeTable();
    unsigned int written = 0;
    for (const char16_t* p = text; *p != 0; ++p) {
        const char16_t c = *p;
        // A broken surrogate is malformed input, which fails even when the
        // buffer is already full.
        const bool bPair = isHighSurrogate(c) && isLowSurrogate(p[1]);
        if (!bPair && (isHighSurrogate(c) || isLowSurrogate(c)))
            return -1;
        // A full buffer ends the text at a character boundary.
        if (written == limit)
            break;
        if (c < 0x80) {
            out[written++] = static_cast<char>(c);
            continue;
        }
        if (c == EURO) {
            out[written++] = static_cast<char>(EURO_BYTE);
            continue;
        }
        // Characters beyond the BMP have no GBK form.
        const std::uint16_t code = bPair ? 0 : table[c];
        if (code == 0)
            return -1;
        if (limit - written < 2)
            break;
        out[written++] = static_cast<char>(code >> 8);
        out[written++] = static_cast<char>(code & 0xFF);
    }
    return static_cast<int>(written);
}

int toUnicode(const char* bytes, unsigned int count, char16_t* out, unsigned int capacity)
{
    const unsigned char* in = reinterpret_cast<const unsigned char*>(bytes);
    unsigned int units = 0;
    for (unsigned int i = 0; i < count; ++i) {
        if (units == capacity)
            return -1;
        const unsigned int lead = in[i];
        if (lead < 0x80) {
            out[units++] = static_cast<char16_t>(lead);
            continue;
        }
        if (lead == EURO_BYTE) {
            out[units++] = EURO;
            continue;
        }
        if (lead > LEAD_LAST || i + 1 == count)
            return -1;
        const unsigned int trail = in[++i];
        if (trail < TRAIL_FIRST || trail > TRAIL_LAST)
            return -1;
        const std::uint16_t unit = DECODE[lead - LEAD_FIRST][trail - TRAIL_FIRST];
        if (unit == 0)
            return -1;
        out[units++] = static_cast<char16_t>(unit);
    }
    return static_cast<int>(units);
}

} // namespace CodePage
} // namespace Trell
