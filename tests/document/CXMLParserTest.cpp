#include <document/CXMLElement.h>
#include <document/CXMLHelper.h>
#include <document/CXMLParser.h>
#include <document/IXMLParserListener.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "document/DocumentTestUtil.h"

using namespace Trell;
using namespace DocumentTest;

namespace {

bool parse(CXMLParser& parser, const std::u16string& text)
{
    return parser.parseFromString(cs(text));
}

std::u16string cs16(unsigned int value)
{
    std::string digits = std::to_string(value);
    return std::u16string(digits.begin(), digits.end());
}

std::u16string saved(CXMLParser& parser, bool formatted)
{
    CString out;
    EXPECT_TRUE(parser.saveToString(out, formatted));
    return str(out);
}

} // namespace

// ---- Header -----------------------------------------------------------------

TEST(CXMLParserHeader, OptionalHeaderMeansUtf8AndEncodingsAreCaseInsensitive)
{
    const std::pair<const char16_t*, CXMLParser::EXMLEncoding> cases[] = {
        {u"<a/>", CXMLParser::XML_ENCODING_UTF8},
        {u" \r\n\t<a/>", CXMLParser::XML_ENCODING_UTF8},
        {u"<?xml version=\"1.0\" encoding=\"utf-16\"?>\n<a/>", CXMLParser::XML_ENCODING_UTF16},
        {u"<?xml version='1.0' encoding='Utf-8' ?><a/>", CXMLParser::XML_ENCODING_UTF8},
        // The quotes of a pseudo-attribute need not match.
        {u"<?xml version=\"1.0' encoding = 'UTF-8\"?><a/>", CXMLParser::XML_ENCODING_UTF8},
    };
    for (const auto& [text, encoding] : cases) {
        SCOPED_TRACE(std::string(text, text + std::u16string(text).size()));
        CXMLParser parser;
        ASSERT_TRUE(parse(parser, text));
        EXPECT_EQ(parser.getEncoding(), encoding);
        ASSERT_TRUE(parser.hasRootElement());
        EXPECT_EQ(str(parser.getRootElement()->getName()), u"a");
    }
}

// Every malformed text fails; where the column is known it is checked (0: not checked).
TEST(CXMLParserErrors, MalformedTextsFailAtTheirPosition)
{
    const std::pair<const char16_t*, unsigned int> cases[] = {
        // Headers.
        {u"<?xml version=\"1.0\"?><a/>", 20}, // where "encoding" should stand
        {u"<?xml version=\"1.1\" encoding=\"UTF-8\"?><a/>", 7}, // the version attribute
        {u"<?xml encoding=\"UTF-8\"?><a/>", 7},
        {u"<?xml version=\"1.0\" encoding=\"latin1\"?><a/>", 21},
        {u"<?xml version=\"1.0\" encoding=\"UTF-8\" ><a/>", 38},
        {u"<?xml version=\"1.0\" encoding=\"\"?><a/>", 0},
        // Names and tags.
        {u"<1a/>", 2}, {u"a", 1}, {u"", 1},
        {u"<a></b>", 5}, // the '/' that cannot start a child name
        {u"<a></a >", 0}, {u"<a></ab>", 0}, {u"<ab></a>", 0}, {u"<a>", 0}, {u"<a", 0}, {u"<a x='1'", 0},
        // Text only before the first child.
        {u"<a>hi<b/>there</a>", 10},
        // One comment after the start tag and one before the end tag, never a third, never before the root;
        // an unterminated one runs to the end of the text.
        {u"<a><!--1--><!--2--><!--3--></a>", 0}, {u"<a><b/><!--1--><!--2--></a>", 0}, {u"<!-- c --><a/>", 0},
        {u"<a><!-- never closed </a>", 0}, {u"<a><![CDATA[x]]></a>", 0}, {u"<!DOCTYPE a><a/>", 0},
        // Attributes.
        {u"<a v =\"1\"/>", 5}, {u"<a v=1/>", 6}, {u"<a =\"1\"/>", 0}, {u"<a v#=\"1\"/>", 0},
        {u"<a v=\"never closed/>", 0}, {u"<a v/>", 0},
    };
    for (const auto& [text, column] : cases) {
        SCOPED_TRACE(std::string(text, text + std::u16string(text).size()));
        CXMLParser parser;
        EXPECT_FALSE(parse(parser, text));
        EXPECT_FALSE(parser.hasRootElement());
        EXPECT_EQ(errorOf(parser).line, 1u);
        if (column != 0) {
            EXPECT_EQ(errorOf(parser).column, column);
        }
    }
    CXMLParser parser;
    EXPECT_FALSE(parse(parser, u"<?xml version=\"1.0\" encoding=\"latin1\"?><a/>"));
    EXPECT_EQ(parser.getEncoding(), CXMLParser::XML_ENCODING_NONE);
    EXPECT_FALSE(parse(parser, u"<a>hi<b/>there</a>"));
    EXPECT_EQ(errorOf(parser).text, u"<a>hi<b/>there</a>");
}

