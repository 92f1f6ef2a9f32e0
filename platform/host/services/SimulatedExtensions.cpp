#include "platform/host/services/SimulatedExtensions.h"

#include "platform/foundation/DispatchQueue.h"
#include "platform/foundation/Log.h"
#include "platform/foundation/Runtime.h"
#include "platform/graphics/Image.h"
#include "platform/graphics/Layer.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/device/SimulatedProcess.h"
#include "platform/host/extensions/ExtensionBoundary.h"
#include "platform/host/extensions/ExtensionRequest.h"
#include "platform/host/foundation/PlatformThreads.h"
#include "platform/ui/View.h"

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <system_error>

#include <unistd.h>

namespace lumora::platform::host {

namespace {

ErrorRef extensionError(std::int64_t code)
{
    return Error::errorWithDomain(std::string(Extension::ErrorDomain), code);
}

// Makes an instance of the class the attributes name under `key` (or of the
// plain class when they name none), as `Base`; null when the class is not
// loaded or is not a `Base`.
template <class Base>
std::shared_ptr<Base> makeNamedInstance(const DictionaryRef& attributes, std::string_view key, std::string_view plain)
{
    const auto name = attributes->stringForKey(key).value_or(std::string(plain));
    if (name == plain) {
        return std::make_shared<Base>();
    }
    const auto runtimeClass = Runtime::classNamed(name);
    return runtimeClass ? std::dynamic_pointer_cast<Base>(runtimeClass->createInstance()) : nullptr;
}

// Held by the remote view controller: the request lasts as long as it does.
class RequestSession final {
public:
    explicit RequestSession(std::string requestIdentifier) : requestIdentifier_(std::move(requestIdentifier)) { }
    RequestSession(const RequestSession&) = delete;
    RequestSession& operator=(const RequestSession&) = delete;
    RequestSession(RequestSession&&) = delete;
    RequestSession& operator=(RequestSession&&) = delete;
    ~RequestSession() { SimulatedDevice::shared().extensions().endRequest(requestIdentifier_); }

private:
    std::string requestIdentifier_;
};

} // namespace

void SimulatedExtensions::reset()
{
    std::vector<Request> ended;
    {
        std::lock_guard lock(mutex_);
        installed_.clear();
        lookupError_.reset();
        outcomes_.clear();
        pictures_.clear();
        outcomeObservers_.clear();
        ended.swap(requests_);
    }
    for (const auto& request : ended) {
        if (const auto& connection = request.hostContext ? request.hostContext->auxiliaryConnection() : nullptr) {
            connection->invalidate();
        }
        if (request.hostViewConnection) {
            request.hostViewConnection->invalidate();
        }
        if (request.process) {
            request.process->stop();
        }
    }
    // The requests' objects are released here, outside the lock.
}

void SimulatedExtensions::installExtension(
    std::string identifier, DictionaryRef attributes, ViewControllerFactory factory)
{
    std::lock_guard lock(mutex_);
    installed_[std::move(identifier)]
        = Installed { attributes ? std::move(attributes) : std::make_shared<const Dictionary>(), std::move(factory), {},
              {}, {} };
}

void SimulatedExtensions::uninstallExtension(const std::string& identifier)
{
    std::lock_guard lock(mutex_);
    installed_.erase(identifier);
}

std::vector<std::string> SimulatedExtensions::installedExtensionIdentifiers() const
{
    std::lock_guard lock(mutex_);
    std::vector<std::string> identifiers;
    for (const auto& [identifier, installed] : installed_) {
        identifiers.push_back(identifier);
    }
    return identifiers;
}

std::shared_ptr<Bundle> SimulatedExtensions::setExtensionBundle(
    const std::string& identifier, const std::string& hostPath)
{
    auto bundle = SimulatedDevice::shared().installBundle(hostPath);
    std::lock_guard lock(mutex_);
    const auto found = installed_.find(identifier);
    if (!bundle || found == installed_.end()) {
        return nullptr;
    }
    found->second.bundle = bundle;
    return bundle;
}

bool SimulatedExtensions::runOutOfProcess(const std::string& identifier, ExtensionViewProcess::Settings settings)
{
    std::lock_guard lock(mutex_);
    const auto found = installed_.find(identifier);
    if (found == installed_.end()) {
        return false;
    }
    ExtensionViewProcess::startAhead(settings.program);
    found->second.outOfProcess = std::move(settings);
    return true;
}

std::optional<ExtensionContext::Outcome> SimulatedExtensions::outcomeOfRequest(
    const std::string& requestIdentifier) const
{
    std::lock_guard lock(mutex_);
    const auto found = outcomes_.find(requestIdentifier);
    if (found == outcomes_.end()) {
        return std::nullopt;
    }
    return found->second;
}

void SimulatedExtensions::setLookupError(ErrorRef error)
{
    std::lock_guard lock(mutex_);
    lookupError_ = std::move(error);
}

void SimulatedExtensions::setInstantiationError(const std::string& identifier, ErrorRef error)
{
    std::lock_guard lock(mutex_);
    const auto found = installed_.find(identifier);
    if (found != installed_.end()) {
        found->second.instantiationError = std::move(error);
    }
}

std::vector<SimulatedExtensions::Request> SimulatedExtensions::requests() const
{
    std::lock_guard lock(mutex_);
    return requests_;
}

std::optional<SimulatedExtensions::Request> SimulatedExtensions::requestWithIdentifier(
    const std::string& requestIdentifier) const
{
    std::lock_guard lock(mutex_);
    const auto found = std::find_if(requests_.begin(), requests_.end(),
        [&](const Request& request) { return request.identifier == requestIdentifier; });
    return found == requests_.end() ? std::nullopt : std::optional(*found);
}

void SimulatedExtensions::endRequest(const std::string& requestIdentifier)
{
    std::optional<Request> ended;
    {
        std::lock_guard lock(mutex_);
        const auto found = std::find_if(requests_.begin(), requests_.end(),
            [&](const Request& request) { return request.identifier == requestIdentifier; });
        if (found == requests_.end()) {
            return;
        }
        ended = std::move(*found);
        requests_.erase(found);
    }
    if (const auto& connection = ended->hostContext ? ended->hostContext->auxiliaryConnection() : nullptr) {
        connection->invalidate();
    }
    if (ended->hostViewConnection) {
        ended->hostViewConnection->invalidate();
    }
    if (ended->process) {
        ended->process->stop();
    }
    // The extension's side is released here, outside the lock.
}

void SimulatedExtensions::observeOutcomeOfRequest(
    const std::string& requestIdentifier, std::function<void(const ExtensionContext::Outcome&)> observer)
{
    std::optional<ExtensionContext::Outcome> outcome;
    {
        std::lock_guard lock(mutex_);
        const auto found = outcomes_.find(requestIdentifier);
        if (found == outcomes_.end()) {
            outcomeObservers_.emplace(requestIdentifier, std::move(observer));
            return;
        }
        outcome = found->second;
    }
    postToPlatformThread([observer = std::move(observer), outcome = *outcome] { observer(outcome); });
}

std::shared_ptr<Extension> SimulatedExtensions::lookUpExtension(const std::string& identifier, ErrorRef* error) const
{
    std::lock_guard lock(mutex_);
    if (lookupError_) {
        if (error != nullptr) {
            *error = lookupError_;
        }
        return nullptr;
    }
    const auto found = installed_.find(identifier);
    if (found == installed_.end()) {
        if (error != nullptr) {
            *error = extensionError(Extension::NotFoundErrorCode);
        }
        return nullptr;
    }
    return std::make_shared<Extension>(identifier, found->second.attributes);
}

void SimulatedExtensions::findExtensions(const DictionaryRef& attributes, Extension::MatchingHandler handler) const
{
    std::vector<std::shared_ptr<Extension>> found;
    ErrorRef error;
    {
        std::lock_guard lock(mutex_);
        error = lookupError_;
        const auto matches = [&attributes](const Installed& installed) {
            return !attributes || std::all_of(attributes->begin(), attributes->end(), [&installed](const auto& entry) {
                return installed.attributes->contains(entry.first)
                    && installed.attributes->valueForKey(entry.first) == entry.second;
            });
        };
        for (const auto& [identifier, installed] : installed_) {
            if (!error && matches(installed)) {
                found.push_back(std::make_shared<Extension>(identifier, installed.attributes));
            }
        }
    }
    if (!error && found.empty()) {
        error = extensionError(Extension::NotFoundErrorCode);
    }
    if (handler) {
        postToPlatformThread(
            [handler = std::move(handler), found = std::move(found), error] { handler(found, error); });
    }
}

void SimulatedExtensions::instantiateViewController(const std::string& identifier, const DictionaryRef& attributes,
    ExtensionItems inputItems, Extension::ViewControllerHandler handler)
{
    // The extension's process answers in its own time: never before this call returns.
    postToPlatformThread(
        [this, identifier, attributes, inputItems = std::move(inputItems), handler = std::move(handler)]() mutable {
            startRequest(identifier, attributes, std::move(inputItems), handler);
        });
}

std::shared_ptr<ExtensionContext> SimulatedExtensions::hostContext(
    const std::string& extensionIdentifier, const std::string& requestIdentifier) const
{
    std::lock_guard lock(mutex_);
    const auto found = std::find_if(requests_.begin(), requests_.end(), [&](const Request& request) {
        return request.identifier == requestIdentifier && request.extensionIdentifier == extensionIdentifier;
    });
    return found == requests_.end() ? nullptr : found->hostContext;
}

void SimulatedExtensions::startRequest(const std::string& identifier, const DictionaryRef& attributes,
    ExtensionItems inputItems, const Extension::ViewControllerHandler& handler)
{
    const auto answer = [&handler](const std::string& requestIdentifier,
                            const std::shared_ptr<RemoteViewController>& controller, const ErrorRef& error) {
        if (handler) {
            handler(requestIdentifier, controller, error);
        }
    };

    std::optional<Installed> installed;
    {
        std::lock_guard lock(mutex_);
        const auto found = installed_.find(identifier);
        if (found != installed_.end()) {
            installed = found->second;
        }
    }
    if (!installed) {
        answer({}, nullptr, extensionError(Extension::NotFoundErrorCode));
        return;
    }

    // The host's side, of the classes the extension names.
    const auto remoteViewController = makeNamedInstance<RemoteViewController>(
        attributes, Extension::RemoteViewControllerClassAttribute, "RemoteViewController");
    const auto hostContext
        = makeNamedInstance<ExtensionContext>(attributes, Extension::HostContextClassAttribute, "ExtensionContext");
    if (!remoteViewController || !hostContext) {
        answer({}, nullptr, extensionError(Extension::ClassNotLoadedErrorCode));
        return;
    }

    Request request;
    request.identifier = makeRequestIdentifier();
    request.extensionIdentifier = identifier;
    request.inputItems = inputItems;
    request.hostContext = hostContext;
    request.remoteViewController = remoteViewController;

    auto [hostAuxiliary, extensionAuxiliary] = ExtensionConnection::makePair();
    hostAuxiliary->setExportedInterface(hostContext->classObject().exportedInterface());
    hostAuxiliary->setExportedObject(hostContext);
    hostContext->setAuxiliaryConnection(hostAuxiliary);
    auto [hostView, extensionView] = ExtensionConnection::makePair();
    hostView->setExportedInterface(remoteViewController->classObject().exportedInterface());
    hostView->setExportedObject(remoteViewController);
    remoteViewController->connectToService(
        request.identifier, hostView, std::make_shared<RequestSession>(request.identifier));
    {
        std::lock_guard lock(mutex_);
        requests_.push_back(request);
    }

    if (installed->instantiationError) {
        answer(request.identifier, remoteViewController, installed->instantiationError);
        return;
    }

    if (installed->outOfProcess) {
        startOutOfProcess(*installed, request, std::move(inputItems), attributes, extensionAuxiliary, extensionView,
            [&](const ErrorRef& error) { answer(request.identifier, remoteViewController, error); });
        return;
    }

    // The extension's side.
    auto extensionContext = std::make_shared<ExtensionContext>(std::move(inputItems),
        [this, requestIdentifier = request.identifier](
            const ExtensionContext::Outcome& outcome) { recordOutcome(requestIdentifier, outcome); });
    extensionContext->setAuxiliaryConnection(extensionAuxiliary);
    std::shared_ptr<ViewController> extensionViewController;
    if (installed->factory) {
        // The extension's code starts in the extension's own process.
        const SimulatedProcess::Scope process(installed->bundle);
        const ExtensionRequestSide side { request.identifier, extensionContext, extensionView };
        ExtensionBoundary::run(
            "starting its side of a request", [&] { extensionViewController = installed->factory(side); });
    }
    if (!extensionViewController) {
        answer(request.identifier, remoteViewController, extensionError(Extension::LaunchFailedErrorCode));
        return;
    }
    extensionAuxiliary->setExportedInterface(hostContext->classObject().vendedInterface());
    extensionAuxiliary->setExportedObject(extensionViewController);
    extensionView->setExportedObject(extensionViewController);
    {
        std::lock_guard lock(mutex_);
        const auto found = std::find_if(requests_.begin(), requests_.end(),
            [&](const Request& made) { return made.identifier == request.identifier; });
        if (found != requests_.end()) {
            found->extensionContext = extensionContext;
            found->extensionViewController = extensionViewController;
            found->hostViewConnection = extensionView;
        }
    }
    answer(request.identifier, remoteViewController, nullptr);
}

void SimulatedExtensions::recordOutcome(const std::string& requestIdentifier, const ExtensionContext::Outcome& outcome)
{
    std::vector<std::function<void(const ExtensionContext::Outcome&)>> observers;
    {
        std::lock_guard lock(mutex_);
        if (!outcomes_.emplace(requestIdentifier, outcome).second) {
            ExtensionBoundary::logRequestEndedAgain();
            return;
        }
        const auto [first, last] = outcomeObservers_.equal_range(requestIdentifier);
        for (auto observer = first; observer != last; ++observer) {
            observers.push_back(std::move(observer->second));
        }
        outcomeObservers_.erase(first, last);
    }
    for (auto& observer : observers) {
        postToPlatformThread([observer = std::move(observer), outcome] { observer(outcome); });
    }
    // Ending the request from the extension's own thread would release
    // the context while it is still in use: end it on another thread.
    postToPlatformThread([requestIdentifier] { SimulatedDevice::shared().extensions().endRequest(requestIdentifier); });
}

void SimulatedExtensions::startOutOfProcess(const Installed& installed, const Request& request,
    ExtensionItems inputItems, const DictionaryRef& attributes,
    const std::shared_ptr<ExtensionConnection>& extensionAuxiliary,
    const std::shared_ptr<ExtensionConnection>& extensionView, const std::function<void(const ErrorRef& error)>& answer)
{
    ExtensionViewProcess::Start start;
    start.requestIdentifier = request.identifier;
    start.auxiliary = extensionAuxiliary;
    start.view = extensionView;
    start.hostOffer.hostContextClass
        = attributes ? attributes->stringForKey(Extension::HostContextClassAttribute).value_or(std::string()) : "";
    if (const auto interface = request.hostContext->classObject().exportedInterface()) {
        start.hostOffer.auxiliary = interface->selectors();
    }
    if (const auto controller = request.remoteViewController.lock()) {
        if (const auto interface = controller->classObject().exportedInterface()) {
            start.hostOffer.view = interface->selectors();
        }
    }
    // A file an item names by its device path is handed over open, as a
    // sandbox extension of the host's would let the extension read it.
    auto& device = SimulatedDevice::shared();
    for (const auto& item : inputItems) {
        const auto label = item && item->attributedTitle() ? item->attributedTitle()->string() : std::string();
        const auto value = item ? ExtensionRequest::loadValueOfItem({ item }, label) : std::nullopt;
        const auto* path = value ? value->string() : nullptr;
        if (path == nullptr || !path->starts_with('/')) {
            continue;
        }
        std::error_code error;
        const auto hostPath = device.resolvePath(*path);
        if (!hostPath.empty() && std::filesystem::is_regular_file(hostPath, error)) {
            start.files.emplace_back(*path, hostPath);
        }
    }
    start.items = std::move(inputItems);
    start.drew = [this, requestIdentifier = request.identifier, controller = request.remoteViewController](
                     const Data& picture) { showPicture(requestIdentifier, controller, picture); };

    const auto name = request.extensionIdentifier;
    auto process = std::make_shared<ExtensionViewProcess>(name, *installed.outOfProcess);
    std::string failure;
    const auto requestIdentifier = request.identifier;
    const bool started = process->begin(
        start,
        [this, requestIdentifier](
            const ExtensionContext::Outcome& outcome) { recordOutcome(requestIdentifier, outcome); },
        [this, requestIdentifier](const std::string& why) {
            recordOutcome(requestIdentifier,
                ExtensionContext::Outcome { {},
                    Error::errorWithDomain(std::string(Extension::ErrorDomain), Extension::RequestFailedErrorCode,
                        std::make_shared<Dictionary>(
                            Dictionary { { std::string(Error::LocalizedDescriptionKey), Value(why) } })) });
        },
        &failure);
    if (!started) {
        answer(extensionError(Extension::LaunchFailedErrorCode));
        return;
    }
    bool going = false;
    {
        std::lock_guard lock(mutex_);
        const auto found = std::find_if(requests_.begin(), requests_.end(),
            [&](const Request& made) { return made.identifier == requestIdentifier; });
        if (found != requests_.end()) {
            found->hostViewConnection = extensionView;
            found->process = process;
            going = true;
        }
    }
    if (!going) {
        // The request ended while its extension started.
        process->stop();
    }
    answer(nullptr);
}

std::optional<Data> SimulatedExtensions::pictureOfRequest(const std::string& requestIdentifier) const
{
    std::lock_guard lock(mutex_);
    const auto found = pictures_.find(requestIdentifier);
    return found == pictures_.end() ? std::nullopt : std::optional(found->second);
}

void SimulatedExtensions::showPicture(
    const std::string& requestIdentifier, const std::weak_ptr<RemoteViewController>& controller, const Data& picture)
{
    {
        std::lock_guard lock(mutex_);
        pictures_.insert_or_assign(requestIdentifier, picture);
    }
    // The remote view shows the picture as its layer's contents, on the MainQueue as views change.
    DispatchQueue::main().async([controller, picture, requestIdentifier] {
        const auto shown = controller.lock();
        if (!shown) {
            return;
        }
        std::error_code error;
        const auto path = std::filesystem::temp_directory_path(error)
            / fmt::format("lumora-remote-view-{}-{}.png", ::getpid(), requestIdentifier);
        {
            std::ofstream file(path, std::ios::binary);
            file.write(
                reinterpret_cast<const char*>(picture.bytes()), // NOLINT(cppcoreguidelines-pro-type-reinterpret-cast)
                static_cast<std::streamsize>(picture.length()));
        }
        auto image = error ? nullptr : Image::imageWithContentsOfFile(path.string());
        std::filesystem::remove(path, error);
        if (!image) {
            Log::error("SimulatedExtensions: the picture of request %s cannot be shown", requestIdentifier);
            return;
        }
        shown->view()->layer()->setContents(std::move(image));
    });
}

std::string SimulatedExtensions::makeRequestIdentifier()
{
    std::uint64_t high = 0;
    std::uint64_t low = 0;
    {
        std::lock_guard lock(mutex_);
        high = random_();
        low = random_();
    }
    return fmt::format("{:08X}-{:04X}-4{:03X}-{:04X}-{:012X}", high >> 32U, (high >> 16U) & 0xFFFFU, high & 0xFFFU,
        0x8000U | ((low >> 48U) & 0x3FFFU), low & 0xFFFFFFFFFFFFU);
}

} // namespace lumora::platform::host
