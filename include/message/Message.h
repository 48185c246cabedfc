#pragma once

// The messaging family: typed messages, the message center and its proxy,
// event dispatch and idle notification.
#include <message/CBaseMessage.h>
#include <message/CEventDispatcher.h>
#include <message/CHardkeyTable.h>
#include <message/CIdleCenter.h>
#include <message/CIdleCenterProxy.h>
#include <message/CMessageCenter.h>
#include <message/CMessageCenterProxy.h>
#include <message/CMessages.h>
#include <message/IEventListener.h>
#include <message/IIdleListener.h>
#include <message/IMessageCenterListener.h>
#include <message/IMsgSystemListener.h>
#include <message/IMsgUserListener.h>
