#pragma once

// Configuration family: the engine's configuration file.
#include <configuration/CConfigParser.h>
