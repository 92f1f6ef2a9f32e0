#pragma once

#include "platform/ui/View.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace lumora::platform {

/// A live blurred backdrop: the view shows a blur of whatever lies beneath
/// it on screen, redrawn every time the screen is drawn.
///
/// Without mask views the blur fills the bounds. Once views are registered
/// (`updateMaskViewsForView`), their shapes decide: the blur shows only
/// where a view with `View::BackdropMaskFilters` is opaque, and a light tint
/// is laid over the blur where a view with a tint flag is opaque. A mask
/// view's shape is its drawing at full opacity, whatever its own alpha, so
/// a view at alpha 0 can shape the backdrop without showing itself.
class BackdropView : public View {
public:
    /// The styles the platform knows; each gives a blur radius and a tint.
    static constexpr std::int64_t StyleLight = 2010;
    /// The dark style: a darker tint over the blur.
    static constexpr std::int64_t StyleDark = 2030;

    /// A backdrop of `style` (an unknown style blurs as the light one) with a zero frame.
    explicit BackdropView(std::int64_t style);

    /// The style given at creation.
    [[nodiscard]] std::int64_t style() const { return style_; }
    /// Blur radius in points.
    [[nodiscard]] double blurRadius() const;

    /// Registers `view` as a mask view, or unregisters it when its
    /// `backdropMaskViewFlags` are 0. The flags are read whenever the backdrop
    /// is drawn; a mask view counts only while it is in the same view tree
    /// as the backdrop. The backdrop holds mask views weakly.
    void updateMaskViewsForView(const std::shared_ptr<View>& view);
    /// The registered views that are still there.
    [[nodiscard]] std::vector<std::shared_ptr<View>> maskViews() const;

    [[nodiscard]] std::string className() const override { return "BackdropView"; }
    [[nodiscard]] bool isKindOfClassNamed(const std::string& name) const override
    {
        return name == "BackdropView" || View::isKindOfClassNamed(name);
    }

private:
    std::int64_t style_;
};

} // namespace lumora::platform
