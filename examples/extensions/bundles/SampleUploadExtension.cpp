// The sample streaming service's upload extension for live broadcasts
// (LiveAudioUploadHandler) as a bundle of its own, so that the device can run
// it in a process of its own and the lab can put it through a broadcast.
#include "extensions/upload/LiveAudioUploadHandler.h"
#include "platform/host/extensions/ExtensionEntryPoint.h"

#include <filesystem>

#include <unistd.h>

extern "C" __attribute__((visibility("default"))) const lumora::platform::host::ExtensionPrincipalFactory*
lumora_extension_principal_factory()
{
    static const lumora::platform::host::ExtensionPrincipalFactory factory = [] {
        // What the extension prints is its log: it goes to standard error,
        // leaving the host's standard output to the host.
        (void)::dup2(STDERR_FILENO, STDOUT_FILENO);
        // The last broadcast's WAV files, in one temporary folder that each
        // process writes over (its process ends by being killed, so a folder
        // of each process's own would outlive it).
        std::error_code error;
        const auto folder = std::filesystem::temp_directory_path(error) / "lumora-sample-upload";
        std::filesystem::create_directories(folder, error);
        static const auto upload = std::make_shared<lumora::sample::LiveAudioUpload>(folder.string());
        return [] { return std::make_shared<lumora::sample::LiveAudioUploadHandler>(upload); };
    }();
    return &factory;
}
