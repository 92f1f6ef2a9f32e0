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
    enum class Level : std::uint8_t { Ordinary, Error };
    enum class Channel : std::uint8_t { Framework, Console };

    struct Entry {
        Level level;
        Channel channel;
        std::string text;
    };

    /// One formatted argument.
    class Arg {
    public:
        template <class T>
        requires std::is_integral_v<T> Arg(T value) // NOLINT(google-explicit-constructor)
            : integer_(static_cast<std::int64_t>(value)), isInteger_(true)
        { }
        Arg(double value); // NOLINT(google-explicit-constructor)
        Arg(const char* text); // NOLINT(google-explicit-constructor)
        Arg(std::string_view text); // NOLINT(google-explicit-constructor)
        Arg(std::string text); // NOLINT(google-explicit-constructor)
        Arg(const Object* object); // NOLINT(google-explicit-constructor)
        Arg(const Value& value); // NOLINT(google-explicit-constructor)
        template <class T>
        requires std::is_base_of_v<Object, T> Arg(
            const std::shared_ptr<T>& object) // NOLINT(google-explicit-constructor)
            : Arg(static_cast<const Object*>(object.get()))
        { }

        [[nodiscard]] std::string asInteger(bool isUnsigned) const;
        [[nodiscard]] const std::string& asText() const { return text_; }

    private:
        std::int64_t integer_ = 0;
        bool isInteger_ = false;
        std::string text_;
    };

    template <class... Args> static void ordinary(std::string_view format, const Args&... args)
    {
        write(Level::Ordinary, Channel::Framework, format, { Arg(args)... });
    }

    template <class... Args> static void error(std::string_view format, const Args&... args)
    {
        write(Level::Error, Channel::Framework, format, { Arg(args)... });
    }

    /// The platform's plain console log.
    template <class... Args> static void console(std::string_view format, const Args&... args)
    {
        write(Level::Ordinary, Channel::Console, format, { Arg(args)... });
    }

    static std::string format(std::string_view format, const std::vector<Arg>& args);
    static void write(Level level, Channel channel, std::string_view format, const std::vector<Arg>& args);

    /// Observers see every entry, on the thread that wrote it. The returned
    /// token removes the observer when it is destroyed.
    using Observer = std::function<void(const Entry&)>;
    [[nodiscard]] static std::shared_ptr<void> addObserver(Observer observer);

    /// Whether entries are also printed to standard error.
    static void setEchoToStandardError(bool echo);
};

} // namespace lumora::platform
