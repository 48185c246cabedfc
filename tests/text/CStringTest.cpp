#include <text/CString.h>

#include <foundation/CMemory.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <string>
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

enum class Kind { Null, Empty, Text };

Kind kindOf(const CString& s)
{
    if (s.isEmpty())
        return Kind::Null;
    return s.length() == 0 ? Kind::Empty : Kind::Text;
}

std::u16string randomText(std::mt19937& rng, int maxLength)
{
    std::uniform_int_distribution<int> lengthDist(0, maxLength);
    std::uniform_int_distribution<int> unitDist(0, 2);
    std::u16string s(size_t(lengthDist(rng)), u'a');
    for (char16_t& ch : s)
        ch = char16_t(u'a' + unitDist(rng));
    return s;
}

// Reference replace-all: non-overlapping, left to right.
std::u16string replaceAllRef(std::u16string s, const std::u16string& from, const std::u16string& to)
{
    std::u16string out;
    size_t pos = 0;
    for (;;) {
        const size_t found = s.find(from, pos);
        if (found == std::u16string::npos)
            break;
        out += s.substr(pos, found - pos);
        out += to;
        pos = found + from.size();
    }
    return out + s.substr(pos);
}

} // namespace

// --- null and empty states ----------------------------------------------------

TEST(CString, NullAndEmptyAreDistinctButCompareEqual)
{
    CString null;
    CString empty(u"");
    EXPECT_TRUE(null.isEmpty());
    EXPECT_FALSE(empty.isEmpty());
    EXPECT_EQ(null.length(), 0u);
    EXPECT_EQ(empty.length(), 0u);
    EXPECT_TRUE(null == u"");
    EXPECT_TRUE(empty == u"");
    EXPECT_TRUE(null == empty);
    EXPECT_TRUE(u"" == null);
    EXPECT_FALSE(null != empty);
    EXPECT_EQ(null.buffer(), nullptr);
    EXPECT_EQ(static_cast<const char16_t*>(null), nullptr);
    EXPECT_TRUE(STRING_NULL.isEmpty());
    EXPECT_EQ(STRING_NULL.length(), 0u);
}

TEST(CString, EveryConstructorYieldsTheRightKind)
{
    const CString nullSource;
    const CString emptySource(u"");
    const CString textSource(u"abc");
    CString movedNull(nullptr);
    CString assignedNull(u"abc");
    assignedNull = nullptr;
    EXPECT_EQ(kindOf(assignedNull), Kind::Null);
    CString movedText(u"x");
    const std::vector<std::pair<const char*, std::function<CString()>>> nullCases = {
        {"default", [] { return CString(); }},
        {"null pointer", [] { return CString(static_cast<const char16_t*>(nullptr)); }},
        {"copy of null", [&] { return CString(nullSource); }},
        {"copy of STRING_NULL", [] { return CString(STRING_NULL); }},
        {"move of null", [&] { return CString(std::move(movedNull)); }},
    };
    for (const auto& [name, make] : nullCases) {
        SCOPED_TRACE(name);
        EXPECT_EQ(kindOf(make()), Kind::Null);
    }
    const std::vector<std::pair<const char*, std::function<CString()>>> emptyCases = {
        {"empty text", [] { return CString(u""); }},
        {"counted zero", [] { return CString(u"abc", 0); }},
        {"counted null", [] { return CString(nullptr, 5); }},
        {"counted empty", [] { return CString(u"", 3); }},
        {"copy of empty", [&] { return CString(emptySource); }},
    };
    for (const auto& [name, make] : emptyCases) {
        SCOPED_TRACE(name);
        const CString s = make();
        EXPECT_EQ(kindOf(s), Kind::Empty);
        expectWellFormed(s);
    }
    EXPECT_EQ(text(CString(textSource)), u"abc");
    CString moved(std::move(movedText));
    EXPECT_EQ(text(moved), u"x");
    EXPECT_TRUE(movedText.isEmpty());
}

TEST(CString, EveryAssignmentYieldsTheRightKind)
{
    CString s(u"abc");
    s = static_cast<const char16_t*>(nullptr);
    EXPECT_EQ(kindOf(s), Kind::Null);
    s = u"";
    EXPECT_EQ(kindOf(s), Kind::Empty);
    s = STRING_NULL;
    EXPECT_EQ(kindOf(s), Kind::Null);
    s = CString(u"");
    EXPECT_EQ(kindOf(s), Kind::Empty);
    s = CString(); // move from a null string
    EXPECT_EQ(kindOf(s), Kind::Null);
    s = CString(u"q");
    EXPECT_EQ(text(s), u"q");
    CString source(u"");
    s = source; // copy assignment from an empty string keeps it non-null
    EXPECT_EQ(kindOf(s), Kind::Empty);
    s = 0;
    EXPECT_EQ(text(s), u"0");
    expectWellFormed(s);
}

