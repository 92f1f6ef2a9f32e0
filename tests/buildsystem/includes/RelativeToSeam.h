#pragma once

// clang-format off
#  include <host/SimulatedScreens.h>
// clang-format on
