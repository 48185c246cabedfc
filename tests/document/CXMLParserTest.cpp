#include <document/CXMLElement.h>
#include <document/CXMLHelper.h>
#include <document/CXMLParser.h>
#include <document/IXMLParserListener.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "document/DocumentTestUtil.h"

using namespace Trell;
using namespace DocumentTest;

namespace {

std::u16string saved(CXMLParser& parser, bool formatted)
{
    CString out;
    EXPECT_TRUE(parser.saveToString(out, formatted));
    return str(out);
}

constexpr CXMLParser::EXMLEncoding UTF8 = CXMLParser::XML_ENCODING_UTF8;
constexpr CXMLParser::EXMLEncoding UTF16 = CXMLParser::XML_ENCODING_UTF16;

} // namespace

// Each accepted text and the tree it gives (see dump).
TEST(CXMLParserRead, AcceptedTextsGiveTheirTree)
{
    const std::tuple<const char16_t*, CXMLParser::EXMLEncoding, const char16_t*> cases[] = {
        // The header is optional; encodings compare without case; the quotes
        // of a pseudo-attribute need not match.
        {u" \r\n\t<a/>", UTF8, u"a"},
        {u"<?xml version=\"1.0\" encoding=\"utf-16\"?>\n<a/>", UTF16, u"a"},
        {u"<?xml version='1.0' encoding='Utf-8' ?><a/>", UTF8, u"a"},
        {u"<?xml version=\"1.0' encoding = 'UTF-8\"?><a/>", UTF8, u"a"},
        // Names, nesting, whatever follows the root.
        {u"<_r.o-o:t1><c1/><c2 ></c2>\n\t<c3>x</c3></_r.o-o:t1> trailing", UTF8, u"_r.o-o:t1[c1,c2,c3'x']"},
        {u"<axml/>", UTF8, u"axml"}, // no header, though its name ends like one
        // Text only before the first child: leading blanks dropped, trailing kept.
        {u"<a>  hi there \t<b/></a>", UTF8, u"a'hi there \t'[b]"},
        // One comment after the start tag, one before each child and the end tag.
        {u"<a> <!-- c --> text<!--d--><b/> <!-- e --> <c/><!-- f --></a>", UTF8, u"a'text'[b,c]"},
        // Only "-->" ends a comment.
        {u"<a><!-- a-b--c -> --><b/></a>", UTF8, u"a[b]"},
        // Attributes sorted by name, the first of a repeated name kept.
        {u"<a z=\"3\" x='1' y=\"\" x=\"2\"/>", UTF8, u"a{x=1,y=,z=3}"},
        // A value opened by one kind of quote ends at the next of either kind.
        {u"<a v='it\"/>", UTF8, u"a{v=it}"},
        {u"<a v=  \"1\"w='2'/>", UTF8, u"a{v=1,w=2}"},
        // Deliberately lax: the unit after an attribute name stands for '='.
        {u"<a v/'x'/>", UTF8, u"a{v=x}"},
    };
    for (const auto& [text, encoding, tree] : cases) {
        CXMLParser parser;
        ASSERT_TRUE(parser.parseFromString(text)) << narrow(text);
        EXPECT_EQ(parser.getEncoding(), encoding);
        EXPECT_EQ(dump(parser.getRootElement()), tree);
    }
}

