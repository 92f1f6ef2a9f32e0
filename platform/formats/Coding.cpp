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

const CodingClass& CodingClass::number()
{
    static const CodingClass instance = valueClass("NSNumber", { "NSValue" });
    return instance;
}

const CodingClass& CodingClass::string()
{
    static const CodingClass instance = valueClass("NSString", {});
    return instance;
}

const CodingClass& CodingClass::data()
{
    static const CodingClass instance = valueClass("NSData", {});
    return instance;
}

const CodingClass& CodingClass::date()
{
    static const CodingClass instance = valueClass("NSDate", {});
    return instance;
}

const CodingClass& CodingClass::array()
{
    static const CodingClass instance = valueClass("NSArray", {});
    return instance;
}

const CodingClass& CodingClass::dictionary()
{
    static const CodingClass instance = valueClass("NSDictionary", {});
    return instance;
}

const CodingClass& CodingClass::url()
{
    static const CodingClass instance = valueClass("NSURL", {});
    return instance;
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
