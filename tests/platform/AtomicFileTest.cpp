#include "platform/formats/AtomicFile.h"
#include "platform/formats/PropertyList.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace lumora::platform {
namespace {

namespace fs = std::filesystem;

class AtomicFileTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        folder_ = fs::temp_directory_path() / ("lumora-atomic-" + std::to_string(::getpid()));
        fs::remove_all(folder_);
        fs::create_directories(folder_);
    }
    void TearDown() override { fs::remove_all(folder_); }

    [[nodiscard]] std::vector<std::string> names() const
    {
        std::vector<std::string> result;
        for (const auto& entry : fs::directory_iterator(folder_)) {
            result.push_back(entry.path().filename().string());
        }
        std::sort(result.begin(), result.end());
        return result;
    }
    static std::string contents(const fs::path& path)
    {
        std::ifstream file(path, std::ios::binary);
        return { std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>() };
    }

    fs::path folder_;
};

TEST_F(AtomicFileTest, PropertyListReplacesTheFileWholeAndLeavesNothingElse)
{
    const auto path = (folder_ / "settings.plist").string();
    const Value first(std::make_shared<Dictionary>(Dictionary { { "count", Value(std::int64_t { 1 }) } }));
    const Value second(std::make_shared<Dictionary>(Dictionary { { "count", Value(std::int64_t { 2 }) } }));
    ASSERT_TRUE(PropertyList::writeValueToFile(first, path, PropertyList::Format::XML));
    ASSERT_TRUE(PropertyList::writeValueToFile(second, path, PropertyList::Format::Binary));

    EXPECT_EQ(PropertyList::valueWithContentsOfFile(path), second);
    EXPECT_EQ(names(), std::vector<std::string> { "settings.plist" });
    // An ordinary new file's permissions, not a temporary file's owner-only ones.
    const auto mode = ::umask(0);
    ::umask(mode);
    EXPECT_EQ(static_cast<unsigned>(fs::status(path).permissions()), 0666U & ~static_cast<unsigned>(mode));
}

TEST_F(AtomicFileTest, AFailedWriteOrCopyChangesNothing)
{
    // A folder stands where the file would go: the rename fails, the folder
    // stays as it was and no temporary file is left behind.
    fs::create_directories(folder_ / "taken" / "inside");
    EXPECT_FALSE(AtomicFile::writeBytes((folder_ / "taken").string(), "x", 1));
    EXPECT_FALSE(PropertyList::writeValueToFile(
        Value(true), (folder_ / "missing" / "a.plist").string(), PropertyList::Format::XML));

    // A copy refuses to replace unless told to, and a missing source copies nothing.
    std::ofstream(folder_ / "old.mov") << "old";
    std::ofstream(folder_ / "new.mov") << "new";
    EXPECT_FALSE(AtomicFile::copyFile((folder_ / "new.mov").string(), (folder_ / "old.mov").string(), false));
    EXPECT_EQ(contents(folder_ / "old.mov"), "old");
    EXPECT_FALSE(AtomicFile::copyFile((folder_ / "gone.mov").string(), (folder_ / "copy.mov").string(), true));
    EXPECT_FALSE(AtomicFile::copyFile(folder_.string(), (folder_ / "copy.mov").string(), true));
    EXPECT_EQ(names(), (std::vector<std::string> { "new.mov", "old.mov", "taken" }));

    ASSERT_TRUE(AtomicFile::copyFile((folder_ / "new.mov").string(), (folder_ / "old.mov").string(), true));
    EXPECT_EQ(contents(folder_ / "old.mov"), "new");
    EXPECT_EQ(contents(folder_ / "new.mov"), "new");
}

} // namespace
} // namespace lumora::platform
