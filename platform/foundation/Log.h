#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace lumora::platform {

class Object;
class Value;

/// Structured logging with the framework's printf-style texts.
///
/// Two levels are used, ordinary and error. A second channel, the console,
/// stands for the platform's plain console log ("the general application
/// log"). Texts keep their placeholders: "%i" and "%d" take an integer, "%u"
/// an unsigned one, "%s" and "%@" anything with a description, "%%" is a
/// percent sign. A placeholder with no argument left is written as it stands.
class Log {
public:
    /// How serious an entry is.
    enum class Level : std::uint8_t { Ordinary, Error };
    /// Where an entry goes: the framework's own log or the plain console.
    enum class Channel : std::uint8_t { Framework, Console };

    /// One written log entry, as observers see it.
    struct Entry {
        /// The entry's level.
        Level level;
        /// The channel it was written to.
        Channel channel;
        /// The text with its placeholders filled in.
        std::string text;
    };

    /// One formatted argument.
    class Arg {
    public:
        /// An integer, for "%i", "%d" and "%u" (written as 32 bits).
        template <class T>
        requires std::is_integral_v<T> Arg(T value) // NOLINT(google-explicit-constructor)
            : integer_(static_cast<std::int64_t>(value)), isInteger_(true)
        { }
        /// A float: its text for "%@" and "%s", truncated toward zero for an integer
        /// placeholder.
        Arg(double value); // NOLINT(google-explicit-constructor)
        /// A text; null is written as "(null)".
        Arg(const char* text); // NOLINT(google-explicit-constructor)
        /// A text.
        Arg(std::string_view text); // NOLINT(google-explicit-constructor)
        /// A text.
        Arg(std::string text); // NOLINT(google-explicit-constructor)
        /// An object, written as its description; null is written as "(null)".
        Arg(const Object* object); // NOLINT(google-explicit-constructor)
        /// A Value, written as its description, or as its number reading for an
        /// integer placeholder.
        Arg(const Value& value); // NOLINT(google-explicit-constructor)
        /// An object held by a shared pointer, written as its description.
        template <class T>
        requires std::is_base_of_v<Object, T> Arg(
            const std::shared_ptr<T>& object) // NOLINT(google-explicit-constructor)
            : Arg(static_cast<const Object*>(object.get()))
        { }

        /// The argument as an integer placeholder writes it: the low 32 bits, signed
        /// or unsigned; "0" for an argument with no number.
        [[nodiscard]] std::string asInteger(bool isUnsigned) const;
        /// The argument as "%@" and "%s" write it.
        [[nodiscard]] const std::string& asText() const { return text_; }

    private:
        std::int64_t integer_ = 0;
        bool isInteger_ = false;
        std::string text_;
    };

    /// Writes an ordinary entry to the framework log. Callable on any thread.
    template <class... Args> static void ordinary(std::string_view format, const Args&... args)
    {
        write(Level::Ordinary, Channel::Framework, format, { Arg(args)... });
    }

    /// Writes an error entry to the framework log. Callable on any thread.
    template <class... Args> static void error(std::string_view format, const Args&... args)
    {
        write(Level::Error, Channel::Framework, format, { Arg(args)... });
    }

    /// The platform's plain console log.
    template <class... Args> static void console(std::string_view format, const Args&... args)
    {
        write(Level::Ordinary, Channel::Console, format, { Arg(args)... });
    }

    /// `format` with its placeholders filled in from `args`, in order.
    static std::string format(std::string_view format, const std::vector<Arg>& args);
    /// Formats and writes one entry: observers see it, then it is echoed when
    /// echoing is on. Callable on any thread.
    static void write(Level level, Channel channel, std::string_view format, const std::vector<Arg>& args);

    /// Observers see every entry, on the thread that wrote it. The returned
    /// token removes the observer when it is destroyed.
    using Observer = std::function<void(const Entry&)>;
    /// Adds `observer`, which sees every entry from then on.
    [[nodiscard]] static std::shared_ptr<void> addObserver(Observer observer);

    /// Whether entries are also printed to standard error. Off until a
    /// program turns it on: without it no entry, failures included, reaches
    /// standard error (observers hear every entry either way).
    static void setEchoToStandardError(bool echo);
};

} // namespace lumora::platform
