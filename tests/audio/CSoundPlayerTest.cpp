#include <audio/CSoundPlayer.h>
#include <audio/CSoundPlayerProxy.h>
#include <audio/IBootAnimationNotifier.h>
#include <audio/IBootAnimationProvider.h>
#include <text/CString.h>

#include "audio/AudioTestSupport.h"

#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <vector>

using namespace Trell;
using namespace AudioTest;

// The boot animation interfaces are for the host: the provider can be used
// as it is, the notifier must be implemented, and both are deleted through
// the interface.
static_assert(!std::is_abstract_v<IBootAnimationProvider>);
static_assert(std::has_virtual_destructor_v<IBootAnimationProvider>);
static_assert(std::is_abstract_v<IBootAnimationNotifier>);
static_assert(std::has_virtual_destructor_v<IBootAnimationNotifier>);

namespace {

using Events = std::vector<std::string>;

class SoundPlayerTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        useTestSink();
        m_pPlayer = CSoundPlayer::getInstance();
        ASSERT_NE(m_pPlayer, nullptr);
    }
    void TearDown() override
    {
        m_provider.unblock();
        CSoundPlayer::deleteInstance();
    }

    CRecordingSoundProvider m_provider;
    CSoundPlayer* m_pPlayer = nullptr;
};

// Idle (3), requested (1), started (2), and idle again once stopped; the
// provider hears the end of the worker.
TEST_F(SoundPlayerTest, StatesThroughAProvider)
{
    EXPECT_EQ(m_pPlayer->getSoundState(), CSoundPlayer::SOUND_STATE_IDLE);
    m_pPlayer->stop(); // idle: nothing
    EXPECT_EQ(m_provider.events(), Events{});

    CSoundPlayerProxy::setProvider(&m_provider);
    m_provider.hold();
    CSoundPlayerProxy::play(CString(u"click"));
    ASSERT_TRUE(m_provider.waitInside());
    EXPECT_EQ(m_pPlayer->getSoundState(), CSoundPlayer::SOUND_STATE_STARTED);
    m_pPlayer->play(CString(u"alert"));
    EXPECT_EQ(m_pPlayer->getSoundState(), CSoundPlayer::SOUND_STATE_REQUESTED);
    m_provider.unblock();
    ASSERT_TRUE(m_provider.waitFor("play:alert"));
    ASSERT_TRUE(waitUntil([&] { return m_pPlayer->getSoundState() == CSoundPlayer::SOUND_STATE_STARTED; }));

    m_pPlayer->stop();
    EXPECT_EQ(m_pPlayer->getSoundState(), CSoundPlayer::SOUND_STATE_IDLE);
    EXPECT_EQ(m_provider.events(), (Events{"play:click", "play:alert", "stop"}));
}

// Requests made while the worker is busy are not queued: it plays only the
// latest one when it next looks.
TEST_F(SoundPlayerTest, ANewerPlayReplacesOneNotYetStarted)
{
    m_pPlayer->setProvider(&m_provider);
    m_provider.hold();
    m_pPlayer->play(CString(u"a"));
    ASSERT_TRUE(m_provider.waitInside());
    m_pPlayer->play(CString(u"b"));
    m_pPlayer->play(CString(u"c"));
    m_provider.unblock();
    ASSERT_TRUE(m_provider.waitFor("play:c"));
    m_pPlayer->stop();
    EXPECT_EQ(m_provider.events(), (Events{"play:a", "play:c", "stop"}));

    // Stopped, a play starts a new worker.
    m_pPlayer->play(CString(u"d"));
    ASSERT_TRUE(m_provider.waitFor("play:d"));
}

// Without a provider the built-in player plays the file; a file that does
// not load is started all the same and plays nothing.
TEST_F(SoundPlayerTest, BuiltInPlayer)
{
    const CString paths[] = {media().strShort, media().strCorrupt, media().strShortB};
    for (const CString& strPath : paths) {
        SCOPED_TRACE(narrow(strPath));
        m_pPlayer->play(strPath);
        ASSERT_TRUE(waitUntil([&] { return m_pPlayer->getSoundState() == CSoundPlayer::SOUND_STATE_STARTED; }));
    }
    m_pPlayer->stop();
    EXPECT_EQ(m_pPlayer->getSoundState(), CSoundPlayer::SOUND_STATE_IDLE);
}

} // namespace
