#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>

namespace Trell {

class CString;
class ISoundPlayerProvider;

// Static access to the sound player singleton.
class ECS_API CSoundPlayerProxy
{
    TRELL_DECLARE_ALLOCATOR(u"CSoundPlayerProxy")

public:
    static void setProvider(ISoundPlayerProvider* pProvider);
    static void play(const CString& strPath);
};

} // namespace Trell
