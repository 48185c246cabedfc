#pragma once

// Inter-process communication.
#include <ipc/CDataTransfer.h>
#include <ipc/CDataTransferProxy.h>
#include <ipc/CMsgDataTransfer.h>
#include <ipc/CMsgShareMemory.h>
#include <ipc/CShareMemory.h>
#include <ipc/CShareMemoryProxy.h>
#include <ipc/CSocketClient.h>
#include <ipc/CSocketServer.h>
#include <ipc/IDataTransferListener.h>
#include <ipc/IShareMemoryListener.h>
#include <ipc/ISocketClientListener.h>
#include <ipc/ISocketServerListener.h>