TEST(CString, CountedConstructorTakesAtMostTheText)
{
    const CString s(u"abc", 10);
    EXPECT_EQ(text(s), u"abc");
    EXPECT_EQ(s.length(), 3u);
    EXPECT_EQ(text(CString(u"abcdef", 2)), u"ab");
    expectWellFormed(CString(u"abcdef", 2));
}

TEST(CString, NumbersBecomeText)
{
    EXPECT_EQ(text(CString(0)), u"0");
    EXPECT_EQ(text(CString(-12)), u"-12");
    EXPECT_EQ(text(CString(-2147483647 - 1)), u"-2147483648");
    EXPECT_EQ(text(CString(4294967295u)), u"4294967295");
    EXPECT_EQ(text(CString(-9223372036854775807LL - 1)), u"-9223372036854775808");
    EXPECT_EQ(text(CString(true)), u"true");
    EXPECT_EQ(text(CString(false)), u"false");
    EXPECT_EQ(text(CString(1.5f)), u"1.5000");
    EXPECT_EQ(text(CString(-0.25f)), u"-0.2500");

    CString s;
    s = 42;
    EXPECT_EQ(text(s), u"42");
    s = 7u;
    EXPECT_EQ(text(s), u"7");
    s = -5LL;
    EXPECT_EQ(text(s), u"-5");
    s = 2.0f;
    EXPECT_EQ(text(s), u"2.0000");
    s = false;
    EXPECT_EQ(text(s), u"false");
    expectWellFormed(s);
}

TEST(CString, AssigningTheOwnBufferDoesNothing)
{
    CString s(u"abc");
    const char16_t* before = s.buffer();
    s = s.buffer();
    EXPECT_EQ(s.buffer(), before);
    EXPECT_EQ(text(s), u"abc");
    CString& alias = s;
    s = alias;
    EXPECT_EQ(s.buffer(), before);
    // A pointer into the middle of the own buffer is a different text.
    s = s.buffer() + 1;
    EXPECT_EQ(text(s), u"bc");
    expectWellFormed(s);
}

TEST(CString, CopyCarriesTheCountButAssignmentDoesNot)
{
    CString source(u"abc");
    source.addRef();
    source.addRef();
    const CString copy(source);
    EXPECT_EQ(copy.getRef(), 2); // deliberate: copies start with the source's count
    EXPECT_NE(copy.buffer(), source.buffer());
    CString target(u"x");
    target = source;
    EXPECT_EQ(target.getRef(), 0);
    EXPECT_EQ(text(target), u"abc");
}

TEST(CString, MoveStealsTheBuffer)
{
    CString source(u"abc");
    const char16_t* buffer = source.buffer();
    CString moved(std::move(source));
    EXPECT_EQ(moved.buffer(), buffer);
    EXPECT_TRUE(source.isEmpty());
    CString target(u"old");
    target = std::move(moved);
    EXPECT_EQ(target.buffer(), buffer);
    EXPECT_EQ(text(target), u"abc");
    EXPECT_TRUE(moved.isEmpty());
}

// --- raw buffer access -----------------------------------------------------------

TEST(CString, FromBufferSetsLengthToCount)
{
    CString s(u"old");
    s.fromBuffer(u"abcdef", 3);
    EXPECT_EQ(text(s), u"abc");
    expectWellFormed(s);
    // The copy stops at a terminator but the length is still the count.
    s.fromBuffer(u"ab", 4);
    EXPECT_EQ(s.length(), 4u);
    EXPECT_EQ(std::u16string(s.buffer()), u"ab");
    s.fromBuffer(u"xyz", 0);
    EXPECT_EQ(kindOf(s), Kind::Empty);
}

