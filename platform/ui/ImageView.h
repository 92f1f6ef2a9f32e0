#pragma once

#include "platform/graphics/Image.h"
#include "platform/ui/View.h"

#include <memory>

namespace lumora::platform {

/// A view that shows an image stretched over its bounds.
class ImageView : public View {
public:
    ImageView() = default;
    /// A view as large as `image` (zero without one), at the origin.
    explicit ImageView(std::shared_ptr<Image> image);

    /// The image shown; null for none.
    [[nodiscard]] const std::shared_ptr<Image>& image() const { return image_; }
    /// Shows `image` (null: none) and redraws; the view's frame does not change.
    void setImage(std::shared_ptr<Image> image);
    /// The image's size (zero without one).
    [[nodiscard]] Size sizeThatFits(Size size) const override;

    [[nodiscard]] std::string className() const override { return "ImageView"; }
    [[nodiscard]] bool isKindOfClassNamed(const std::string& name) const override
    {
        return name == "ImageView" || View::isKindOfClassNamed(name);
    }

private:
    std::shared_ptr<Image> image_;
};

} // namespace lumora::platform
