#pragma once

#include "platform/foundation/Object.h"
#include "platform/graphics/Color.h"
#include "platform/graphics/Geometry.h"
#include "platform/graphics/Image.h"
#include "platform/graphics/RenderContext.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace lumora::platform {

class GraphicsContext;

/// A node of the layer tree that the render server draws.
///
/// Sublayers are held strongly and in the order they were added; a layer
/// points up to its superlayer weakly. `zPosition` orders drawing among
/// siblings (higher is drawn later, on top) without changing that order.
/// Layers are used on the MainQueue.
///
/// Changes to `frame`, `bounds` and `opacity` made inside a view animation
/// block become running animations of the layer: the properties take their
/// new values at once, while the layer is shown moving towards them
/// (`presentationLayer`) on the device clock.
class Layer : public Object {
public:
    Layer() = default;

    /// The frame in the superlayer's coordinates. Setting it also sets the
    /// size of `bounds`.
    [[nodiscard]] Rect frame() const { return frame_; }
    /// Sets the frame; inside an animation block a move of its centre is animated.
    virtual void setFrame(Rect frame);
    /// The layer's own coordinate space. Setting it also sets the size of `frame`.
    [[nodiscard]] Rect bounds() const { return bounds_; }
    /// Sets the bounds; never animated.
    virtual void setBounds(Rect bounds);

    /// The drawing order among siblings: higher is drawn later, on top; 0 by
    /// default.
    [[nodiscard]] double zPosition() const { return zPosition_; }
    /// Sets the drawing order among siblings.
    void setZPosition(double zPosition) { zPosition_ = zPosition; }
    /// Whether the layer's content and sublayers are drawn only inside the
    /// bounds, rounded by `cornerRadius` (false by default).
    [[nodiscard]] bool masksToBounds() const { return masksToBounds_; }
    /// Sets whether sublayers are clipped to the bounds.
    void setMasksToBounds(bool masks) { masksToBounds_ = masks; }
    /// Whether the layer and its sublayers are left out of drawing; false by
    /// default.
    [[nodiscard]] bool isHidden() const { return hidden_; }
    /// Hides or shows the layer and its sublayers.
    void setHidden(bool hidden) { hidden_ = hidden; }
    /// Stored as given; drawing and hit testing treat values below 0 as 0 and
    /// above 1 as 1.
    [[nodiscard]] double opacity() const { return opacity_; }
    /// Sets the opacity, 0 (transparent) to 1 (the default); inside an animation
    /// block the change is animated.
    void setOpacity(double opacity);
    /// The colour that fills the bounds (rounded by `cornerRadius`); null (the
    /// default) is clear.
    [[nodiscard]] const std::shared_ptr<Color>& backgroundColor() const { return backgroundColor_; }
    /// Sets the background colour; null for clear.
    void setBackgroundColor(std::shared_ptr<Color> color) { backgroundColor_ = std::move(color); }
    /// The radius, in points, that rounds the corners of the background and,
    /// with `masksToBounds`, of the clip; 0 by default.
    [[nodiscard]] double cornerRadius() const { return cornerRadius_; }
    /// Sets the corner radius in points.
    void setCornerRadius(double radius) { cornerRadius_ = radius; }

    // ---- Content ---------------------------------------------------------------------
    /// Where `contents` goes in the bounds.
    enum class ContentsGravity : std::uint8_t {
        Resize, ///< stretched over the bounds
        Center, ///< at its own size, centred
        TopLeft, ///< at its own size, in the top-left corner
        ResizeAspect, ///< as large as fits, keeping its aspect, centred
    };
    /// An image drawn over the background colour at the image's own scale.
    [[nodiscard]] const std::shared_ptr<Image>& contents() const { return contents_; }
    /// Sets the image drawn in the bounds; null draws none (the default).
    void setContents(std::shared_ptr<Image> image) { contents_ = std::move(image); }
    /// Where `contents` goes in the bounds; `Resize` by default.
    [[nodiscard]] ContentsGravity contentsGravity() const { return contentsGravity_; }
    /// Sets where `contents` goes in the bounds.
    void setContentsGravity(ContentsGravity gravity) { contentsGravity_ = gravity; }
    /// Draws content of the layer's own over the background colour and
    /// `contents`, in bounds coordinates. Called whenever the layer is drawn;
    /// the base class draws nothing.
    virtual void drawInContext(GraphicsContext& context) const;
    /// Whether the layer's class draws in `drawInContext`; the compositor
    /// skips the call otherwise.
    [[nodiscard]] virtual bool drawsContent() const { return false; }

    // ---- Animations ---------------------------------------------------------------------
    /// The keys of the running animations ("position", "opacity", ...).
    [[nodiscard]] std::vector<std::string> animationKeys() const;
    /// Stops every running animation. The layer stays where it was shown at
    /// this moment: the shown values become the layer's values. Each
    /// animation block that loses its last animation completes as not finished.
    void removeAllAnimations();
    /// A detached copy of this layer's properties (not its sublayers) as they
    /// are shown now, running animations applied.
    [[nodiscard]] std::shared_ptr<Layer> presentationLayer() const;

    /// The sublayers, held strongly, in tree order.
    [[nodiscard]] const std::vector<std::shared_ptr<Layer>>& sublayers() const { return sublayers_; }
    /// The layer this one is a sublayer of (held weakly), or null.
    [[nodiscard]] std::shared_ptr<Layer> superlayer() const { return superlayer_.lock(); }
    /// Appends `layer`, taking it from its current superlayer first.
    void addSublayer(const std::shared_ptr<Layer>& layer);
    /// Inserts `layer` at `index` of the sublayers (past the end appends), taking
    /// it from its current superlayer first. Null or this layer is ignored.
    void insertSublayer_atIndex(const std::shared_ptr<Layer>& layer, std::size_t index);
    /// Takes the layer out of its superlayer, which drops its reference; nothing
    /// when it has none.
    void removeFromSuperlayer();
    /// The sublayers in drawing order: by `zPosition`, ties kept in tree order.
    [[nodiscard]] std::vector<std::shared_ptr<Layer>> sublayersInDrawingOrder() const;

    /// The render context that draws this layer's tree: set on a window's
    /// layer only; null for every other layer.
    [[nodiscard]] const std::shared_ptr<RenderContext>& context() const { return context_; }
    /// Sets the render context; the platform sets it on windows' layers.
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
    std::shared_ptr<Image> contents_;
    ContentsGravity contentsGravity_ = ContentsGravity::Resize;
    std::vector<std::shared_ptr<Layer>> sublayers_;
    std::weak_ptr<Layer> superlayer_;
    std::shared_ptr<RenderContext> context_;
};

} // namespace lumora::platform
