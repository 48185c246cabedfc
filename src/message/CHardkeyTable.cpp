#include <message/CHardkeyTable.h>

namespace Trell {

const unsigned int CHardkeyTable::KEY_CODE_BACKSPACE = 8;
const unsigned int CHardkeyTable::KEY_CODE_TAB = 9;
const unsigned int CHardkeyTable::KEY_CODE_ENTER = 13;
const unsigned int CHardkeyTable::KEY_CODE_SHIFT = 16;
const unsigned int CHardkeyTable::KEY_CODE_CTRL = 17;
const unsigned int CHardkeyTable::KEY_CODE_ALT = 18;
const unsigned int CHardkeyTable::KEY_CODE_ESC = 27;
const unsigned int CHardkeyTable::KEY_CODE_PAGEUP = 33;
const unsigned int CHardkeyTable::KEY_CODE_PAGEDOWN = 34;
const unsigned int CHardkeyTable::KEY_CODE_END = 35;
const unsigned int CHardkeyTable::KEY_CODE_HOME = 36;
const unsigned int CHardkeyTable::KEY_CODE_LEFT = 37;
const unsigned int CHardkeyTable::KEY_CODE_UP = 38;
const unsigned int CHardkeyTable::KEY_CODE_RIGHT = 39;
const unsigned int CHardkeyTable::KEY_CODE_DOWN = 40;
const unsigned int CHardkeyTable::KEY_CODE_DELETE = 46;
const unsigned int CHardkeyTable::KEY_CODE_HELP = 47;
const unsigned int CHardkeyTable::KEY_CODE_F1 = 112;
const unsigned int CHardkeyTable::KEY_CODE_F3 = 114;
const unsigned int CHardkeyTable::KEY_CODE_BACK = 128;
const unsigned int CHardkeyTable::KEY_CODE_ROTATE_LEFT = 129;
const unsigned int CHardkeyTable::KEY_CODE_ROTATE_RIGHT = 130;

const unsigned int CHardkeyTable::KEY_STATUS_PRESS = 1;
const unsigned int CHardkeyTable::KEY_STATUS_LONG_PRESS = 2;
const unsigned int CHardkeyTable::KEY_STATUS_CONTINUOUS_PRESS = 3;
const unsigned int CHardkeyTable::KEY_STATUS_SHORT_RELEASE = 4;
const unsigned int CHardkeyTable::KEY_STATUS_LONG_RELEASE = 5;

} // namespace Trell
