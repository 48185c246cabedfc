#include <platform/CPlatformFactory.h>
#include <platform/IPlatformFactory.h>
#include <platform/ISurface.h>

#include <gtest/gtest.h>

using namespace Trell;

namespace {

int s_iToken;
CSurface* const DESCRIPTOR = reinterpret_cast<CSurface*>(&s_iToken);

// Answers DESCRIPTOR only, with a surface address of its own (never used as
// one), and counts its destruction.
class CFakeFactory : public IPlatformFactory
{
    TRELL_DECLARE_ALLOCATOR(u"CFakeFactory")
public:
    explicit CFakeFactory(int* destroyed) : m_destroyed(destroyed) {}
    ~CFakeFactory() override { ++*m_destroyed; }
    ISurface* createSurface(CSurface* pSurface) override { return pSurface == DESCRIPTOR ? surface() : nullptr; }
    ISurface* surface() { return reinterpret_cast<ISurface*>(&m_iMark); }

private:
    int* m_destroyed;
    int m_iMark = 0;
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
    EXPECT_EQ(pFactory->createSurface(DESCRIPTOR), a.surface());
    pFactory->registerFactory(pB);
    EXPECT_EQ(pFactory->createSurface(DESCRIPTOR), pB->surface());

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
