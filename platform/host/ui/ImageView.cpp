#include "platform/ui/ImageView.h"

namespace lumora::platform {

ImageView::ImageView(std::shared_ptr<Image> image) : View(Rect { {}, image ? image->size() : Size {} })
{
    setImage(std::move(image));
}

void ImageView::setImage(std::shared_ptr<Image> image)
{
    image_ = std::move(image);
    layer()->setContentsGravity(Layer::ContentsGravity::Resize);
    layer()->setContents(image_);
}

Size ImageView::sizeThatFits(Size /*size*/) const
{
    return image_ ? image_->size() : Size {};
}

} // namespace lumora::platform
