#pragma once

#include "platform/host/services/SimulatedExtensions.h"
#include "platform/host/services/SimulatedRecordingService.h"

#include <memory>
#include <optional>
#include <string>

namespace lumora::platform::host {

/// A broadcast service as its maker ships it: a setup extension, which the
/// system picker lists and runs when the user chooses the service, and the
/// upload extension that receives the broadcasts it sets up.
struct BroadcastService {
    /// The setup extension's identifier and code: the factory of the view
    /// controller it shows while it sets the broadcast up (it ends its request
    /// with the broadcast's URL, setup information and configuration).
    std::string setupExtension;
    SimulatedExtensions::ViewControllerFactory setup;
    /// A folder holding the setup extension's bundle (its Info.plist), if it has one.
    std::optional<std::string> setupBundle;
    /// The upload extension's identifier, kind and code (a new handler for each request).
    std::string uploadExtension;
    SimulatedRecordingService::UploadKind kind = SimulatedRecordingService::UploadKind::SampleBuffer;
    SimulatedRecordingService::UploadHandlerFactory upload;

    /// Installs both extensions on the simulated device, so that the picker
    /// lists the service and the recording service runs its upload extension.
    void install() const;
    /// Installs both extensions as `install` does, but runs the upload
    /// extension in a process of its own from its bundle folder
    /// `uploadBundle` (lumora_add_extension) instead of from `upload`, and
    /// returns that process.
    std::shared_ptr<ExtensionHostProcess> installOutOfProcess(const std::string& uploadBundle) const;

private:
    void installSetup() const;
};

} // namespace lumora::platform::host
