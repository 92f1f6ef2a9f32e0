#include "platform/host/lab/LabOptions.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <string_view>

namespace lumora::platform::host {

namespace {

std::optional<double> number(std::string_view text)
{
    double value = 0;
    const auto* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stop != end || !std::isfinite(value)) {
        return std::nullopt;
    }
    return value;
}

// A count of bytes: a number, optionally followed by K, M or G (binary units, "B" optional).
std::optional<std::size_t> bytes(std::string_view text)
{
    double unit = 1;
    if (text.ends_with('B') || text.ends_with('b')) {
        text.remove_suffix(1);
    }
    if (!text.empty()) {
        switch (text.back()) {
        case 'K':
        case 'k':
            unit = 1024.0;
            break;
        case 'M':
        case 'm':
            unit = 1024.0 * 1024.0;
            break;
        case 'G':
        case 'g':
            unit = 1024.0 * 1024.0 * 1024.0;
            break;
        default:
            break;
        }
        if (unit != 1) {
            text.remove_suffix(1);
        }
    }
    const auto value = number(text);
    // Below a mebibyte no extension host can even start; above a terabyte is a typo.
    if (!value || *value * unit < 1024.0 * 1024.0 || *value * unit > 1024.0 * 1024.0 * 1024.0 * 1024.0) {
        return std::nullopt;
    }
    return static_cast<std::size_t>(*value * unit);
}

std::optional<LabOptions::Audio> audio(std::string_view text, bool microphone)
{
    LabOptions::Audio audio;
    if (text == "silence") {
        audio.sound = LabOptions::Sound::Silence;
        return audio;
    }
    if (microphone && text == "off") {
        audio.sound = LabOptions::Sound::Off;
        return audio;
    }
    if (text.starts_with("wav:") && text.size() > 4) {
        audio.sound = LabOptions::Sound::Wav;
        audio.path = std::string(text.substr(4));
        return audio;
    }
    if (text == "tone" || text.starts_with("tone:")) {
        audio.sound = LabOptions::Sound::Tone;
        audio.frequency = microphone ? 440 : 220;
        if (text.size() > 5) {
            const auto frequency = number(text.substr(5));
            if (!frequency || *frequency <= 0 || *frequency >= 22050) {
                return std::nullopt;
            }
            audio.frequency = *frequency;
        }
        return audio;
    }
    return std::nullopt;
}

} // namespace

