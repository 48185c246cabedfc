#pragma once

// Inter-process communication.
#include <ipc/CMsgShareMemory.h>
#include <ipc/CShareMemory.h>
#include <ipc/CShareMemoryProxy.h>
#include <ipc/IShareMemoryListener.h>
