#include <document/CXMLElement.h>
#include <document/CXMLParser.h>

#include <gtest/gtest.h>

#include "document/DocumentTestUtil.h"

using namespace Trell;
using namespace DocumentTest;

TEST(CXMLElementTree, ChildrenByNameAndDeletion)
{
    CXMLElement root;
    root.setName(u"r");
    CXMLElement* a1 = root.addChild(u"a");
    CXMLElement* b = root.addChild(u"b");
    CXMLElement* a2 = root.addChild(u"a");
    EXPECT_TRUE(root.hasChild(u"b") && !root.hasChild(u"c"));
    EXPECT_TRUE(root.getSingleChild(u"a") == a1 && root.getChildByIndex(3) == nullptr);

    CDataArray<CXMLElement*> found;
    found.add(nullptr);
    root.getChildren(u"a", found);
    ASSERT_EQ(found.getCount(), 3u); // appended to what was there
    EXPECT_TRUE(found[1] == a1 && found[2] == a2);

    CXMLElement stranger;
    EXPECT_FALSE(root.deleteChild(&stranger) || root.deleteChild(nullptr) || root.deleteChild(7u));
    EXPECT_TRUE(root.deleteChild(b));
    EXPECT_EQ(dump(&root), u"r[a,a]");
    EXPECT_EQ(root.deleteChildren(u"a"), 2u);
    EXPECT_FALSE(root.hasChildren());

    root.addChild(u"x")->addChild(u"y");
    root.clearChildren();
    EXPECT_EQ(dump(&root), u"r");
}

TEST(CXMLElementAttributes, TypedSettersAndGetters)
{
    CXMLElement e;
    e.setAttribute(u"i", -42);
    e.setAttribute(u"u", 4000000000u);
    e.setAttribute(u"ll", -9000000000LL);
    e.setAttribute(u"f", 1.5f);
    e.setAttribute(u"b", true);
    e.setAttribute(u"s", CString(u"True"));
    // Bool compares through its conversion: "True" reads as false, so false
    // changes nothing, and a missing attribute reads as false too, so false
    // writes nothing there; the other overloads compare texts.
    e.setAttribute(u"s", false);
    e.setAttribute(u"new", false);
    e.setAttribute(u"zero", 0);
    EXPECT_EQ(dump(&e), u"{b=true,f=1.5000,i=-42,ll=-9000000000,s=True,u=4000000000,zero=0}");
    EXPECT_TRUE(e.getAttributeInt(u"i", 0) == -42 && e.getAttributeUInt(u"u", 0) == 4000000000u &&
                e.getAttributeLLong(u"ll", 0) == -9000000000LL && e.getAttributeFloat(u"f", 0) == 1.5f &&
                e.getAttributeBool(u"b", false));
    e.setAttribute(u"s", true);
    e.setAttribute(u"new", true);
    e.setAttribute(u"new", false);
    EXPECT_EQ(str(e.getAttributeString(u"s")) + str(e.getAttributeString(u"new")), u"truefalse");

    // Present attributes convert, whatever the default.
    EXPECT_FALSE(e.getAttributeBool(u"new", true) || e.getAttributeInt(u"s", 7) || e.getAttributeUInt(u"s", 7));
    EXPECT_TRUE(e.deleteAttribute(u"b"));
    EXPECT_FALSE(e.deleteAttribute(u"b") || e.hasAttribute(u"b"));

    // The whole map out (replacing what the copy held) and in.
    CXMLElement other;
    other.setAttribute(u"old", u"x");
    CXMLElement::AttributeMap copy;
    CString stale(u"stale"); // not owned by the copy until it is filled
    copy.insert(u"zz", &stale);
    e.getAllAttributes(copy);
    *copy.find(u"i") = u"changed";
    other.setAllAttributes(copy);
    EXPECT_EQ(dump(&other), u"{f=1.5000,i=changed,ll=-9000000000,new=false,s=true,u=4000000000,zero=0}");
    e.clearAllAttributes();
    EXPECT_FALSE(e.hasAttributes());
}

TEST(CXMLElementCopy, CloneIsDeepAndIndependent)
{
    CXMLParser parser;
    ASSERT_TRUE(parser.parseFromString(u"<r a='1'><c t='2'>text<d/></c><e/></r>"));
    CXMLElement* root = parser.getRootElement();
    // Into an existing element: content replaced, place kept; never into itself.
    CXMLElement* target = root->addChild(u"target");
    target->setAttribute(u"old", u"1");
    target->addChild(u"old");
    EXPECT_FALSE(root->cloneTo(target) || root->cloneTo(root) || root->cloneTo(nullptr));
    ASSERT_TRUE(root->getChildByIndex(0)->cloneTo(target));
    EXPECT_EQ(target->getParent(), root);
    EXPECT_EQ(target->getChildByIndex(0)->getParent(), target);
    target->setAttribute(u"t", u"changed");
    EXPECT_EQ(dump(root), u"r{a=1}[c{t=2}'text'[d],e,c{t=changed}'text'[d]]");
}

// Far deeper than any stack would take with recursive destruction, saving or cloning.
TEST(CXMLElementCopy, DeepProgrammaticTreesNeverRecurse)
{
    CXMLElement root(nullptr, nullptr);
    root.setName(u"r");
    CXMLElement* e = &root;
    const unsigned int depth = 200000;
    for (unsigned int i = 0; i < depth; ++i)
        e = e->addChild(u"d");
    EXPECT_EQ(e->getLevel(), depth);
    CString out, again;
    ASSERT_TRUE(root.saveTo(out, false, false));
    EXPECT_EQ(out.length(), 7u * depth + 4u);
    CXMLElement* copy = root.clone();
    ASSERT_TRUE(copy && copy->saveTo(again, false, false));
    EXPECT_TRUE(again == out);
    delete copy;
}

TEST(CXMLElementParse, ParseFromReplacesContentAndReportsErrors)
{
    CXMLParser parser;
    CXMLElement* root = parser.addRootElement(u"r");
    root->setAttribute(u"x", u"1");
    root->setText(u"old");
    root->addChild(u"old");
    ASSERT_TRUE(root->parseFrom(u"  <n y='2'><m/></n>"));
    EXPECT_EQ(dump(root), u"n{y=2}[m]");
    EXPECT_EQ(root->getChildByIndex(0)->getParser(), &parser);

    EXPECT_FALSE(root->parseFrom(u"<n z='1'>t\n<m></n>"));
    EXPECT_EQ(dump(root), u"n");
    EXPECT_TRUE(errorOf(parser).line == 2u && errorOf(parser).column == 5u);
    EXPECT_FALSE(root->parseFrom(nullptr));
}
