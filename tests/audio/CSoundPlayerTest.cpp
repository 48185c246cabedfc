#include <audio/CSoundPlayer.h>
#include <audio/CSoundPlayerProxy.h>
#include <audio/IBootAnimationNotifier.h>
#include <audio/IBootAnimationProvider.h>

#include "audio/AudioTestSupport.h"

#include <type_traits>

using namespace Trell;
using namespace AudioTest;

// The boot animation interfaces are for the host: the provider is usable as
// it is, the notifier must be implemented, both are deleted through the
// interface.
static_assert(!std::is_abstract_v<IBootAnimationProvider> && std::has_virtual_destructor_v<IBootAnimationProvider>);
static_assert(std::is_abstract_v<IBootAnimationNotifier> && std::has_virtual_destructor_v<IBootAnimationNotifier>);

namespace {

// Idle (3), requested (1), started (2), idle again once stopped. Requests
// made while the worker is busy are not queued: it plays the latest.
TEST(SoundPlayerTest, StatesAndReplacedRequests)
{
    CRecorder rec;
    CSoundPlayer* pPlayer = CSoundPlayer::getInstance();
    pPlayer->stop(); // idle: nothing
    CSoundPlayerProxy::setProvider(&rec);
    rec.m_bHold = true;
    CSoundPlayerProxy::play(CString(u"a"));
    ASSERT_TRUE(waitUntil([&] { return rec.m_bInside.load(); }));
    EXPECT_EQ(pPlayer->getSoundState(), CSoundPlayer::SOUND_STATE_STARTED);
    pPlayer->play(CString(u"b"));
    pPlayer->play(CString(u"c"));
    EXPECT_EQ(pPlayer->getSoundState(), CSoundPlayer::SOUND_STATE_REQUESTED);
    rec.m_bHold = false;
    ASSERT_TRUE(rec.waitFor("sound:c"));
    ASSERT_TRUE(waitUntil([&] { return pPlayer->getSoundState() == CSoundPlayer::SOUND_STATE_STARTED; }));
    pPlayer->stop();
    EXPECT_EQ(pPlayer->getSoundState(), CSoundPlayer::SOUND_STATE_IDLE);
    CSoundPlayer::deleteInstance();
    EXPECT_EQ(rec.events(), (Events{"sound:a", "sound:c", "stopSound"}));
}

} // namespace
