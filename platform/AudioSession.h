#pragma once

#include "platform/Error.h"
#include "platform/Object.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace lumora::platform {

/// The application's audio session: how its audio mixes with the rest of the system.
class AudioSession final : public Object {
public:
    static constexpr std::string_view CategoryAmbient = "AudioSessionCategoryAmbient";
    static constexpr std::string_view CategorySoloAmbient = "AudioSessionCategorySoloAmbient";
    static constexpr std::string_view CategoryPlayback = "AudioSessionCategoryPlayback";
    static constexpr std::string_view CategoryRecord = "AudioSessionCategoryRecord";
    static constexpr std::string_view CategoryPlayAndRecord = "AudioSessionCategoryPlayAndRecord";

    /// Category options (a bit set).
    static constexpr std::uint64_t OptionMixWithOthers = 0x1;
    static constexpr std::uint64_t OptionDuckOthers = 0x2;
    static constexpr std::uint64_t OptionAllowBluetooth = 0x4;
    static constexpr std::uint64_t OptionDefaultToSpeaker = 0x8;

    /// The error domain of refused changes.
    static constexpr std::string_view ErrorDomain = "AudioSessionErrorDomain";
    static constexpr std::int64_t ErrorCodeBadParameter = -50;

    static std::shared_ptr<AudioSession> sharedInstance();

    AudioSession() = default;

    [[nodiscard]] std::string category() const;
    [[nodiscard]] std::uint64_t categoryOptions() const;
    /// Sets the category and its options together. An absent or unknown
    /// category is refused with an error (domain `ErrorDomain`, code
    /// `ErrorCodeBadParameter`) and changes nothing; success returns null.
    ErrorRef setCategory_withOptions(const std::optional<std::string>& category, std::uint64_t options);

    [[nodiscard]] std::string className() const override { return "AudioSession"; }
};

} // namespace lumora::platform
