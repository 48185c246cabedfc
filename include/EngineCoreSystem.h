#pragma once

// Umbrella header: every public header of the library, family by family.
#include <foundation/Foundation.h>
#include <platform/Platform.h>
#include <system/System.h>
#include <text/Text.h>
