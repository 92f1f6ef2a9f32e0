#pragma once

#include "platform/extensions/ExtensionConnection.h"
#include "platform/foundation/Interface.h"
#include "platform/foundation/Noncopyable.h"
#include "platform/ui/ViewController.h"

#include <memory>
#include <string>

namespace lumora::platform {

/// A view controller that shows, inside the host application, a view
/// controller living in an extension's process.
///
/// The platform makes one when a host asks an extension for its view
/// controller (`Extension::instantiateViewControllerWithInputItems_connectionHandler`),
/// as an instance of the remote view controller class the extension names.
/// It stays connected to the extension's view controller for as long as it
/// lives: releasing it ends the request.
class RemoteViewController : public ViewController {
public:
    /// The class object of a remote view controller class: the protocol the
    /// controller exports to the extension's view controller. A subclass that
    /// takes messages from the extension supplies its own class object (and
    /// returns it from `classObject()`). Each call builds a new description.
    class Class : private platform::Noncopyable {
    public:
        virtual ~Class() = default;

        /// What the controller exports: the messages the extension's view
        /// controller may send it. Null: none.
        [[nodiscard]] virtual std::shared_ptr<Interface> exportedInterface() const { return nullptr; }
    };

    /// The class object of the plain remote view controller class.
    static const Class& defaultClass();
    /// The class object of this controller's own class.
    [[nodiscard]] virtual const Class& classObject() const { return defaultClass(); }

    RemoteViewController() = default;

    /// The connection to the extension's view controller; null until the
    /// platform connects the controller.
    [[nodiscard]] const std::shared_ptr<ExtensionConnection>& serviceViewControllerConnection() const
    {
        return connection_;
    }
    /// The identifier of the request the controller shows; empty until connected.
    [[nodiscard]] const std::string& requestIdentifier() const { return requestIdentifier_; }

    /// Called by the platform when it connects the controller to the request
    /// `requestIdentifier`, before handing the controller to anyone. `session`
    /// keeps the request going while the controller lives.
    void connectToService(
        std::string requestIdentifier, std::shared_ptr<ExtensionConnection> connection, std::shared_ptr<void> session);

    [[nodiscard]] std::string className() const override { return "RemoteViewController"; }
    [[nodiscard]] bool isKindOfClassNamed(const std::string& name) const override
    {
        return name == "RemoteViewController" || ViewController::isKindOfClassNamed(name);
    }

private:
    std::string requestIdentifier_;
    std::shared_ptr<ExtensionConnection> connection_;
    std::shared_ptr<void> session_;
};

} // namespace lumora::platform
