#pragma once

// Umbrella header: every public header of the library, family by family.
#include <foundation/Foundation.h>