// ---- Elements ---------------------------------------------------------------

TEST(CXMLParserElements, NamesNestingAndTrailingText)
{
    CXMLParser parser;
    ASSERT_TRUE(parse(parser, u"<_r.o-o:t1><c1/><c2 ></c2>\n\t<c3>x</c3></_r.o-o:t1>"));
    CXMLElement* root = parser.getRootElement();
    EXPECT_EQ(str(root->getName()), u"_r.o-o:t1");
    ASSERT_EQ(root->getChildCount(), 3u);
    EXPECT_EQ(str(root->getChildByIndex(0)->getName()), u"c1");
    EXPECT_EQ(str(root->getChildByIndex(2)->getText()), u"x");
    EXPECT_EQ(root->getChildByIndex(2)->getParent(), root);
    EXPECT_EQ(root->getChildByIndex(2)->getParser(), &parser);
    EXPECT_EQ(root->getChildByIndex(2)->getLevel(), 1u);
    ASSERT_TRUE(parse(parser, u"<a></a>trailing text is ignored"));
}

// Children are collected while their parent is open and handed over in one
// array at its end tag; lists longer than that collection's first block, and
// nested lists growing it further, must keep every element, its order and
// its parent. The formatted save of the result reproduces the source.
TEST(CXMLParserElements, LongAndNestedChildListsKeepOrderAndParents)
{
    for (unsigned int width : {0u, 1u, 63u, 64u, 65u, 127u, 128u, 129u, 700u}) {
        std::u16string text = u"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<root>\n";
        if (width == 0)
            text = u"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<root/>\n";
        for (unsigned int i = 0; i < width; ++i) {
            const std::u16string name = u"c" + cs16(i);
            const unsigned int grandchildren = (i * 37) % 150;
            if (grandchildren == 0) {
                text += u"\t<" + name + u" i=\"" + cs16(i) + u"\"/>\n";
                continue;
            }
            text += u"\t<" + name + u">\n";
            for (unsigned int j = 0; j < grandchildren; ++j)
                text += u"\t\t<g" + cs16(j) + u">" + cs16(i) + u"</g" + cs16(j) + u">\n";
            text += u"\t</" + name + u">\n";
        }
        if (width > 0)
            text += u"</root>\n";
        CXMLParser parser;
        ASSERT_TRUE(parse(parser, text)) << width;
        CXMLElement* root = parser.getRootElement();
        ASSERT_EQ(root->getChildCount(), width);
        for (unsigned int i = 0; i < width; ++i) {
            CXMLElement* child = root->getChildByIndex(i);
            ASSERT_EQ(child->getParent(), root);
            EXPECT_EQ(str(child->getName()), u"c" + cs16(i));
            ASSERT_EQ(child->getChildCount(), (i * 37) % 150);
            for (unsigned int j = 0; j < child->getChildCount(); ++j)
                ASSERT_EQ(child->getChildByIndex(j)->getParent(), child);
        }
        EXPECT_EQ(saved(parser, true), text) << width;
        // The same text cut before its last end tag fails as a whole.
        if (width > 0) {
            EXPECT_FALSE(parse(parser, text.substr(0, text.size() - 8))) << width;
            EXPECT_FALSE(parser.hasRootElement());
        }
    }
}

