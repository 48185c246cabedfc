#include <input/CSurface.h>
#include <input/CSurfaceNotifier.h>
#include <message/CMessageCenterProxy.h>
#include <message/CMessages.h>

#include "input/InputTestSupport.h"

#include <climits>

using namespace Trell;
using namespace InputTest;

namespace {

class CStateListener : public ISurfaceListener
{
public:
    void onAppStateChange(EAppState eState) override { calls.push_back({100u, static_cast<unsigned int>(eState)}); }
    void onRenderStateChange(unsigned int uiIndex, ERenderState eState) override
    {
        calls.push_back({uiIndex, static_cast<unsigned int>(eState)});
    }
    std::vector<std::pair<unsigned int, unsigned int>> calls;
};

const char* const kSurfaces = "<engine><surface_set>"
                              "<surface name=\"main\" use=\"true\" offset_x=\"-5\" offset_y=\"7\" width=\"800\""
                              " height=\"480\"/>"
                              "<surface name=\"popup\" use=\"true\" width=\"200\" height=\"100\"/>"
                              "<surface name=\"main\" width=\"1\" height=\"1\"/>"
                              "</surface_set></engine>";

using Surface = CInputFixture;

} // namespace

// The array grows with empty entries up to the index asked for; an entry
// once made is returned whatever the flag says; the platform surface comes
// from the registered factory only.
TEST_F(Surface, InstancesGrowTheArrayAndKeepTheirPlatformSurface)
{
    CSurface* pThree = CSurface::getInstance(3, false);
    ASSERT_NE(pThree, nullptr);
    EXPECT_EQ(CSurface::s_aryInstance.getCount(), 4u);
    for (unsigned int i = 0; i < 3; ++i)
        EXPECT_EQ(CSurface::s_aryInstance.getAt(i), nullptr);
    EXPECT_EQ(pThree->getSurfaceIndex(), 3u);
    EXPECT_EQ(pThree->getSurfaceParam(), nullptr);
    EXPECT_EQ(pThree->getSurfaceWidth(), 0u);
    EXPECT_EQ(pThree->getSurfaceHeight(), 0u);
    EXPECT_EQ(CSurface::getInstance(3, true), pThree);
    EXPECT_EQ(pThree->getSurfaceParam(), nullptr);
    EXPECT_EQ(CSurface::getInstance(1, true)->getSurfaceParam(), nullptr) << "no factory registered";

    useHeadlessSurfaces();
    CSurface* pZero = CSurface::getInstance(0, true);
    EXPECT_EQ(CSurface::s_aryInstance.getCount(), 4u);
    ASSERT_NE(factory.getSurface(0), nullptr);
    EXPECT_EQ(pZero->getSurfaceParam(), factory.getSurface(0));
    EXPECT_EQ(CSurface::getInstance(5, false)->getSurfaceParam(), nullptr);
    EXPECT_EQ(CSurface::s_aryInstance.getCount(), 6u);
    EXPECT_EQ(CSurface::getInstance(UINT_MAX, true), nullptr);
    EXPECT_EQ(CSurface::s_aryInstance.getCount(), 6u);
    EXPECT_EQ(factory.getCreatedCount(), 1u);

    CSurface::deleteInstance();
    EXPECT_EQ(CSurface::s_aryInstance.getCount(), 0u);
    EXPECT_EQ(factory.getLiveCount(), 0u) << "the platform surfaces die with their surfaces";
}

// By the "name" of the configuration's first record with it, exactly; only
// surfaces that exist are found.
TEST_F(Surface, LookupByNameFindsTheSurfaceOfTheFirstRecordWithThatName)
{
    EXPECT_EQ(CSurface::getSurfaceByByName(CString(u"main")), nullptr) << "no configuration";
    ASSERT_TRUE(loadConfiguration("surfaces-by-name.xml", kSurfaces));
    CSurface* pMain = CSurface::getInstance(0, false);
    CSurface::getInstance(2, false);
    EXPECT_EQ(CSurface::getSurfaceByByName(CString(u"main")), pMain);
    EXPECT_EQ(CSurface::getSurfaceByByName(CString(u"popup")), nullptr);
    CSurface* pPopup = CSurface::getInstance(1, false);
    EXPECT_EQ(CSurface::getSurfaceByByName(CString(u"popup")), pPopup);
    EXPECT_EQ(CSurface::getSurfaceByByName(CString(u"Main")), nullptr);
    EXPECT_EQ(CSurface::getSurfaceByByName(CString(u"missing")), nullptr);
    EXPECT_EQ(CSurface::s_aryInstance.getCount(), 3u);
}

