#include <document/CXMLElement.h>
#include <document/CXMLHelper.h>
#include <document/CXMLParser.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <string_view>

#include "document/DocumentTestUtil.h"
#if defined(ECS_MEMORY_TESTING)
#include "foundation/MemTesting.h"
#endif

using namespace Trell;
using namespace DocumentTest;

namespace {

CString repeated(const std::u16string& open, unsigned int depth, const std::u16string& close = u"")
{
    std::u16string text;
    for (unsigned int i = 0; i < depth; ++i)
        text += open;
    for (unsigned int i = 0; i < depth; ++i)
        text += close;
    return cs(text);
}

// Random trees of the accepted language: names of every name unit, values
// of anything but the terminator.
struct tagRandomTree
{
    std::mt19937 rng{20261122};

    unsigned int pick(unsigned int n) { return unsigned(rng() % n); }
    std::u16string draw(std::u16string out, std::u16string_view from, unsigned int count)
    {
        while (count-- > 0)
            out += from[pick(unsigned(from.size()))];
        return out;
    }
    std::u16string name() { return draw(draw(u"", u"abcXYZ_", 1), u"abcXYZ_019-.:", pick(6)); }
    std::u16string value() { return draw(u"", u"aZ9 &<>\"'\r\n\t;#\u00e9\u4e2d\uffff", pick(12)); }
    // Wide trees have child lists and attribute batches longer than the
    // reader's first collection block, nested ones growing it further.
    void fill(CXMLElement* e, unsigned int depth, bool wide)
    {
        for (unsigned int i = pick(wide ? 100 : 4); i > 0; --i)
            e->setAttribute(cs(name()), cs(value()));
        const unsigned int children = wide ? 65 + pick(70) : depth < 5 ? pick(4) : 0;
        // The reader drops a text's leading blanks (CR and LF travel as entities).
        const std::u16string text = value();
        if (children == 0)
            e->setText(cs(text.substr(std::min(text.find_first_not_of(u" \t"), text.size()))));
        for (unsigned int i = 0; i < children; ++i)
            fill(e->addChild(cs(name())), depth + 1, wide && depth == 0 && i == 0);
    }
};

} // namespace

TEST(CXMLProperty, RandomTreesSurviveSaveAndParseAndTheirCutsFail)
{
    tagRandomTree random;
    for (int round = 0; round < 300; ++round) {
        CXMLParser parser;
        ASSERT_TRUE(parser.create(round % 2 ? CXMLParser::XML_ENCODING_UTF8 : CXMLParser::XML_ENCODING_UTF16));
        random.fill(parser.addRootElement(cs(random.name())), 0, round >= 40 && round % 8 == 0);
        for (bool formatted : {false, true}) {
            CString text;
            ASSERT_TRUE(parser.saveToString(text, formatted));
            CXMLParser back;
            ASSERT_TRUE(back.parseFromString(text)) << "round " << round;
            EXPECT_EQ(dump(back.getRootElement()), dump(parser.getRootElement())) << "round " << round;
            CString again;
            ASSERT_TRUE(back.saveToString(again, formatted));
            EXPECT_EQ(str(again), str(text));
            // The compact text ends with its root, so every cut of it fails, at a position.
            for (unsigned int n = 0; round < 40 && !formatted && n < text.length(); ++n) {
                EXPECT_FALSE(back.parseFromString(CString(text.buffer(), n))) << round << " cut at " << n;
                EXPECT_TRUE(errorOf(back).line >= 1 && errorOf(back).column >= 1) << round << " cut at " << n;
            }
        }
    }
}

