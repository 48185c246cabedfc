#pragma once

// The audio family: the playlist player, the sound-effect player, the
// built-in MP3 player and the boot animation interfaces.
#include <audio/CAudioPlayer.h>
#include <audio/CAudioPlayerProxy.h>
#include <audio/CPlayerMP3.h>
#include <audio/CSoundPlayer.h>
#include <audio/CSoundPlayerProxy.h>
#include <audio/IAudioPlayerListener.h>
#include <audio/IAudioPlayerProvider.h>
#include <audio/IBootAnimationNotifier.h>
#include <audio/IBootAnimationProvider.h>
#include <audio/ISoundPlayerProvider.h>
