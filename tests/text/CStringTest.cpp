#include <text/CString.h>

#include <foundation/CMemory.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

using Trell::CMemory;
using Trell::CString;
using Trell::STRING_NULL;

namespace {

std::u16string text(const CString& s)
{
    return s.buffer() ? std::u16string(s.buffer(), s.length()) : std::u16string();
}

// Every buffer a CString owns is exact: the terminator sits at length().
void expectWellFormed(const CString& s)
{
    if (s.isEmpty()) {
        EXPECT_EQ(s.buffer(), nullptr);
        EXPECT_EQ(s.length(), 0u);
    } else {
        ASSERT_NE(s.buffer(), nullptr);
        EXPECT_EQ(s.buffer()[s.length()], 0);
    }
}

// 'n': null, 'e': empty but not null, 't': a text.
char kindOf(const CString& s)
{
    return s.isEmpty() ? 'n' : (s.length() == 0 ? 'e' : 't');
}

std::u16string randomText(std::mt19937& rng, int maxLength)
{
    std::u16string s(rng() % unsigned(maxLength + 1), u'a');
    for (char16_t& ch : s)
        ch = char16_t(u'a' + rng() % 3);
    return s;
}

// Reference replace-all: non-overlapping, left to right.
std::u16string replaceAllRef(std::u16string s, const std::u16string& from, const std::u16string& to)
{
    for (size_t pos = s.find(from); pos != std::u16string::npos; pos = s.find(from, pos + to.size()))
        s.replace(pos, from.size(), to);
    return s;
}

} // namespace

TEST(CString, EveryConstructionAndAssignmentYieldsTheRightKind)
{
    const CString emptySource(u"");
    // Null and empty are distinct but compare equal.
    EXPECT_TRUE(CString() == u"" && emptySource == u"" && CString() == emptySource && u"" == CString());
    for (const CString& s : {CString(), CString(static_cast<const char16_t*>(nullptr)), CString(STRING_NULL)})
        EXPECT_EQ(kindOf(s), 'n');
    for (const CString& s :
         {CString(u""), CString(u"abc", 0), CString(nullptr, 5), CString(u"", 3), CString(emptySource)}) {
        EXPECT_EQ(kindOf(s), 'e');
        expectWellFormed(s);
    }
    EXPECT_EQ(text(CString(u"abc", 10)), u"abc"); // a count takes at most the text
    EXPECT_EQ(text(CString(u"abcdef", 2)), u"ab");
    expectWellFormed(CString(u"abcdef", 2));

    CString s(u"abc");
    const std::pair<std::function<void()>, char> assignments[] = {
        {[&] { s = static_cast<const char16_t*>(nullptr); }, 'n'},
        {[&] { s = u""; }, 'e'},
        {[&] { s = STRING_NULL; }, 'n'},
        {[&] { s = emptySource; }, 'e'}, // an empty source keeps the copy non-null
        {[&] { (s = u"q").empty(); }, 'n'},
    };
    for (const auto& [assign, kind] : assignments) {
        s = u"abc";
        assign();
        EXPECT_EQ(kindOf(s), kind) << (&assign - &assignments[0].first);
    }

    // Assigning the own buffer or the string itself does nothing; a pointer
    // into the middle of the own buffer is a different text.
    s = u"abc";
    const char16_t* before = s.buffer();
    s = s.buffer();
    CString& alias = s;
    s = alias;
    EXPECT_TRUE(s.buffer() == before && text(s) == u"abc");
    s = s.buffer() + 1;
    EXPECT_EQ(text(s), u"bc");
    expectWellFormed(s);
}

// Construction and assignment from a number give the same exact text.
template <typename T>
void expectNumberText(T value, const std::u16string& expected)
{
    const CString made(value);
    EXPECT_EQ(text(made), expected);
    expectWellFormed(made);
    CString assigned(u"old");
    assigned = value;
    EXPECT_EQ(text(assigned), expected);
    expectWellFormed(assigned);
}

TEST(CString, NumbersBecomeText)
{
    expectNumberText(-2147483647 - 1, u"-2147483648");
    expectNumberText(4294967295u, u"4294967295");
    expectNumberText(-9223372036854775807LL - 1, u"-9223372036854775808");
    expectNumberText(true, u"true");
    expectNumberText(1.5f, u"1.5000");
}

TEST(CString, CopyCarriesTheCountAssignmentDoesNotAndMoveStealsTheBuffer)
{
    CString source(u"abc");
    source.addRef();
    source.addRef();
    const CString copy(source);
    EXPECT_EQ(copy.getRef(), 2); // deliberate: copies start with the source's count
    EXPECT_NE(copy.buffer(), source.buffer());
    CString target(u"x");
    target = source;
    EXPECT_TRUE(target.getRef() == 0 && text(target) == u"abc");
    const char16_t* buffer = source.buffer();
    CString moved(std::move(source));
    EXPECT_TRUE(moved.buffer() == buffer && source.isEmpty());
    target = std::move(moved);
    EXPECT_TRUE(target.buffer() == buffer && moved.isEmpty());
}