TEST(CXMLParserElements, TextOnlyBeforeTheFirstChild)
{
    CXMLParser parser;
    ASSERT_TRUE(parse(parser, u"<a>  hi there \t<b/></a>"));
    // Leading blanks are not part of the text, trailing ones are.
    EXPECT_EQ(str(parser.getRootElement()->getText()), u"hi there \t");
    EXPECT_EQ(parser.getRootElement()->getChildCount(), 1u);

    ASSERT_TRUE(parse(parser, u"<a>x &gt; y &amp;&unknown; &#65;</a>"));
    EXPECT_EQ(str(parser.getRootElement()->getText()), u"x > y &&unknown; &#65;");
}

TEST(CXMLParserElements, CommentsOnlyWhereAllowed)
{
    CXMLParser parser;
    ASSERT_TRUE(parse(parser, u"<a> <!-- c --> text<!--d--><b/> <!-- e --> <c/><!-- f --></a>"));
    EXPECT_EQ(str(parser.getRootElement()->getText()), u"text");
    EXPECT_EQ(parser.getRootElement()->getChildCount(), 2u);

    // One after the start tag and one before the end tag.
    EXPECT_TRUE(parse(parser, u"<a><!--1--><!--2--></a>"));
}

// ---- Attributes -------------------------------------------------------------

TEST(CXMLParserAttributes, SortedFirstOfDuplicateKept)
{
    CXMLParser parser;
    ASSERT_TRUE(parse(parser, u"<a z=\"3\" x='1' y=\"\" x=\"2\"/>"));
    CXMLElement* root = parser.getRootElement();
    ASSERT_EQ(root->getAttributeCount(), 3u);
    EXPECT_EQ(str(root->getAttributeNameByIndex(0)), u"x");
    EXPECT_EQ(str(root->getAttributeNameByIndex(1)), u"y");
    EXPECT_EQ(str(root->getAttributeNameByIndex(2)), u"z");
    EXPECT_EQ(root->getAttributeInt(u"x", -1), 1);
    EXPECT_TRUE(root->hasAttribute(u"y"));
    EXPECT_EQ(str(root->getAttributeString(u"y", u"dflt")), u"");
}

// Attributes are entered into the map in batches; whatever the count, order
// and repetition of names, the map holds the first value of every name, in
// name order, and stays a valid balanced tree.
TEST(CXMLParserAttributes, AnyCountAndOrderKeepsTheFirstOfEachName)
{
    // Prefixes of one another, upper case before lower, and a non-ASCII-free
    // spread of lengths, so that the name order is exercised at every unit.
    std::vector<std::u16string> pool = {u"a", u"ab", u"abc", u"abd", u"B", u"b", u"b_", u"b-", u"b.", u"b:"};
    for (int i = 0; i < 60; ++i)
        pool.push_back(u"n" + std::u16string(1, char16_t(u'a' + i % 26)) + std::u16string(size_t(i / 26), u'0'));
    std::mt19937 rng(4711);
    CXMLParser parser;
    for (int round = 0; round < 400; ++round) {
        const unsigned int count = rng() % 100;
        const unsigned int spread = 1 + rng() % unsigned(pool.size());
        std::vector<std::pair<std::u16string, std::u16string>> attributes;
        for (unsigned int i = 0; i < count; ++i)
            attributes.push_back({pool[rng() % spread], u"v" + std::u16string(1, char16_t(u'0' + i % 10)) +
                                                            (i % 7 ? u"" : u"&amp;")});
        if (round % 4 == 1)
            std::stable_sort(attributes.begin(), attributes.end(),
                             [](const auto& a, const auto& b) { return a.first < b.first; });
        else if (round % 4 == 2)
            std::stable_sort(attributes.begin(), attributes.end(),
                             [](const auto& a, const auto& b) { return a.first > b.first; });
        std::map<std::u16string, std::u16string> reference;
        std::u16string text = u"<r";
        for (const auto& a : attributes) {
            reference.emplace(a.first, a.second);
            text += u" " + a.first + u"=\"" + a.second + u"\"";
        }
        text += u"/>";
        ASSERT_TRUE(parse(parser, text)) << "round " << round;
        const CXMLElement* root = parser.getRootElement();
        ASSERT_EQ(root->getAttributeCount(), reference.size()) << "round " << round;
        EXPECT_TRUE(root->getAttributes().checkInvariants()) << "round " << round;
        unsigned int index = 0;
        for (const auto& entry : reference) {
            EXPECT_EQ(str(root->getAttributeNameByIndex(index++)), entry.first) << "round " << round;
            std::u16string decoded = entry.second;
            if (decoded.size() > 2)
                decoded = decoded.substr(0, 2) + u"&";
            EXPECT_EQ(str(root->getAttributeString(entry.first.c_str())), decoded) << "round " << round;
        }
    }
}

