#include "input/InputTestSupport.h"

#include <climits>

using namespace InputTest;

namespace {
using Surface = CInputFixture;
} // namespace

// The array grows with empty entries up to the index; an entry once made is
// returned whatever the flag says; the platform surface comes from the
// registered factory only and dies with its surface. Lookup by name goes
// through the first configuration record with that exact name.
TEST_F(Surface, InstancesGrowAndAreFoundByName)
{
    CSurface* pThree = CSurface::getInstance(3, false);
    EXPECT_EQ(CSurface::s_aryInstance.getAt(2), nullptr);
    EXPECT_EQ(CSurface::getInstance(3, true), pThree);
    EXPECT_EQ(pThree->getSurfaceParam(), nullptr);
    CPlatformFactory::getInstance()->registerFactory(&factory);
    ISurface* pPlatform = CSurface::getInstance(0, true)->getSurfaceParam();
    EXPECT_EQ(pPlatform, factory.getSurface(0));
    EXPECT_EQ(CSurface::getInstance(UINT_MAX, true), nullptr);
    EXPECT_EQ(CSurface::s_aryInstance.getCount() + factory.getLiveCount(), 5u);

    CSurface* pOne = CSurface::getInstance(1, false);
    EXPECT_EQ(CSurface::getSurfaceByByName(CString(u"popup")), nullptr) << "no configuration";
    ASSERT_TRUE(loadConfiguration(kSurfaces));
    EXPECT_EQ(CSurface::getSurfaceByByName(CString(u"popup")), pOne);
    EXPECT_EQ(CSurface::getSurfaceByByName(CString(u"main")), CSurface::s_aryInstance.getAt(0));
    CSurface::deleteInstance();
    EXPECT_EQ(CSurface::s_aryInstance.getCount() + factory.getLiveCount(), 0u);
}

// initialize takes the record at the index, then asks the platform surface;
// the platform's paint, close and moves arrive as messages and values;
// uninitialising forgets the fingers.
TEST_F(Surface, InitializeAndNotifications)
{
    ASSERT_TRUE(loadConfiguration(kSurfaces));
    EXPECT_FALSE(CSurface::getInstance(1, false)->initialize()) << "no platform surface";
    CPlatformFactory::getInstance()->registerFactory(&factory);
    EXPECT_FALSE(CSurface::getInstance(3, true)->initialize()) << "no record at 3";
    CSurface* pMain = CSurface::getInstance(0, true);
    Headless::CHeadlessSurface* pPlatform = factory.getSurface(0);
    EXPECT_TRUE(pMain->initialize());
    factory.setInitializeResult(false);
    EXPECT_FALSE(pMain->initialize());
    EXPECT_EQ(pMain->getSurfaceWidth() + pMain->getSurfaceHeight(), 1280u);

    pPlatform->paint();
    pPlatform->paint();
    pPlatform->close();
    EXPECT_EQ(CMessageCenter::getInstance()->popMessage()->getType(), CBaseMessage::MESSAGE_TYPE_QUIT);
    EXPECT_EQ(CMessageCenter::getInstance()->popMessage()->getType(), CBaseMessage::MESSAGE_TYPE_RENDER);
    EXPECT_EQ(pMain->getSurfaceX(), 0) << "the window's position replaces the record's";
    pPlatform->move(30, -40);
    pPlatform->resize(640, 360);
    EXPECT_EQ(pMain->getSurfaceY(), -40);
    EXPECT_EQ(pMain->getSurfaceWidth() + pMain->getSurfaceHeight() + pPlatform->getPosRefreshCount(), 1002u);

    pMain->setTouchListener(&listener);
    pMain->setEnable(true);
    pMain->getCursorManager().addCursor(1, 0, 0, 10);
    pMain->unInitialize();
    pMain->getCursorManager().removeCursor(1, 20);
    EXPECT_EQ(drain().size() + pPlatform->getUnInitializeCount(), 2u);
}