// --- raw buffer access -----------------------------------------------------------

TEST(CString, RawBufferAccessCountsTruncatesAndHandsOverOwnership)
{
    CString s(u"old");
    s.fromBuffer(u"abcdef", 3);
    EXPECT_EQ(text(s), u"abc");
    expectWellFormed(s);
    // The copy stops at a terminator but the length is still the count.
    s.fromBuffer(u"ab", 4);
    EXPECT_TRUE(s.length() == 4u && std::u16string(s.buffer()) == u"ab");
    s.fromBuffer(u"xyz", 0);
    EXPECT_EQ(kindOf(s), 'e');

    // Size, returned count and the text written; "#" marks an untouched buffer.
    s = u"abcdef";
    const std::tuple<CString, unsigned int, unsigned int, std::u16string> copies[] = {
        {s, 4, 3, u"abc"}, {s, 8, 6, u"abcdef"},    {s, 7, 6, u"abcdef"},       {s, 1, 0, u""},
        {s, 0, 0, u"#"},   {CString(), 8, 0, u"#"}, {CString(u""), 8, 0, u"#"},
    };
    for (const auto& [source, size, count, written] : copies) {
        char16_t out[8] = {u'#', 0};
        EXPECT_EQ(source.toBuffer(out, size), count) << size;
        EXPECT_EQ(std::u16string(out), written) << size;
    }

    auto* buffer = static_cast<char16_t*>(CMemory::malloc(4 * sizeof(char16_t), 0));
    ASSERT_NE(buffer, nullptr);
    std::copy_n(u"xyz", 4, buffer);
    s.attach(buffer, -1);
    EXPECT_TRUE(s.buffer() == buffer && s.length() == 3u);
    char16_t* taken = s.detach();
    EXPECT_TRUE(taken == buffer && kindOf(s) == 'n');
    s.attach(taken, 0); // an explicit length is trusted, 0 included
    EXPECT_EQ(s.length(), 0u);

    // Documented: a deletion stays in place, and replaceAt at the length
    // deliberately overwrites the terminator.
    s = u"abcdef";
    const char16_t* kept = s.buffer();
    s.deleteString(0, 3);
    EXPECT_EQ(s.buffer(), kept);
    s.replaceAt(3, u'!');
    EXPECT_TRUE(s.length() == 3u && s.buffer()[3] == u'!');
    s.replaceAt(3, 0); // restore before the buffer is read as a text again
    EXPECT_EQ(text(s), u"def");
}

// --- queries ------------------------------------------------------------------------

TEST(CString, QueriesAnswerOutOfRangeAndNullAsDocumented)
{
    const CString s(u"abcabc"), null, h(u"Hello");
    // Searches are relative to the whole string; an empty part is never found.
    EXPECT_EQ((std::vector<int>{s.charAt(5), s.charAt(6), null.charAt(0), int(s.charCount(u'a')),
                                int(null.charCount(u'a')), s.indexOf(u'c'), s.lastIndexOf(u'c'), s.indexOf(u'z'),
                                s.lastIndexOf(u'z'), null.indexOf(u'a')}),
              (std::vector<int>{u'c', 0, 0, 2, 0, 2, 5, -1, -1, -1}));
    EXPECT_EQ((std::vector<int>{s.indexOf(u"bc", 2), s.indexOf(CString(u"bc"), 5), s.indexOf(u"bc", 6), s.indexOf(u""),
                                null.indexOf(u"a"), s.lastIndexOf(CString(u"abc")), h.compare(u"Help"),
                                h.compare(CString(u"Hell")), h.compareIC(u"hELLO"), null.compare(u"")}),
              (std::vector<int>{4, -1, -1, -1, -1, 3, -1, 1, 0, 0}));
    EXPECT_TRUE(h.startWith(u"He") && h.startWithIC(CString(u"HELLO")) && h != u"hello");
    EXPECT_FALSE(h.startWith(u"he") || h.startWith(CString()) || null.startWith(u"a"));
    // Leading blanks.
    EXPECT_EQ(std::make_tuple(CString(u"\t\r\n a").getStarkBlankCount(), CString(u"a ").getStarkBlankCount(),
                              CString(u"   ").getStarkBlankCount()),
              std::make_tuple(4u, 0u, 3u));
    EXPECT_EQ(text(CString(u"\t\r\n a").getStartBlank()), u"\t\r\n ");
    EXPECT_TRUE(kindOf(CString(u"a ").getStartBlank()) == 'n' && kindOf(CString().getStartBlank()) == 'n');
}

// --- editing ------------------------------------------------------------------------