// Without a platform surface every forwarding call does nothing and
// initialize fails; with one it fails only for an index without a record.
TEST_F(Surface, InitializeTakesTheRecordAndForwardsToThePlatformSurface)
{
    ASSERT_TRUE(loadConfiguration("surfaces-init.xml", kSurfaces));
    CSurface* pBare = CSurface::getInstance(0, false);
    EXPECT_FALSE(pBare->initialize());
    EXPECT_EQ(pBare->getSurfaceWidth(), 0u);
    pBare->setTransparency(true, ISurface::RECEIVE_TOUCH_NONE);
    pBare->setSurfaceName(CString(u"x"));
    pBare->unInitialize();

    useHeadlessSurfaces();
    CSurface* pOutside = CSurface::getInstance(3, true);
    EXPECT_FALSE(pOutside->initialize());
    EXPECT_EQ(pOutside->getSurfaceWidth(), 0u);
    EXPECT_EQ(factory.getSurface(3)->getInitializeCount(), 0u);

    CSurface* pMain = CSurface::getInstance(1, true);
    Headless::CHeadlessSurface* pPlatform = factory.getSurface(1);
    EXPECT_TRUE(pMain->initialize());
    EXPECT_EQ(pMain->getSurfaceWidth(), 200u);
    EXPECT_EQ(pMain->getSurfaceHeight(), 100u);
    factory.setInitializeResult(false);
    EXPECT_FALSE(pMain->initialize());
    EXPECT_EQ(pPlatform->getInitializeCount(), 2u);

    pMain->setTransparency(true, ISurface::RECEIVE_TOUCH_OPAQUE);
    pMain->setSurfaceName(CString(u"popup"));
    EXPECT_TRUE(pPlatform->isTransparent());
    EXPECT_EQ(pPlatform->getReceiveTouch(), ISurface::RECEIVE_TOUCH_OPAQUE);
    EXPECT_TRUE(pPlatform->getName() == CString(u"popup"));

    // Uninitialising forgets the fingers that are down.
    CRecordingListener listener;
    pMain->setTouchListener(&listener);
    pMain->setEnable(true);
    pMain->getCursorManager().addCursor(1, 0, 0, 10);
    pMain->unInitialize();
    pMain->getCursorManager().removeCursor(1, 20);
    pumpMessages();
    EXPECT_EQ(listener.heard.size(), 1u);
    EXPECT_EQ(pPlatform->getUnInitializeCount(), 1u);
}

