// The default bodies of the audio family's interfaces: listeners and the
// boot animation provider do nothing unless the host overrides them.
#include <audio/IAudioPlayerListener.h>
#include <audio/IBootAnimationNotifier.h>
#include <audio/IBootAnimationProvider.h>

namespace Trell {

IAudioPlayerListener::~IAudioPlayerListener()
{}
void IAudioPlayerListener::onNowPlayingAudioChange(const CString&)
{}
void IAudioPlayerListener::onNowPlayingTimeChange(unsigned int, unsigned int)
{}
void IAudioPlayerListener::onPlayStatusChange(IAudioPlayerListener::EPlayStatus)
{}

IBootAnimationNotifier::~IBootAnimationNotifier()
{}

IBootAnimationProvider::~IBootAnimationProvider()
{}
void IBootAnimationProvider::setNotifier(IBootAnimationNotifier*)
{}
void IBootAnimationProvider::initialize()
{}
void IBootAnimationProvider::onAnimationStart()
{}
void IBootAnimationProvider::onAnimationPause()
{}
void IBootAnimationProvider::onAnimationResume()
{}
void IBootAnimationProvider::onAnimationStop()
{}
void IBootAnimationProvider::unInitialize()
{}
void IBootAnimationProvider::onAnimationUpdate(unsigned int)
{}

} // namespace Trell
