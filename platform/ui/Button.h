#pragma once

#include "platform/graphics/Image.h"
#include "platform/ui/Control.h"

#include <map>
#include <memory>

namespace lumora::platform {

/// A push button showing an image for its current state.
///
/// The image for a state is the one set for exactly that state, else the
/// normal state's. It is drawn at its own size, centred in the bounds.
class Button : public Control {
public:
    Button() = default;
    /// A button with `frame` in its superview's coordinates and no images.
    explicit Button(Rect frame);

    /// Sets the image shown in `state`; null removes it, so that the state falls
    /// back to the normal image.
    void setImage_forState(std::shared_ptr<Image> image, State state);
    /// The image set for `state`, falling back to the normal state's.
    [[nodiscard]] std::shared_ptr<Image> imageForState(State state) const;
    /// The image for the current state.
    [[nodiscard]] std::shared_ptr<Image> currentImage() const { return imageForState(state()); }
    /// The normal image's size (zero without one).
    [[nodiscard]] Size sizeThatFits(Size size) const override;

    [[nodiscard]] std::string className() const override { return "Button"; }
    [[nodiscard]] bool isKindOfClassNamed(const std::string& name) const override
    {
        return name == "Button" || Control::isKindOfClassNamed(name);
    }

protected:
    void stateDidChange() override;

private:
    std::map<State, std::shared_ptr<Image>> images_;
};

} // namespace lumora::platform