TEST(CString, ToBufferTruncatesAndTerminates)
{
    const CString s(u"abcdef");
    char16_t out[8];
    std::fill(std::begin(out), std::end(out), u'#');
    EXPECT_EQ(s.toBuffer(out, 4), 3u);
    EXPECT_EQ(std::u16string(out), u"abc");
    EXPECT_EQ(s.toBuffer(out, 8), 6u);
    EXPECT_EQ(std::u16string(out), u"abcdef");
    EXPECT_EQ(s.toBuffer(out, 7), 6u);
    std::fill(std::begin(out), std::end(out), u'#');
    EXPECT_EQ(s.toBuffer(out, 0), 0u);
    EXPECT_EQ(CString().toBuffer(out, 8), 0u);
    EXPECT_EQ(CString(u"").toBuffer(out, 8), 0u);
    EXPECT_EQ(out[0], u'#'); // nothing written
    EXPECT_EQ(s.toBuffer(out, 1), 0u);
    EXPECT_EQ(out[0], 0);
}

TEST(CString, AttachAndDetachHandOverOwnership)
{
    auto* buffer = static_cast<char16_t*>(CMemory::malloc(4 * sizeof(char16_t), 0));
    ASSERT_NE(buffer, nullptr);
    buffer[0] = u'x';
    buffer[1] = u'y';
    buffer[2] = u'z';
    buffer[3] = 0;
    CString s(u"old");
    s.attach(buffer, -1);
    EXPECT_EQ(s.buffer(), buffer);
    EXPECT_EQ(s.length(), 3u);
    char16_t* taken = s.detach();
    EXPECT_EQ(taken, buffer);
    EXPECT_EQ(kindOf(s), Kind::Null);
    s.attach(taken, 2); // an explicit length is trusted
    EXPECT_EQ(s.length(), 2u);
    s.attach(nullptr, -1);
    EXPECT_EQ(kindOf(s), Kind::Null);
    EXPECT_EQ(CString().detach(), nullptr);
}

// --- queries ------------------------------------------------------------------------

TEST(CString, CharAccessAndCounts)
{
    const CString s(u"abca");
    EXPECT_EQ(s.charAt(0), u'a');
    EXPECT_EQ(s.charAt(3), u'a');
    EXPECT_EQ(s.charAt(4), 0);
    EXPECT_EQ(s.charAt(1000), 0);
    EXPECT_EQ(CString().charAt(0), 0);
    EXPECT_EQ(s.charCount(u'a'), 2u);
    EXPECT_EQ(CString().charCount(u'a'), 0u);
}

TEST(CString, IndexSearches)
{
    const CString s(u"abcabc");
    EXPECT_EQ(s.indexOf(u'c'), 2);
    EXPECT_EQ(s.indexOf(u'z'), -1);
    EXPECT_EQ(CString().indexOf(u'a'), -1);
    EXPECT_EQ(CString(u"").indexOf(u'a'), -1);
    EXPECT_EQ(s.lastIndexOf(u'c'), 5);
    EXPECT_EQ(s.lastIndexOf(u'z'), -1);
    EXPECT_EQ(s.indexOf(u"bc"), 1);
    EXPECT_EQ(s.indexOf(u"bc", 2), 4); // relative to the whole string
    EXPECT_EQ(s.indexOf(CString(u"bc"), 5), -1);
    EXPECT_EQ(s.indexOf(u"bc", 6), -1);
    EXPECT_EQ(s.indexOf(u""), -1);
    EXPECT_EQ(CString().indexOf(u"a"), -1);
    EXPECT_EQ(s.lastIndexOf(u"ab"), 3);
    EXPECT_EQ(s.lastIndexOf(CString(u"abc")), 3);
    EXPECT_EQ(s.lastIndexOf(u"x"), -1);
}

TEST(CString, PrefixTestsAndComparisons)
{
    const CString s(u"Hello");
    EXPECT_TRUE(s.startWith(u"He"));
    EXPECT_FALSE(s.startWith(u"he"));
    EXPECT_TRUE(s.startWithIC(u"he"));
    EXPECT_TRUE(s.startWithIC(CString(u"HELLO")));
    EXPECT_FALSE(s.startWith(u""));
    EXPECT_FALSE(s.startWith(CString()));
    EXPECT_FALSE(CString().startWith(u"a"));

    EXPECT_EQ(s.compare(u"Hello"), 0);
    EXPECT_EQ(s.compare(u"Help"), -1);
    EXPECT_EQ(s.compare(CString(u"Hell")), 1);
    EXPECT_EQ(s.compareIC(u"hELLO"), 0);
    EXPECT_EQ(CString().compare(u""), 0);
    EXPECT_EQ(CString().compare(CString(u"a")), -1);
    EXPECT_TRUE(s == u"Hello");
    EXPECT_TRUE(s != u"hello");
    EXPECT_TRUE(u"Hello" == s);
    EXPECT_TRUE(s == CString(u"Hello"));
    EXPECT_TRUE(s < CString(u"Help"));
    EXPECT_TRUE(CString(u"b") > CString(u"a"));
    EXPECT_TRUE(CString() <= CString(u""));
    EXPECT_TRUE(CString(u"") >= CString());
}

