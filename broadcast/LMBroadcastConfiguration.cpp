#include "broadcast/LMBroadcastConfiguration.h"

#include <fmt/format.h>
#include <new>

namespace lumora {

namespace {

constexpr std::string_view kClipDurationKey = "clipDuration";
constexpr std::string_view kVideoCompressionPropertiesKey = "videoCompressionProperties";

} // namespace

const platform::CodingClass& LMBroadcastConfiguration::codingClass()
{
    // Never destroyed: configurations may still be decoded on other threads while the process exits.
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory)
    static const auto* const instance = new const platform::CodingClass("LMBroadcastConfiguration",
        { "LMBroadcastConfiguration", std::string(platform::CodingClass::RootClassName) }, supportsSecureCoding(),
        [](platform::Coder& coder) -> platform::ObjectRef { return initWithCoder(coder); });
    return *instance;
}

void LMBroadcastConfiguration::encodeWithCoder(platform::Coder& coder) const
{
    coder.encodeObject_forKey(platform::Value(clipDuration_), kClipDurationKey);
    const std::size_t count = videoCompressionProperties_ ? videoCompressionProperties_->size() : 0;
    if (count != 0) {
        coder.encodeObject_forKey(platform::Value(videoCompressionProperties_), kVideoCompressionPropertiesKey);
    }
}

std::shared_ptr<LMBroadcastConfiguration> LMBroadcastConfiguration::initWithCoder(platform::Coder& coder)
{
    // The base initialisation is the only step that can fail (an allocation);
    // without an instance nothing is decoded.
    std::shared_ptr<LMBroadcastConfiguration> configuration(new (std::nothrow) LMBroadcastConfiguration());
    if (!configuration) {
        return nullptr;
    }
    configuration->clipDuration_
        = coder.decodeObjectOfClass_forKey(platform::CodingClass::number(), kClipDurationKey).doubleValue();
    configuration->videoCompressionProperties_
        = coder.decodeObjectOfClass_forKey(platform::CodingClass::dictionary(), kVideoCompressionPropertiesKey)
              .dictionary();
    return configuration;
}

std::string LMBroadcastConfiguration::description() const
{
    return fmt::format("<LMBroadcastConfiguration: clipDuration = {}, videoCompressionProperties = {}>", clipDuration_,
        videoCompressionProperties_ ? platform::Value(videoCompressionProperties_).description() : "(null)");
}

} // namespace lumora
