#pragma once

// Foundation family: object model, allocation front-end and containers.
#include <foundation/CMemory.h>
#include <foundation/CObject.h>
#include <foundation/CObjectPoolRef.h>
#include <foundation/CObjectPtr.h>
#include <foundation/Export.h>
