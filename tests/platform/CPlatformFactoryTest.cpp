#include <platform/CPlatformFactory.h>
#include <platform/IPlatformFactory.h>
#include <platform/ISurface.h>

#include <gtest/gtest.h>

using namespace Trell;

namespace {

class CFakeSurface : public ISurface
{
    TRELL_DECLARE_ALLOCATOR(u"CFakeSurface")
public:
    bool initialize() override { return true; }
    void unInitialize() override {}
    void updateSurfacePos() override {}
    void setTransparency(bool, EReceiveTouch) override {}
    void setSurfaceName(const CString&) override {}
};

class CFakeFactory : public IPlatformFactory
{
    TRELL_DECLARE_ALLOCATOR(u"CFakeFactory")
public:
    explicit CFakeFactory(int* destroyed) : m_destroyed(destroyed) {}
    ~CFakeFactory() override { ++*m_destroyed; }
    ISurface* createSurface(CSurface* pSurface) override
    {
        lastSurface = pSurface;
        return &surface;
    }
    CFakeSurface surface;
    CSurface* lastSurface = nullptr;

private:
    int* m_destroyed;
};

CSurface* fakeDescriptor()
{
    static int s_iToken;
    return reinterpret_cast<CSurface*>(&s_iToken);
}

class CPlatformFactoryTest : public ::testing::Test
{
protected:
    void TearDown() override { CPlatformFactory::deleteInstance(); }
};

} // namespace

TEST_F(CPlatformFactoryTest, RegisteredFactoryCreatesForTheGivenSurface)
{
    ASSERT_NE(CPlatformFactory::getInstance(), nullptr);
    EXPECT_EQ(CPlatformFactory::getInstance()->createSurface(fakeDescriptor()), nullptr) << "no factory yet";
    int destroyedA = 0;
    int destroyedB = 0;
    CFakeFactory a(&destroyedA);
    CFakeFactory b(&destroyedB);
    CPlatformFactory::getInstance()->registerFactory(&a);
    EXPECT_EQ(CPlatformFactory::getInstance()->createSurface(fakeDescriptor()), &a.surface);
    EXPECT_EQ(a.lastSurface, fakeDescriptor());

    // Replacing a factory, or clearing it, deletes nothing.
    a.lastSurface = nullptr;
    CPlatformFactory::getInstance()->registerFactory(&b);
    EXPECT_EQ(CPlatformFactory::getInstance()->createSurface(fakeDescriptor()), &b.surface);
    EXPECT_EQ(a.lastSurface, nullptr) << "the old factory was asked";
    CPlatformFactory::getInstance()->registerFactory(nullptr);
    EXPECT_EQ(CPlatformFactory::getInstance()->createSurface(fakeDescriptor()), nullptr);
    EXPECT_EQ(b.lastSurface, fakeDescriptor());
    EXPECT_EQ(destroyedA + destroyedB, 0);
}

TEST_F(CPlatformFactoryTest, DeleteInstanceKeepsFactoryAndNextInstanceStartsEmpty)
{
    int destroyed = 0;
    CFakeFactory* pFactory = new CFakeFactory(&destroyed);
    CPlatformFactory::getInstance()->registerFactory(pFactory);
    CPlatformFactory::deleteInstance();
    CPlatformFactory::deleteInstance(); // a second delete is harmless
    EXPECT_EQ(destroyed, 0);

    CPlatformFactory* pFresh = CPlatformFactory::getInstance();
    ASSERT_NE(pFresh, nullptr);
    EXPECT_EQ(pFresh->createSurface(fakeDescriptor()), nullptr);
    EXPECT_EQ(CPlatformFactory::getInstance(), pFresh);
    delete pFactory;
    EXPECT_EQ(destroyed, 1);
}
