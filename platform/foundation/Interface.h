#pragma once

#include "platform/foundation/Object.h"
#include "platform/foundation/Value.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace lumora::platform {

/// The description of a protocol that is spoken across a connection between
/// processes: the protocol's name and, for each operation the other side may
/// send, how a received message is performed on the object that exports the
/// protocol.
///
/// Messages cross as a selector and a list of values. The performer of an
/// operation turns those values back into typed arguments; when they do not
/// fit (another process may send anything), it returns false and the message
/// is refused rather than performed.
class Interface final : public Object {
public:
    /// Performs a received message on `target` (the exported object); false
    /// when the target does not adopt the protocol or the arguments do not fit.
    using Performer = std::function<bool(const ObjectRef& target, const std::vector<Value>& arguments)>;

    /// A description of `protocolName` with no operations yet.
    explicit Interface(std::string protocolName) : protocolName_(std::move(protocolName)) { }

    /// A new, empty description of the protocol named `protocolName`.
    static std::shared_ptr<Interface> interfaceWithProtocolName(std::string protocolName);

    /// The name of the protocol described.
    [[nodiscard]] const std::string& protocolName() const { return protocolName_; }

    /// Declares an operation (its selector, with colons) and how it is performed.
    void addOperation(std::string selector, Performer performer);
    /// Whether the operation `selector` (with colons) is declared.
    [[nodiscard]] bool hasOperation(std::string_view selector) const;
    /// The selectors of the declared operations, in alphabetical order.
    [[nodiscard]] std::vector<std::string> selectors() const;

    /// Performs `selector` on `target`; false when the interface has no such
    /// operation or its performer refused the message.
    bool perform(std::string_view selector, const ObjectRef& target, const std::vector<Value>& arguments) const;

    [[nodiscard]] std::string className() const override { return "Interface"; }
    [[nodiscard]] std::string description() const override;

private:
    std::string protocolName_;
    std::map<std::string, Performer, std::less<>> operations_;
};

} // namespace lumora::platform
