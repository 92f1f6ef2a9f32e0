#pragma once

#include "platform/foundation/Error.h"
#include "platform/foundation/Object.h"
#include "platform/foundation/Value.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace lumora::platform {

/// Carries one value of an extension item under a type identifier and loads
/// it asynchronously. Load completions run on a platform thread, never on the
/// thread that asked (a provider made in another process cannot answer sooner).
class ItemProvider final : public Object {
public:
    /// Receives the loaded value and no error, or a null value and the error.
    using LoadCompletion = std::function<void(const Value& item, const ErrorRef& error)>;
    /// Produces the value on demand; it must call its completion exactly once,
    /// on any thread.
    using Loader = std::function<void(LoadCompletion completion)>;

    /// A provider holding `item` under `typeIdentifier`.
    ItemProvider(Value item, std::string typeIdentifier);
    /// A provider whose value comes from `loader` (another process, a slow
    /// source, a test that decides when each load finishes).
    ItemProvider(std::string typeIdentifier, Loader loader);

    /// The type identifiers the provider holds a value under.
    [[nodiscard]] const std::vector<std::string>& registeredTypeIdentifiers() const { return types_; }
    /// Whether the provider holds a value under exactly `typeIdentifier` (no
    /// type is taken to conform to another).
    [[nodiscard]] bool hasItemConformingToTypeIdentifier(std::string_view typeIdentifier) const;

    /// Loads the value registered under `typeIdentifier` and calls `completion`
    /// with it on a platform thread; a type the provider does not hold
    /// completes with an error.
    void loadItemForTypeIdentifier_options_completionHandler(
        const std::string& typeIdentifier, const DictionaryRef& options, LoadCompletion completion) const;

    [[nodiscard]] std::string className() const override { return "ItemProvider"; }

    /// The error domain of failed loads.
    static constexpr std::string_view ErrorDomain = "lumora.platform.ItemProvider";

private:
    std::vector<std::string> types_;
    Loader loader_;
};

/// Attributed text: a string with attributes (none are used by the framework).
class AttributedString final : public Object {
public:
    /// Attributed text with no attributes.
    explicit AttributedString(std::string string) : string_(std::move(string)) { }
    /// The plain text.
    [[nodiscard]] const std::string& string() const { return string_; }
    [[nodiscard]] std::string className() const override { return "AttributedString"; }
    [[nodiscard]] std::string description() const override { return string_; }

private:
    std::string string_;
};

} // namespace lumora::platform
