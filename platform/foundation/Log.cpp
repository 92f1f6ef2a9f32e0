#include "platform/foundation/Log.h"

#include "platform/foundation/Object.h"
#include "platform/foundation/Value.h"

#include <algorithm>
#include <atomic>
#include <fmt/format.h>
#include <list>
#include <mutex>
#include <spdlog/sinks/stdout_color_sinks.h>
#include <spdlog/spdlog.h>

namespace lumora::platform {

namespace {

struct Observers {
    std::mutex mutex;
    std::list<std::shared_ptr<Log::Observer>> list;
};

// The observers and the echo are never destroyed: other threads may still
// log while the process exits.
Observers& observers()
{
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory,cppcoreguidelines-avoid-non-const-global-variables)
    static auto* instance = new Observers();
    return *instance;
}

std::atomic<bool>& echoFlag()
{
    static std::atomic<bool> echo { false };
    return echo;
}

spdlog::logger& echoLogger()
{
    // NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables)
    static auto* const logger = [] {
        auto* made = new spdlog::logger( // NOLINT(cppcoreguidelines-owning-memory)
            "lumora", std::make_shared<spdlog::sinks::stderr_color_sink_mt>());
        made->set_pattern("%H:%M:%S.%e %^%l%$ %v");
        made->set_level(spdlog::level::trace);
        return made;
    }();
    return *logger;
}

} // namespace

Log::Arg::Arg(double value) : integer_(static_cast<std::int64_t>(value)), text_(fmt::format("{}", value)) { }

Log::Arg::Arg(const char* text) : text_(text != nullptr ? text : "(null)") { }

Log::Arg::Arg(std::string_view text) : text_(text) { }

Log::Arg::Arg(std::string text) : text_(std::move(text)) { }

Log::Arg::Arg(const Object* object) : text_(object != nullptr ? object->description() : "(null)") { }

Log::Arg::Arg(const Value& value) : integer_(value.int64Value()), text_(value.description()) { }

std::string Log::Arg::asInteger(bool isUnsigned) const
{
    if (!isInteger_ && text_.empty()) {
        return "0";
    }
    if (isUnsigned) {
        return std::to_string(static_cast<std::uint32_t>(integer_));
    }
    // "%i" and "%d" format a 32-bit int: wider values keep their low 32 bits.
    return std::to_string(static_cast<std::int32_t>(static_cast<std::uint32_t>(integer_)));
}

std::string Log::format(std::string_view format, const std::vector<Arg>& args)
{
    std::string text;
    text.reserve(format.size() + 16);
    std::size_t next = 0;
    for (std::size_t i = 0; i < format.size(); ++i) {
        const char c = format[i];
        if (c != '%' || i + 1 == format.size()) {
            text.push_back(c);
            continue;
        }
        const char conversion = format[i + 1];
        if (conversion == '%') {
            text.push_back('%');
            ++i;
            continue;
        }
        const bool known
            = conversion == 'i' || conversion == 'd' || conversion == 'u' || conversion == 's' || conversion == '@';
        if (!known || next == args.size()) {
            text.push_back(c);
            continue;
        }
        const Arg& arg = args[next++];
        if (conversion == 's' || conversion == '@') {
            text += arg.asText();
        } else {
            text += arg.asInteger(conversion == 'u');
        }
        ++i;
    }
    return text;
}

void Log::write(Level level, Channel channel, std::string_view formatText, const std::vector<Arg>& args)
{
    const Entry entry { level, channel, format(formatText, args) };
    std::vector<std::shared_ptr<Observer>> snapshot;
    {
        std::lock_guard lock(observers().mutex);
        snapshot.assign(observers().list.begin(), observers().list.end());
    }
    for (const auto& observer : snapshot) {
        (*observer)(entry);
    }
    if (echoFlag().load(std::memory_order_relaxed)) {
        const char* prefix = channel == Channel::Console ? "[console] " : "";
        echoLogger().log(level == Level::Error ? spdlog::level::err : spdlog::level::info, "{}{}", prefix, entry.text);
    }
}

std::shared_ptr<void> Log::addObserver(Observer observer)
{
    auto shared = std::make_shared<Observer>(std::move(observer));
    {
        std::lock_guard lock(observers().mutex);
        observers().list.push_back(shared);
    }
    return { nullptr, [shared](void* /*unused*/) {
                std::lock_guard lock(observers().mutex);
                observers().list.remove(shared);
            } };
}

void Log::setEchoToStandardError(bool echo)
{
    echoFlag().store(echo, std::memory_order_relaxed);
}

} // namespace lumora::platform
