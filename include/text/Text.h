#pragma once

// Text family: character rules, the string class, its comparison records,
// conversions, the class registry keyed by class name, the cache record and
// the plain records that hold text.
#include <text/CCacheObject.h>
#include <text/CObjectFactory.h>
#include <text/CString.h>
#include <text/CStringCompare.h>
#include <text/CStringConverter.h>
#include <text/CStringCore.h>
#include <text/tagFileData.h>
#include <text/tagNameValue.h>