// Every malformed text fails, with the line and column of the offending unit.
TEST(CXMLParserRead, MalformedTextsFailAtTheirPosition)
{
    // clang-format off
    const std::tuple<const char16_t*, unsigned int, unsigned int> cases[] = {
        // Headers.
        {u"<?xml version=\"1.0\"?><a/>", 1, 20}, // where "encoding" should stand
        {u"<?xml version=\"1.1\" encoding=\"UTF-8\"?><a/>", 1, 7}, // the version attribute
        {u"<?xml encoding=\"UTF-8\"?><a/>", 1, 7},
        {u"<?xml version=\"1.0\" encoding=\"latin1\"?><a/>", 1, 21},
        {u"<?xml version=\"1.0\" encoding=\"UTF-8\" ><a/>", 1, 38},
        {u"<?xml version=\"1.0\" encoding=\"UTF-8\"?<a/>", 1, 37},
        {u"<?xml version=\"1.0\" encoding=\"\"?><a/>", 1, 21},
        // Names and tags; every kind of line break counts once.
        {u"<1a/>", 1, 2}, {u"a", 1, 1}, {u"", 1, 1}, {u"<a", 1, 3}, {u"<a>", 1, 4}, {u"<a>  ", 1, 6},
        {u"<a></b>", 1, 5}, {u"<a></a >", 1, 5}, {u"<a></ab>", 1, 5}, {u"<ab></a>", 1, 6},
        {u"<a x='1'", 1, 9}, {u"<a x='1' /", 1, 10}, {u"<a>\n", 2, 1},
        {u"<a>\r\n<b/>\r<c/>\n  <d></x></a>", 4, 7},
        // Text only before the first child.
        {u"<a>hi<b/>there</a>", 1, 10},
        // One comment after the start tag and one before each child or the end tag, never before the
        // root; an unterminated one runs to the end of the text.
        {u"<a><!--1--><!--2--><!--3--></a>", 1, 21}, {u"<a><b/><!--1--><!--2--></a>", 1, 17},
        {u"<!-- c --><a/>", 1, 2}, {u"<a><!-- never closed </a>", 1, 26}, {u"<a><![CDATA[x]]></a>", 1, 5},
        {u"<!DOCTYPE a><a/>", 1, 2},
        // Attributes.
        {u"<a v =\"1\"/>", 1, 5}, {u"<a v=1/>", 1, 6}, {u"<a =\"1\"/>", 1, 4}, {u"<a v#=\"1\"/>", 1, 5},
        {u"<a v=\"never closed/>", 1, 21}, {u"<a v/>", 1, 6},
    };
    // clang-format on
    for (const auto& [text, line, column] : cases) {
        CXMLParser parser;
        EXPECT_FALSE(parser.parseFromString(text) || parser.hasRootElement()) << narrow(text);
        EXPECT_EQ(errorOf(parser).line, line) << narrow(text);
        EXPECT_EQ(errorOf(parser).column, column) << narrow(text);
    }
    CXMLParser parser;
    EXPECT_FALSE(parser.parseFromString(u"<a>\r\n<b/>\r<c/>\n  <d></x></a>"));
    EXPECT_EQ(errorOf(parser).text, u"  <d></x></a>");
    // A successful parse clears the error state.
    ASSERT_TRUE(parser.parseFromString(u"<a/>"));
    EXPECT_TRUE(errorOf(parser).line == 0u && errorOf(parser).text.empty());
}

TEST(CXMLParserSave, CompactAndFormattedExactly)
{
    CXMLParser parser;
    CString out = u"unchanged";
    EXPECT_FALSE(parser.saveToString(out, false)); // no encoding yet
    EXPECT_FALSE(parser.create(CXMLParser::XML_ENCODING_NONE));
    ASSERT_TRUE(parser.create(UTF8));
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

    EXPECT_EQ(saved(parser, false), u"<?xml version=\"1.0\" encoding=\"UTF-8\"?><root a=\"x&lt;y&lf;\" b=\"2\" e=\"\">"
                                    u"<child><leaf/></child><empty/><text> t </text></root>");
    EXPECT_EQ(saved(parser, true),
              u"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<root a=\"x&lt;y&lf;\" b=\"2\" e=\"\">\n"
              u"\t<child>\n\t\t<leaf/>\n\t</child>\n\t<empty/>\n\t<text> t </text>\n</root>\n");

    out = u"keep:";
    ASSERT_TRUE(child->saveTo(out, true, true));
    EXPECT_EQ(str(out), u"keep:\t<child>\n\t\t<leaf/>\n\t</child>\n");
    ASSERT_TRUE(child->getChildByIndex(0)->saveTo(out, false, false));
    EXPECT_EQ(str(out), u"<leaf/>");

    // An element without a name cannot be written, nor can its ancestors.
    child->getChildByIndex(0)->addChild(u"");
    EXPECT_FALSE(parser.saveToString(out, false));
    EXPECT_FALSE(root->saveTo(out, false, false));
    EXPECT_EQ(str(out), u"<leaf/>");
}

