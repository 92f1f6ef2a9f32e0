#include "platform/formats/Coding.h"

namespace lumora::platform {

namespace {

CodingClass valueClass(std::string name, std::vector<std::string> superclasses)
{
    std::vector<std::string> classes { name };
    classes.insert(classes.end(), superclasses.begin(), superclasses.end());
    classes.emplace_back(CodingClass::RootClassName);
    return { std::move(name), std::move(classes), true, nullptr };
}

} // namespace

CodingClass::CodingClass(
    std::string name, std::vector<std::string> classes, bool supportsSecureCoding, Initializer initializer)
    : name_(std::move(name)),
      classes_(std::move(classes)),
      supportsSecureCoding_(supportsSecureCoding),
      initializer_(std::move(initializer)),
      archivedRecord_([this] {
          auto names = std::make_shared<Array>(classes_.begin(), classes_.end());
          return Value(std::make_shared<Dictionary>(Dictionary {
              { "$classname", Value(name_) },
              { "$classes", Value(std::move(names)) },
          }));
      }())
{ }

// The coding classes of values are never destroyed: archives may still be
// decoded on other threads while the process exits.

const CodingClass& CodingClass::number()
{
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory)
    static const auto* const instance = new const CodingClass(valueClass("NSNumber", { "NSValue" }));
    return *instance;
}

const CodingClass& CodingClass::string()
{
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory)
    static const auto* const instance = new const CodingClass(valueClass("NSString", {}));
    return *instance;
}

const CodingClass& CodingClass::data()
{
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory)
    static const auto* const instance = new const CodingClass(valueClass("NSData", {}));
    return *instance;
}

const CodingClass& CodingClass::date()
{
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory)
    static const auto* const instance = new const CodingClass(valueClass("NSDate", {}));
    return *instance;
}

const CodingClass& CodingClass::array()
{
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory)
    static const auto* const instance = new const CodingClass(valueClass("NSArray", {}));
    return *instance;
}

const CodingClass& CodingClass::dictionary()
{
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory)
    static const auto* const instance = new const CodingClass(valueClass("NSDictionary", {}));
    return *instance;
}

const CodingClass& CodingClass::url()
{
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory)
    static const auto* const instance = new const CodingClass(valueClass("NSURL", {}));
    return *instance;
}

ErrorRef CoderError::make(std::int64_t code, std::string debugDescription)
{
    std::string_view description = "The data couldn't be read because it isn't in the correct format.";
    if (code == ValueNotFound) {
        description = "The data couldn't be read because it is missing.";
    } else if (code == InvalidValue) {
        description = "The data couldn't be written because it isn't in the correct format.";
    }
    auto userInfo = std::make_shared<Dictionary>();
    userInfo->emplace(std::string(Error::LocalizedDescriptionKey), Value(description));
    userInfo->emplace(std::string(DebugDescriptionKey), Value(std::move(debugDescription)));
    return Error::errorWithDomain(std::string(Domain), code, std::move(userInfo));
}

void Coder::encodeObject_forKey(const Value& /*object*/, std::string_view /*key*/) { }

void Coder::encodeBool_forKey(bool /*value*/, std::string_view /*key*/) { }

void Coder::encodeInt64_forKey(std::int64_t /*value*/, std::string_view /*key*/) { }

void Coder::encodeDouble_forKey(double /*value*/, std::string_view /*key*/) { }

bool Coder::containsValueForKey(std::string_view /*key*/) const
{
    return false;
}

Value Coder::decodeObjectOfClasses_forKey(const CodingClasses& /*classes*/, std::string_view /*key*/)
{
    return {};
}

bool Coder::decodeBoolForKey(std::string_view /*key*/)
{
    return false;
}

std::int64_t Coder::decodeInt64ForKey(std::string_view /*key*/)
{
    return 0;
}

double Coder::decodeDoubleForKey(std::string_view /*key*/)
{
    return 0.0;
}

} // namespace lumora::platform