TEST(CXMLParserAttributes, QuotesAndEquals)
{
    CXMLParser parser;
    // Opened with a single quote, closed by the double quote.
    ASSERT_TRUE(parse(parser, u"<a v='it\"/>"));
    EXPECT_EQ(str(parser.getRootElement()->getAttributeString(u"v")), u"it");
    ASSERT_TRUE(parse(parser, u"<a v=  \"1\"w='2'/>"));
    EXPECT_EQ(parser.getRootElement()->getAttributeCount(), 2u);
}

TEST(CXMLParserAttributes, EntitiesDecoded)
{
    CXMLParser parser;
    ASSERT_TRUE(parse(parser, u"<a v=\"&lt;&gt;&amp;&quot;&apos;&cr;&lf;&AMP;&\"/>"));
    EXPECT_EQ(str(parser.getRootElement()->getAttributeString(u"v")), u"<>&\"'\r\n&AMP;&");
}

// ---- Error position ---------------------------------------------------------

TEST(CXMLParserErrors, LinesCountEveryKindOfBreak)
{
    CXMLParser parser;
    EXPECT_FALSE(parse(parser, u"<a>\r\n<b/>\r<c/>\n  <d></x></a>"));
    tagErrorPos pos = errorOf(parser);
    EXPECT_EQ(pos.line, 4u);
    EXPECT_EQ(pos.column, 7u);
    EXPECT_EQ(pos.text, u"  <d></x></a>");

    // A successful parse clears the error state.
    ASSERT_TRUE(parse(parser, u"<a/>"));
    EXPECT_EQ(errorOf(parser).line, 0u);
    EXPECT_EQ(errorOf(parser).text, u"");

    EXPECT_FALSE(parse(parser, u"<a>\n"));
    pos = errorOf(parser);
    EXPECT_EQ(pos.line, 2u);
    EXPECT_EQ(pos.column, 1u);
    EXPECT_EQ(pos.text, u"");
}

// ---- Saving -----------------------------------------------------------------