TEST(CXMLParserFiles, RoundTripUtf8AndUtf16)
{
    CTempFolder folder;
    const std::u16string value = u"\u4e2d\u6587 \u00e9\r\n\U0001F600";
    for (CXMLParser::EXMLEncoding encoding : {UTF8, UTF16}) {
        CXMLParser parser;
        ASSERT_TRUE(parser.create(encoding));
        CXMLElement* root = parser.addRootElement(u"doc");
        root->setAttribute(u"name", cs(value));
        root->addChild(u"c")->setText(u"\u20ac & more");
        const std::string name = encoding == UTF8 ? "a8.xml" : "sub/a16.xml";
        ASSERT_TRUE(parser.saveToFile(folder.path(name), true));

        // Byte-identical to the formatted text behind its byte-order mark; in UTF-8 the two halves of a
        // surrogate pair are two sequences.
        const std::u16string text = saved(parser, true);
        const std::string expected = encoding == UTF16
                                         ? utf16le(text)
                                         : "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                           "<doc name=\"\xE4\xB8\xAD\xE6\x96\x87 \xC3\xA9&cr;&lf;"
                                           "\xED\xA0\xBD\xED\xB8\x80\">\n\t<c>\xE2\x82\xAC &amp; more</c>\n</doc>\n";
        EXPECT_EQ(folder.readFile(name), expected);

        CXMLParser back;
        ASSERT_TRUE(back.parseFromFile(folder.path(name)));
        EXPECT_EQ(back.getEncoding(), encoding);
        EXPECT_EQ(saved(back, true), text);
    }
}

TEST(CXMLParserFiles, LoadRules)
{
    CTempFolder folder;
    CXMLParser parser;
    // Missing and too short files report line 1, column 0.
    EXPECT_FALSE(parser.parseFromFile(folder.path("missing.xml")));
    EXPECT_TRUE(errorOf(parser).line == 1u && errorOf(parser).column == 0u);
    const std::pair<std::string, const char16_t*> files[] = {
        {"<a/>", u"a"},
        {"\xEF\xBB\xBF<c/>", u"c"},
        // Invalid bytes where a mark would stand are no mark: the decoder drops them.
        {"<a\xBF/>", u"a"},
        // UTF-16LE with its mark, an odd trailing byte ignored.
        {std::string("\xFF\xFE<\0b\0/\0>\0x", 11), u"b"},
        // Big-endian text reads as an empty document.
        {std::string("\xFE\xFF\0<\0b\0/\0>", 10), nullptr},
    };
    for (const auto& [bytes, tree] : files) {
        folder.writeFile("f.xml", bytes);
        EXPECT_EQ(parser.parseFromFile(folder.path("f.xml")), tree != nullptr);
        EXPECT_EQ(tree ? dump(parser.getRootElement()) : std::u16string(), tree ? tree : u"");
        EXPECT_EQ(errorOf(parser).column, tree ? 0u : bytes.size() > 3);
    }
}

