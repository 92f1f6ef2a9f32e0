#pragma once

#include "platform/host/extensions/ExtensionEntryPoint.h"
#include "platform/host/extensions/ExtensionRelay.h"
#include "platform/host/extensions/SharedPayloadRegion.h"
#include "platform/host/transport/FileHandle.h"
#include "platform/host/transport/Message.h"
#include "platform/host/transport/ProgramConnection.h"
#include "platform/host/transport/SocketConnection.h"

#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace lumora::platform::host {

/// The extension host: runs one extension, loaded from the shared library in
/// its bundle, in a process of its own, and serves the extension request
/// protocol (`ExtensionProtocol`) over the socket it was handed. Requests are
/// served one at a time, in order; the program ends when the host's side of
/// the connection goes away.
///
/// Started without a bundle (a spare the device starts ahead of need), it
/// says it is ready and waits for the bundle it is given (`loadBundle:`),
/// refusing everything else until then.
///
/// Everything the host sends is checked: a message it does not understand is
/// logged and, when it wanted an answer, answered with an error.
class ExtensionHostProgram {
public:
    struct Options {
        int socket = -1;
        /// The extension's bundle folder (a host path); empty: given later.
        std::string bundle;
        /// Where handed-over files are placed (a host folder); empty: in
        /// folders of the program's own under the temporary folder.
        std::string filesFolder;
    };

    /// Reads the command line; nullopt when it is not understood.
    static std::optional<Options> parse(const std::vector<std::string>& arguments);

    explicit ExtensionHostProgram(Options options) : options_(std::move(options)) { }
    ExtensionHostProgram(const ExtensionHostProgram&) = delete;
    ExtensionHostProgram& operator=(const ExtensionHostProgram&) = delete;
    ExtensionHostProgram(ExtensionHostProgram&&) = delete;
    ExtensionHostProgram& operator=(ExtensionHostProgram&&) = delete;
    ~ExtensionHostProgram();

    /// Loads the extension and serves the connection until it ends; the
    /// program's exit status.
    int run();

private:
    bool load();
    /// Loads the bundle a spare is given; false (and the program ends) when it cannot.
    bool loadGivenBundle(const transport::Message& message);
    void handle(const transport::Message& message);
    void beginRequest(const transport::Message& message);
    /// Starts the one request of an extension that shows a view controller.
    void beginViewRequest(const transport::Message& message);
    /// Sends the host a picture of what `controller` draws.
    void sendPicture(const std::string& requestIdentifier, ViewController& controller);
    /// Places the files a request hands over (`wire`) at their device paths.
    bool takeFiles(const Value& wire, std::vector<std::shared_ptr<transport::FileHandle>>* held, std::string* refusal);
    /// Makes the file behind `descriptor` readable at `devicePath` for the extension.
    bool placeFile(const std::string& devicePath, int descriptor);
    void reply(const transport::Message& request, Value value);
    void refuse(const transport::Message& message, const std::string& why);

    Options options_;
    std::string identifier_;
    std::string principalClass_;
    void* library_ = nullptr;
    const ExtensionPrincipalFactory* factory_ = nullptr;
    const ExtensionViewControllerFactory* viewFactory_ = nullptr;

    /// The request of an extension that shows a view controller, which lasts
    /// as long as the process.
    struct ViewRequest {
        std::string identifier;
        std::shared_ptr<ExtensionContext> context;
        std::shared_ptr<ViewController> viewController;
        std::shared_ptr<ExtensionConnection> auxiliary;
        std::shared_ptr<ExtensionConnection> view;
        std::shared_ptr<ExtensionRelay> relay;
        std::vector<std::shared_ptr<transport::FileHandle>> files;
    };
    std::optional<ViewRequest> viewRequest_;
    std::unique_ptr<SharedPayloadRegion> region_;
    /// Folders made to show handed-over files at their device paths.
    std::vector<std::string> fileFolders_;
    std::set<std::string> mountedFolders_;

    transport::ProgramConnection link_;
};

} // namespace lumora::platform::host