TEST(CXMLParserSave, CompactAndFormattedExactly)
{
    CXMLParser parser;
    ASSERT_TRUE(parser.create(CXMLParser::XML_ENCODING_UTF8));
    CXMLElement* root = parser.addRootElement(u"root");
    root->setAttribute(u"b", u"2");
    root->setAttribute(u"a", u"x<y\n");
    root->setAttribute(u"e", u"");
    CXMLElement* child = root->addChild(u"child");
    child->setText(u"t&\"'");
    child->addChild(u"leaf");
    root->addChild(u"empty")->setText(u"");
    root->addChild(u"text")->setText(u" t ");
    root->setText(u"never written");

    EXPECT_EQ(saved(parser, false),
              u"<?xml version=\"1.0\" encoding=\"UTF-8\"?><root a=\"x&lt;y&lf;\" b=\"2\" e=\"\">"
              u"<child><leaf/></child><empty/><text> t </text></root>");
    EXPECT_EQ(saved(parser, true),
              u"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<root a=\"x&lt;y&lf;\" b=\"2\" e=\"\">\n"
              u"\t<child>\n\t\t<leaf/>\n\t</child>\n\t<empty/>\n\t<text> t </text>\n</root>\n");

    CString out = u"keep:";
    ASSERT_TRUE(child->saveTo(out, true, true));
    EXPECT_EQ(str(out), u"keep:\t<child>\n\t\t<leaf/>\n\t</child>\n");
    ASSERT_TRUE(child->getChildByIndex(0)->saveTo(out, false, false));
    EXPECT_EQ(str(out), u"<leaf/>");
}

TEST(CXMLParserSave, HeadersAndRefusals)
{
    CXMLParser parser;
    CString out = u"unchanged";
    EXPECT_FALSE(parser.saveToString(out, false));
    EXPECT_EQ(str(out), u"unchanged");
    EXPECT_FALSE(parser.create(CXMLParser::XML_ENCODING_NONE));

    ASSERT_TRUE(parser.create(CXMLParser::XML_ENCODING_UTF16));
    EXPECT_EQ(saved(parser, true), u"<?xml version=\"1.0\" encoding=\"UTF-16\"?>\n");

    // An element without a name cannot be written.
    CXMLElement* root = parser.addRootElement(u"r");
    root->addChild(u"");
    EXPECT_FALSE(parser.saveToString(out, false));
    EXPECT_FALSE(root->saveTo(out, false, false));
    EXPECT_EQ(str(out), u"unchanged");
}

// ---- Files ------------------------------------------------------------------

TEST(CXMLParserFiles, RoundTripUtf8AndUtf16)
{
    TempFolder folder;
    for (CXMLParser::EXMLEncoding encoding : {CXMLParser::XML_ENCODING_UTF8, CXMLParser::XML_ENCODING_UTF16}) {
        CXMLParser parser;
        ASSERT_TRUE(parser.create(encoding));
        CXMLElement* root = parser.addRootElement(u"doc");
        root->setAttribute(u"name", u"\u4e2d\u6587 \u00e9\r\n\U0001F600");
        root->addChild(u"c")->setText(u"\u20ac & more");
        const bool utf8 = encoding == CXMLParser::XML_ENCODING_UTF8;
        const CString path = folder.path(utf8 ? "a8.xml" : "sub/a16.xml");
        ASSERT_TRUE(parser.saveToFile(path, true));

        std::vector<unsigned char> bytes = readBytes(folder.native(utf8 ? "a8.xml" : "sub/a16.xml"));
        ASSERT_GT(bytes.size(), 4u);
        const std::vector<unsigned char> start =
            utf8 ? std::vector<unsigned char>{0xEF, 0xBB, 0xBF, '<'} : std::vector<unsigned char>{0xFF, 0xFE, '<', 0};
        EXPECT_EQ(std::vector<unsigned char>(bytes.begin(), bytes.begin() + 4), start);

        CXMLParser back;
        ASSERT_TRUE(back.parseFromFile(path));
        EXPECT_EQ(back.getEncoding(), encoding);
        EXPECT_EQ(str(back.getRootElement()->getAttributeString(u"name")), u"\u4e2d\u6587 \u00e9\r\n\U0001F600");
        EXPECT_EQ(str(back.getRootElement()->getSingleChild(u"c")->getText()), u"\u20ac & more");
    }
}

