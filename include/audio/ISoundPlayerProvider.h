#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>

namespace Trell {

class CString;

// A host's own sound-effect playback, used by the sound player instead of
// its built-in MP3 player. Called on the sound player's worker thread only.
// Not owned by the player (the interface has no destructor of its own).
class ECS_API ISoundPlayerProvider
{
    TRELL_DECLARE_ALLOCATOR(u"ISoundPlayerProvider")

public:
    virtual void playSound(const CString& strPath) = 0;
    // Called once when the sound player's worker ends.
    virtual void stopSound() = 0;
};

} // namespace Trell
