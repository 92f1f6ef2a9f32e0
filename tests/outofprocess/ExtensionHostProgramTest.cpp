// What a host sends the extension host program is untrusted too: whatever it
// cannot use is refused with an error reply, and the program carries on.
#include "platform/extensions/Extension.h"
#include "platform/foundation/Error.h"
#include "platform/host/device/ChildProcess.h"
#include "platform/host/extensions/ExtensionProtocol.h"
#include "platform/host/extensions/ExtensionRequest.h"
#include "platform/host/extensions/SharedPayloadRegion.h"
#include "platform/host/transport/FileHandle.h"
#include "platform/host/transport/SocketConnection.h"
#include "tests/harness/Harness.h"

#include <gtest/gtest.h>

#include <array>
#include <condition_variable>
#include <mutex>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace lumora::test {
namespace {

using platform::Value;
using platform::host::ChildProcess;
using platform::host::ExtensionProtocol;
using platform::host::ExtensionRequest;
using platform::host::SharedPayloadRegion;
using platform::host::transport::FileHandle;
using platform::host::transport::Message;
using platform::host::transport::SocketConnection;

/// A host that speaks to the program directly, message by message.
class RawHost {
public:
    explicit RawHost(const std::string& bundle)
    {
        std::array<int, 2> sockets {};
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets.data()), 0);
        ChildProcess::Launch launch;
        launch.program = LUMORA_EXTENSION_HOST_PROGRAM;
        launch.arguments = { "--socket", "3", "--bundle", bundle };
        launch.descriptors = { { sockets[1], 3 } };
        process_ = ChildProcess::launch(launch);
        ::close(sockets[1]);
        connection_ = SocketConnection::open(sockets[0], "test host",
            { [this](Message message) {
                 std::lock_guard lock(mutex_);
                 replies_.push_back(std::move(message));
                 arrived_.notify_all();
             },
                [](const std::string& /*reason*/) {} });
    }
    RawHost(const RawHost&) = delete;
    RawHost& operator=(const RawHost&) = delete;
    RawHost(RawHost&&) = delete;
    RawHost& operator=(RawHost&&) = delete;
    ~RawHost() { connection_->close("done"); }

    void send(Message message) { EXPECT_EQ(connection_->send(message), SocketConnection::Sent::Queued); }
    /// The reply to request `number`, waited for.
    std::optional<Message> replyTo(std::uint64_t number)
    {
        std::unique_lock lock(mutex_);
        const auto found = [this, number] {
            return std::find_if(
                replies_.begin(), replies_.end(), [number](const Message& m) { return m.number == number; });
        };
        if (!arrived_.wait_for(lock, std::chrono::seconds(10), [&] { return found() != replies_.end(); })) {
            return std::nullopt;
        }
        auto reply = *found();
        connection_->deliveryFinished();
        return reply;
    }
    ChildProcess& process() { return *process_; }

private:
    std::unique_ptr<ChildProcess> process_;
    std::shared_ptr<SocketConnection> connection_;
    std::mutex mutex_;
    std::condition_variable arrived_;
    std::vector<Message> replies_;
};

Message request(std::uint64_t number, std::string selector, std::vector<Value> arguments)
{
    return Message { Message::Kind::Request, number, std::move(selector), std::move(arguments) };
}

bool failedInTheExtensionsProcess(const std::optional<Message>& reply)
{
    const auto error
        = reply && reply->arguments.size() == 1 ? reply->arguments[0].objectAs<platform::Error>() : nullptr;
    return error && error->domain() == platform::Extension::ErrorDomain
        && error->code() == platform::Extension::RequestFailedErrorCode;
}

