// String tables: the input is a bundle's "Localizable.strings", looked up as
// the framework looks up its own texts.
#include "platform/system/Bundle.h"

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

using lumora::platform::Bundle;

namespace {

std::string bundleDirectory()
{
    static const std::string directory = [] {
        const auto path = std::filesystem::temp_directory_path() / ("lumora-fuzz-" + std::to_string(getpid()));
        std::filesystem::create_directories(path / "en.lproj");
        std::ofstream(path / "Info.plist")
            << "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict><key>BundleDevelopmentRegion</key>"
               "<string>en</string></dict></plist>";
        return path.string();
    }();
    return directory;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t length)
{
    const std::string directory = bundleDirectory();
    {
        std::ofstream table(directory + "/en.lproj/Localizable.strings", std::ios::binary | std::ios::trunc);
        table.write(reinterpret_cast<const char*>(bytes), static_cast<std::streamsize>(length)); // NOLINT
    }
    const Bundle bundle(directory);
    const auto text = bundle.localizedStringForKey("Title", std::string("fallback"), "");
    if (!text) {
        std::abort();
    }
    return 0;
}
