#pragma once

// System family: paths, files, folders and calendar time.
#include <system/CFile.h>
#include <system/CFolder.h>
#include <system/CPath.h>
#include <system/CTime.h>
#include <system/CTimeSpan.h>
