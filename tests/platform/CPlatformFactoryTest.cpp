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

TEST_F(CPlatformFactoryTest, RegisteredFactoryIsAskedButNeverOwned)
{
    ASSERT_NE(CPlatformFactory::getInstance(), nullptr);
    EXPECT_EQ(CPlatformFactory::getInstance()->createSurface(fakeDescriptor()), nullptr) << "no factory yet";
    int destroyed = 0;
    CFakeFactory a(&destroyed);
    CFakeFactory* pB = new CFakeFactory(&destroyed);
    CPlatformFactory::getInstance()->registerFactory(&a);
    EXPECT_EQ(CPlatformFactory::getInstance()->createSurface(fakeDescriptor()), &a.surface);
    EXPECT_EQ(a.lastSurface, fakeDescriptor());
    a.lastSurface = nullptr;
    CPlatformFactory::getInstance()->registerFactory(pB);
    EXPECT_EQ(CPlatformFactory::getInstance()->createSurface(fakeDescriptor()), &pB->surface);
    EXPECT_EQ(a.lastSurface, nullptr) << "the old factory was asked";

    // Neither deleting the singleton (twice) nor a fresh one touches the factory.
    CPlatformFactory::deleteInstance();
    CPlatformFactory::deleteInstance();
    EXPECT_EQ(destroyed, 0);
    CPlatformFactory* pFresh = CPlatformFactory::getInstance();
    ASSERT_NE(pFresh, nullptr);
    EXPECT_EQ(pFresh->createSurface(fakeDescriptor()), nullptr);
    EXPECT_EQ(CPlatformFactory::getInstance(), pFresh);
    pFresh->registerFactory(pB);
    pFresh->registerFactory(nullptr);
    EXPECT_EQ(pFresh->createSurface(fakeDescriptor()), nullptr);
    delete pB;
    EXPECT_EQ(destroyed, 1);
}
