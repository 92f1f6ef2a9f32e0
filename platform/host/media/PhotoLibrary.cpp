#include "platform/media/PhotoLibrary.h"

#include "platform/foundation/DispatchQueue.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/foundation/PlatformThreads.h"
#include "platform/host/services/SimulatedPhotoLibrary.h"

namespace lumora::platform {

void PhotoLibrary::saveVideoAtPathToSavedPhotosAlbum(
    const std::string& videoPath, const SaveCompletionTarget& completion, void* contextInfo)
{
    host::postToPlatformThread([videoPath, completion, contextInfo] {
        auto error = host::SimulatedDevice::shared().photoLibrary().saveMovie(videoPath);
        DispatchQueue::main().async([videoPath, completion, contextInfo, error = std::move(error)] {
            completion.send(videoPath, error, contextInfo);
        });
    });
}

} // namespace lumora::platform
