#include "platform/Image.h"

#include "platform/Bundle.h"

#include <fstream>
#include <iterator>
#include <vector>

namespace lumora::platform {

std::shared_ptr<Image> Image::imageNamed(const std::string& name)
{
    const auto bundle = Bundle::mainBundle();
    if (!bundle || name.empty()) {
        return nullptr;
    }
    auto path = bundle->pathForResource(name, "png");
    if (!path) {
        path = bundle->pathForResource(name + "@2x", "png");
    }
    if (!path) {
        return nullptr;
    }
    std::ifstream file(*path, std::ios::binary);
    std::vector<std::uint8_t> bytes { std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>() };
    if (!file.good() && !file.eof()) {
        return nullptr;
    }
    return std::make_shared<Image>(name, Data(std::move(bytes)));
}

} // namespace lumora::platform
