#pragma once

// Inter-process communication.
#include <ipc/CSocketClient.h>
#include <ipc/CSocketServer.h>
#include <ipc/ISocketClientListener.h>
#include <ipc/ISocketServerListener.h>
