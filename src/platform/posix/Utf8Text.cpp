#include <platform/posix/Utf8Text.h>

namespace Trell {
namespace Utf8Text {

namespace {

const char32_t REPLACEMENT = 0xFFFD;

void appendUtf8(std::string& strOut, char32_t cp)
{
    if (cp < 0x80) {
        strOut += static_cast<char>(cp);
    } else if (cp < 0x800) {
        strOut += static_cast<char>(0xC0 | (cp >> 6));
        strOut += static_cast<char>(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
        strOut += static_cast<char>(0xE0 | (cp >> 12));
        strOut += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        strOut += static_cast<char>(0x80 | (cp & 0x3F));
    } else {
        strOut += static_cast<char>(0xF0 | (cp >> 18));
        strOut += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
        strOut += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
        strOut += static_cast<char>(0x80 | (cp & 0x3F));
    }
}

void appendUtf16(std::u16string& strOut, char32_t cp)
{
    if (cp < 0x10000) {
        strOut += static_cast<char16_t>(cp);
    } else {
        cp -= 0x10000;
        strOut += static_cast<char16_t>(0xD800 | (cp >> 10));
        strOut += static_cast<char16_t>(0xDC00 | (cp & 0x3FF));
    }
}

bool isHighSurrogate(char32_t u)
{
    return u >= 0xD800 && u <= 0xDBFF;
}

bool isLowSurrogate(char32_t u)
{
    return u >= 0xDC00 && u <= 0xDFFF;
}

} // namespace

std::string encode(const char16_t* pszText, std::size_t uiLength)
{
    std::string strOut;
    if (!pszText)
        return strOut;
    strOut.reserve(uiLength);
    for (std::size_t i = 0; i < uiLength; ++i) {
        const char32_t u = pszText[i];
        if (isHighSurrogate(u) && i + 1 < uiLength && isLowSurrogate(pszText[i + 1])) {
            appendUtf8(strOut, 0x10000 + ((u - 0xD800) << 10) + (pszText[i + 1] - 0xDC00));
            ++i;
        } else if (isHighSurrogate(u) || isLowSurrogate(u)) {
            appendUtf8(strOut, REPLACEMENT);
        } else {
            appendUtf8(strOut, u);
        }
    }
    return strOut;
}

std::u16string decode(const char* pBytes, std::size_t uiCount, bool bDropCutTail)
{
    std::u16string strOut;
    if (!pBytes)
        return strOut;
    strOut.reserve(uiCount);
    const unsigned char* p = reinterpret_cast<const unsigned char*>(pBytes);
    std::size_t i = 0;
    while (i < uiCount) {
        const unsigned char lead = p[i];
        if (lead < 0x80) {
            strOut += static_cast<char16_t>(lead);
            ++i;
            continue;
        }
        std::size_t uiNeed;
        char32_t cp;
        char32_t minimum;
        if (lead >= 0xC2 && lead <= 0xDF) {
            uiNeed = 1, cp = lead & 0x1F, minimum = 0x80;
        } else if (lead >= 0xE0 && lead <= 0xEF) {
            uiNeed = 2, cp = lead & 0x0F, minimum = 0x800;
        } else if (lead >= 0xF0 && lead <= 0xF4) {
            uiNeed = 3, cp = lead & 0x07, minimum = 0x10000;
        } else {
            strOut += static_cast<char16_t>(REPLACEMENT);
            ++i;
            continue;
        }
        std::size_t k = 1;
        for (; k <= uiNeed && i + k < uiCount && (p[i + k] & 0xC0) == 0x80; ++k)
            cp = (cp << 6) | (p[i + k] & 0x3F);
        if (k <= uiNeed) {
            // Ran out of bytes or met a byte that continues nothing.
            if (bDropCutTail && i + k == uiCount)
                break;
            strOut += static_cast<char16_t>(REPLACEMENT);
            ++i;
            continue;
        }
        if (cp < minimum || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
            strOut += static_cast<char16_t>(REPLACEMENT);
            ++i;
            continue;
        }
        appendUtf16(strOut, cp);
        i += uiNeed + 1;
    }
    return strOut;
}

} // namespace Utf8Text
} // namespace Trell
