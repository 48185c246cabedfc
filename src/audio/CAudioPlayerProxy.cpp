#include <audio/CAudioPlayerProxy.h>

#include <audio/CAudioPlayer.h>

namespace Trell {

void CAudioPlayerProxy::setProvider(IAudioPlayerProvider* pProvider)
{
    CAudioPlayer::getInstance()->setProvider(pProvider);
}

void CAudioPlayerProxy::setListener(IAudioPlayerListener* pListener)
{
    CAudioPlayer::getInstance()->setListener(pListener);
}

void CAudioPlayerProxy::playAudio(const CString& strPath)
{
    CAudioPlayer::getInstance()->playAudio(strPath);
}

void CAudioPlayerProxy::addAudio(const CString& strPath)
{
    CAudioPlayer::getInstance()->addAudio(strPath);
}

void CAudioPlayerProxy::clearAllAudios()
{
    CAudioPlayer::getInstance()->clearAllAudios();
}

void CAudioPlayerProxy::play()
{
    CAudioPlayer::getInstance()->play();
}

void CAudioPlayerProxy::stop()
{
    CAudioPlayer::getInstance()->stop();
}

void CAudioPlayerProxy::pause()
{
    CAudioPlayer::getInstance()->pause();
}

void CAudioPlayerProxy::resume()
{
    CAudioPlayer::getInstance()->resume();
}

void CAudioPlayerProxy::next()
{
    CAudioPlayer::getInstance()->next();
}

void CAudioPlayerProxy::previous()
{
    CAudioPlayer::getInstance()->previous();
}

void CAudioPlayerProxy::seekToTime(unsigned int uiSeconds)
{
    CAudioPlayer::getInstance()->seekToTime(uiSeconds);
}

CString CAudioPlayerProxy::getCurrentAudio()
{
    return CAudioPlayer::getInstance()->getCurrentAudio();
}

} // namespace Trell
