#include <text/CObjectFactory.h>
#include <text/CString.h>

#include <gtest/gtest.h>

#include <utility>

using namespace Trell;

namespace {

class CWidget : public CObject
{
    TRELL_DECLARE_ALLOCATOR(u"CWidget")
public:
    explicit CWidget(int kind) : m_iKind(kind) {}
    int kind() const { return m_iKind; }

private:
    int m_iKind;
};

int g_iCreated = 0;

template <int KIND>
CObject* create()
{
    ++g_iCreated;
    return new CWidget(KIND);
}
CObject* (*const createFirst)() = &create<1>;
CObject* (*const createSecond)() = &create<2>;

} // namespace

TEST(CObjectFactory, FirstRegistrationWinsOnlyExactNamesCreateAndDeleteInstanceStartsAFreshRegistry)
{
    CObjectFactory* factory = CObjectFactory::getInstance();
    ASSERT_TRUE(factory != nullptr && CObjectFactory::getInstance() == factory) << "one instance";
    factory->registerClass(CString(u"CWidget"), createFirst);
    factory->registerClass(CString(u"CWidget"), createSecond);
    CObject* object = factory->createObject(CString(u"CWidget"));
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(std::make_pair(static_cast<CWidget*>(object)->kind(), object->getRef()), std::make_pair(1, 0))
        << "the first creator, and the factory adds no reference";
    delete object;

    g_iCreated = 0;
    for (const char16_t* miss : {u"cwidget", u"CWidgetX", static_cast<const char16_t*>(nullptr)})
        EXPECT_EQ(factory->createObject(CString(miss)), nullptr);
    EXPECT_EQ(g_iCreated, 0) << "no creator runs for a miss";
    factory->registerClass(CString(u"CNull"), nullptr);
    EXPECT_TRUE(!factory->isClassRegistered(CString(u"CNull")) && factory->createObject(CString(u"CNull")) == nullptr);
    EXPECT_TRUE(factory->isClassRegistered(CString(u"CWidget")));

    CObjectFactory::deleteInstance();
    CObjectFactory::deleteInstance(); // a second call has nothing to destroy

    CObjectFactory* fresh = CObjectFactory::getInstance();
    EXPECT_EQ(fresh->createObject(CString(u"CWidget")), nullptr);
    CObjectFactory::deleteInstance();
}
