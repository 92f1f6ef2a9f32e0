#pragma once

#include "platform/graphics/Color.h"
#include "platform/graphics/Layer.h"
#include "platform/ui/View.h"

#include <memory>
#include <vector>

namespace lumora::platform::host {

/// The layer of a blurred backdrop view: the compositor blurs what lies
/// beneath it, cut to its mask views' shapes.
class BackdropLayer final : public Layer {
public:
    BackdropLayer(double blurRadius, std::shared_ptr<Color> tint) : blurRadius_(blurRadius), tint_(std::move(tint)) { }

    [[nodiscard]] double blurRadius() const { return blurRadius_; }
    /// Laid over the blur where a tint mask view is opaque (or over all of
    /// the blur when no view shapes the tint).
    [[nodiscard]] const std::shared_ptr<Color>& tint() const { return tint_; }

    [[nodiscard]] std::vector<std::weak_ptr<View>>& maskViews() { return maskViews_; }
    [[nodiscard]] const std::vector<std::weak_ptr<View>>& maskViews() const { return maskViews_; }

    [[nodiscard]] std::string className() const override { return "BackdropLayer"; }

private:
    double blurRadius_;
    std::shared_ptr<Color> tint_;
    std::vector<std::weak_ptr<View>> maskViews_;
};

} // namespace lumora::platform::host
