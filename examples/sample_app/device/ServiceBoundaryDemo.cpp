#include "platform/host/device/SimulatedDevice.h"
#include "sample_app/Demos.h"
#include "sample_app/app/ServiceBoundaryApp.h"
#include "sample_app/device/SampleDevice.h"

#include <string>
#include <vector>

namespace lumora::sample {

void runServiceBoundaryDemo()
{
    say("The framework bundle");
    if (!serviceBoundaryApp::showFrameworkBundle()) {
        return;
    }

    say("Framework strings in the app's language, for different users");
    auto& device = platform::host::SimulatedDevice::shared();
    for (const auto& languages : { std::vector<std::string> { "en" }, std::vector<std::string> { "fr-FR", "en" },
             std::vector<std::string> { "ja", "fr" } }) {
        device.setPreferredLanguages(languages);
        serviceBoundaryApp::showFrameworkStringsForCurrentUser();
    }
    device.setPreferredLanguages({ "en" });

    say("The local recording service");
    serviceBoundaryApp::talkToLocalService();

    say("Recording errors");
    serviceBoundaryApp::showRecordingErrors();
}

} // namespace lumora::sample
