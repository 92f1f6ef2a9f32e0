#pragma once

// clang-format off
#  include <../host/device/SimulatedScreens.h>
// clang-format on
