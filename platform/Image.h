#pragma once

#include "platform/Data.h"
#include "platform/Object.h"

#include <memory>
#include <string>

namespace lumora::platform {

/// A bitmap image as the application's bundle ships it: its name and the
/// bytes of its PNG file.
class Image final : public Object {
public:
    /// The image `name` of the main bundle: "<name>.png", else "<name>@2x.png",
    /// at the bundle's top level. Null when the bundle has neither.
    static std::shared_ptr<Image> imageNamed(const std::string& name);

    Image(std::string name, Data pngData) : name_(std::move(name)), pngData_(std::move(pngData)) { }

    [[nodiscard]] const std::string& name() const { return name_; }
    [[nodiscard]] const Data& pngData() const { return pngData_; }

    [[nodiscard]] std::string className() const override { return "Image"; }
    [[nodiscard]] std::string description() const override { return "<Image " + name_ + ">"; }

private:
    std::string name_;
    Data pngData_;
};

} // namespace lumora::platform
