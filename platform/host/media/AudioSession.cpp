#include "platform/media/AudioSession.h"

#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/services/SimulatedMedia.h"

#include <array>
#include <mutex>

namespace lumora::platform {

std::shared_ptr<AudioSession> AudioSession::sharedInstance()
{
    static std::once_flag once;
    // Never destroyed (a deliberately leaked shared_ptr): other threads may still use it while the process exits.
    static const std::shared_ptr<AudioSession>* shared = nullptr;
    std::call_once(once, [] {
        // NOLINTNEXTLINE(cppcoreguidelines-owning-memory)
        shared = new const std::shared_ptr<AudioSession>(std::make_shared<AudioSession>());
    });
    return *shared;
}

std::string AudioSession::category() const
{
    return host::SimulatedDevice::shared().media().audioCategory();
}

std::uint64_t AudioSession::categoryOptions() const
{
    return host::SimulatedDevice::shared().media().audioCategoryOptions();
}

ErrorRef AudioSession::setCategory_withOptions(const std::optional<std::string>& category, std::uint64_t options)
{
    static constexpr std::array known { CategoryAmbient, CategorySoloAmbient, CategoryPlayback, CategoryRecord,
        CategoryPlayAndRecord };
    if (!category || std::find(known.begin(), known.end(), *category) == known.end()) {
        return Error::errorWithDomain(std::string(ErrorDomain), ErrorCodeBadParameter);
    }
    host::SimulatedDevice::shared().media().setAudioCategory(*category, options);
    return nullptr;
}

} // namespace lumora::platform
