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

int s_iToken;
CSurface* const DESCRIPTOR = reinterpret_cast<CSurface*>(&s_iToken);

// Gives its surface for DESCRIPTOR only, and counts its destruction.
class CFakeFactory : public IPlatformFactory
{
    TRELL_DECLARE_ALLOCATOR(u"CFakeFactory")
public:
    explicit CFakeFactory(int* destroyed) : m_destroyed(destroyed) {}
    ~CFakeFactory() override { ++*m_destroyed; }
    ISurface* createSurface(CSurface* pSurface) override { return pSurface == DESCRIPTOR ? &surface : nullptr; }
    CFakeSurface surface;
    int* m_destroyed;
};

} // namespace

TEST(CPlatformFactory, RegisteredFactoryIsAskedButNeverOwned)
{
    CPlatformFactory* pFactory = CPlatformFactory::getInstance();
    EXPECT_EQ(pFactory->createSurface(DESCRIPTOR), nullptr) << "no factory yet";
    int destroyed = 0;
    CFakeFactory a(&destroyed);
    CFakeFactory* pB = new CFakeFactory(&destroyed);
    pFactory->registerFactory(&a);
    EXPECT_EQ(pFactory->createSurface(DESCRIPTOR), &a.surface);
    pFactory->registerFactory(pB);
    EXPECT_EQ(pFactory->createSurface(DESCRIPTOR), &pB->surface);

    // Neither deleting the singleton (twice) nor a fresh one touches the factory.
    CPlatformFactory::deleteInstance();
    CPlatformFactory::deleteInstance();
    EXPECT_EQ(destroyed, 0);
    pFactory = CPlatformFactory::getInstance();
    EXPECT_EQ(pFactory->createSurface(DESCRIPTOR), nullptr);
    pFactory->registerFactory(pB);
    pFactory->registerFactory(nullptr);
    EXPECT_EQ(pFactory->createSurface(DESCRIPTOR), nullptr);
    delete pB;
    EXPECT_EQ(destroyed, 1);
    CPlatformFactory::deleteInstance();
}
