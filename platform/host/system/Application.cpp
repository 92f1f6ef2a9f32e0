#include "platform/system/Application.h"

#include "platform/foundation/DispatchQueue.h"
#include "platform/host/device/SimulatedApplication.h"
#include "platform/host/device/SimulatedDevice.h"

#include <mutex>

namespace lumora::platform {

std::shared_ptr<Application> Application::sharedApplication()
{
    static std::once_flag once;
    // Never destroyed (a deliberately leaked shared_ptr): other threads may still use it while the process exits.
    static const std::shared_ptr<Application>* shared = nullptr;
    std::call_once(once, [] {
        // NOLINTNEXTLINE(cppcoreguidelines-owning-memory)
        shared = new const std::shared_ptr<Application>(std::make_shared<Application>());
    });
    return *shared;
}

std::vector<std::shared_ptr<Window>> Application::windows() const
{
    return host::SimulatedDevice::shared().application().windows();
}

std::shared_ptr<Window> Application::keyWindow() const
{
    return host::SimulatedDevice::shared().application().keyWindow();
}

std::shared_ptr<ApplicationDelegate> Application::delegate() const
{
    return host::SimulatedDevice::shared().application().delegate();
}

Application::State Application::applicationState() const
{
    return host::SimulatedDevice::shared().application().state();
}

bool Application::isStatusBarHidden() const
{
    return host::SimulatedDevice::shared().application().isStatusBarHidden();
}

void Application::setStatusBarHidden(bool hidden)
{
    host::SimulatedDevice::shared().application().setStatusBarHidden(hidden);
}

void Application::openURL_options_completionHandler(
    const URL& url, const DictionaryRef& /*options*/, std::function<void(bool success)> completion)
{
    auto& application = host::SimulatedDevice::shared().application();
    const bool opened = application.opensURLs();
    if (opened) {
        application.recordOpenedURL(url);
    }
    if (completion) {
        DispatchQueue::main().async([completion = std::move(completion), opened] { completion(opened); });
    }
}

} // namespace lumora::platform