TEST(ExtensionHostProgramTest, RefusesWhatItCannotUseAndServesTheNextRequest)
{
    const LogCapture log;
    RawHost host(std::string(LUMORA_TEST_EXTENSIONS_DIR) + "/Steady.appex");
    ASSERT_NE(&host.process(), nullptr);
    const auto region = SharedPayloadRegion::create(4096);
    ASSERT_NE(region, nullptr);
    host.send(Message { Message::Kind::Call, 0, std::string(ExtensionProtocol::UseSharedMemorySelector),
        { Value(std::make_shared<FileHandle>(
            ::fcntl(region->descriptor(), F_DUPFD_CLOEXEC, 0), FileHandle::Kind::SharedMemory)) } });

    const auto begin = std::string(ExtensionProtocol::BeginRequestSelector);
    const auto outside = Value(std::make_shared<platform::Dictionary>(platform::Dictionary {
        { "$shared", Value(std::make_shared<platform::Array>(platform::Array { Value(4000), Value(200) })) } }));
    const auto itemWith = [](Value value) {
        return Value(std::make_shared<platform::Array>(platform::Array { Value(std::make_shared<platform::Dictionary>(
            platform::Dictionary { { "label", Value("payload") }, { "value", std::move(value) } })) }));
    };
    const auto noFiles = Value(std::make_shared<platform::Array>());
    host.send(request(1, "noSuchOperation:", {}));
    host.send(request(2, begin, { Value("not items"), noFiles }));
    host.send(request(3, begin, { itemWith(outside), noFiles }));
    host.send(request(4, begin,
        { itemWith(Value(1)),
            Value(std::make_shared<platform::Array>(platform::Array { Value(std::make_shared<platform::Dictionary>(
                platform::Dictionary { { "path", Value("../escape") } })) })) }));
    for (std::uint64_t number = 1; number <= 4; ++number) {
        EXPECT_TRUE(failedInTheExtensionsProcess(host.replyTo(number))) << "request " << number;
    }

    // After all that, a request whose bytes are in the block is served.
    const auto offset = region->append(platform::Data(std::vector<std::uint8_t>(1024, 7)));
    ASSERT_TRUE(offset.has_value());
    const auto inside = Value(std::make_shared<platform::Dictionary>(platform::Dictionary { { "$shared",
        Value(std::make_shared<platform::Array>(
            platform::Array { Value(static_cast<std::int64_t>(*offset)), Value(1024) })) } }));
    host.send(request(5, begin, { itemWith(inside), noFiles }));
    const auto reply = host.replyTo(5);
    ASSERT_TRUE(reply.has_value());
    ASSERT_EQ(reply->arguments.size(), 1U);
    std::string refusal;
    const auto outcome = ExtensionProtocol::decodeOutcome(reply->arguments[0], &refusal);
    ASSERT_TRUE(outcome.has_value()) << refusal;
    EXPECT_EQ(outcome->error, nullptr);
    EXPECT_FALSE(host.process().waitForExit(std::chrono::milliseconds(0)).has_value());
}

TEST(ExtensionHostProgramTest, SharedPlacesAreReadOnlyInsideTheBlock)
{
    const auto region = SharedPayloadRegion::create(4096);
    ASSERT_NE(region, nullptr);
    const auto place = [](std::int64_t offset, std::int64_t length) {
        return Value(std::make_shared<platform::Array>(platform::Array {
            Value(std::make_shared<platform::Dictionary>(platform::Dictionary { { "label", Value("payload") },
                { "value",
                    Value(std::make_shared<platform::Dictionary>(platform::Dictionary { { "$shared",
                        Value(std::make_shared<platform::Array>(
                            platform::Array { Value(offset), Value(length) })) } })) } })) }));
    };
    std::string refusal;
    EXPECT_TRUE(ExtensionProtocol::decodeItems(place(0, 4096), region.get(), &refusal).has_value());
    EXPECT_FALSE(ExtensionProtocol::decodeItems(place(1, 4096), region.get(), &refusal).has_value());
    EXPECT_FALSE(ExtensionProtocol::decodeItems(place(4096, 1), region.get(), &refusal).has_value());
    EXPECT_FALSE(ExtensionProtocol::decodeItems(place(INT64_MAX, INT64_MAX), region.get(), &refusal).has_value());
    EXPECT_FALSE(ExtensionProtocol::decodeItems(place(-1, 8), region.get(), &refusal).has_value());
    EXPECT_FALSE(ExtensionProtocol::decodeItems(place(0, 8), nullptr, &refusal).has_value());
    // Places may overlap, but together they hold no more than the block.
    auto twice = std::make_shared<platform::Array>(*place(0, 4096).array());
    twice->push_back((*place(0, 1).array())[0]);
    EXPECT_FALSE(ExtensionProtocol::decodeItems(Value(twice), region.get(), &refusal).has_value());
    EXPECT_EQ(refusal, "shared places holding more than the shared memory");

    // Nesting past the bound is refused rather than followed.
    Value deep(1);
    for (std::size_t level = 0; level <= ExtensionProtocol::MaxDepth + 1; ++level) {
        deep = Value(std::make_shared<platform::Array>(platform::Array { deep }));
    }
    const auto deepItem
        = Value(std::make_shared<platform::Array>(platform::Array { Value(std::make_shared<platform::Dictionary>(
            platform::Dictionary { { "label", Value("x") }, { "value", deep } })) }));
    EXPECT_FALSE(ExtensionProtocol::decodeItems(deepItem, region.get(), &refusal).has_value());
    EXPECT_EQ(refusal, "a value nested too deeply");
}

} // namespace
} // namespace lumora::test
