#pragma once

// Platform family: the platform interfaces and factory, locks, events and threads.
#include <platform/CAutoSync.h>
#include <platform/CPlatformFactory.h>
#include <platform/CSyncObject.h>
#include <platform/CThread.h>
#include <platform/CWaitObject.h>
#include <platform/IFile.h>
#include <platform/IFolder.h>
#include <platform/ILibraryLoader.h>
#include <platform/IPath.h>
#include <platform/IPlatformFactory.h>
#include <platform/IPlayerMP3.h>
#include <platform/IShareMemory.h>
#include <platform/ISocketClient.h>
#include <platform/ISocketServer.h>
#include <platform/ISurface.h>
#include <platform/ISyncObject.h>
#include <platform/ISystem.h>
#include <platform/IThread.h>
#include <platform/IWaitObject.h>
