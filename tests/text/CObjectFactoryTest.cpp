#include <text/CObjectFactory.h>
#include <text/CString.h>

#include <gtest/gtest.h>

using namespace Trell;

namespace {

int g_iLastCreator = 0;

template <int KIND>
CObject* create()
{
    g_iLastCreator = KIND;
    return new CObject();
}

} // namespace

TEST(CObjectFactory, FirstRegistrationWinsOnlyExactNamesCreateAndDeleteInstanceStartsAFreshRegistry)
{
    CObjectFactory* factory = CObjectFactory::getInstance();
    factory->registerClass(CString(u"CWidget"), &create<1>);
    factory->registerClass(CString(u"CWidget"), &create<2>);
    CObject* object = factory->createObject(CString(u"CWidget"));
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(g_iLastCreator, 1) << "the first creator";
    EXPECT_EQ(object->getRef(), 0) << "the factory adds no reference";
    delete object;

    g_iLastCreator = 0;
    for (const char16_t* miss : {u"cwidget", u"CWidgetX", static_cast<const char16_t*>(nullptr)})
        EXPECT_EQ(factory->createObject(CString(miss)), nullptr);
    EXPECT_EQ(g_iLastCreator, 0) << "no creator runs for a miss";
    factory->registerClass(CString(u"CNull"), nullptr);
    EXPECT_TRUE(!factory->isClassRegistered(CString(u"CNull")) && factory->isClassRegistered(CString(u"CWidget")));

    CObjectFactory::deleteInstance();
    CObjectFactory::deleteInstance(); // a second call has nothing to destroy
    EXPECT_EQ(CObjectFactory::getInstance()->createObject(CString(u"CWidget")), nullptr);
    CObjectFactory::deleteInstance();
}