// Nesting and name length are bounded: one past a bound fails at the
// offending unit; floods far past them and huge values never break the reader.
TEST(CXMLHostile, BoundsFloodsAndHugeValues)
{
    CXMLParser parser;
    const std::u16string longest(CXMLHelper::MAX_NAME_LENGTH, u'n'), tooLong = longest + u"n";
    for (const CString& ok : {repeated(u"<a>", CXMLHelper::MAX_DEPTH, u"</a>"), cs(u"<" + longest + u"/>"),
                              cs(u"<a " + longest + u"='v'/>"), cs(u"<a><" + longest + u"></" + longest + u"></a>")})
        EXPECT_TRUE(parser.parseFromString(ok));
    const std::pair<CString, unsigned int> refused[] = {
        {repeated(u"<a>", CXMLHelper::MAX_DEPTH + 1, u"</a>"), 3u * CXMLHelper::MAX_DEPTH + 1},
        {cs(u"<" + tooLong + u"/>"), 2u},
        {cs(u"<a " + tooLong + u"='v'/>"), 4u}};
    for (const auto& [text, column] : refused) {
        EXPECT_FALSE(parser.parseFromString(text) || parser.hasRootElement());
        EXPECT_EQ(errorOf(parser).column, column);
    }
    std::u16string big(10u << 20, u'v');
    big[12345] = u'&';
    for (const CString& flood : {repeated(u"<a x='1'>", 100000), repeated(u"<a>", 100000, u"</a>"),
                                 cs(u"<a " + std::u16string(100000, u'x')), cs(u"<a v='" + big), cs(u"<a>" + big)})
        EXPECT_FALSE(parser.parseFromString(flood));
    ASSERT_TRUE(parser.parseFromString(cs(u"<a v='" + big + u"'>" + big + u"</a>")));
    EXPECT_EQ(parser.getRootElement()->getAttributeString(u"v").length(), big.size());
    EXPECT_EQ(parser.getRootElement()->getText().length(), big.size());
}

// The reader scans whole blocks of units where a block stays within its
// page and goes unit by unit near a page end. A document ending at every
// position just before a page boundary must read exactly as anywhere else.
TEST(CXMLHostile, TextsEndingNearAPageBoundary)
{
    const std::u16string doc = u"<root  a=\"x&amp;y\" bb='&lt;q'>\r\n\t text &gt; more\t<c d=\"e\"/>\n</root>";
    alignas(4096) static char16_t block[2 * 2048]; // two pages
    std::fill(std::begin(block), std::end(block), char16_t(0x7F7F));
    for (size_t back = 1; back <= 48; ++back) {
        // The terminator sits `back` units before the end of the first page.
        char16_t* end = block + 2048 - back;
        std::copy(doc.begin(), doc.end(), end - doc.size());
        *end = 0;
        CXMLElement element;
        ASSERT_TRUE(element.parseFrom(end - doc.size())) << back;
        EXPECT_EQ(dump(&element), u"root{a=x&y,bb=<q}'text > more\t'[c{d=e}]") << back;
    }
}

#if defined(ECS_MEMORY_TESTING)
// The n-th allocation of a parse and of an element's save refused, for
// every n: each fails as a whole or gives the whole result, and nothing
// leaks. (Saving and reading files are swept in the foundation's
// allocation-failure sweep.)
TEST(CXMLHostile, EveryRefusedAllocationFailsCleanly)
{
    const CString text(u"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<r c=\"3\" b=\"2\" a=\"&lt;1\">"
                       u"\n\t<c x=\"1\"/>\n\t<c>u</c>\n</r>\n");
    unsigned int uiRefused = 1;
    for (int n = 0; uiRefused > 0; ++n) {
        std::u16string tree;
        MemTesting::failAllocationsAfter(n, 1);
        {
            CXMLParser parser;
            CString element;
            const bool bParsed = parser.parseFromString(text);
            const bool bSaved = bParsed && parser.getRootElement()->saveTo(element, false, false);
            MemTesting::stopRefusingAllocations();
            EXPECT_EQ(parser.hasRootElement(), bParsed) << n;
            EXPECT_TRUE(!bSaved || element == u"<r a=\"&lt;1\" b=\"2\" c=\"3\"><c x=\"1\"/><c>u</c></r>") << n;
            tree = bParsed ? dump(parser.getRootElement()) : u"r{a=<1,b=2,c=3}[c{x=1},c'u']";
        }
        uiRefused = MemTesting::getRefusedAllocations();
        EXPECT_EQ(MemTesting::getAllocationBalance(), 0) << n;
        MemTesting::failAllocationsAfter(-1);
        EXPECT_EQ(tree, u"r{a=<1,b=2,c=3}[c{x=1},c'u']") << n;
    }
}
#endif
