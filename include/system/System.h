#pragma once

// System family: paths, files, folders, calendar time, logging, plug-in
// libraries, processes and the clipboard.
#include <system/CFile.h>
#include <system/CFolder.h>
#include <system/CLibraryLoader.h>
#include <system/CLog.h>
#include <system/CLogBuild.h>
#include <system/CLogCategory.h>
#include <system/CLogEngine.h>
#include <system/CLogStudio.h>
#include <system/CPath.h>
#include <system/CSystem.h>
#include <system/CTime.h>
#include <system/CTimeSpan.h>
#include <system/ILogOuter.h>