// Each row edits a fresh string; a null expectation means a null string, ""
// an empty but non-null one.
TEST(CString, EditsGiveExactWellFormedTexts)
{
    const char16_t* blanks = u" \t\r\na b\x000B\x00A0 \n";
    // Name, start, edit, expected.
    const std::tuple<const char*, const char16_t*, std::function<void(CString&)>, const char16_t*> edits[] = {
        {"append nothing to null", nullptr, [](CString& s) { s.append(u""); }, nullptr},
        {"append to null", nullptr, [](CString& s) { s.append(u"ab"); }, u"ab"},
        {"append counted", u"ab", [](CString& s) { s.append(u"cdef", 2); }, u"abcd"},
        {"append itself", u"abcd!", [](CString& s) { s.append(s); }, u"abcd!abcd!"}, // reads the old text
        {"itself + itself", u"ab", [](CString& s) { s = s + s; }, u"abab"},
        {"sub at the length", u"abc", [](CString& s) { s = s.subString(3, 0); }, nullptr},
        {"sub to the end", u"abc", [](CString& s) { s = s.subString(1, 0); }, u"bc"},
        {"sub past the end", u"abc", [](CString& s) { s = s.subString(1, 99); }, u"bc"},
        {"sub of null", nullptr, [](CString& s) { s = s.subString(0, 1); }, nullptr},
        {"empty + null", u"", [](CString& s) { s = s + CString(); }, nullptr},
        {"null + text", nullptr, [](CString& s) { s = s + u"cd"; }, u"cd"},
        {"text + null", u"ab", [](CString& s) { s = s + CString(); }, u"ab"},
        {"delete to past the end", u"abc", [](CString& s) { s.deleteString(1, 99); }, u"a"},
        {"delete inside", u"abcdef", [](CString& s) { s.deleteString(1, 2); }, u"adef"},
        {"delete at the end", u"adef", [](CString& s) { s.deleteString(4, 1); }, u"adef"},
        {"insert inside", u"abc", [](CString& s) { s.insertString(1, u"xy", 2); }, u"axybc"},
        {"insert null", u"<axyb>c", [](CString& s) { s.insertString(2, CString()); }, u"<axyb>c"},
        // Past the end the text's own length counts, not the count given.
        {"append ignores count", u"ab", [](CString& s) { s.insertString(2, u"xyz", 1); }, u"abxyz"},
        {"insert into null", nullptr, [](CString& s) { s.insertString(0, u"q"); }, u"q"},
        {"replace unit", u"abab", [](CString& s) { s.replace(u'a', u'x'); }, u"xbxb"},
        {"replace past the length", u"xbxb", [](CString& s) { s.replaceAt(5, u'!'); }, u"xbxb"},
        {"replace first", u"aXbXc", [](CString& s) { s.replaceFirst(u"X", u"YY"); }, u"aYYbXc"},
        {"replace first by null", u"abXc", [](CString& s) { s.replaceFirst(u"X", nullptr); }, u"abc"},
        {"replace first in null", nullptr, [](CString& s) { s.replaceFirst(u"a", u"b"); }, nullptr},
        {"replace all of nothing", u"abc", [](CString& s) { s.replaceAll(u"", u"y"); }, u"abc"},
        {"replace all of all", u"abc", [](CString& s) { s.replaceAll(u"abc", u""); }, u""},
        {"replace all in null", nullptr, [](CString& s) { s.replaceAll(u"a", u"b"); }, nullptr},
        {"uppercase", u"aB\x00FF\x00F8", [](CString& s) { s.toUppercase(); }, u"AB\x0178\x00F8"},
        {"trim", u"xxaxx", [](CString& s) { s.trim(u'x'); }, u"a"},
        {"trim start", u"xxaxx", [](CString& s) { s.trimStart(u'x'); }, u"axx"},
        {"trim end", u"xxaxx", [](CString& s) { s.trimEnd(u'x'); }, u"xxa"},
        {"trim everything", u"xxxx", [](CString& s) { s.trim(u'x'); }, u""},
        {"trim null gives empty", nullptr, [](CString& s) { s.trim(u'x'); }, u""},
        {"trim blank start", blanks, [](CString& s) { s.trimBlank(true, false); }, u"a b\x000B\x00A0 \n"},
        // VT and NBSP are not blanks.
        {"trim blank end", blanks, [](CString& s) { s.trimBlank(false, true); }, u" \t\r\na b\x000B\x00A0"},
        {"trim blank all", u" \t ", [](CString& s) { s.trimBlank(true, true); }, u""},
        {"trim blank null", nullptr, [](CString& s) { s.trimBlank(true, true); }, nullptr},
    };
    for (const auto& [name, start, edit, expected] : edits) {
        SCOPED_TRACE(name);
        CString s(start);
        edit(s);
        EXPECT_EQ(kindOf(s), expected == nullptr ? 'n' : (*expected ? 't' : 'e'));
        EXPECT_EQ(text(s), expected ? expected : u"");
        expectWellFormed(s);
    }
}

TEST(CString, ReplaceAllMatchesReferenceOnRandomTexts)
{
    std::mt19937 rng(42);
    for (int i = 0; i < 5000; ++i) {
        const std::u16string source = randomText(rng, 30);
        std::u16string from = randomText(rng, 3);
        if (from.empty())
            from = u"a";
        const std::u16string to = randomText(rng, 4);
        CString s(source.c_str());
        s.replaceAll(from.c_str(), to.c_str());
        ASSERT_EQ(text(s), replaceAllRef(source, from, to));
        ASSERT_TRUE(s.isEmpty() || s.buffer()[s.length()] == 0);
    }
}
