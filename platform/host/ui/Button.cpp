#include "platform/ui/Button.h"

namespace lumora::platform {

Button::Button(Rect frame) : Control(frame)
{
    layer()->setContentsGravity(Layer::ContentsGravity::Center);
}

void Button::setImage_forState(std::shared_ptr<Image> image, State state)
{
    if (image) {
        images_[state] = std::move(image);
    } else {
        images_.erase(state);
    }
    stateDidChange();
}

std::shared_ptr<Image> Button::imageForState(State state) const
{
    if (const auto found = images_.find(state); found != images_.end()) {
        return found->second;
    }
    if (const auto normal = images_.find(StateNormal); normal != images_.end()) {
        return normal->second;
    }
    return nullptr;
}

Size Button::sizeThatFits(Size /*size*/) const
{
    const auto image = imageForState(StateNormal);
    return image ? image->size() : Size {};
}

void Button::stateDidChange()
{
    layer()->setContentsGravity(Layer::ContentsGravity::Center);
    layer()->setContents(currentImage());
}

} // namespace lumora::platform
