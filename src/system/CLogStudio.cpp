#include <system/CLogStudio.h>

namespace Trell {

const CString CLogStudio::STR_TRELL_STUDIO(CATEGORY);

} // namespace Trell
