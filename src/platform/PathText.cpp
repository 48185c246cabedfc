#include <platform/PathText.h>

#include <text/CString.h>

#include <string>
#include <vector>

namespace Trell {
namespace PathText {

namespace {

typedef std::u16string Text;

bool isSeparator(char16_t ch)
{
    return ch == u'/' || ch == u'\\';
}

bool isDriveLetter(char16_t ch)
{
    return (ch >= u'a' && ch <= u'z') || (ch >= u'A' && ch <= u'Z');
}

char16_t toLowerAscii(char16_t ch)
{
    return (ch >= u'A' && ch <= u'Z') ? static_cast<char16_t>(ch + (u'a' - u'A')) : ch;
}

Text toText(const CString& str)
{
    return str.length() ? Text(str.buffer(), str.length()) : Text();
}

CString toString(const Text& text)
{
    return text.empty() ? CString() : CString(text.c_str(), static_cast<unsigned int>(text.size()));
}

// A path taken apart: its root ("", "/", "//" or "c:/"), its segments and
// whether it ended with a separator.
struct tagParsedPath
{
    Text root;
    std::vector<Text> segments;
    bool bTrailingSeparator = false;
};

tagParsedPath parse(const Text& text)
{
    tagParsedPath parsed;
    std::size_t uiPos = 0;
    if (text.size() >= 2 && isSeparator(text[0]) && isSeparator(text[1])) {
        parsed.root = u"//";
        uiPos = 2;
    } else if (!text.empty() && isSeparator(text[0])) {
        parsed.root = u"/";
        uiPos = 1;
    } else if (text.size() >= 2 && isDriveLetter(text[0]) && text[1] == u':') {
        // "C:" and "C:/" both name the drive's root.
        parsed.root = Text(1, text[0]) + u":/";
        uiPos = 2;
    }
    Text segment;
    for (; uiPos < text.size(); ++uiPos) {
        if (isSeparator(text[uiPos])) {
            if (!segment.empty())
                parsed.segments.push_back(segment);
            segment.clear();
        } else {
            segment += text[uiPos];
        }
    }
    if (!segment.empty())
        parsed.segments.push_back(segment);
    parsed.bTrailingSeparator = !text.empty() && isSeparator(text.back()) && !parsed.segments.empty();
    return parsed;
}

// Resolves "." and ".." without looking at the file system.
void normalise(tagParsedPath& parsed)
{
    std::vector<Text> result;
    for (const Text& segment : parsed.segments) {
        if (segment == u".")
            continue;
        if (segment == u"..") {
            if (!result.empty() && result.back() != u"..")
                result.pop_back();
            else if (parsed.root.empty())
                result.push_back(segment);
            // At a root, ".." stays at the root.
            continue;
        }
        result.push_back(segment);
    }
    parsed.segments.swap(result);
    if (parsed.segments.empty())
        parsed.bTrailingSeparator = false;
}

Text join(const std::vector<Text>& segments, std::size_t uiFrom)
{
    Text text;
    for (std::size_t i = uiFrom; i < segments.size(); ++i) {
        if (i > uiFrom)
            text += u'/';
        text += segments[i];
    }
    return text;
}

Text compose(const tagParsedPath& parsed)
{
    Text text = parsed.root + join(parsed.segments, 0);
    if (text.empty())
        return u".";
    if (parsed.bTrailingSeparator)
        text += u'/';
    return text;
}

bool sameRoot(const Text& a, const Text& b)
{
    if (a.size() != b.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (toLowerAscii(a[i]) != toLowerAscii(b[i]))
            return false;
    }
    return true;
}

bool sameName(const Text& a, const Text& b, bool bFoldCase)
{
    return bFoldCase ? sameRoot(a, b) : a == b;
}

Text withSlashes(Text text)
{
    for (char16_t& ch : text) {
        if (ch == u'\\')
            ch = u'/';
    }
    return text;
}

} // namespace

bool isAbsolute(const CString& strPath)
{
    const unsigned int uiLength = strPath.length();
    if (uiLength == 0)
        return false;
    const char16_t* p = strPath.buffer();
    if (isSeparator(p[0]))
        return true;
    return uiLength >= 2 && isDriveLetter(p[0]) && p[1] == u':';
}

CString combine(const CString& strBasePath, const CString& strPath)
{
    if (isAbsolute(strPath))
        return toString(withSlashes(toText(strPath)));
    Text combined = toText(strBasePath);
    if (!combined.empty() && !isSeparator(combined.back()))
        combined += u'/';
    combined += toText(strPath);
    tagParsedPath parsed = parse(combined);
    normalise(parsed);
    return toString(compose(parsed));
}

CString relative(const CString& strBasePath, bool bBaseIsFolder, const CString& strPath, bool bFoldCase)
{
    const Text unchanged = withSlashes(toText(strPath));
    if (!isAbsolute(strPath) || !isAbsolute(strBasePath))
        return toString(unchanged);

    tagParsedPath base = parse(toText(strBasePath));
    tagParsedPath target = parse(toText(strPath));
    normalise(base);
    normalise(target);
    if (!bBaseIsFolder && !base.segments.empty())
        base.segments.pop_back();
    if (!sameRoot(base.root, target.root))
        return toString(unchanged);

    std::size_t uiCommon = 0;
    while (uiCommon < base.segments.size() && uiCommon < target.segments.size() &&
           sameName(base.segments[uiCommon], target.segments[uiCommon], bFoldCase))
        ++uiCommon;
    // Network paths have no common root unless server and share agree.
    if (base.root == u"//" && uiCommon < 2)
        return toString(unchanged);

    Text result;
    const std::size_t uiUp = base.segments.size() - uiCommon;
    const Text rest = join(target.segments, uiCommon);
    if (uiUp == 0) {
        result = rest.empty() ? Text(u".") : Text(u"./") + rest;
    } else {
        for (std::size_t i = 0; i < uiUp; ++i)
            result += (i + 1 < uiUp || !rest.empty()) ? u"../" : u"..";
        result += rest;
    }
    if (target.bTrailingSeparator && !rest.empty())
        result += u'/';
    return toString(result);
}

} // namespace PathText
} // namespace Trell
