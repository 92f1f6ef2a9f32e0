#pragma once

#include "platform/foundation/Noncopyable.h"
#include "platform/foundation/Object.h"
#include "platform/ui/View.h"

#include <concepts>
#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>

namespace lumora {

/// Glyph alphas and the flat plate's gray, as single-precision values
/// widened to double: the buttons use exactly these widened values.
inline constexpr double LMVideoOverlayDefaultGlyphAlpha = static_cast<double>(0.3F);
inline constexpr double LMVideoOverlayHighlightedGlyphAlpha = static_cast<double>(0.5F);
inline constexpr double LMVideoOverlayFlatBackgroundWhite = static_cast<double>(0.96F);
inline constexpr double LMVideoOverlayFlatBackgroundAlpha = static_cast<double>(0.96F);
/// The two mask images in the framework bundle, both of the same size: the
/// glyph, and the shape of the plate behind it.
inline constexpr std::string_view LMVideoOverlayGlyphMaskImageName = "LMVideoOverlayGlyphMask";
inline constexpr std::string_view LMVideoOverlayBackgroundMaskImageName = "LMVideoOverlayBackgroundMask";

/// A translucent play button laid over a video picture, reporting a tap by
/// sending its action to its target with itself as the sender. Both looks
/// (`LMHighFidelityVideoOverlayButton`, `LMFlatVideoOverlayButton`) are views
/// and adopt this protocol; `_srVideoOverlayButtonWithStyle` picks one.
class LMVideoOverlayButton : private platform::Noncopyable {
public:
    /// Style numbers: automatic (a blurred backdrop, or the flat look on
    /// devices of reduced graphics quality), and flat. Any other number makes
    /// a high-fidelity button without a backdrop.
    static constexpr std::int64_t StyleAutomatic = 0;
    /// The flat look, on every device.
    static constexpr std::int64_t StyleFlat = 2;

    /// An operation of some class that takes the sender. A target responds
    /// to the action when it is of that class.
    class Action {
    public:
        /// An empty action: it is sent to no target.
        Action() = default;
        /// An action that calls `operation` on a target of class `Target`.
        template <class Target>
        requires std::derived_from<Target, platform::Object> Action(void (Target::*operation)(
            const std::shared_ptr<platform::Object>& sender)) // NOLINT(google-explicit-constructor)
            : perform_([operation](platform::Object& target, const std::shared_ptr<platform::Object>& sender) {
                  auto* typed = dynamic_cast<Target*>(&target);
                  if (typed == nullptr) {
                      return false;
                  }
                  (typed->*operation)(sender);
                  return true;
              })
        { }

        /// Whether the action names no operation (a default-made action).
        [[nodiscard]] bool isEmpty() const { return !perform_; }
        /// Calls the operation on `target` with `sender`; false (and nothing
        /// called) when the target does not respond to it.
        bool sendTo(
            const std::shared_ptr<platform::Object>& target, const std::shared_ptr<platform::Object>& sender) const
        {
            return perform_ && target && perform_(*target, sender);
        }

    private:
        std::function<bool(platform::Object&, const std::shared_ptr<platform::Object>&)> perform_;
    };

    /// A new button of the look that `style` asks for on this device, made
    /// with that style number (so an automatic flat button keeps style 0).
    static std::shared_ptr<platform::View> _srVideoOverlayButtonWithStyle(std::int64_t style);

    virtual ~LMVideoOverlayButton() = default;

    /// The style number the button was made with.
    [[nodiscard]] virtual std::int64_t style() const = 0;
    /// Stores both; the target is held weakly.
    virtual void setTarget_action(const std::shared_ptr<platform::Object>& target, Action action) = 0;

protected:
    LMVideoOverlayButton() = default;
};

} // namespace lumora
