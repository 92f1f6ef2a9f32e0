#pragma once

#include "platform/foundation/Object.h"
#include "platform/graphics/Geometry.h"

#include <memory>
#include <string>

namespace lumora::platform {

class Bundle;

/// An immutable picture: pixels with a scale (pixels per point), so that its
/// `size` is in points. Images are made by an image context, read from a
/// bundle's resources, or read from a PNG file. They may be shared between
/// threads.
class Image final : public Object {
public:
    /// What the platform keeps of an image's pixels; only the platform's
    /// implementation knows it.
    class Backing;

    /// The image resource `name` of `bundle` (the main bundle when null): the
    /// PNG file "<name>.png", "<name>@2x.png" or "<name>@3x.png", choosing the
    /// variant made for the main screen's scale when there is one, else the
    /// nearest larger, else the nearest smaller. Null when there is none or
    /// it cannot be read.
    static std::shared_ptr<Image> imageNamed_inBundle(const std::string& name, const std::shared_ptr<Bundle>& bundle);
    /// The image resource `name` of the main bundle.
    static std::shared_ptr<Image> imageNamed(const std::string& name) { return imageNamed_inBundle(name, nullptr); }
    /// A PNG file at scale 1, or at the scale its name's "@2x"/"@3x" suffix
    /// says. Null when the file is missing or is not a PNG.
    static std::shared_ptr<Image> imageWithContentsOfFile(const std::string& path);

    /// Made by the platform only.
    Image(std::shared_ptr<const Backing> backing, double scale, std::string name = {});

    /// The size in points: the pixel size divided by the scale.
    [[nodiscard]] Size size() const;
    /// Pixels per point (1, 2 or 3 for resources).
    [[nodiscard]] double scale() const { return scale_; }
    /// The resource name the image was looked up by; empty for other images.
    [[nodiscard]] const std::string& name() const { return name_; }
    /// The pixels, for the platform's drawing code.
    [[nodiscard]] const std::shared_ptr<const Backing>& backing() const { return backing_; }

    [[nodiscard]] std::string className() const override { return "Image"; }
    [[nodiscard]] bool isKindOfClassNamed(const std::string& name) const override
    {
        return name == "Image" || Object::isKindOfClassNamed(name);
    }
    [[nodiscard]] std::string description() const override;

private:
    std::shared_ptr<const Backing> backing_;
    double scale_;
    std::string name_;
};

} // namespace lumora::platform
