#include "platform/host/lab/LabRun.h"

#include "broadcast/LMBroadcastConfiguration.h"
#include "broadcast/LMBroadcastExtension.h"
#include "platform/foundation/Error.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/extensions/ExtensionRequest.h"
#include "platform/host/lab/BroadcastService.h"
#include "platform/host/lab/BroadcastSession.h"
#include "platform/host/lab/LabScreen.h"
#include "platform/host/lab/LabSound.h"
#include "platform/ui/ViewController.h"
#include "upload/LMBroadcastExtensionKeys.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <filesystem>
#include <mutex>
#include <thread>

namespace lumora::platform::host {

namespace {

// How long the lab waits, beyond a request's deadline, for the requests still
// queued to end (every one of them may run into the deadline of a new process).
constexpr auto kDeliveryAllowance = std::chrono::seconds(10);
// The live seconds run between two looks at whether the broadcast still runs.
constexpr double kStepSeconds = 0.5;

std::string kindName(SimulatedRecordingService::UploadKind kind)
{
    return kind == SimulatedRecordingService::UploadKind::MovieClip ? "movie-clip" : "sample-buffer";
}

std::string describe(const ErrorRef& error)
{
    if (!error) {
        return {};
    }
    auto text = fmt::format("{} {}: {}", error->domain(), error->code(), error->localizedDescription());
    if (const auto info = error->userInfo()) {
        if (const auto underlying = info->valueForKey(Error::UnderlyingErrorKey).objectAs<Error>()) {
            text += fmt::format(
                " ({} {}: {})", underlying->domain(), underlying->code(), underlying->localizedDescription());
        }
    }
    return text;
}

std::optional<LabSound> soundOf(const LabOptions::Audio& audio, std::string& error)
{
    switch (audio.sound) {
    case LabOptions::Sound::Tone:
        return LabSound::tone(audio.frequency);
    case LabOptions::Sound::Wav:
        return LabSound::fromWavFile(audio.path, error);
    case LabOptions::Sound::Silence:
    case LabOptions::Sound::Off:
        break;
    }
    return LabSound::silence();
}

// What the lab learns of the extension's requests, on the thread that performs them.
struct Tally {
    std::mutex mutex;
    LabReport report;
    /// The live seconds passed, as the main thread last set them.
    std::atomic<double> liveSeconds { 0 };
    std::shared_ptr<ExtensionHostProcess> process;

    void heard(const ExtensionItems& items, const ExtensionHostProcess::RequestReport& request, bool clips)
    {
        std::optional<LabReport::Fault> fault;
        std::int64_t application = 0;
        std::int64_t microphone = 0;
        std::int64_t actions = 0;
        bool clip = false;
        if (!request.outcome) {
            fault = LabReport::Fault { classify(request.failure), liveSeconds.load(), request.failure };
        } else if (request.outcome->error) {
            fault
                = LabReport::Fault { clips ? LabReport::FaultKind::CancelledClip : LabReport::FaultKind::FailedRequest,
                      liveSeconds.load(), describe(request.outcome->error) };
        } else if (clips) {
            clip = true;
        } else if (const auto payload = ExtensionRequest::loadValueOfItem(items, "payload")) {
            if (const auto list = payload->array()) {
                for (const auto& entry : *list) {
                    const auto dictionary = entry.dictionary();
                    const auto type = dictionary
                        ? dictionary->valueForKey(LMBroadcastProcessExtensionPayloadKeySampleType).int64Value()
                        : 0;
                    application += type == LMBroadcastSampleTypeAudioApp ? 1 : 0;
                    microphone += type == LMBroadcastSampleTypeAudioMic ? 1 : 0;
                }
            } else {
                actions = 1;
            }
        }
        const auto exit = process ? process->lastExit() : std::nullopt;
        std::lock_guard lock(mutex);
        auto& into = report;
        ++into.requests;
        into.latencies.push_back(std::chrono::duration<double, std::milli>(request.latency).count());
        into.applicationAudioPayloads += application;
        into.microphoneAudioPayloads += microphone;
        into.actions += actions;
        into.clips += clip ? 1 : 0;
        if (exit) {
            into.peakMemory = std::max(into.peakMemory, exit->peakMemory);
            into.memoryCeiling = exit->memoryCeiling != 0 ? exit->memoryCeiling : into.memoryCeiling;
            if (fault && exit->crossedCeiling && fault->kind == LabReport::FaultKind::Crashed) {
                fault->kind = LabReport::FaultKind::CrossedCeiling;
            }
        }
        if (fault) {
            into.faults.push_back(std::move(*fault));
        }
    }

