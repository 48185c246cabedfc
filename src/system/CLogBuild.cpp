#include <system/CLogBuild.h>

namespace Trell {

const CString CLogBuild::STR_TRELL_BUILD(CATEGORY);

} // namespace Trell