TEST(CXMLParserFiles, LoadRules)
{
    TempFolder folder;
    CXMLParser parser;
    // Missing and too short files.
    EXPECT_FALSE(parser.parseFromFile(folder.path("missing.xml")));
    EXPECT_EQ(errorOf(parser).line, 1u);
    EXPECT_EQ(errorOf(parser).column, 0u);
    writeBytes(folder.native("short.xml"), bytesOf("<a>"));
    EXPECT_FALSE(parser.parseFromFile(folder.path("short.xml")));
    EXPECT_EQ(errorOf(parser).column, 0u);
    writeBytes(folder.native("four.xml"), bytesOf("<a/>"));
    EXPECT_TRUE(parser.parseFromFile(folder.path("four.xml")));

    // UTF-16LE with its mark, odd trailing byte ignored.
    writeBytes(folder.native("le.xml"), {0xFF, 0xFE, '<', 0, 'b', 0, '/', 0, '>', 0, 'x'});
    ASSERT_TRUE(parser.parseFromFile(folder.path("le.xml")));
    EXPECT_EQ(str(parser.getRootElement()->getName()), u"b");

    // Big-endian text reads as an empty document.
    writeBytes(folder.native("be.xml"), {0xFE, 0xFF, 0, '<', 0, 'b', 0, '/', 0, '>'});
    EXPECT_FALSE(parser.parseFromFile(folder.path("be.xml")));
    EXPECT_EQ(errorOf(parser).line, 1u);
    EXPECT_EQ(errorOf(parser).column, 1u);

    // UTF-8 with and without its mark.
    writeBytes(folder.native("bom.xml"), {0xEF, 0xBB, 0xBF, '<', 'c', '/', '>'});
    ASSERT_TRUE(parser.parseFromFile(folder.path("bom.xml")));
    EXPECT_EQ(str(parser.getRootElement()->getName()), u"c");
}

TEST(CXMLParserFiles, UpdateFileReplacesText)
{
    TempFolder folder;
    CXMLParser parser;
    ASSERT_TRUE(parser.create(CXMLParser::XML_ENCODING_UTF16));
    CXMLElement* root = parser.addRootElement(u"cfg");
    root->setAttribute(u"v", u"old-old");
    CString path = folder.path("u.xml");
    ASSERT_TRUE(parser.saveToFile(path, false));

    CDataArray<CString> from, to;
    EXPECT_TRUE(parser.updateFile(path, from, to)); // nothing to do
    from.add(u"old");
    EXPECT_FALSE(parser.updateFile(path, from, to)); // counts differ
    to.add(u"new");
    from.add(u"cfg");
    to.add(u"conf");
    ASSERT_TRUE(parser.updateFile(path, from, to));
    EXPECT_FALSE(parser.hasRootElement());

    CXMLParser back;
    ASSERT_TRUE(back.parseFromFile(path));
    EXPECT_EQ(back.getEncoding(), CXMLParser::XML_ENCODING_UTF16);
    EXPECT_EQ(str(back.getRootElement()->getName()), u"conf");
    EXPECT_EQ(str(back.getRootElement()->getAttributeString(u"v")), u"new-new");

    EXPECT_FALSE(parser.updateFile(folder.path("missing.xml"), from, to));
    writeBytes(folder.native("bad.xml"), bytesOf("<?xml version=\"2\"?><a/>"));
    EXPECT_FALSE(parser.updateFile(folder.path("bad.xml"), from, to));
}

TEST(CXMLParserStream, Utf8WithMarkAndInvalidBytes)
{
    CXMLParser parser;
    const unsigned char withMark[] = {0xEF, 0xBB, 0xBF, '<', 'a', ' ', 'v', '=', '"', 0xC3, 0xA9, '"', '/', '>', 0};
    ASSERT_TRUE(parser.parseFromStream(withMark));
    EXPECT_EQ(str(parser.getRootElement()->getAttributeString(u"v")), u"\u00e9");
    // Stray continuation bytes are dropped by the decoder.
    const unsigned char stray[] = {'<', 'a', 0x80, 0xBF, '/', '>', 0};
    EXPECT_TRUE(parser.parseFromStream(stray));
    const unsigned char cut[] = {'<', 'a', '>', 0xE2, 0x82, 0};
    EXPECT_FALSE(parser.parseFromStream(cut));
    EXPECT_FALSE(parser.parseFromStream(nullptr));
}

