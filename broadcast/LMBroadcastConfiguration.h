#pragma once

#include "platform/formats/Coding.h"
#include "platform/foundation/Object.h"
#include "platform/foundation/Value.h"

#include <memory>
#include <string>

namespace lumora {

/// How a broadcast service wants the broadcast cut and compressed. A setup
/// extension fills one in; a movie-clip upload extension may hand back an
/// updated one. It crosses processes as a keyed archive:
///
/// | Key                          | Stored value                              | Written when              |
/// |------------------------------|-------------------------------------------|---------------------------|
/// | "clipDuration"               | a number object holding `clipDuration`    | always                    |
/// | "videoCompressionProperties" | the dictionary itself                     | only when it is non-empty |
///
/// Decoding is secure: "clipDuration" must hold a number and
/// "videoCompressionProperties" a dictionary, or the unarchiver refuses the
/// archive; the archive itself is read within the limits of
/// `platform::KeyedUnarchiver` (objects nested at most
/// `KeyedUnarchiver::MaximumDepth` deep). Not thread-safe (plain, non-atomic
/// properties).
class LMBroadcastConfiguration final : public platform::Object, public platform::SecureCoding {
public:
    /// A configuration with `clipDuration` 0.0 and no compression properties.
    LMBroadcastConfiguration() = default;

    /// Class-level: configurations decode securely.
    static bool supportsSecureCoding() { return true; }
    /// The class as keyed archiving sees it (name, chain, initializer).
    static const platform::CodingClass& codingClass();

    void encodeWithCoder(platform::Coder& coder) const override;
    /// Builds a configuration from the archive `coder` reads; null when the
    /// instance cannot be made.
    static std::shared_ptr<LMBroadcastConfiguration> initWithCoder(platform::Coder& coder);
    [[nodiscard]] const platform::CodingClass& classForCoder() const override { return codingClass(); }

    /// Duration of one movie clip that the service cuts the broadcast into.
    [[nodiscard]] double clipDuration() const { return clipDuration_; }
    /// Sets the duration of one movie clip, in seconds. The recording service
    /// holds it between 0.5 and 600 seconds; zero (the initial value), a
    /// negative duration or not a number leaves its default, 5 seconds.
    /// (On the simulated device: `SimulatedRecordingService::MinimumClipDuration`,
    /// `MaximumClipDuration` and `DefaultClipDuration`.)
    void setClipDuration(double clipDuration) { clipDuration_ = clipDuration; }

    /// Video encoder settings for the service; may be absent. The setter keeps
    /// the given dictionary itself (it does not copy it).
    [[nodiscard]] const platform::DictionaryRef& videoCompressionProperties() const
    {
        return videoCompressionProperties_;
    }
    /// Sets the video encoder settings (null for none), keeping the dictionary itself.
    void setVideoCompressionProperties(platform::DictionaryRef properties)
    {
        videoCompressionProperties_ = std::move(properties);
    }

    [[nodiscard]] std::string className() const override { return "LMBroadcastConfiguration"; }
    [[nodiscard]] bool isKindOfClassNamed(const std::string& name) const override
    {
        return name == "LMBroadcastConfiguration" || Object::isKindOfClassNamed(name);
    }
    [[nodiscard]] std::string description() const override;

private:
    double clipDuration_ = 0.0;
    platform::DictionaryRef videoCompressionProperties_;
};

} // namespace lumora
