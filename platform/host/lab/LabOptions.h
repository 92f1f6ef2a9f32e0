#pragma once

#include "platform/host/services/SimulatedRecordingService.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace lumora::platform::host {

/// What the lab (`lumora-lab`) is asked to run, read from its command line.
struct LabOptions {
    /// Where the screen's picture comes from.
    enum class Screen : std::uint8_t { TestPicture, Movie, Scenes };
    /// Where a kind of audio comes from; `Off` leaves the microphone off.
    enum class Sound : std::uint8_t { Tone, Wav, Silence, Off };
    struct Audio {
        Sound sound = Sound::Tone;
        double frequency = 0;
        std::string path;
    };
    /// A pause of the broadcast: at `at` seconds of live time, for `length` seconds.
    struct Pause {
        double at = 0;
        double length = 0;
    };

    /// The upload extension's bundle folder.
    std::string bundle;
    SimulatedRecordingService::UploadKind kind = SimulatedRecordingService::UploadKind::SampleBuffer;
    /// Seconds of device time the broadcast runs, pauses left out.
    double duration = 10;
    /// Seconds of one movie clip; the service's default when absent.
    std::optional<double> clipDuration;
    std::vector<Pause> pauses;
    std::size_t memoryCeiling = ExtensionHostProcess::UploadMemoryCeiling;
    std::chrono::milliseconds requestDeadline = ExtensionHostProcess::UploadRequestDeadline;
    Screen screen = Screen::TestPicture;
    std::string moviePath;
    Audio applicationAudio { Sound::Tone, 220, {} };
    Audio microphoneAudio { Sound::Tone, 440, {} };
    /// Where the JSON summary goes ("-": standard output); none when empty.
    std::string jsonPath;
    /// Keep pace with the wall clock instead of running as fast as it can.
    bool realtime = false;
    /// Show the progress bar even when standard error is not a terminal.
    bool progress = false;
    /// Print every log line, not only failures and the extension's ends.
    bool verbose = false;
    bool help = false;

    /// The options `arguments` give (the program's name left out); nullopt,
    /// and `error` says what is wrong, for a command line that cannot be run.
    static std::optional<LabOptions> parse(const std::vector<std::string>& arguments, std::string& error);
    /// The usage text, with the exit statuses.
    static std::string usage();
};

} // namespace lumora::platform::host
