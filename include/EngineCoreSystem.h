#pragma once

// Umbrella header: every public header of the library, family by family.
#include <audio/Audio.h>
#include <configuration/Configuration.h>
#include <document/Document.h>
#include <foundation/Foundation.h>
#include <input/Input.h>
#include <ipc/Ipc.h>
#include <math/Math.h>
#include <message/Message.h>
#include <platform/Platform.h>
#include <system/System.h>
#include <text/Text.h>
#include <timer/Timer.h>