TEST(CString, CompareReverseMatchesReversedTexts)
{
    EXPECT_EQ(CString(u"ba").compareReverse(CString(u"a")), 1);
    EXPECT_EQ(CString(u"a").compareReverse(CString(u"ba")), -1);
    EXPECT_EQ(CString().compareReverse(CString(u"")), 0);
    EXPECT_EQ(CString(u"xA").compareReverseIC(CString(u"a")), 1);
    EXPECT_EQ(CString(u"A").compareReverseIC(CString(u"a")), 0);
    std::mt19937 rng(5);
    for (int i = 0; i < 5000; ++i) {
        std::u16string a = randomText(rng, 5);
        std::u16string b = randomText(rng, 5);
        const CString sa(a.c_str());
        const CString sb(b.c_str());
        std::reverse(a.begin(), a.end());
        std::reverse(b.begin(), b.end());
        const int expected = (a.compare(b) > 0) - (a.compare(b) < 0);
        ASSERT_EQ(sa.compareReverse(sb), expected);
    }
}

TEST(CString, NumberQueries)
{
    EXPECT_FALSE(CString().isNumberStart());
    EXPECT_FALSE(CString(u"").isNumberStart());
    EXPECT_FALSE(CString(u"-1").isNumberStart());
    EXPECT_TRUE(CString(u"1a").isNumberStart());
    EXPECT_EQ(CString(u"-12ab").toInt(), -12);
    EXPECT_EQ(CString(u"0x1G2").toUInt(), 0x12u);
    EXPECT_EQ(CString(u"-9000000000").toLLong(), -9000000000LL);
    EXPECT_FLOAT_EQ(CString(u"-0.25").toFloat(), -0.25f);
    EXPECT_EQ(CString().toInt(), 0);
}

TEST(CString, ToBoolAcceptsOnlyExactTrue)
{
    EXPECT_TRUE(CString(u"true").toBool());
    for (const char16_t* no : {u"True", u"TRUE", u" true", u"true ", u"1", u"", u"tru", u"truex"})
        EXPECT_FALSE(CString(no).toBool()) << std::u16string(no).size();
    EXPECT_FALSE(CString().toBool());
    EXPECT_TRUE(CString(true).toBool());
}

// --- editing ------------------------------------------------------------------------

TEST(CString, AppendBuildsExactBuffers)
{
    CString s;
    s.append(u"");
    EXPECT_EQ(kindOf(s), Kind::Null); // nothing to append leaves it null
    s.append(nullptr);
    EXPECT_EQ(kindOf(s), Kind::Null);
    s.append(u"ab");
    EXPECT_EQ(text(s), u"ab");
    s.append(u"cdef", 2);
    EXPECT_EQ(text(s), u"abcd");
    s.append(u"zz", 0);
    EXPECT_EQ(text(s), u"abcd");
    s.append(CString(u"!"));
    EXPECT_EQ(text(s), u"abcd!");
    s.append(s); // appending itself reads the old text
    EXPECT_EQ(text(s), u"abcd!abcd!");
    expectWellFormed(s);
    CString chained;
    chained.append(u"a").append(u"b");
    EXPECT_EQ(text(chained), u"ab");
}

TEST(CString, SubStringRanges)
{
    const CString s(u"abc");
    EXPECT_EQ(kindOf(s.subString(3, 0)), Kind::Null);
    EXPECT_EQ(kindOf(s.subString(7, 1)), Kind::Null);
    EXPECT_EQ(text(s.subString(1, 0)), u"bc");
    EXPECT_EQ(text(s.subString(1, 99)), u"bc");
    EXPECT_EQ(text(s.subString(0, 2)), u"ab");
    EXPECT_EQ(text(s.subString(2, 1)), u"c");
    EXPECT_EQ(kindOf(CString().subString(0, 1)), Kind::Null);
    EXPECT_EQ(kindOf(CString(u"").subString(0, 0)), Kind::Null);
    expectWellFormed(s.subString(0, 2));
}

