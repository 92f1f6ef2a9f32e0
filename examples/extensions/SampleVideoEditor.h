#pragma once

#include "platform/foundation/Value.h"
#include "platform/host/services/SimulatedExtensions.h"
#include "platform/ui/ViewController.h"

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace lumora::sample {

/// The sample video editor extension's view controller, one per editing
/// request. It reads the labelled items its host hands it and, when its user
/// is done, tells the host which share activities the user completed.
class SampleVideoEditorViewController final : public platform::ViewController {
public:
    explicit SampleVideoEditorViewController(platform::host::ExtensionRequestSide request);

    /// Starts loading every labelled item of the request.
    void readInputItems();
    /// Waits (without running the MainQueue) until every item has been read.
    bool waitForInputItems(std::chrono::milliseconds timeout = std::chrono::seconds(5)) const;
    /// The values read, by label, in the order the host listed the items.
    [[nodiscard]] std::vector<std::pair<std::string, platform::Value>> inputValues() const;

    /// The user is done: sends the completed activity types back to the host.
    void userDidFinishWithActivityTypes(const std::vector<std::string>& activityTypes) const;

    [[nodiscard]] const std::string& requestIdentifier() const { return request_.requestIdentifier; }
    [[nodiscard]] std::string className() const override { return "SampleVideoEditorViewController"; }

private:
    struct Inputs {
        mutable std::mutex mutex;
        mutable std::condition_variable changed;
        std::vector<std::pair<std::string, platform::Value>> values;
        std::size_t pending = 0;
    };

    platform::host::ExtensionRequestSide request_;
    std::shared_ptr<Inputs> inputs_ = std::make_shared<Inputs>();
};

/// Installs the sample editor into the simulated device under the identifier
/// of the system's video editor extension.
void installSampleVideoEditorExtension();

/// The sample editor's view controller of the latest request still going on, or null.
std::shared_ptr<SampleVideoEditorViewController> runningSampleVideoEditor();

} // namespace lumora::sample
