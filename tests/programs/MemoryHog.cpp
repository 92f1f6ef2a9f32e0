// A process that takes memory a mebibyte at a time (touching every page so
// that it is really resident) up to the number of mebibytes given, then
// exits 0. It exits 2 when an allocation is refused.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

int main(int argc, char** argv)
{
    const auto arguments
        = std::vector<std::string>(argv, argv + argc); // NOLINT(cppcoreguidelines-pro-bounds-pointer-arithmetic)
    const long mebibytes = arguments.size() > 1 ? std::stol(arguments[1]) : 0;
    constexpr std::size_t kMebibyte = 1U << 20U;
    std::vector<std::unique_ptr<char[]>> held; // NOLINT(cppcoreguidelines-avoid-c-arrays)
    for (long taken = 0; taken < mebibytes; ++taken) {
        auto* block = new (std::nothrow) char[kMebibyte]; // NOLINT(cppcoreguidelines-owning-memory)
        if (block == nullptr) {
            return 2;
        }
        std::memset(block, static_cast<int>(taken & 0x7F) + 1, kMebibyte);
        held.emplace_back(block);
    }
    std::puts("done");
    return 0;
}
