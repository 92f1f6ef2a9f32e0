#pragma once

#include <optional>
#include <string>
#include <utility>

namespace lumora::platform {

/// A URL. A file URL made from a path and a URL parsed from text are made by
/// different operations: `fileURLWithPath` never parses, `URLWithString`
/// never takes its argument as a path.
class URL {
public:
    /// A file URL for an absolute file-system path (the path is kept as given).
    static URL fileURLWithPath(const std::string& path);
    /// Parses `text` as a URL string ("scheme:rest"); nullopt when it has no
    /// valid scheme.
    static std::optional<URL> URLWithString(const std::string& text);

    /// Whether the URL's scheme is "file".
    [[nodiscard]] bool isFileURL() const { return scheme_ == "file"; }
    /// The scheme, without the colon ("file", "https").
    [[nodiscard]] const std::string& scheme() const { return scheme_; }
    /// The file-system path of a file URL, or the path component of another URL.
    [[nodiscard]] std::string path() const;
    /// The whole URL as text.
    [[nodiscard]] const std::string& absoluteString() const { return text_; }

    /// URLs are equal when their texts are.
    friend bool operator==(const URL&, const URL&) = default;

private:
    URL(std::string scheme, std::string text) : scheme_(std::move(scheme)), text_(std::move(text)) { }
    std::string scheme_;
    std::string text_;
};

} // namespace lumora::platform
