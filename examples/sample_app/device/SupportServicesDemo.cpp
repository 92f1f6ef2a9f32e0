#include "platform/foundation/Date.h"
#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/device/SimulatedFileSystem.h"
#include "platform/host/services/SimulatedStoreCatalogue.h"
#include "sample_app/Demos.h"
#include "sample_app/app/SupportServicesApp.h"
#include "sample_app/device/SampleDevice.h"
#include "support/LMRecordingFileStore.h"

#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <sys/stat.h>

namespace lumora::sample {

namespace {

namespace fs = std::filesystem;

// A movie the recording service left in the folder `age` seconds ago.
void leaveMovie(const fs::path& folder, const std::string& name, std::size_t bytes, double age)
{
    const auto path = folder / name;
    std::ofstream(path, std::ios::binary) << std::string(bytes, '\0');
    const double modified = platform::Date::now().timeIntervalSince1970() - age;
    const timespec time { static_cast<time_t>(modified), 0 };
    const timespec times[2] = { time, time };
    ::utimensat(AT_FDCWD, path.c_str(), static_cast<const timespec*>(times), 0);
}

} // namespace

void runSupportServicesDemo()
{
    auto& device = platform::host::SimulatedDevice::shared();
    // The device's recordings folder lives in the sample's output folder, fresh each run.
    const fs::path storage = fs::path(sampleOutputDirectory()) / "device-storage";
    const fs::path folder = storage / "Lumora";
    std::error_code ignored;
    fs::remove_all(storage, ignored);
    fs::create_directories(storage, ignored);
    device.mountDirectory(std::string(LMScreenRecorderTempDirectory), folder.string());

    say("The recordings folder");
    prepareRecordingsFolder();
    leaveMovie(folder, "Take-1.mp4", 300000, 7 * 24 * 3600.0);
    leaveMovie(folder, "Take-2.mp4", 200000, 3 * 3600.0);
    leaveMovie(folder, "take-3.mp4", 150000, 30.0);
    leaveMovie(folder, "\xc3\x89t\xc3\xa9-1.mp4", 120000, 10.0);
    leaveMovie(folder, "Broadcast.mp4", 100000, 5.0);
    listRecordings();
    device.fileSystem().setFreeSize(100000000);
    fmt::print("The device now says exactly 100000000 bytes are free:\n");
    prepareRecordingsFolder();
    device.fileSystem().setFreeSize(std::nullopt);

    say("Ageing out recordings older than a day, then removing the takes and summer clips by prefix");
    ageOutRecordings(24 * 3600.0);
    removeRecordingsWithPrefix("TAKE");
    removeRecordingsWithPrefix("ete");
    listRecordings();

    say("Keeping the broadcast recording (titled in the device's time zone, Paris)");
    device.setTimeZoneName("Europe/Paris");
    keepRecording("Broadcast.mp4", (storage / "Kept broadcast.mp4").string());
    listRecordings();

    say("Store details of the sample app and of an app the store does not know");
    device.storeCatalogue().addEntry("com.lumora.sample",
        { .displayName = "Lumora Sample",
            .artistName = "Lumora Labs",
            .genreNames = std::vector<std::string> { "Photo & Video", "Utilities" },
            .shortProductPageURL = "https://store.example/lumora-sample" });
    device.storeCatalogue().setResponseDelay(0.2);
    showStoreDetails("com.lumora.sample");
    showStoreDetails("com.example.unknown");
}

} // namespace lumora::sample
