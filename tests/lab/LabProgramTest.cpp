// The lab as a command: its exit statuses and its JSON summary, run against
// the sample streaming service's extension and the deliberately leaky one.
#include "platform/host/device/ChildProcess.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace lumora::test {
namespace {

using platform::host::ChildProcess;

constexpr auto kRunLimit = std::chrono::seconds(60);

class LabProgramTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        auto pattern = (std::filesystem::temp_directory_path() / "lumora-lab-test-XXXXXX").string();
        ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
        folder_ = pattern;
    }
    void TearDown() override
    {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }

    // Runs the lab with `arguments`; its exit status, or -1 when it did not end in time.
    static int lab(std::vector<std::string> arguments)
    {
        ChildProcess::Launch launch;
        launch.program = LUMORA_LAB_PROGRAM;
        launch.arguments = std::move(arguments);
        auto process = ChildProcess::launch(launch);
        if (!process) {
            return -1;
        }
        const auto exit = process->waitForExit(kRunLimit);
        if (!exit) {
            process->signal(SIGKILL);
            process->waitForExit(kRunLimit);
            return -1;
        }
        return exit->status.value_or(-1);
    }

    [[nodiscard]] std::string read(const std::string& name) const
    {
        std::ifstream file(folder_ / name);
        std::stringstream text;
        text << file.rdbuf();
        return text.str();
    }

    std::filesystem::path folder_;
};

TEST_F(LabProgramTest, TheSampleExtensionRunsThroughAndTheLeakyOneIsCaughtAtItsCeiling)
{
    const auto sample = std::string(LUMORA_SAMPLE_EXTENSIONS_DIR) + "/SampleUpload.appex";
    ASSERT_EQ(lab({ "--duration", "2", "--pause", "1:1", "--json", (folder_ / "sample.json").string(), sample }), 0);
    const auto json = read("sample.json");
    EXPECT_NE(json.find(R"("exitStatus":0)"), std::string::npos) << json;
    EXPECT_NE(json.find(R"("payloads":{"applicationAudio":20,"microphoneAudio":20,"actions":4})"), std::string::npos)
        << json;
    EXPECT_NE(json.find(R"("serviceInfo":[{"viewers":42},{"viewers":57}])"), std::string::npos) << json;
    EXPECT_NE(json.find(R"("faults":[])"), std::string::npos) << json;

    const auto leaky = std::string(LUMORA_SAMPLE_EXTENSIONS_DIR) + "/LeakyUpload.appex";
    ASSERT_EQ(lab({ "--duration", "60", "--json", (folder_ / "leaky.json").string(), leaky }), 5);
    const auto caught = read("leaky.json");
    EXPECT_NE(caught.find(R"("kind":"crossed memory ceiling")"), std::string::npos) << caught;
    EXPECT_NE(caught.find(R"("endedEarly":true)"), std::string::npos) << caught;
}

TEST_F(LabProgramTest, AWrongCommandLineEndsWithTheUsageStatus)
{
    EXPECT_EQ(lab({ "--help" }), 0);
    EXPECT_EQ(lab({}), 2);
    EXPECT_EQ(lab({ "--duration", "-1", "A.appex" }), 2);
    EXPECT_EQ(lab({ (folder_ / "missing.appex").string() }), 6);
}

} // namespace
} // namespace lumora::test