TEST(CString, DeleteStringInPlace)
{
    CString s(u"abc");
    s.deleteString(1, 99);
    EXPECT_EQ(text(s), u"a");
    expectWellFormed(s);
    s = u"abcdef";
    const char16_t* before = s.buffer();
    s.deleteString(1, 2);
    EXPECT_EQ(text(s), u"adef");
    EXPECT_EQ(s.buffer(), before); // no reallocation
    expectWellFormed(s);
    s.deleteString(4, 1);
    s.deleteString(0, 0);
    EXPECT_EQ(text(s), u"adef");
    CString null;
    null.deleteString(0, 1);
    EXPECT_TRUE(null.isEmpty());
}

TEST(CString, InsertStringPositions)
{
    CString s(u"abc");
    s.insertString(10, u"xy", 2);
    EXPECT_EQ(text(s), u"abcxy");
    s = u"abc";
    s.insertString(1, u"xy", 2);
    EXPECT_EQ(text(s), u"axybc");
    s.insertString(0, u"<");
    EXPECT_EQ(text(s), u"<axybc");
    s.insertString(5, CString(u">"));
    EXPECT_EQ(text(s), u"<axyb>c");
    s.insertString(2, u"");
    s.insertString(2, CString());
    EXPECT_EQ(text(s), u"<axyb>c");
    expectWellFormed(s);
    // Past the end the text's own length counts, not the count given.
    s = u"ab";
    s.insertString(2, u"xyz", 1);
    EXPECT_EQ(text(s), u"abxyz");
    CString null;
    null.insertString(0, u"q");
    EXPECT_EQ(text(null), u"q");
}

TEST(CString, ReplaceUnits)
{
    CString s(u"abab");
    s.replace(u'a', u'x');
    EXPECT_EQ(text(s), u"xbxb");
    s.replaceAt(0, u'y');
    EXPECT_EQ(text(s), u"ybxb");
    s.replaceAt(5, u'!'); // past the length: nothing
    EXPECT_EQ(text(s), u"ybxb");
    expectWellFormed(s);
    CString null;
    null.replaceAt(0, u'x');
    EXPECT_TRUE(null.isEmpty());
}

TEST(CString, ReplaceAtTheLengthOverwritesTheTerminator)
{
    // Kept as it is: the index test is <=, so the terminator can be replaced.
    CString s(u"abc");
    s.replaceAt(3, u'!');
    EXPECT_EQ(s.length(), 3u);
    EXPECT_EQ(s.buffer()[3], u'!');
    s.replaceAt(3, 0); // restore before the buffer is read as a text again
    EXPECT_EQ(text(s), u"abc");
}

TEST(CString, ReplaceFirst)
{
    CString s(u"aXbXc");
    s.replaceFirst(u"X", u"YY");
    EXPECT_EQ(text(s), u"aYYbXc");
    s.replaceFirst(u"Q", u"z");
    EXPECT_EQ(text(s), u"aYYbXc");
    s.replaceFirst(u"YY", u"");
    EXPECT_EQ(text(s), u"abXc");
    s.replaceFirst(u"X", nullptr);
    EXPECT_EQ(text(s), u"abc");
    expectWellFormed(s);
    CString null;
    null.replaceFirst(u"a", u"b");
    EXPECT_TRUE(null.isEmpty());
}

TEST(CString, ReplaceAllIsNonOverlapping)
{
    CString s(u"aaaa");
    s.replaceAll(u"aa", u"b");
    EXPECT_EQ(text(s), u"bb");
    s = u"aaa";
    s.replaceAll(u"aa", u"b");
    EXPECT_EQ(text(s), u"ba");
    s = u"a.b.c";
    s.replaceAll(u".", u"::");
    EXPECT_EQ(text(s), u"a::b::c");
    s.replaceAll(u"::", u"");
    EXPECT_EQ(text(s), u"abc");
    const char16_t* before = s.buffer();
    s.replaceAll(u"zz", u"y");
    EXPECT_EQ(s.buffer(), before); // untouched when there is no match
    s.replaceAll(u"", u"y");
    EXPECT_EQ(text(s), u"abc");
    s.replaceAll(u"abc", u"");
    EXPECT_EQ(kindOf(s), Kind::Empty);
    CString null;
    null.replaceAll(u"a", u"b");
    EXPECT_TRUE(null.isEmpty());
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
        const std::u16string expected = replaceAllRef(source, from, to);
        ASSERT_EQ(text(s), expected);
        ASSERT_EQ(s.length(), expected.size());
        if (!s.isEmpty()) {
            ASSERT_EQ(s.buffer()[s.length()], 0);
        }
    }
}

