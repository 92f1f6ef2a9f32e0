#pragma once

#include "platform/foundation/Error.h"
#include "platform/foundation/Object.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace lumora::platform {

/// The application's audio session: how its audio mixes with the rest of the system.
class AudioSession final : public Object {
public:
    /// Category names. Ambient: plays along with other audio, silenced by the
    /// silent switch, no input.
    static constexpr std::string_view CategoryAmbient = "AudioSessionCategoryAmbient";
    /// The default: silences other audio and is silenced by the silent switch.
    static constexpr std::string_view CategorySoloAmbient = "AudioSessionCategorySoloAmbient";
    /// Playback that other audio and the silent switch do not interrupt.
    static constexpr std::string_view CategoryPlayback = "AudioSessionCategoryPlayback";
    /// Recording only; other audio is silenced.
    static constexpr std::string_view CategoryRecord = "AudioSessionCategoryRecord";
    /// Recording and playback together (microphone capture while playing).
    static constexpr std::string_view CategoryPlayAndRecord = "AudioSessionCategoryPlayAndRecord";

    /// Category options (a bit set).
    static constexpr std::uint64_t OptionMixWithOthers = 0x1;
    /// Lowers the volume of other audio while this session plays.
    static constexpr std::uint64_t OptionDuckOthers = 0x2;
    /// Allows Bluetooth hands-free devices as input and output.
    static constexpr std::uint64_t OptionAllowBluetooth = 0x4;
    /// Routes output to the built-in speaker rather than the receiver.
    static constexpr std::uint64_t OptionDefaultToSpeaker = 0x8;

    /// The error domain of refused changes.
    static constexpr std::string_view ErrorDomain = "AudioSessionErrorDomain";
    /// The category was absent or unknown.
    static constexpr std::int64_t ErrorCodeBadParameter = -50;

    /// The application's audio session; the same object on every call.
    static std::shared_ptr<AudioSession> sharedInstance();

    AudioSession() = default;

    /// The current category (one of the Category names).
    [[nodiscard]] std::string category() const;
    /// The current category options (a combination of the Option bits).
    [[nodiscard]] std::uint64_t categoryOptions() const;
    /// Sets the category and its options together. An absent or unknown
    /// category is refused with an error (domain `ErrorDomain`, code
    /// `ErrorCodeBadParameter`) and changes nothing; success returns null.
    ErrorRef setCategory_withOptions(const std::optional<std::string>& category, std::uint64_t options);

    [[nodiscard]] std::string className() const override { return "AudioSession"; }
};

} // namespace lumora::platform
