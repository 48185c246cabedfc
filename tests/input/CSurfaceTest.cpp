#include "input/InputTestSupport.h"

#include <message/CMessageCenterProxy.h>

#include <climits>

using namespace Trell;
using namespace InputTest;

namespace {

class CStateListener : public ISurfaceListener
{
public:
    void onAppStateChange(EAppState eState) override { calls.push_back(100 + eState); }
    void onRenderStateChange(unsigned int uiIndex, ERenderState eState) override
    {
        calls.push_back(uiIndex * 10 + eState);
    }
    std::vector<unsigned int> calls;
};

const char* const kSurfaces = "<e><surface_set><surface name=\"main\" offset_x=\"-5\" width=\"800\" height=\"480\"/>"
                              "<surface name=\"popup\" width=\"200\" height=\"100\"/><surface name=\"main\"/>"
                              "</surface_set></e>";

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
// the platform's paint, close, moves and state changes arrive as messages,
// values and listener calls; uninitialising forgets the fingers.
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
    EXPECT_EQ(pPlatform->getInitializeCount(), 2u);
    EXPECT_EQ(pMain->getSurfaceWidth() + pMain->getSurfaceHeight(), 1280u);

    pPlatform->paint();
    pPlatform->paint();
    pPlatform->close();
    EXPECT_EQ(CMessageCenter::getInstance()->popMessage()->getType(), CBaseMessage::MESSAGE_TYPE_QUIT);
    EXPECT_EQ(CMessageCenter::getInstance()->popMessage()->getType(), CBaseMessage::MESSAGE_TYPE_RENDER);
    EXPECT_EQ(CMessageCenter::getInstance()->getMessageCount(), 0u);
    EXPECT_EQ(pMain->getSurfaceX(), 0) << "the window's position replaces the record's";
    pPlatform->move(30, -40);
    pPlatform->resize(640, 360);
    EXPECT_EQ(pMain->getSurfaceY(), -40);
    EXPECT_EQ(pMain->getSurfaceWidth() + pMain->getSurfaceHeight() + pPlatform->getPosRefreshCount(), 1002u);

    CStateListener states;
    pPlatform->changeAppState(ISurfaceListener::APP_STATE_BACKGROUND);
    pMain->setSurfaceListener(&states);
    pPlatform->changeAppState(ISurfaceListener::APP_STATE_SUSPEND);
    pPlatform->changeRenderState(ISurfaceListener::RENDER_STATE_PAUSE);
    EXPECT_EQ(states.calls, (std::vector<unsigned int>{102, 1}));

    pMain->setTouchListener(&listener);
    pMain->setEnable(true);
    pMain->getCursorManager().addCursor(1, 0, 0, 10);
    pMain->unInitialize();
    pMain->getCursorManager().removeCursor(1, 20);
    EXPECT_EQ(drain().size() + pPlatform->getUnInitializeCount(), 2u);
}

// pushTouchMessage: actions 0/1/2 give press, move, release (1/2/3) stamped
// now; other actions, a disabled surface, a surface the push makes and a
// far index give nothing.
TEST_F(Surface, TouchPointsFromTheCenterReachTheSurfacesListener)
{
    static std::atomic<unsigned int> s_uiNow{900};
    TickClock::setSource([] { return s_uiNow.load(); });
    CPlatformFactory::getInstance()->registerFactory(&factory);
    CSurface* pSurface = CSurface::getInstance(2, false);
    pSurface->setTouchListener(&listener);
    CMessageCenter* pCenter = CMessageCenter::getInstance();
    pCenter->pushTouchMessage(2, 1, 5, 5, 0);
    pSurface->setEnable(true);
    pCenter->pushTouchMessage(2, 1, 5, 6, 0);
    s_uiNow = 950;
    pCenter->pushTouchMessage(2, 1, 8, 6, 1);
    pCenter->pushTouchMessage(2, 1, 8, 6, 3);
    CMessageCenterProxy::pushTouchMessage(2, 1, 9, 7, 2);
    pCenter->pushTouchMessage(7, 1, 0, 0, 0);
    pCenter->pushTouchMessage(1024, 1, 0, 0, 0);
    EXPECT_EQ(
        drain(),
        (Heard{{1, 1, 5, 0, 0, 6, 0, 0, 0, 900}, {1, 2, 8, 3, 0, 6, 0, 0, 0, 950}, {1, 3, 9, 4, 16, 7, 1, 4, 0, 950}}));
    EXPECT_EQ(CSurface::s_aryInstance.getCount(), 8u) << "7 is made by the push, 1024 is not";
    EXPECT_NE(factory.getSurface(7), nullptr);
}
