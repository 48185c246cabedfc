#include <system/CLogEngine.h>

namespace Trell {

const CString CLogEngine::STR_TRELL_ENGINE(CATEGORY);

} // namespace Trell
