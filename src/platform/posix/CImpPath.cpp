#include <platform/posix/CImpPath.h>

#include <platform/PlatformImp.h>
#include <platform/posix/NativePath.h>
#include <text/CString.h>

#include <climits>
#include <string>
#include <vector>

#include <unistd.h>

namespace Trell {

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

Text withSlashes(Text text)
{
    for (char16_t& ch : text) {
        if (ch == u'\\')
            ch = u'/';
    }
    return text;
}

} // namespace

bool CImpPath::isAbsolute(const CString& strPath)
{
    const unsigned int uiLength = strPath.length();
    if (uiLength == 0)
        return false;
    const char16_t* p = strPath.buffer();
    if (isSeparator(p[0]))
        return true;
    return uiLength >= 2 && isDriveLetter(p[0]) && p[1] == u':';
}

CString CImpPath::getApplicationFolder()
{
    // The executable's own path; Windows' 260-character limit does not
    // apply here.
    std::vector<char> buffer(PATH_MAX + 1, '\0');
    ssize_t iLength = readlink("/proc/self/exe", buffer.data(), PATH_MAX);
    if (iLength <= 0)
        return CString();
    buffer[static_cast<std::size_t>(iLength)] = '\0';
    std::string strExe(buffer.data());
    std::size_t uiSlash = strExe.find_last_of('/');
    if (uiSlash == std::string::npos)
        return CString();
    // The root folder keeps its "/", which is the whole path.
    strExe.resize(uiSlash == 0 ? 1 : uiSlash);
    CString strFolder;
    NativePath::fromNative(strExe.c_str(), strFolder);
    return strFolder;
}

CString CImpPath::generateAbsolutePath(const CString& strBasePath, const CString& strPath)
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

CString CImpPath::generateRelativePath(const CString& strBasePath, bool bBaseIsFolder,
                                       const CString& strPath)
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
           base.segments[uiCommon] == target.segments[uiCommon])
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

CString PlatformImp::getCurrentFolder()
{
    std::vector<char> buffer(PATH_MAX + 1, '\0');
    if (!getcwd(buffer.data(), buffer.size()))
        return CString();
    CString strFolder;
    NativePath::fromNative(buffer.data(), strFolder);
    return strFolder;
}

} // namespace Trell
