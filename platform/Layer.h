#pragma once

#include "platform/Color.h"
#include "platform/Geometry.h"
#include "platform/Object.h"
#include "platform/RenderContext.h"

#include <memory>
#include <vector>

namespace lumora::platform {

/// A node of the layer tree that the render server draws.
///
/// Sublayers are held strongly and in the order they were added; a layer
/// points up to its superlayer weakly. `zPosition` orders drawing among
/// siblings (higher is drawn later, on top) without changing that order.
/// Layers are used on the MainQueue.
class Layer : public Object {
public:
    Layer() = default;

    /// The frame in the superlayer's coordinates. Setting it also sets the
    /// size of `bounds`.
    [[nodiscard]] Rect frame() const { return frame_; }
    virtual void setFrame(Rect frame);
    /// The layer's own coordinate space. Setting it also sets the size of `frame`.
    [[nodiscard]] Rect bounds() const { return bounds_; }
    virtual void setBounds(Rect bounds);

    [[nodiscard]] double zPosition() const { return zPosition_; }
    void setZPosition(double zPosition) { zPosition_ = zPosition; }
    [[nodiscard]] bool masksToBounds() const { return masksToBounds_; }
    void setMasksToBounds(bool masks) { masksToBounds_ = masks; }
    [[nodiscard]] bool isHidden() const { return hidden_; }
    void setHidden(bool hidden) { hidden_ = hidden; }
    [[nodiscard]] double opacity() const { return opacity_; }
    void setOpacity(double opacity) { opacity_ = opacity; }
    [[nodiscard]] const std::shared_ptr<Color>& backgroundColor() const { return backgroundColor_; }
    void setBackgroundColor(std::shared_ptr<Color> color) { backgroundColor_ = std::move(color); }
    [[nodiscard]] double cornerRadius() const { return cornerRadius_; }
    void setCornerRadius(double radius) { cornerRadius_ = radius; }

    [[nodiscard]] const std::vector<std::shared_ptr<Layer>>& sublayers() const { return sublayers_; }
    [[nodiscard]] std::shared_ptr<Layer> superlayer() const { return superlayer_.lock(); }
    /// Appends `layer`, taking it from its current superlayer first.
    void addSublayer(const std::shared_ptr<Layer>& layer);
    void insertSublayer_atIndex(const std::shared_ptr<Layer>& layer, std::size_t index);
    void removeFromSuperlayer();
    /// The sublayers in drawing order: by `zPosition`, ties kept in tree order.
    [[nodiscard]] std::vector<std::shared_ptr<Layer>> sublayersInDrawingOrder() const;

    /// The render context that draws this layer's tree: set on a window's
    /// layer only; null for every other layer.
    [[nodiscard]] const std::shared_ptr<RenderContext>& context() const { return context_; }
    void setContext(std::shared_ptr<RenderContext> context) { context_ = std::move(context); }

    [[nodiscard]] std::string className() const override { return "Layer"; }
    [[nodiscard]] bool isKindOfClassNamed(const std::string& name) const override
    {
        return name == "Layer" || Object::isKindOfClassNamed(name);
    }

private:
    Rect frame_;
    Rect bounds_;
    double zPosition_ = 0;
    bool masksToBounds_ = false;
    bool hidden_ = false;
    double opacity_ = 1;
    double cornerRadius_ = 0;
    std::shared_ptr<Color> backgroundColor_;
    std::vector<std::shared_ptr<Layer>> sublayers_;
    std::weak_ptr<Layer> superlayer_;
    std::shared_ptr<RenderContext> context_;
};

} // namespace lumora::platform
