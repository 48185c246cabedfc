#include <platform/CodePage.h>

#include <cerrno>
#include <cstddef>
#include <iconv.h>

namespace Trell {
namespace CodePage {

namespace {

#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
const char* const UNITS = "UTF-16BE";
#else
const char* const UNITS = "UTF-16LE";
#endif
const char* const GBK = "GBK";

// iconv descriptors carry shift state and are not shareable between threads,
// so each thread opens its own pair on first use and closes it at exit.
class CDescriptors
{
public:
    ~CDescriptors()
    {
        if (m_toGbk != invalid()) {
            iconv_close(m_toGbk);
        }
        if (m_fromGbk != invalid()) {
            iconv_close(m_fromGbk);
        }
    }

    iconv_t toGbk()
    {
        if (m_toGbk == invalid()) {
            m_toGbk = iconv_open(GBK, UNITS);
        }
        return m_toGbk;
    }

    iconv_t fromGbk()
    {
        if (m_fromGbk == invalid()) {
            m_fromGbk = iconv_open(UNITS, GBK);
        }
        return m_fromGbk;
    }

    static iconv_t invalid() { return reinterpret_cast<iconv_t>(-1); }

private:
    iconv_t m_toGbk = invalid();
    iconv_t m_fromGbk = invalid();
};

CDescriptors& descriptors()
{
    thread_local CDescriptors s_descriptors;
    return s_descriptors;
}

} // namespace

int fromUnicode(const char16_t* text, char* out, unsigned int limit)
{
    iconv_t cd = descriptors().toGbk();
    if (cd == CDescriptors::invalid()) {
        return -1;
    }
    iconv(cd, nullptr, nullptr, nullptr, nullptr);
    std::size_t units = 0;
    while (text[units] != 0) {
        ++units;
    }
    char* in = const_cast<char*>(reinterpret_cast<const char*>(text));
    std::size_t inLeft = units * sizeof(char16_t);
    char* dst = out;
    std::size_t outLeft = limit;
    // iconv converts whole characters only, so a full buffer (E2BIG) simply
    // ends the text at a character boundary.
    if (iconv(cd, &in, &inLeft, &dst, &outLeft) == static_cast<std::size_t>(-1) && errno != E2BIG) {
        return -1;
    }
    return static_cast<int>(dst - out);
}

int toUnicode(const char* bytes, unsigned int count, char16_t* out, unsigned int capacity)
{
    iconv_t cd = descriptors().fromGbk();
    if (cd == CDescriptors::invalid()) {
        return -1;
    }
    iconv(cd, nullptr, nullptr, nullptr, nullptr);
    char* in = const_cast<char*>(bytes);
    std::size_t inLeft = count;
    char* dst = reinterpret_cast<char*>(out);
    std::size_t outLeft = static_cast<std::size_t>(capacity) * sizeof(char16_t);
    if (iconv(cd, &in, &inLeft, &dst, &outLeft) == static_cast<std::size_t>(-1)) {
        return -1;
    }
    return static_cast<int>((dst - reinterpret_cast<char*>(out)) / static_cast<std::ptrdiff_t>(sizeof(char16_t)));
}

} // namespace CodePage
} // namespace Trell