// ---- Listener ---------------------------------------------------------------

namespace {
struct CountingListener : public IXMLParserListener
{
    int iCalls = 0;
    CXMLParser* pLast = nullptr;
    void onXMLDataChanged(CXMLParser* parser) override
    {
        ++iCalls;
        pLast = parser;
    }
};
} // namespace

TEST(CXMLParserListener, EditsNotifyParsingDoesNot)
{
    CXMLParser parser;
    CountingListener listener;
    parser.setListener(&listener);
    ASSERT_TRUE(parse(parser, u"<a x='1'><b/></a>"));
    EXPECT_EQ(listener.iCalls, 0);

    CXMLElement* root = parser.getRootElement();
    root->setAttribute(u"x", u"1"); // unchanged
    root->setAttribute(u"x", 1);    // unchanged
    EXPECT_EQ(listener.iCalls, 0);
    root->setAttribute(u"x", 2);
    EXPECT_EQ(listener.iCalls, 1);
    EXPECT_EQ(listener.pLast, &parser);
    root->setText(u"");
    EXPECT_EQ(listener.iCalls, 1);
    root->setText(u"t");
    root->addChild(u"c");
    root->deleteChild(0u);
    root->deleteAttribute(u"x");
    root->deleteAttribute(u"x"); // nothing to delete
    EXPECT_EQ(listener.iCalls, 5);
    parser.create(CXMLParser::XML_ENCODING_UTF16);
    EXPECT_EQ(listener.iCalls, 6);
    parser.setListener(nullptr);
    parser.addRootElement(u"r");
    EXPECT_EQ(listener.iCalls, 6);
}

// ---- Helper -------------------------------------------------------------------

namespace {

std::u16string referenceEncode(const std::u16string& plain)
{
    std::u16string out;
    for (char16_t c : plain) {
        switch (c) {
        case u'&': out += u"&amp;"; break;
        case u'<': out += u"&lt;"; break;
        case u'>': out += u"&gt;"; break;
        case u'"': out += u"&quot;"; break;
        case u'\'': out += u"&apos;"; break;
        case u'\r': out += u"&cr;"; break;
        case u'\n': out += u"&lf;"; break;
        default: out += c;
        }
    }
    return out;
}

std::u16string referenceDecode(const std::u16string& text)
{
    static const std::pair<std::u16string, char16_t> entities[] = {
        {u"&amp;", u'&'}, {u"&lt;", u'<'}, {u"&gt;", u'>'}, {u"&quot;", u'"'},
        {u"&apos;", u'\''}, {u"&cr;", u'\r'}, {u"&lf;", u'\n'}};
    std::u16string out;
    for (size_t i = 0; i < text.size();) {
        bool matched = false;
        for (const auto& e : entities) {
            if (text.compare(i, e.first.size(), e.first) == 0) {
                out += e.second;
                i += e.first.size();
                matched = true;
                break;
            }
        }
        if (!matched)
            out += text[i++];
    }
    return out;
}

} // namespace

