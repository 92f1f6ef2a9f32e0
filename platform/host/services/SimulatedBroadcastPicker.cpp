#include "platform/host/services/SimulatedBroadcastPicker.h"

#include "broadcast/LMBroadcastActivityViewController.h"
#include "broadcast/LMBroadcastExtensionKeys.h"
#include "platform/extensions/Extension.h"
#include "platform/extensions/ItemProvider.h"
#include "platform/formats/TypeIdentifier.h"
#include "platform/foundation/Log.h"
#include "platform/host/device/SimulatedDevice.h"
#include "upload/LMBroadcastExtensionKeys.h"

#include <algorithm>

namespace lumora::platform::host {

namespace {

std::string titleOf(const ExtensionItemRef& item)
{
    return item && item->attributedTitle() ? item->attributedTitle()->string() : std::string();
}

// Loads the first attachment of every item (each on the platform's threads)
// and hands the values, in the items' order, to `done` once all have arrived.
void loadItemValues(const ExtensionItems& items, std::function<void(std::vector<Value>)> done)
{
    struct Pending {
        std::mutex mutex;
        std::vector<Value> values;
        std::size_t remaining = 0;
        std::function<void(std::vector<Value>)> done;
    };
    auto pending = std::make_shared<Pending>();
    pending->values.resize(items.size());
    pending->remaining = items.size();
    pending->done = std::move(done);
    const auto arrived = [pending](std::size_t index, const Value& value) {
        std::function<void(std::vector<Value>)> finished;
        std::vector<Value> values;
        {
            std::lock_guard lock(pending->mutex);
            pending->values[index] = value;
            if (--pending->remaining == 0) {
                finished = std::move(pending->done);
                values = pending->values;
            }
        }
        if (finished) {
            finished(std::move(values));
        }
    };
    if (items.empty()) {
        pending->done({});
        return;
    }
    for (std::size_t index = 0; index < items.size(); ++index) {
        if (!items[index] || items[index]->attachments().empty()) {
            arrived(index, Value());
            continue;
        }
        items[index]->attachments().front()->loadItemForTypeIdentifier_options_completionHandler(
            std::string(TypeIdentifier::Data), nullptr,
            [arrived, index](const Value& value, const ErrorRef&) { arrived(index, value); });
    }
}

} // namespace

void SimulatedBroadcastPicker::reset(SimulatedExtensions& extensions)
{
    {
        std::lock_guard lock(mutex_);
        pickerRequest_.reset();
        setupViewController_.reset();
        setupRequestIdentifier_.clear();
        chosen_.reset();
    }
    install(extensions);
}

void SimulatedBroadcastPicker::install(SimulatedExtensions& extensions)
{
    auto attributes = std::make_shared<Dictionary>();
    (*attributes)[std::string(Extension::RemoteViewControllerClassAttribute)] = "LMBroadcastActivityHostViewController";
    (*attributes)[std::string(Extension::HostContextClassAttribute)] = "LMBroadcastActivityExtensionHostContext";
    extensions.installExtension(std::string(LMBroadcastActivityViewControllerExtensionIdentifier), attributes,
        [this](const ExtensionRequestSide& request) {
            std::lock_guard lock(mutex_);
            pickerRequest_ = request;
            return std::make_shared<ViewController>();
        });
}

std::vector<std::string> SimulatedBroadcastPicker::availableServices() const
{
    std::vector<std::string> services;
    auto& extensions = SimulatedDevice::shared().extensions();
    for (const auto& identifier : extensions.installedExtensionIdentifiers()) {
        const auto extension = extensions.lookUpExtension(identifier, nullptr);
        if (extension
            && extension->attributes()->stringForKey(Extension::PointIdentifierAttribute) == SetupExtensionPoint) {
            services.push_back(identifier);
        }
    }
    return services;
}

bool SimulatedBroadcastPicker::isShown() const
{
    std::lock_guard lock(mutex_);
    return pickerRequest_.has_value()
        && SimulatedDevice::shared().extensions().requestWithIdentifier(pickerRequest_->requestIdentifier).has_value();
}

bool SimulatedBroadcastPicker::chooseService(const std::string& setupExtensionIdentifier)
{
    const auto services = availableServices();
    if (!isShown() || std::find(services.begin(), services.end(), setupExtensionIdentifier) == services.end()) {
        return false;
    }
    ExtensionItems hostItems;
    {
        std::lock_guard lock(mutex_);
        hostItems = pickerRequest_->context->inputItems();
    }
    const auto setupExtension
        = SimulatedDevice::shared().extensions().lookUpExtension(setupExtensionIdentifier, nullptr);
    setupExtension->instantiateViewControllerWithInputItems_connectionHandler(hostItems,
        [this, setupExtensionIdentifier](const std::string& requestIdentifier,
            const std::shared_ptr<RemoteViewController>& remoteViewController, const ErrorRef& error) {
            if (error) {
                Setup failed;
                failed.setupExtensionIdentifier = setupExtensionIdentifier;
                failed.error = error;
                finish(failed);
                return;
            }
            {
                std::lock_guard lock(mutex_);
                // Shown inside the picker: the setup request lasts while the picker holds its view.
                setupViewController_ = remoteViewController;
                setupRequestIdentifier_ = requestIdentifier;
            }
            SimulatedDevice::shared().extensions().observeOutcomeOfRequest(
                requestIdentifier, [this, setupExtensionIdentifier](const ExtensionContext::Outcome& outcome) {
                    Setup setup;
                    setup.setupExtensionIdentifier = setupExtensionIdentifier;
                    setup.returnedItems = outcome.returnedItems;
                    setup.error = outcome.error;
                    loadItemValues(outcome.returnedItems, [this, setup](const std::vector<Value>& values) mutable {
                        for (std::size_t index = 0; index < values.size(); ++index) {
                            const auto title = titleOf(setup.returnedItems[index]);
                            if (title == LMBroadcastExtensionKeyExtensionServiceURL) {
                                setup.broadcastURL = values[index].url();
                            } else if (title == LMBroadcastExtensionKeyExtensionUserInfo) {
                                setup.setupInfo = values[index].dictionary();
                            } else if (title == LMBroadcastExtensionKeyBroadcastConfiguration) {
                                if (const auto* archive = values[index].data()) {
                                    setup.configurationArchive = *archive;
                                }
                            }
                        }
                        finish(setup);
                    });
                });
        });
    return true;
}

bool SimulatedBroadcastPicker::cancel(const std::optional<URL>& launchURL)
{
    if (!isShown()) {
        return false;
    }
    sendFinish(launchURL, std::nullopt, std::nullopt, true);
    return true;
}

std::optional<SimulatedExtensions::Request> SimulatedBroadcastPicker::setupRequest() const
{
    std::string identifier;
    {
        std::lock_guard lock(mutex_);
        identifier = setupRequestIdentifier_;
    }
    return identifier.empty() ? std::nullopt : SimulatedDevice::shared().extensions().requestWithIdentifier(identifier);
}

std::optional<SimulatedBroadcastPicker::Setup> SimulatedBroadcastPicker::chosenSetup() const
{
    std::lock_guard lock(mutex_);
    return chosen_;
}

void SimulatedBroadcastPicker::finish(const Setup& setup)
{
    std::optional<std::string> uploadExtension;
    if (const auto setupExtension
        = SimulatedDevice::shared().extensions().lookUpExtension(setup.setupExtensionIdentifier, nullptr)) {
        uploadExtension = setupExtension->attributes()->stringForKey(UploadExtensionAttribute);
    }
    {
        std::lock_guard lock(mutex_);
        chosen_ = setup;
        setupViewController_.reset();
    }
    const bool cancelled = setup.error != nullptr;
    sendFinish(std::nullopt, setup.broadcastURL, cancelled ? std::nullopt : uploadExtension, cancelled);
}

void SimulatedBroadcastPicker::sendFinish(const std::optional<URL>& launchURL, const std::optional<URL>& broadcastURL,
    const std::optional<std::string>& bundleID, bool cancelled)
{
    std::shared_ptr<ExtensionConnection> connection;
    {
        std::lock_guard lock(mutex_);
        if (pickerRequest_) {
            connection = pickerRequest_->context->auxiliaryConnection();
        }
    }
    if (!connection) {
        return;
    }
    const auto optionalValue = [](const auto& value) { return value ? Value(*value) : Value(); };
    connection
        ->remoteObjectProxyWithErrorHandler([](const ErrorRef& error) {
            Log::error("SimulatedBroadcastPicker: the host did not take the finish (%i)", error ? error->code() : 0);
        })
        ->sendMessage("extensionDidFinishWithLaunchURL:broadcastURL:extensionBundleID:cancelled:",
            { optionalValue(launchURL), optionalValue(broadcastURL), optionalValue(bundleID), cancelled });
}

} // namespace lumora::platform::host
