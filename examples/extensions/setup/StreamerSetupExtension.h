#pragma once

#include "platform/extensions/ExtensionContext.h"
#include "platform/ui/ViewController.h"

#include <memory>

namespace lumora::sample {

/// A broadcast service's setup extension: it reads which application is
/// about to broadcast, then finishes the setup with the broadcast's URL, a
/// configuration and setup information of its own. Returns the view
/// controller it shows while it works.
std::shared_ptr<platform::ViewController> startStreamerSetup(
    const std::shared_ptr<platform::ExtensionContext>& context);

} // namespace lumora::sample