    // What a request that did not end came to, from why it did not.
    static LabReport::FaultKind classify(const std::string& failure)
    {
        if (failure.starts_with("it did not answer")) {
            return LabReport::FaultKind::Hung;
        }
        if (failure.starts_with("it answered a request with malformed")) {
            return LabReport::FaultKind::Malformed;
        }
        if (failure.starts_with("its code failed")) {
            return LabReport::FaultKind::FailedRequest;
        }
        // Its process ended (or could not start): the ceiling is told apart once its exit is known.
        return LabReport::FaultKind::Crashed;
    }
};

} // namespace

LabRun::LabRun(LabOptions options) : options_(std::move(options)) { }

void LabRun::setExtensionHostProgram(std::string program)
{
    extensionHostProgram_ = std::move(program);
}

void LabRun::setProgressHandler(std::function<void(double done)> handler)
{
    progress_ = std::move(handler);
}

LabReport LabRun::run()
{
    auto tally = std::make_shared<Tally>();
    auto& report = tally->report;
    report.bundle = options_.bundle;
    report.kind = kindName(options_.kind);
    report.duration = options_.duration;
    report.memoryCeiling = options_.memoryCeiling;

    std::error_code ignored;
    if (!std::filesystem::is_regular_file(std::filesystem::path(options_.bundle) / "Info.plist", ignored)) {
        report.couldNotRun = fmt::format("{} is not an extension bundle (it has no Info.plist)", options_.bundle);
        return report;
    }
    std::string error;
    const auto application = soundOf(options_.applicationAudio, error);
    const auto microphone = application ? soundOf(options_.microphoneAudio, error) : std::nullopt;
    std::unique_ptr<MovieFrames> movie;
    if (options_.screen == LabOptions::Screen::Movie) {
        movie = MovieFrames::open(options_.moviePath, error);
    }
    if (!application || !microphone || (options_.screen == LabOptions::Screen::Movie && !movie)) {
        report.couldNotRun = error;
        return report;
    }

    auto& device = SimulatedDevice::shared();
    auto& service = device.recordingService();
    const bool clips = options_.kind == SimulatedRecordingService::UploadKind::MovieClip;
    service.setPayloadAudio([application = *application, microphone = *microphone](
                                std::int64_t type, std::int64_t first, std::span<std::int16_t> samples) {
        (type == LMBroadcastSampleTypeAudioMic ? microphone : application).fill(first, samples);
    });
    // Clips are cut from what the screen shows.
    service.setRecordsScreen(clips);

    const auto clipDuration = options_.clipDuration;
    const auto process = BroadcastService {
        std::string(SetupExtension),
        [clipDuration](const ExtensionRequestSide& side) {
            auto configuration = std::make_shared<LMBroadcastConfiguration>();
            if (clipDuration) {
                configuration->setClipDuration(*clipDuration);
            }
            LMBroadcastExtension::completeRequestWithBroadcastURL_broadcastConfiguration_setupInfo(side.context,
                URL::URLWithString(std::string(BroadcastURL)), configuration,
                std::make_shared<const Dictionary>(Dictionary { { "source", Value("lumora-lab") } }));
            return std::make_shared<ViewController>();
        },
        std::nullopt,
        std::string(UploadExtension),
        options_.kind,
        nullptr,
    }.installOutOfProcess(options_.bundle);
    process->setMemoryCeiling(options_.memoryCeiling);
    process->setRequestDeadline(options_.requestDeadline);
    if (!extensionHostProgram_.empty()) {
        process->setProgram(extensionHostProgram_);
    }
    tally->process = process;
    process->setRequestObserver(
        [tally, clips](const ExtensionItems& items, const ExtensionHostProcess::RequestReport& request) {
            tally->heard(items, request, clips);
        });
    std::string failure;
    if (!process->start(&failure)) {
        process->setRequestObserver(nullptr);
        report.couldNotRun = "the extension's process did not start: " + failure;
        return report;
    }

    const auto session = BroadcastSession::make();
    const auto root = session->rootViewController();
    LabScreen screen(options_.screen, root->view(), std::move(movie));
    const bool microphoneOn = options_.microphoneAudio.sound != LabOptions::Sound::Off;
    if (const auto live = session->goLive(std::string(SetupExtension), microphoneOn)) {
        process->setRequestObserver(nullptr);
        process->stop();
        report.couldNotRun = "the broadcast did not go live: " + describe(live);
        return report;
    }

    // The timeline: live time with the pauses in it, in the order they come.
    auto pauses = options_.pauses;
    std::sort(pauses.begin(), pauses.end(), [](const auto& one, const auto& other) { return one.at < other.at; });
    double pausedSeconds = 0;
    for (const auto& pause : pauses) {
        pausedSeconds += pause.at < options_.duration ? pause.length : 0;
    }
    const double total = options_.duration + pausedSeconds;
    double live = 0;
    double passed = 0;
    const auto began = std::chrono::steady_clock::now();
    const auto step = [&](double seconds, bool counting) {
        const double from = passed;
        session->run(seconds, [&](double done) {
            passed = from + done;
            if (counting) {
                tally->liveSeconds = live + done;
            }
            screen.show(passed);
            if (options_.realtime) {
                std::this_thread::sleep_until(began + std::chrono::duration<double>(passed));
            }
            if (progress_) {
                progress_(std::min(1.0, passed / total));
            }
        });
        passed = from + seconds;
        if (counting) {
            live += seconds;
        }
    };
    std::size_t nextPause = 0;
    while (live < options_.duration - 1e-9 && !session->stoppedBySystem()) {
        if (nextPause < pauses.size() && pauses[nextPause].at <= live + 1e-9) {
            session->pause();
            const auto steps = static_cast<int>(std::ceil((pauses[nextPause].length / kStepSeconds) - 1e-9));
            for (int index = 0; index < steps && !session->stoppedBySystem(); ++index) {
                step(std::min(kStepSeconds, pauses[nextPause].length - (index * kStepSeconds)), false);
            }
            session->resume();
            ++nextPause;
            continue;
        }
        const double until
            = nextPause < pauses.size() ? std::min(pauses[nextPause].at, options_.duration) : options_.duration;
        step(std::min(kStepSeconds, until - live), true);
    }
    report.endedEarly = session->stoppedBySystem();
    if (!report.endedEarly) {
        session->finish();
    }
    session->waitForDeliveries(options_.requestDeadline + kDeliveryAllowance);
    process->setRequestObserver(nullptr);
    // Ending the process tells its peak memory.
    process->stop();
    if (progress_) {
        progress_(1.0);
    }

    std::lock_guard lock(tally->mutex);
    report.liveSeconds = live;
    report.serviceInfo = session->serviceInfo();
    report.endedEarly = report.endedEarly || session->stoppedBySystem();
    report.stopError = describe(session->stopError());
    report.launches = process->launches();
    if (const auto exit = process->lastExit()) {
        report.peakMemory = std::max(report.peakMemory, exit->peakMemory);
        // The ceiling in force, which a sanitizer build raises by its own allowance.
        report.memoryCeiling = exit->memoryCeiling != 0 ? exit->memoryCeiling : report.memoryCeiling;
    }
    return report;
}

} // namespace lumora::platform::host
