#include "platform/foundation/URL.h"

#include <algorithm>
#include <cctype>
#include <fmt/format.h>

namespace lumora::platform {

namespace {

bool isUnreservedPathCharacter(unsigned char c)
{
    return std::isalnum(c) != 0
        || std::string_view("-._~/!$&'()*+,;=:@").find(static_cast<char>(c)) != std::string_view::npos;
}

std::string percentEncodePath(const std::string& path)
{
    std::string encoded;
    encoded.reserve(path.size());
    for (const unsigned char c : path) {
        if (isUnreservedPathCharacter(c)) {
            encoded.push_back(static_cast<char>(c));
        } else {
            encoded += fmt::format("%{:02X}", c);
        }
    }
    return encoded;
}

int hexDigit(char c)
{
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

std::string percentDecode(std::string_view text)
{
    std::string decoded;
    decoded.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 2 < text.size()) {
            const int high = hexDigit(text[i + 1]);
            const int low = hexDigit(text[i + 2]);
            if (high >= 0 && low >= 0) {
                decoded.push_back(static_cast<char>(high * 16 + low));
                i += 2;
                continue;
            }
        }
        decoded.push_back(text[i]);
    }
    return decoded;
}

} // namespace

URL URL::fileURLWithPath(const std::string& path)
{
    return URL("file", "file://" + percentEncodePath(path));
}

std::optional<URL> URL::URLWithString(const std::string& text)
{
    const auto colon = text.find(':');
    if (colon == std::string::npos || colon == 0) {
        return std::nullopt;
    }
    if (std::isalpha(static_cast<unsigned char>(text[0])) == 0) {
        return std::nullopt;
    }
    const bool validScheme = std::all_of(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(colon),
        [](char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '+' || c == '-' || c == '.'; });
    if (!validScheme || std::any_of(text.begin(), text.end(), [](char c) {
            return c == ' ' || static_cast<unsigned char>(c) < 0x20;
        })) {
        return std::nullopt;
    }
    std::string scheme = text.substr(0, colon);
    std::transform(scheme.begin(), scheme.end(), scheme.begin(),
        [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return URL(std::move(scheme), text);
}

std::string URL::path() const
{
    std::string_view rest(text_);
    rest.remove_prefix(scheme_.size() + 1);
    if (rest.starts_with("//")) {
        rest.remove_prefix(2);
        const auto slash = rest.find('/');
        rest = slash == std::string_view::npos ? std::string_view() : rest.substr(slash);
    }
    const auto end = rest.find_first_of("?#");
    if (end != std::string_view::npos) {
        rest = rest.substr(0, end);
    }
    return percentDecode(rest);
}

} // namespace lumora::platform
