#pragma once

// Millisecond timers delivered through the message center.
#include <timer/CMsgTimer.h>
#include <timer/CTimer.h>
#include <timer/CTimerManager.h>
