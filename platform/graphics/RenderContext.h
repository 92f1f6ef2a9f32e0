#pragma once

#include "platform/foundation/Object.h"

#include <cstdint>

namespace lumora::platform {

/// The render-server context that draws a window's layer tree. The recording
/// service names the windows it records by their context ids.
class RenderContext final : public Object {
public:
    /// The context with id `contextId`.
    explicit RenderContext(std::uint32_t contextId) : contextId_(contextId) { }

    /// The context's id, by which the recording service names its window.
    [[nodiscard]] std::uint32_t contextId() const { return contextId_; }

    [[nodiscard]] std::string className() const override { return "RenderContext"; }

private:
    std::uint32_t contextId_;
};

} // namespace lumora::platform
