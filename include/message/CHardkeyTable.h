#pragma once

#include <foundation/CMemory.h>
#include <foundation/Export.h>

namespace Trell {

// Key codes and key statuses of hard-key messages: the host's virtual-key
// numbers for the common keys plus three device keys.
class ECS_API CHardkeyTable
{
    TRELL_DECLARE_ALLOCATOR(u"CHardkeyTable")

public:
    static const unsigned int KEY_CODE_BACKSPACE;
    static const unsigned int KEY_CODE_TAB;
    static const unsigned int KEY_CODE_ENTER;
    static const unsigned int KEY_CODE_SHIFT;
    static const unsigned int KEY_CODE_CTRL;
    static const unsigned int KEY_CODE_ALT;
    static const unsigned int KEY_CODE_ESC;
    static const unsigned int KEY_CODE_PAGEUP;
    static const unsigned int KEY_CODE_PAGEDOWN;
    static const unsigned int KEY_CODE_END;
    static const unsigned int KEY_CODE_HOME;
    static const unsigned int KEY_CODE_LEFT;
    static const unsigned int KEY_CODE_UP;
    static const unsigned int KEY_CODE_RIGHT;
    static const unsigned int KEY_CODE_DOWN;
    static const unsigned int KEY_CODE_DELETE;
    static const unsigned int KEY_CODE_HELP;
    static const unsigned int KEY_CODE_F1;
    static const unsigned int KEY_CODE_F3;
    static const unsigned int KEY_CODE_BACK;
    static const unsigned int KEY_CODE_ROTATE_LEFT;
    static const unsigned int KEY_CODE_ROTATE_RIGHT;

    static const unsigned int KEY_STATUS_PRESS;
    static const unsigned int KEY_STATUS_LONG_PRESS;
    static const unsigned int KEY_STATUS_CONTINUOUS_PRESS;
    static const unsigned int KEY_STATUS_SHORT_RELEASE;
    static const unsigned int KEY_STATUS_LONG_RELEASE;
};

} // namespace Trell
