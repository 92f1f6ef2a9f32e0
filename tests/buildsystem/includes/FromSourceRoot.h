#pragma once

#include "platform/Window.h"
#include "platform/host/SimulatedDevice.h"
