#pragma once

// Text family: character rules, the string class and conversions.
#include <text/CString.h>
#include <text/CStringConverter.h>
#include <text/CStringCore.h>
