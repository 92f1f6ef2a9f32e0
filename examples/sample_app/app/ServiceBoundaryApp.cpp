#include "sample_app/app/ServiceBoundaryApp.h"

#include "platform/formats/Locale.h"
#include "platform/system/Bundle.h"
#include "recording/LMDaemonProxy.h"
#include "recording/LMExtensions.h"
#include "recording/LumoraErrors.h"
#include "recording/LumoraVersion.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace lumora::sample::serviceBoundaryApp {

namespace {

std::string appName()
{
    const auto main = platform::Bundle::mainBundle();
    return main ? LMExtensions::_lmLocalizedAppName(*main) : "?";
}

} // namespace

bool showFrameworkBundle()
{
    fmt::print("{}", LumoraVersionString);
    const auto framework = LMExtensions::_lmFrameworkBundle();
    if (!framework) {
        fmt::print("The framework bundle is missing at {}\n", LMExtensions::FrameworkBundlePath);
        return false;
    }
    fmt::print("Found at {} (device path {})\n", framework->bundlePath(), LMExtensions::FrameworkBundlePath);
    fmt::print("Localizations: {}\n", fmt::join(framework->localizations(), ", "));
    const auto main = platform::Bundle::mainBundle();
    fmt::print("Running app: {} ({})\n", appName(), main ? main->bundleIdentifier().value_or("?") : "?");
    return true;
}

void showFrameworkStringsForCurrentUser()
{
    const auto text
        = LMExtensions::_lmLocalizedStringFromFrameworkBundleWithKey_bundleID("STOP_RECORDING", "com.lumora.sample");
    fmt::print("User reads {:<12} -> app name \"{}\", STOP_RECORDING = \"{}\"\n",
        fmt::format("{}", fmt::join(platform::Locale::preferredLanguages(), ",")), appName(),
        text.value_or("(absent)"));
}

void talkToLocalService()
{
    const auto proxy = LMDaemonProxy::daemonProxy();
    proxy
        ->startRecordingWindowLayerContextIDs_windowSize_microphoneEnabled_cameraEnabled_broadcast_systemRecording_withHandler(
            { 1 }, { 750, 1334 }, true, false, false, false,
            [](const platform::ErrorRef& error, bool microphone, bool camera) {
                fmt::print("start answered: error={} microphone={} camera={}\n", error ? error->description() : "none",
                    microphone, camera);
            });
    proxy->stopRecordingWithHandler([](const std::optional<platform::URL>& url, const platform::ErrorRef& error) {
        fmt::print(
            "stop answered: movie={} error={}\n", url ? url->path() : "none", error ? error->description() : "none");
    });
    proxy->discardRecordingWithHandler([] { fmt::print("discard answered (the local service never does)\n"); });
}

void showRecordingErrors()
{
    for (std::int64_t code = -5800; code >= -5808; --code) {
        const auto error = LumoraErrors::_lmUserErrorForCode_userInfo(code, nullptr);
        fmt::print("{} {}\n", code, error->localizedDescription());
    }
}

} // namespace lumora::sample::serviceBoundaryApp
