#include <audio/CSoundPlayerProxy.h>

#include <audio/CSoundPlayer.h>

namespace Trell {

void CSoundPlayerProxy::setProvider(ISoundPlayerProvider* pProvider)
{
    CSoundPlayer::getInstance()->setProvider(pProvider);
}

void CSoundPlayerProxy::play(const CString& strPath)
{
    CSoundPlayer::getInstance()->play(strPath);
}

} // namespace Trell