// Paint and quit become render and quit messages; position and size
// reports overwrite the configured values; state changes reach the
// listener, when there is one.
TEST_F(Surface, PlatformNotificationsBecomeMessagesValuesAndListenerCalls)
{
    ASSERT_TRUE(loadConfiguration("surfaces-notify.xml", kSurfaces));
    useHeadlessSurfaces();
    CSurface* pMain = CSurface::getInstance(0, true);
    Headless::CHeadlessSurface* pPlatform = factory.getSurface(0);
    ASSERT_TRUE(pMain->initialize());
    CMessageCenter* pCenter = CMessageCenter::getInstance();

    pPlatform->paint();
    pPlatform->paint();
    pPlatform->close();
    EXPECT_EQ(pCenter->getMessageCountByType(CBaseMessage::MESSAGE_TYPE_RENDER), 1u);
    EXPECT_EQ(pCenter->getMessageCountByType(CBaseMessage::MESSAGE_TYPE_QUIT), 1u);
    CObjectPtr<CBaseMessage> quit = pCenter->popMessage();
    EXPECT_EQ(quit->getType(), CBaseMessage::MESSAGE_TYPE_QUIT);
    CObjectPtr<CBaseMessage> render = pCenter->popMessage();
    EXPECT_EQ(render->getID(), 0u);

    EXPECT_EQ(pMain->getSurfaceX(), 0) << "the window's position replaces the configured one";
    EXPECT_EQ(pPlatform->getPosRefreshCount(), 1u);
    pPlatform->move(30, -40);
    pPlatform->resize(640, 360);
    EXPECT_EQ(pMain->getSurfaceX(), 30);
    EXPECT_EQ(pMain->getSurfaceY(), -40);
    EXPECT_EQ(pMain->getSurfaceWidth(), 640u);
    EXPECT_EQ(pMain->getSurfaceHeight(), 360u);
    EXPECT_EQ(pPlatform->getPosRefreshCount(), 3u);

    CSurface* pBare = CSurface::getInstance(4, false);
    CSurfaceNotifier::notifySurfacePosChange(pBare, 9, 8);
    EXPECT_EQ(pBare->getSurfaceX(), 9) << "without a platform surface the stored value stays";
    CSurfaceNotifier::notifyPaintSurface(nullptr);

    pPlatform->changeAppState(ISurfaceListener::APP_STATE_BACKGROUND);
    CStateListener listener;
    pMain->setSurfaceListener(&listener);
    pPlatform->changeAppState(ISurfaceListener::APP_STATE_SUSPEND);
    CSurfaceNotifier::notifyRenderStateChange(pBare, ISurfaceListener::RENDER_STATE_PAUSE);
    pBare->setSurfaceListener(&listener);
    CSurfaceNotifier::notifyRenderStateChange(pBare, ISurfaceListener::RENDER_STATE_PAUSE);
    pPlatform->changeRenderState(ISurfaceListener::RENDER_STATE_RESUME);
    using Calls = std::vector<std::pair<unsigned int, unsigned int>>;
    EXPECT_EQ(listener.calls, (Calls{{100u, ISurfaceListener::APP_STATE_SUSPEND},
                                     {4u, ISurfaceListener::RENDER_STATE_PAUSE},
                                     {0u, ISurfaceListener::RENDER_STATE_RESUME}}));
}

// pushTouchMessage reaches the surface's cursor manager: actions 0/1/2 give
// press, move and release (statuses 1/2/3), stamped now; anything else, a
// disabled surface and a surface made by the push itself give nothing.
TEST_F(Surface, TouchPointsFromTheCenterReachTheSurfacesListener)
{
    static std::atomic<unsigned int> s_uiNow{900};
    TickClock::setSource([] { return s_uiNow.load(); });
    useHeadlessSurfaces();
    CSurface* pSurface = CSurface::getInstance(2, true);
    CRecordingListener listener;
    pSurface->setTouchListener(&listener);
    Headless::CHeadlessSurface* pPlatform = factory.getSurface(2);

    pPlatform->touch(1, 5, 5, 0);
    EXPECT_EQ(queuedTouches(), 0u) << "a surface starts disabled";
    pSurface->setEnable(true);
    pPlatform->touch(1, 5, 6, 0);
    s_uiNow = 950;
    pPlatform->touch(1, 8, 6, 1);
    pPlatform->touch(1, 8, 6, 3);
    pPlatform->touch(1, 8, 6, 99);
    CMessageCenterProxy::pushTouchMessage(2, 1, 9, 7, 2);
    pumpMessages();
    ASSERT_EQ(listener.heard.size(), 3u);
    EXPECT_EQ(fieldsOf(listener.heard[0].cursor), (std::vector<long long>{1, 1, 5, 0, 0, 6, 0, 0, 0, 900}));
    EXPECT_EQ(fieldsOf(listener.heard[1].cursor), (std::vector<long long>{1, 2, 8, 3, 0, 6, 0, 0, 0, 950}));
    EXPECT_EQ(fieldsOf(listener.heard[2].cursor),
              (std::vector<long long>{1, 3, 9, 4, 4 * 200 / 50, 7, 1, 200 / 50, 0, 950}));

    CMessageCenter::getInstance()->pushTouchMessage(7, 1, 0, 0, 0);
    ASSERT_EQ(CSurface::s_aryInstance.getCount(), 8u);
    EXPECT_NE(CSurface::s_aryInstance.getAt(7), nullptr) << "the push makes the surface, disabled";
    CMessageCenter::getInstance()->pushTouchMessage(50000, 1, 0, 0, 0);
    EXPECT_EQ(CSurface::s_aryInstance.getCount(), 8u) << "a far index is not made by input";
    EXPECT_EQ(queuedTouches(), 0u);
}
