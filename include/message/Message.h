#pragma once

// The messaging family: typed messages, the message center and its proxy.
#include <message/CBaseMessage.h>
#include <message/CHardkeyTable.h>
#include <message/CMessageCenter.h>
#include <message/CMessageCenterProxy.h>
#include <message/CMessages.h>
#include <message/IMessageCenterListener.h>
#include <message/IMsgSystemListener.h>
#include <message/IMsgUserListener.h>
