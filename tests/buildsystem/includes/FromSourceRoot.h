#pragma once

#include "platform/host/device/SimulatedDevice.h"
#include "platform/ui/Window.h"
