#include <text/Utf8Codec.h>

#include <text/CStringCore.h>

#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#define ECS_UTF8_SSE2 1
#endif

namespace Trell {
namespace Utf8Codec {

namespace {

inline unsigned int countTrailingZeros(unsigned int mask)
{
    return static_cast<unsigned int>(__builtin_ctz(mask));
}

} // namespace

unsigned int encode(const char16_t* text, unsigned char* out, unsigned int limit)
{
    unsigned int o = 0;
    const char16_t* p = text;
#if defined(ECS_UTF8_SSE2)
    // Measured first so that the vector loads stay inside the text: reading
    // past the terminator would be harmless here but noisy under Valgrind.
    const char16_t* const end = text + CStringCore::strlen(text);
#endif
    for (;;) {
#if defined(ECS_UTF8_SSE2)
        // Sixteen ASCII units at a time: they pack to exactly the output bytes.
        while (limit - o >= 16 && end - p >= 16) {
            const __m128i lo = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
            const __m128i hi = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 8));
            // Units above 0x7FFF saturate to 0 and 0x80..0x7FFF to 0xFF, so
            // "no byte is 0 and no byte has its top bit" means all 16 are 1..0x7F.
            const __m128i packed = _mm_packus_epi16(lo, hi);
            const unsigned int high = static_cast<unsigned int>(_mm_movemask_epi8(packed));
            const unsigned int zero =
                static_cast<unsigned int>(_mm_movemask_epi8(_mm_cmpeq_epi8(packed, _mm_setzero_si128())));
            const unsigned int stop = high | zero;
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out + o), packed);
            if (stop == 0) {
                p += 16;
                o += 16;
                continue;
            }
            // The leading ASCII units are already stored; the rest is
            // rewritten by the scalar step below.
            const unsigned int n = countTrailingZeros(stop);
            p += n;
            o += n;
            break;
        }
#endif
        // Scalar steps until the next ASCII unit, where the vector path resumes.
        for (;;) {
            const unsigned int c = *p;
            if (c < 0x80u) {
                if (c == 0 || o + 1 > limit) {
                    return o;
                }
                out[o++] = static_cast<unsigned char>(c);
                ++p;
                break;
            }
            if (c < 0x800u) {
                if (o + 2 > limit) {
                    return o;
                }
                out[o] = static_cast<unsigned char>(0xC0u | (c >> 6));
                out[o + 1] = static_cast<unsigned char>(0x80u | (c & 0x3Fu));
                o += 2;
            } else {
                // Surrogates are encoded one by one, deliberately unpaired:
                // the decoder reads them back to the same units.
                if (o + 3 > limit) {
                    return o;
                }
                out[o] = static_cast<unsigned char>(0xE0u | (c >> 12));
                out[o + 1] = static_cast<unsigned char>(0x80u | ((c >> 6) & 0x3Fu));
                out[o + 2] = static_cast<unsigned char>(0x80u | (c & 0x3Fu));
                o += 3;
            }
            ++p;
        }
    }
}

unsigned int decode(const unsigned char* bytes, unsigned int count, char16_t* out)
{
    unsigned int i = 0;
    unsigned int o = 0;
    while (i < count) {
#if defined(ECS_UTF8_SSE2)
        // Sixteen ASCII bytes at a time. The output never runs ahead of the
        // input (every unit consumes at least one byte), so storing all 16
        // widened units stays inside the count-unit buffer.
        while (count - i >= 16) {
            const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + i));
            const unsigned int high = static_cast<unsigned int>(_mm_movemask_epi8(v));
            const __m128i zero = _mm_setzero_si128();
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out + o), _mm_unpacklo_epi8(v, zero));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out + o + 8), _mm_unpackhi_epi8(v, zero));
            if (high == 0) {
                i += 16;
                o += 16;
                continue;
            }
            const unsigned int n = countTrailingZeros(high);
            i += n;
            o += n;
            break;
        }
#else
        // Portable: eight bytes at a time while none has its top bit set.
        while (count - i >= 8) {
            std::uint64_t w;
            std::memcpy(&w, bytes + i, 8);
            if ((w & 0x8080808080808080ull) != 0) {
                break;
            }
            for (unsigned int k = 0; k < 8; ++k) {
                out[o + k] = bytes[i + k];
            }
            i += 8;
            o += 8;
        }
#endif
        // Scalar steps over a run of non-ASCII bytes, then one ASCII byte.
        for (;;) {
            if (i >= count) {
                return o;
            }
            const unsigned int b = bytes[i];
            if (b < 0x80u) {
                out[o++] = static_cast<char16_t>(b);
                ++i;
                break;
            }
            if (b >= 0xE0u) {
                // Leads from 0xF0 up are read as three-byte leads on purpose;
                // the fourth byte then falls out as a stray continuation.
                // A sequence cut by the terminator ends the text.
                if (count - i < 3) {
                    return o;
                }
                out[o++] = static_cast<char16_t>((b << 12) | ((bytes[i + 1] & 0x3Fu) << 6) | (bytes[i + 2] & 0x3Fu));
                i += 3;
            } else if (b >= 0xC0u) {
                if (count - i < 2) {
                    return o;
                }
                out[o++] = static_cast<char16_t>(((b & 0x1Fu) << 6) | (bytes[i + 1] & 0x3Fu));
                i += 2;
            } else {
                ++i; // a continuation byte without a lead
            }
        }
    }
    return o;
}

} // namespace Utf8Codec
} // namespace Trell
