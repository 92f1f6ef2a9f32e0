#pragma once

#include "platform/ui/View.h"

#include <memory>

namespace lumora {

/// A view that takes touches only on one of its subviews, the hitable view,
/// and lets every other touch fall through to whatever lies beneath it.
///
/// The subview added last becomes the hitable view. With no hitable view no
/// point belongs to this view.
class LMPassThroughView : public platform::View {
public:
    using platform::View::View;

    /// The subview that takes this view's touches (held strongly), or null.
    [[nodiscard]] const std::shared_ptr<platform::View>& hitableView() const { return hitableView_; }
    /// Sets the subview that takes touches; null lets every touch fall through.
    void setHitableView(std::shared_ptr<platform::View> view) { hitableView_ = std::move(view); }

    /// Adds `view` as usual and makes it the hitable view.
    void addSubview(const std::shared_ptr<platform::View>& view) override;
    /// Whether `point` lies on the hitable view (asked in its coordinates).
    [[nodiscard]] bool pointInside_withEvent(
        platform::Point point, const std::shared_ptr<platform::Event>& event) const override;

    [[nodiscard]] std::string className() const override { return "LMPassThroughView"; }
    [[nodiscard]] bool isKindOfClassNamed(const std::string& name) const override
    {
        return name == "LMPassThroughView" || platform::View::isKindOfClassNamed(name);
    }

private:
    std::shared_ptr<platform::View> hitableView_;
};

} // namespace lumora
