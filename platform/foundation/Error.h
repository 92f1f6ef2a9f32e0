#pragma once

#include "platform/foundation/Object.h"
#include "platform/foundation/Value.h"

#include <cstdint>
#include <memory>
#include <string>

namespace lumora::platform {

/// The platform's ordinary error object: a domain, an integer code and a
/// user-info dictionary. Errors are immutable and travel as
/// `std::shared_ptr<const Error>`, so an error handed on is the very object
/// that was received.
class Error final : public Object {
public:
    /// The user-info key whose string value is the error's localized description.
    static constexpr std::string_view LocalizedDescriptionKey = "LocalizedDescription";
    /// The user-info key whose value is the error that caused this one.
    static constexpr std::string_view UnderlyingErrorKey = "UnderlyingError";

    /// An error of `domain` with `code` and `userInfo` (null: an empty dictionary).
    static std::shared_ptr<const Error> errorWithDomain(
        std::string domain, std::int64_t code, DictionaryRef userInfo = nullptr);

    /// Builds an error (null `userInfo`: an empty dictionary); prefer
    /// `errorWithDomain`, which makes it shared and const.
    Error(std::string domain, std::int64_t code, DictionaryRef userInfo);

    /// The error's domain, which gives `code` its meaning.
    [[nodiscard]] const std::string& domain() const { return domain_; }
    /// The error's code within its domain.
    [[nodiscard]] std::int64_t code() const { return code_; }
    /// Never null: an error made without user info has an empty dictionary.
    [[nodiscard]] const DictionaryRef& userInfo() const { return userInfo_; }
    /// The description stored under LocalizedDescriptionKey, or a text made
    /// from the domain and code when there is none.
    [[nodiscard]] std::string localizedDescription() const;

    [[nodiscard]] std::string className() const override { return "Error"; }
    [[nodiscard]] bool isKindOfClassNamed(const std::string& name) const override
    {
        return name == "Error" || Object::isKindOfClassNamed(name);
    }
    [[nodiscard]] std::string description() const override;

private:
    std::string domain_;
    std::int64_t code_;
    DictionaryRef userInfo_;
};

using ErrorRef = std::shared_ptr<const Error>;

} // namespace lumora::platform
