#include "platform/PhotoLibrary.h"

#include "platform/DispatchQueue.h"
#include "platform/host/PlatformThreads.h"
#include "platform/host/SimulatedDevice.h"
#include "platform/host/SimulatedPhotoLibrary.h"

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
