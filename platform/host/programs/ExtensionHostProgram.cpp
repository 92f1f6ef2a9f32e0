#include "platform/host/programs/ExtensionHostProgram.h"

#include "platform/extensions/Extension.h"
#include "platform/formats/PropertyList.h"
#include "platform/foundation/Error.h"
#include "platform/foundation/Interface.h"
#include "platform/foundation/Log.h"
#include "platform/foundation/Runtime.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/device/SimulatedDisplay.h"
#include "platform/host/extensions/ExtensionBoundary.h"
#include "platform/host/extensions/ExtensionProtocol.h"
#include "platform/host/extensions/ExtensionRequest.h"
#include "platform/host/transport/FileHandle.h"
#include "platform/ui/Screen.h"
#include "platform/ui/View.h"

#include <fmt/format.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

namespace lumora::platform::host {

using transport::FileHandle;
using transport::Message;

namespace {

constexpr std::string_view kPrincipalClassKey = "PrincipalClass";
// The host's watchdog ends a request that takes longer; this only keeps a
// forgotten request from holding the program forever.
constexpr auto kRequestLimit = std::chrono::hours(1);
constexpr std::string_view kPathKey = "path";
constexpr std::string_view kFileKey = "file";

ErrorRef requestFailed(const std::string& why)
{
    return Error::errorWithDomain(std::string(Extension::ErrorDomain), Extension::RequestFailedErrorCode,
        std::make_shared<Dictionary>(Dictionary { { std::string(Error::LocalizedDescriptionKey), Value(why) } }));
}

} // namespace

std::optional<ExtensionHostProgram::Options> ExtensionHostProgram::parse(const std::vector<std::string>& arguments)
{
    Options options;
    if (arguments.size() % 2 != 1) {
        return std::nullopt;
    }
    for (std::size_t i = 1; i + 1 < arguments.size(); i += 2) {
        const auto& name = arguments[i];
        const auto& value = arguments[i + 1];
        if (name == "--socket") {
            char* end = nullptr;
            const auto number = std::strtol(value.c_str(), &end, 10);
            if (end == value.c_str() || *end != '\0' || number < 0 || number > 0xFFFF) {
                return std::nullopt;
            }
            options.socket = static_cast<int>(number);
        } else if (name == "--bundle") {
            options.bundle = value;
        } else if (name == "--files-folder") {
            options.filesFolder = value;
        } else {
            return std::nullopt;
        }
    }
    if (options.socket < 0) {
        return std::nullopt;
    }
    return options;
}

ExtensionHostProgram::~ExtensionHostProgram()
{
    std::error_code ignored;
    for (const auto& folder : fileFolders_) {
        std::filesystem::remove_all(folder, ignored);
    }
    // The library stays loaded: objects it made may still be referenced by
    // the platform's threads until the process ends.
}

bool ExtensionHostProgram::load()
{
    const auto infoPath = std::filesystem::path(options_.bundle) / "Info.plist";
    std::ifstream file(infoPath, std::ios::binary);
    const std::vector<std::uint8_t> bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    const auto info = file ? PropertyList::valueFromData(Data(bytes)) : std::nullopt;
    const auto dictionary = info ? info->dictionary() : nullptr;
    const auto principal = dictionary ? dictionary->stringForKey(kPrincipalClassKey) : std::nullopt;
    if (!principal || principal->empty() || principal->find('/') != std::string::npos) {
        Log::error("Extension host: %s has no principal class in its Info.plist", options_.bundle);
        return false;
    }
    principalClass_ = *principal;
    identifier_ = dictionary->stringForKey("BundleIdentifier").value_or(std::string());
    const auto libraryPath = (std::filesystem::path(options_.bundle) / (*principal + ".so")).string();
    library_ = ::dlopen(libraryPath.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library_ == nullptr) {
        // Only this thread loads libraries while the program starts.
        const char* why = ::dlerror(); // NOLINT(concurrency-mt-unsafe)
        Log::error("Extension host: cannot load %s: %s", libraryPath, why != nullptr ? why : "unknown");
        return false;
    }
    using EntryPoint = const ExtensionPrincipalFactory* (*)();
    using ViewEntryPoint = const ExtensionViewControllerFactory* (*)();
    auto* symbol = ::dlsym(library_, LumoraExtensionEntryPointName);
    const auto entry = reinterpret_cast<EntryPoint>(symbol); // NOLINT(cppcoreguidelines-pro-type-reinterpret-cast)
    factory_ = entry != nullptr ? entry() : nullptr;
    auto* viewSymbol = ::dlsym(library_, LumoraExtensionViewControllerEntryPointName);
    const auto viewEntry
        = reinterpret_cast<ViewEntryPoint>(viewSymbol); // NOLINT(cppcoreguidelines-pro-type-reinterpret-cast)
    viewFactory_ = viewEntry != nullptr ? viewEntry() : nullptr;
    const bool hasPrincipal = factory_ != nullptr && *factory_;
    const bool views = viewFactory_ != nullptr && *viewFactory_;
    if (!hasPrincipal && !views) {
        Log::error("Extension host: %s has no entry point %s or %s", libraryPath, LumoraExtensionEntryPointName,
            LumoraExtensionViewControllerEntryPointName);
        return false;
    }
    if (!hasPrincipal) {
        factory_ = nullptr;
    }
    if (!views) {
        viewFactory_ = nullptr;
    }
    return true;
}

int ExtensionHostProgram::run()
{
    const bool spare = options_.bundle.empty();
    if (!spare && !load()) {
        return 1;
    }
    bool failed = false;
    link_.serve(
        options_.socket, "Extension host",
        [this, &failed](const Message& message) {
            if (factory_ == nullptr && viewFactory_ == nullptr) {
                failed = failed || !loadGivenBundle(message);
                return;
            }
            handle(message);
        },
        [this, spare] {
            if (spare) {
                link_.connection()->send({ Message::Kind::Call, 0, std::string(ExtensionProtocol::ReadySelector), {} });
            }
        });
    return failed ? 1 : 0;
}

bool ExtensionHostProgram::loadGivenBundle(const Message& message)
{
    const auto connection = link_.connection();
    if (message.kind != Message::Kind::Call || message.selector != ExtensionProtocol::LoadBundleSelector
        || message.arguments.size() != 2 || !message.arguments[0].isString() || !message.arguments[1].isString()
        || message.arguments[0].string()->empty()) {
        Log::error("Extension host: refusing %s before a bundle was given", message.selector);
        connection->close("no bundle was given");
        return false;
    }
    options_.bundle = *message.arguments[0].string();
    options_.filesFolder = *message.arguments[1].string();
    if (!load()) {
        connection->close("the bundle could not be loaded");
        return false;
    }
    return true;
}

void ExtensionHostProgram::handle(const Message& message)
{
    if (message.kind == Message::Kind::Reply) {
        Log::error("Extension host: ignoring an unexpected reply to %s", message.selector);
        return;
    }
    if (message.selector == ExtensionProtocol::UseSharedMemorySelector && message.kind == Message::Kind::Call) {
        const auto handle = message.arguments.size() == 1 ? message.arguments[0].objectAs<FileHandle>() : nullptr;
        auto region = handle && handle->kind() == FileHandle::Kind::SharedMemory
            ? SharedPayloadRegion::map(handle->descriptor())
            : nullptr;
        if (!region) {
            Log::error("Extension host: refusing shared memory that cannot be mapped");
            return;
        }
        region_ = std::move(region);
        return;
    }
    if (message.kind == Message::Kind::Call
        && (message.selector == ExtensionProtocol::RelayMessageSelector
            || message.selector == ExtensionProtocol::RelayReplySelector)) {
        if (!viewRequest_) {
            Log::error("Extension host: ignoring %s: no request is going on", message.selector);
            return;
        }
        (void)viewRequest_->relay->receive(message);
        return;
    }
    if (message.kind != Message::Kind::Request) {
        Log::error("Extension host: ignoring the call %s", message.selector);
        return;
    }
    if (message.selector == ExtensionProtocol::BeginViewRequestSelector) {
        beginViewRequest(message);
    } else if (message.selector == ExtensionProtocol::BeginRequestSelector) {
        beginRequest(message);
    } else if (message.selector == ExtensionProtocol::ServiceInfoSelector && message.arguments.empty()) {
        reply(message,
            Value(std::make_shared<Dictionary>(Dictionary { { "BundleIdentifier", Value(identifier_) },
                { std::string(kPrincipalClassKey), Value(principalClass_) } })));
    } else {
        refuse(message, "an unknown operation");
    }
}

void ExtensionHostProgram::beginRequest(const Message& message)
{
    if (message.arguments.size() != 2 || !message.arguments[1].isArray()) {
        refuse(message, "the wrong arguments");
        return;
    }
    std::string refusal;
    const auto items = ExtensionProtocol::decodeItems(message.arguments[0], region_.get(), &refusal);
    if (!items) {
        refuse(message, refusal);
        return;
    }
    std::vector<std::shared_ptr<FileHandle>> held;
    if (!takeFiles(message.arguments[1], &held, &refusal)) {
        refuse(message, refusal);
        return;
    }
    if (factory_ == nullptr) {
        refuse(message, "the extension has no principal class");
        return;
    }
    const auto handler = (*factory_)();
    if (!handler) {
        refuse(message, "the extension made no principal object");
        return;
    }
    const ExtensionRequest request(*items);
    // Begun on this thread, which waits for the request's end anyway: one
    // hand-off less than through a platform thread.
    if (ExtensionBoundary::run("beginning a request",
            [&handler, &request] { handler->beginRequestWithExtensionContext(request.context()); })) {
        request.context()->cancelRequestWithError(
            Error::errorWithDomain(std::string(Extension::ErrorDomain), Extension::RequestFailedErrorCode));
    }
    const auto outcome = request.waitForOutcome(std::chrono::duration_cast<std::chrono::milliseconds>(kRequestLimit));
    if (!outcome) {
        refuse(message, "the extension did not end the request");
        return;
    }
    reply(message, ExtensionProtocol::encodeOutcome(*outcome));
}

bool ExtensionHostProgram::takeFiles(
    const Value& wire, std::vector<std::shared_ptr<FileHandle>>* held, std::string* refusal)
{
    const auto files = wire.array();
    if (!files || files->size() > ExtensionProtocol::MaxFiles) {
        *refusal = "too many files";
        return false;
    }
    for (const auto& entry : *files) {
        const auto file = entry.dictionary();
        const auto path = file ? file->stringForKey(kPathKey) : std::nullopt;
        const auto found = file ? file->find(kFileKey) : Dictionary::const_iterator();
        const auto handle = file && found != file->end() ? found->second.objectAs<FileHandle>() : nullptr;
        if (!path || !handle || handle->kind() != FileHandle::Kind::File || !path->starts_with('/')
            || !placeFile(*path, handle->descriptor())) {
            *refusal = "a file that cannot be handed over";
            return false;
        }
        held->push_back(handle);
    }
    return true;
}

void ExtensionHostProgram::beginViewRequest(const Message& message)
{
    if (viewFactory_ == nullptr) {
        refuse(message, "the extension shows no view controller");
        return;
    }
    if (viewRequest_) {
        refuse(message, "a request is going on already");
        return;
    }
    std::string refusal = "the wrong arguments";
    const auto* identifier = message.arguments.size() == 4 ? message.arguments[0].string() : nullptr;
    auto items = identifier != nullptr && !identifier->empty()
        ? ExtensionProtocol::decodeItems(message.arguments[1], nullptr, &refusal)
        : std::nullopt;
    auto offer = items ? ExtensionProtocol::decodeOffer(message.arguments[3], &refusal) : std::nullopt;
    ViewRequest request;
    if (!offer || !takeFiles(message.arguments[2], &request.files, &refusal)) {
        refuse(message, refusal);
        return;
    }
    // The extension's code sees its own bundle as the main one.
    SimulatedDevice::shared().setMainBundle(options_.bundle);

    request.identifier = *identifier;
    auto [extensionAuxiliary, relayAuxiliary] = ExtensionConnection::makePair();
    auto [extensionView, relayView] = ExtensionConnection::makePair();
    request.relay = std::make_shared<ExtensionRelay>(request.identifier, "its host", [this](const Message& relayed) {
        const auto connection = link_.connection();
        return connection && connection->send(relayed) == transport::SocketConnection::Sent::Queued;
    });
    request.relay->attach(ExtensionProtocol::AuxiliaryConnectionName, relayAuxiliary, offer->auxiliary);
    request.relay->attach(ExtensionProtocol::ViewConnectionName, relayView, offer->view);
    request.context = std::make_shared<ExtensionContext>(
        std::move(*items), [this, requestIdentifier = request.identifier](const ExtensionContext::Outcome& outcome) {
            Message ended;
            ended.kind = Message::Kind::Call;
            ended.selector = ExtensionProtocol::RequestDidEndSelector;
            ended.arguments = { Value(requestIdentifier), ExtensionProtocol::encodeOutcome(outcome) };
            const auto connection = link_.connection();
            if (!connection || connection->send(ended) != transport::SocketConnection::Sent::Queued) {
                Log::error("Extension host: could not tell the host how request %s ended", requestIdentifier);
            }
        });
    request.context->setAuxiliaryConnection(extensionAuxiliary);
    request.view = extensionView;
    request.auxiliary = extensionAuxiliary;

    std::shared_ptr<ViewController> viewController;
    const ExtensionRequestSide side { request.identifier, request.context, extensionView };
    if (ExtensionBoundary::run("starting its side of a request", [&] { viewController = (*viewFactory_)(side); })) {
        viewController.reset();
    }
    if (!viewController) {
        request.relay->close();
        Log::error("Extension host: refusing %s: the extension did not start", message.selector);
        reply(message,
            Value(std::const_pointer_cast<Error>(
                Error::errorWithDomain(std::string(Extension::ErrorDomain), Extension::LaunchFailedErrorCode))));
        return;
    }
    // What the extension exports: its view controller, under the interface
    // the host's context class vends, and whatever it set on the view's connection.
    std::shared_ptr<Interface> vended;
    if (const auto runtimeClass = Runtime::classNamed(offer->hostContextClass)) {
        if (const auto hostContext = std::dynamic_pointer_cast<ExtensionContext>(runtimeClass->createInstance())) {
            vended = hostContext->classObject().vendedInterface();
        }
    }
    if (!extensionAuxiliary->exportedInterface()) {
        extensionAuxiliary->setExportedInterface(vended);
    }
    extensionAuxiliary->setExportedObject(viewController);
    extensionView->setExportedObject(viewController);
    request.viewController = viewController;
    ExtensionProtocol::Offer exported;
    if (const auto interface = extensionAuxiliary->exportedInterface()) {
        exported.auxiliary = interface->selectors();
    }
    if (const auto interface = extensionView->exportedInterface()) {
        exported.view = interface->selectors();
    }
    viewRequest_ = std::move(request);
    reply(message, ExtensionProtocol::encodeOffer(exported));
    sendPicture(viewRequest_->identifier, *viewController);
}

void ExtensionHostProgram::sendPicture(const std::string& requestIdentifier, ViewController& controller)
{
    // What the view controller draws at the size of the screen, as a PNG the
    // host's remote view shows.
    const auto view = controller.view();
    const auto screen = Screen::mainScreen();
    if (!view || !screen) {
        return;
    }
    view->setFrame(screen->bounds());
    const auto bitmap = SimulatedDevice::shared().display().snapshotView(*view);
    std::error_code error;
    const auto path = std::filesystem::temp_directory_path(error)
        / fmt::format("lumora-extension-picture-{}-{}.png", ::getpid(), requestIdentifier);
    if (error || bitmap.isEmpty() || !bitmap.writePNG(path.string())) {
        Log::error("Extension host: could not draw the picture of request %s", requestIdentifier);
        return;
    }
    std::ifstream file(path, std::ios::binary);
    std::vector<std::uint8_t> bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    file.close();
    std::filesystem::remove(path, error);
    if (bytes.size() > ExtensionProtocol::MaxPictureBytes) {
        Log::error("Extension host: the picture of request %s is too large to send", requestIdentifier);
        return;
    }
    Message picture;
    picture.kind = Message::Kind::Call;
    picture.selector = ExtensionProtocol::ViewDidDrawSelector;
    picture.arguments = { Value(requestIdentifier), Value(Data(std::move(bytes))) };
    if (link_.connection()->send(picture) != transport::SocketConnection::Sent::Queued) {
        Log::error("Extension host: could not send the picture of request %s", requestIdentifier);
    }
}

bool ExtensionHostProgram::placeFile(const std::string& devicePath, int descriptor)
{
    const std::filesystem::path path(devicePath);
    const auto folder = path.parent_path().string();
    const auto name = path.filename().string();
    if (name.empty() || name == "." || name == "..") {
        return false;
    }
    auto& device = SimulatedDevice::shared();
    if (!mountedFolders_.contains(folder)) {
        std::error_code error;
        const auto parent = options_.filesFolder.empty() ? std::filesystem::temp_directory_path(error)
                                                         : std::filesystem::path(options_.filesFolder);
        auto pattern = (parent / "lumora-extension-files-XXXXXX").string();
        if (error || ::mkdtemp(pattern.data()) == nullptr) {
            return false;
        }
        fileFolders_.push_back(pattern);
        device.mountDirectory(folder, pattern);
        mountedFolders_.insert(folder);
    }
    // The descriptor's own file, under the name the extension is given.
    const auto link = std::filesystem::path(device.resolvePath(devicePath));
    std::error_code error;
    std::filesystem::remove(link, error);
    // A second name of the same file where it can be (the same file system),
    // so that the extension sees a file and not a link; else a link to it.
    const auto opened = fmt::format("/proc/self/fd/{}", descriptor);
    if (::linkat(AT_FDCWD, opened.c_str(), AT_FDCWD, link.c_str(), AT_SYMLINK_FOLLOW) == 0) {
        return true;
    }
    std::filesystem::create_symlink(opened, link, error);
    return !error;
}

void ExtensionHostProgram::reply(const Message& request, Value value)
{
    Message answer;
    answer.kind = Message::Kind::Reply;
    answer.number = request.number;
    answer.selector = request.selector;
    answer.arguments.push_back(std::move(value));
    if (link_.connection()->send(answer) != transport::SocketConnection::Sent::Queued) {
        Log::error("Extension host: could not send the reply to %s", request.selector);
    }
}

void ExtensionHostProgram::refuse(const Message& message, const std::string& why)
{
    Log::error("Extension host: refusing %s: %s", message.selector, why);
    if (message.kind == Message::Kind::Request) {
        reply(message, Value(std::const_pointer_cast<Error>(requestFailed(why))));
    }
}

} // namespace lumora::platform::host
