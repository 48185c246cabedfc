#include <foundation/CObject.h>

namespace Trell {

void CObject::reset()
{}

} // namespace Trell
