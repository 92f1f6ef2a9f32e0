// The sample streaming service's setup extension as a bundle of its own: the
// same code the sample installs in process, run by the extension host.
#include "extensions/setup/StreamerSetupExtension.h"
#include "platform/host/extensions/ExtensionEntryPoint.h"

namespace {

std::shared_ptr<lumora::platform::ViewController> startSampleSetup(
    const lumora::platform::host::ExtensionRequestSide& request)
{
    return lumora::sample::startStreamerSetup(request.context);
}

} // namespace

LUMORA_EXTENSION_VIEW_CONTROLLER_FACTORY(startSampleSetup)