TEST(CString, CaseMappingOverTheLength)
{
    CString s(u"aB\x00FF\x00F8");
    s.toUppercase();
    EXPECT_EQ(text(s), u"AB\x0178\x00F8");
    s.toLowercase();
    EXPECT_EQ(text(s), u"ab\x00FF\x00F8");
    CString null;
    null.toUppercase();
    EXPECT_TRUE(null.isEmpty());
}

TEST(CString, TrimCharacterRuns)
{
    CString s(u"xxaxx");
    EXPECT_EQ(text(s.trim(u'x')), u"a");
    s = u"xxaxx";
    EXPECT_EQ(text(s.trimStart(u'x')), u"axx");
    s = u"xxaxx";
    EXPECT_EQ(text(s.trimEnd(u'x')), u"xxa");
    s = u"xxxx";
    s.trim(u'x');
    EXPECT_EQ(kindOf(s), Kind::Empty);
    expectWellFormed(s);
}

TEST(CString, TrimAlwaysRebuildsButTrimBlankDoesNotWhenIdle)
{
    CString s(u"abc");
    const char16_t* before = s.buffer();
    s.trim(u'x');
    EXPECT_NE(s.buffer(), before); // a new buffer although nothing was removed
    EXPECT_EQ(text(s), u"abc");
    CString null;
    null.trim(u'x');
    EXPECT_EQ(kindOf(null), Kind::Empty);

    before = s.buffer();
    s.trimBlank(true, true);
    EXPECT_EQ(s.buffer(), before);
    CString nullBlank;
    nullBlank.trimBlank(true, true);
    EXPECT_EQ(kindOf(nullBlank), Kind::Null);
}

TEST(CString, TrimBlankChoosesEnds)
{
    const char16_t* source = u" \t\r\na b\x000B\x00A0 \n";
    CString s(source);
    s.trimBlank(true, false);
    EXPECT_EQ(text(s), u"a b\x000B\x00A0 \n");
    s = source;
    s.trimBlank(false, true);
    EXPECT_EQ(text(s), u" \t\r\na b\x000B\x00A0"); // VT and NBSP are not blanks
    s = source;
    s.trimBlank(false, false);
    EXPECT_EQ(text(s), std::u16string(source));
    s = u" \t ";
    s.trimBlank(true, true);
    EXPECT_EQ(kindOf(s), Kind::Empty);
}

TEST(CString, LeadingBlanks)
{
    const CString s(u"\t\r\n a");
    EXPECT_EQ(s.getStarkBlankCount(), 4u);
    EXPECT_EQ(text(s.getStartBlank()), u"\t\r\n ");
    EXPECT_EQ(CString(u"a ").getStarkBlankCount(), 0u);
    EXPECT_EQ(kindOf(CString(u"a ").getStartBlank()), Kind::Null);
    EXPECT_EQ(kindOf(CString().getStartBlank()), Kind::Null);
    EXPECT_EQ(CString(u"   ").getStarkBlankCount(), 3u);
}

TEST(CString, ConcatenationAndNullResults)
{
    EXPECT_EQ(kindOf(CString() + CString()), Kind::Null);
    EXPECT_EQ(kindOf(CString(u"") + CString()), Kind::Null);
    EXPECT_EQ(kindOf(CString(u"") + u""), Kind::Null);
    EXPECT_EQ(kindOf(CString() + static_cast<const char16_t*>(nullptr)), Kind::Null);
    EXPECT_EQ(text(CString(u"ab") + u"cd"), u"abcd");
    EXPECT_EQ(text(CString() + u"cd"), u"cd");
    EXPECT_EQ(text(CString(u"ab") + CString()), u"ab");
    const CString a(u"ab");
    const CString sum = a + a;
    EXPECT_EQ(text(sum), u"abab");
    EXPECT_EQ(text(a), u"ab");
    expectWellFormed(sum);
}

TEST(CString, EmptyLeavesANullString)
{
    CString s(u"abc");
    s.empty();
    EXPECT_EQ(kindOf(s), Kind::Null);
    s.empty();
    EXPECT_EQ(kindOf(s), Kind::Null);
}
