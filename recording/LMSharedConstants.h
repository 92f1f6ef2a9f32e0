#pragma once

#include "platform/foundation/Object.h"

namespace lumora {

/// Exported by name only: the class has no fields and no operations of its own.
class LMSharedConstants : public platform::Object {
public:
    [[nodiscard]] std::string className() const override { return "LMSharedConstants"; }
};

} // namespace lumora