TEST(CXMLParserFiles, UpdateFileReplacesText)
{
    CTempFolder folder;
    CXMLParser parser;
    ASSERT_TRUE(parser.create(UTF16));
    parser.addRootElement(u"cfg")->setAttribute(u"v", u"old-old");
    const CString path = folder.path("u.xml");
    ASSERT_TRUE(parser.saveToFile(path, false));
    EXPECT_FALSE(parser.saveToFile(folder.path("u.xml/under-a-file.xml"), false));
    struct : CXMLParser
    {
        using CXMLParser::saveToFile;
    } fresh;
    EXPECT_FALSE(fresh.saveToFile(path, CString(u"<a/>"))); // no encoding to write in
    CDataArray<CString> from, to;
    EXPECT_TRUE(parser.updateFile(path, from, to)); // nothing to do
    from.add(u"old");
    EXPECT_FALSE(parser.updateFile(path, from, to)); // counts differ
    to.add(u"new");
    from.add(u"cfg");
    to.add(u"conf");
    ASSERT_TRUE(parser.updateFile(path, from, to));
    EXPECT_FALSE(parser.hasRootElement());
    EXPECT_EQ(folder.readFile("u.xml"), utf16le(u"<?xml version=\"1.0\" encoding=\"UTF-16\"?><conf v=\"new-new\"/>"));

    EXPECT_FALSE(parser.updateFile(folder.path("missing.xml"), from, to));
    folder.writeFile("bad.xml", "<?xml version=\"2\"?><a/>");
    EXPECT_FALSE(parser.updateFile(folder.path("bad.xml"), from, to));
}

TEST(CXMLParserListener, EditsNotifyParsingAndNoOpsDoNot)
{
    struct : IXMLParserListener
    {
        std::vector<CXMLParser*> calls;
        void onXMLDataChanged(CXMLParser* parser) override { calls.push_back(parser); }
    } listener;
    CXMLParser parser;
    parser.setListener(&listener);
    ASSERT_TRUE(parser.parseFromString(u"<a x='1' b='true'><b/></a>"));
    CXMLElement* root = parser.getRootElement();
    // What changes nothing notifies nothing.
    root->setAttribute(u"x", u"1");
    root->setAttribute(u"x", 1);
    root->setAttribute(u"b", true);
    root->setAttribute(u"none", false);
    root->setText(u"");
    root->setName(u"a");
    root->deleteAttribute(u"none");
    EXPECT_TRUE(listener.calls.empty());
    root->setAttribute(u"x", 2);
    root->setText(u"t");
    root->addChild(u"c");
    root->deleteChild(0u);
    root->deleteAttribute(u"x");
    parser.create(UTF16);
    EXPECT_EQ(listener.calls, std::vector<CXMLParser*>(6, &parser));
}

namespace {

const std::u16string specials = u"&<>\"'\r\n";
const std::u16string entities[] = {u"&amp;", u"&lt;", u"&gt;", u"&quot;", u"&apos;", u"&cr;", u"&lf;"};

std::u16string referenceEncode(const std::u16string& plain)
{
    std::u16string out;
    for (char16_t c : plain)
        out += specials.find(c) == std::u16string::npos ? std::u16string(1, c) : entities[specials.find(c)];
    return out;
}

std::u16string referenceDecode(const std::u16string& text)
{
    std::u16string out;
    for (size_t i = 0; i < text.size();) {
        auto e = std::find_if(std::begin(entities), std::end(entities),
                              [&](const std::u16string& e) { return text.compare(i, e.size(), e) == 0; });
        out += e == std::end(entities) ? text[i] : specials[size_t(e - entities)];
        i += e == std::end(entities) ? 1 : e->size();
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
    const std::u16string pieces[] = {u"&amp;", u"&lt;", u"&gt;", u"&quot;", u"&apos;", u"&cr;",     u"&lf;", u"&am",
                                     u"&l",    u"&quo", u"&",    u"&apos",  u"&lf",    u"&amp;lt;", u"&LT;", u"&#60;"};
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
                ASSERT_TRUE(
                    parser.parseFromString(cs(u"<a v='" + text + u"' w=\"" + cut + u"\">" + cut + u"<b/></a>")));
                ASSERT_EQ(dump(parser.getRootElement()),
                          u"a{v=" + referenceDecode(text) + u",w=" + referenceDecode(cut) + u"}" +
                              (cut.empty() ? u"" : u"'" + referenceDecode(cut) + u"'") + u"[b]");
            }
        }
    }
    // A length shorter than the text ends the entity.
    CXMLHelper::decodeSpecialChars(u"&lf;", 3, out);
    EXPECT_EQ(str(out), u"&lf");
}