// Encoding and decoding scan blocks of units: a special character or an
// entity at any offset of any length, and entities cut off by the end of
// the text, give what a unit-by-unit reference gives, in both directions
// and through the reader's values and texts.
TEST(CXMLHelperTest, SpecialCharactersAtEveryOffset)
{
    const std::u16string specials = u"&<>\"'\r\n";
    const std::u16string pieces[] = {u"&amp;", u"&lt;", u"&gt;", u"&quot;", u"&apos;", u"&cr;", u"&lf;",
                                     u"&am", u"&l", u"&quo", u"&", u"&apos", u"&lf"};
    CXMLParser parser;
    CString out;
    for (unsigned int length = 0; length <= 40; ++length) {
        for (unsigned int at = 0; at <= length; ++at) {
            for (char16_t special : specials) {
                std::u16string plain(length, u'x');
                if (at < length)
                    plain[at] = special;
                const std::u16string encoded = referenceEncode(plain);
                CXMLHelper::encodeSpecialChars(plain.c_str(), length, out);
                ASSERT_EQ(str(out), encoded) << length << " " << at;
                ASSERT_EQ(CXMLHelper::getEncodedLength(plain.c_str(), length), encoded.size());
                CXMLHelper::decodeSpecialChars(encoded.c_str(), unsigned(encoded.size()), out);
                ASSERT_EQ(str(out), plain);
            }
            for (const std::u16string& piece : pieces) {
                std::u16string text = std::u16string(at, u'y') + piece + std::u16string(length - at, u'z');
                CXMLHelper::decodeSpecialChars(text.c_str(), unsigned(text.size()), out);
                ASSERT_EQ(str(out), referenceDecode(text)) << length << " " << at;
                // The value and the text end right after the piece too.
                const std::u16string cut = std::u16string(at, u'y') + piece;
                ASSERT_TRUE(parse(parser, u"<a v='" + text + u"' w=\"" + cut + u"\">" + cut + u"<b/></a>"));
                const CXMLElement* root = parser.getRootElement();
                ASSERT_EQ(str(root->getAttributeString(u"v")), referenceDecode(text));
                ASSERT_EQ(str(root->getAttributeString(u"w")), referenceDecode(cut));
                ASSERT_EQ(str(root->getText()), referenceDecode(cut));
            }
        }
    }
}

TEST(CXMLHelperTest, ReadTag)
{
    CString out = u"keep";
    const char16_t* text = u"  version = '1.0\" rest";
    const char16_t* next = CXMLHelper::readTag(text, u"version", out);
    ASSERT_NE(next, nullptr);
    EXPECT_EQ(std::u16string(next), u" rest");
    EXPECT_EQ(str(out), u"1.0");

    out = u"keep";
    EXPECT_NE(CXMLHelper::readTag(u"v=''", u"v", out), nullptr);
    EXPECT_EQ(str(out), u"keep"); // an empty value leaves it untouched
    EXPECT_EQ(CXMLHelper::readTag(u"versionx='1'", u"version", out), nullptr);
    EXPECT_EQ(CXMLHelper::readTag(u"v='open", u"v", out), nullptr);
    EXPECT_EQ(CXMLHelper::readTag(u"v 1", u"v", out), nullptr);
    EXPECT_EQ(CXMLHelper::readTag(u"v=1", u"v", out), nullptr);
    EXPECT_EQ(CXMLHelper::readTag(nullptr, u"v", out), nullptr);
    EXPECT_EQ(CXMLHelper::skipBlank(nullptr), nullptr);
    EXPECT_EQ(std::u16string(CXMLHelper::skipBlank(u" \t\r\nx ")), u"x ");
}

TEST(CXMLHelperTest, SpecialCharactersBothWays)
{
    const std::u16string plain = u"a&<>\"'\r\nb\u00e9";
    const std::u16string encoded = u"a&amp;&lt;&gt;&quot;&apos;&cr;&lf;b\u00e9";
    CString out;
    CXMLHelper::encodeSpecialChars(plain.c_str(), unsigned(plain.size()), out);
    EXPECT_EQ(str(out), encoded);
    EXPECT_EQ(CXMLHelper::getEncodedLength(plain.c_str(), unsigned(plain.size())), encoded.size());
    CXMLHelper::decodeSpecialChars(encoded.c_str(), unsigned(encoded.size()), out);
    EXPECT_EQ(str(out), plain);
    // One pass only, and unknown or cut entities stay literal.
    const std::u16string tricky = u"&amp;lt; &LT; &#60; &lf &";
    CXMLHelper::decodeSpecialChars(tricky.c_str(), unsigned(tricky.size()), out);
    EXPECT_EQ(str(out), u"&lt; &LT; &#60; &lf &");
    CXMLHelper::decodeSpecialChars(u"&lf;", 3, out);
    EXPECT_EQ(str(out), u"&lf");
}
