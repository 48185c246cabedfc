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
    int* m_destroyed;
};

} // namespace

TEST(CPlatformFactory, RegisteredFactoryIsAskedButNeverOwned)
{
    static int s_iToken;
    CSurface* const pDescriptor = reinterpret_cast<CSurface*>(&s_iToken);
    CPlatformFactory* pFactory = CPlatformFactory::getInstance();
    ASSERT_NE(pFactory, nullptr);
    EXPECT_EQ(pFactory->createSurface(pDescriptor), nullptr) << "no factory yet";
    int destroyed = 0;
    CFakeFactory a(&destroyed);
    CFakeFactory* pB = new CFakeFactory(&destroyed);
    pFactory->registerFactory(&a);
    EXPECT_EQ(pFactory->createSurface(pDescriptor), &a.surface);
    EXPECT_EQ(a.lastSurface, pDescriptor);
    a.lastSurface = nullptr;
    pFactory->registerFactory(pB);
    EXPECT_EQ(pFactory->createSurface(pDescriptor), &pB->surface);
    EXPECT_EQ(a.lastSurface, nullptr) << "the old factory was asked";

    // Neither deleting the singleton (twice) nor a fresh one touches the factory.
    CPlatformFactory::deleteInstance();
    CPlatformFactory::deleteInstance();
    EXPECT_EQ(destroyed, 0);
    pFactory = CPlatformFactory::getInstance();
    ASSERT_NE(pFactory, nullptr);
    EXPECT_EQ(pFactory->createSurface(pDescriptor), nullptr);
    EXPECT_EQ(CPlatformFactory::getInstance(), pFactory);
    pFactory->registerFactory(pB);
    pFactory->registerFactory(nullptr);
    EXPECT_EQ(pFactory->createSurface(pDescriptor), nullptr);
    delete pB;
    EXPECT_EQ(destroyed, 1);
    CPlatformFactory::deleteInstance();
}
