#pragma once

// Text family: character rules, the string class, its comparison records,
// conversions and the class registry keyed by class name.
#include <text/CObjectFactory.h>
#include <text/CString.h>
#include <text/CStringCompare.h>
#include <text/CStringConverter.h>
#include <text/CStringCore.h>