std::optional<LabOptions> LabOptions::parse(const std::vector<std::string>& arguments, std::string& error)
{
    LabOptions options;
    for (std::size_t index = 0; index < arguments.size(); ++index) {
        const std::string_view argument = arguments[index];
        if (argument == "--help" || argument == "-h") {
            options.help = true;
            return options;
        }
        if (argument == "--realtime") {
            options.realtime = true;
            continue;
        }
        if (argument == "--progress") {
            options.progress = true;
            continue;
        }
        if (argument == "--verbose") {
            options.verbose = true;
            continue;
        }
        if (!argument.starts_with("--")) {
            if (!options.bundle.empty()) {
                error = fmt::format("more than one bundle given ({} and {})", options.bundle, argument);
                return std::nullopt;
            }
            options.bundle = std::string(argument);
            continue;
        }
        if (index + 1 >= arguments.size()) {
            error = fmt::format("{} needs a value", argument);
            return std::nullopt;
        }
        const std::string_view value = arguments[++index];
        const auto refuse = [&error, argument, value] {
            error = fmt::format("{} cannot be {}", argument, value);
            return std::nullopt;
        };
        if (argument == "--duration") {
            const auto seconds = number(value);
            if (!seconds || *seconds <= 0 || *seconds > 24 * 3600) {
                return refuse();
            }
            options.duration = *seconds;
        } else if (argument == "--clip-duration") {
            const auto seconds = number(value);
            if (!seconds || *seconds <= 0) {
                return refuse();
            }
            options.clipDuration = *seconds;
        } else if (argument == "--pause") {
            const auto colon = value.find(':');
            const auto at = colon == std::string_view::npos ? std::nullopt : number(value.substr(0, colon));
            const auto length = colon == std::string_view::npos ? std::nullopt : number(value.substr(colon + 1));
            if (!at || !length || *at < 0 || *length <= 0 || *length > 24 * 3600) {
                return refuse();
            }
            options.pauses.push_back({ *at, *length });
        } else if (argument == "--memory-ceiling") {
            const auto ceiling = bytes(value);
            if (!ceiling) {
                return refuse();
            }
            options.memoryCeiling = *ceiling;
        } else if (argument == "--request-deadline") {
            const auto milliseconds = number(value);
            if (!milliseconds || *milliseconds < 1 || *milliseconds > 600000) {
                return refuse();
            }
            options.requestDeadline = std::chrono::milliseconds(static_cast<std::int64_t>(*milliseconds));
        } else if (argument == "--json") {
            options.jsonPath = std::string(value);
        } else if (argument == "--kind") {
            if (value == "sample-buffer") {
                options.kind = SimulatedRecordingService::UploadKind::SampleBuffer;
            } else if (value == "movie-clip") {
                options.kind = SimulatedRecordingService::UploadKind::MovieClip;
            } else {
                return refuse();
            }
        } else if (argument == "--screen") {
            if (value == "test") {
                options.screen = Screen::TestPicture;
            } else if (value == "scenes") {
                options.screen = Screen::Scenes;
            } else if (value.starts_with("movie:") && value.size() > 6) {
                options.screen = Screen::Movie;
                options.moviePath = std::string(value.substr(6));
            } else {
                return refuse();
            }
        } else if (argument == "--app-audio" || argument == "--mic-audio") {
            const bool microphone = argument == "--mic-audio";
            const auto chosen = audio(value, microphone);
            if (!chosen) {
                return refuse();
            }
            (microphone ? options.microphoneAudio : options.applicationAudio) = *chosen;
        } else {
            error = fmt::format("unknown option {}", argument);
            return std::nullopt;
        }
    }
    if (options.bundle.empty()) {
        error = "no extension bundle given";
        return std::nullopt;
    }
    return options;
}

std::string LabOptions::usage()
{
    return R"(usage: lumora-lab [options] BUNDLE

Runs the broadcast upload extension in BUNDLE (a folder made with
lumora_add_extension) through a live broadcast on the simulated device, in a
process of its own under its memory ceiling, and reports what happened.

  --kind sample-buffer|movie-clip  how the extension takes the broadcast (sample-buffer)
  --duration SECONDS               live time of the broadcast, pauses left out (10)
  --clip-duration SECONDS          seconds of one movie clip (the service's 5)
  --pause AT:FOR                   pause at AT seconds of live time for FOR seconds (repeatable)
  --memory-ceiling BYTES           the extension's memory ceiling, e.g. 50M (50M)
  --request-deadline MS            how long one request may go unanswered (5000)
  --screen test|scenes|movie:PATH  the screen: a moving test picture (test), a few
                                   animated views, or a movie file's pictures
  --app-audio tone[:HZ]|wav:PATH|silence   the application's audio (tone:220)
  --mic-audio tone[:HZ]|wav:PATH|silence|off   the microphone's audio (tone:440)
  --json FILE                      also write the summary as JSON to FILE (- for standard output)
  --realtime                       keep pace with the wall clock (else as fast as it can)
  --progress                       show the progress bar even when standard error is no terminal
  --verbose                        print every log line (else only the device's lines on the extension)
  --help                           show this text

Exit status:
  0  the broadcast ran through
  1  the broadcast ended early for another reason (a malformed reply, a failed
     request, a cancelled clip, the service stopping it)
  2  the command line is wrong
  3  the extension crashed (its process ended during the broadcast)
  4  the extension hung (a request went unanswered past its deadline)
  5  the extension crossed its memory ceiling
  6  the lab could not run the extension (no bundle, no extension host, not live)
)";
}

} // namespace lumora::platform::host
