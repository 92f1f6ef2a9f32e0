#include "platform/host/device/SimulatedProcess.h"

namespace lumora::platform::host {

namespace {

std::shared_ptr<Bundle>& currentProcessBundle()
{
    thread_local std::shared_ptr<Bundle> bundle;
    return bundle;
}

} // namespace

std::shared_ptr<Bundle> SimulatedProcess::currentMainBundle()
{
    return currentProcessBundle();
}

SimulatedProcess::Scope::Scope(std::shared_ptr<Bundle> mainBundle)
    : previous_(std::exchange(currentProcessBundle(), std::move(mainBundle)))
{ }

SimulatedProcess::Scope::~Scope()
{
    currentProcessBundle() = std::move(previous_);
}

std::function<void()> SimulatedProcess::bindToCurrentProcess(std::function<void()> task)
{
    auto bundle = currentProcessBundle();
    if (!bundle) {
        return task;
    }
    return [bundle = std::move(bundle), task = std::move(task)] {
        const Scope scope(bundle);
        task();
    };
}

} // namespace lumora::platform::host
