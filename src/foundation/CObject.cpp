#include <foundation/CObject.h>

namespace Trell {

CObject::~CObject() = default;

void CObject::reset() {}

} // namespace Trell
