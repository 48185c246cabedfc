#pragma once

// The container family: value and object flavours of arrays, lists and
// maps, the ordered set, the array holder and the comparison records.
#include <foundation/CArrayPtr.h>
#include <foundation/CCompare.h>
#include <foundation/CDataArray.h>
#include <foundation/CDataList.h>
#include <foundation/CDataMap.h>
#include <foundation/CObjectArray.h>
#include <foundation/CObjectList.h>
#include <foundation/CObjectMap.h>
#include <foundation/CSet.h>
