#include "platform/formats/PropertyList.h"
#include "platform/foundation/Error.h"
#include "platform/host/transport/FileHandle.h"
#include "platform/host/transport/MessageCodec.h"
#include "platform/host/transport/SocketConnection.h"
#include "tests/harness/Harness.h"

#include <gtest/gtest.h>

#include <array>
#include <condition_variable>
#include <cstring>
#include <mutex>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

namespace lumora::test {
namespace {

using platform::Array;
using platform::Data;
using platform::Dictionary;
using platform::Value;
using platform::host::transport::FileHandle;
using platform::host::transport::Message;
using platform::host::transport::MessageCodec;
using platform::host::transport::SocketConnection;
using namespace std::chrono_literals;

/// One end of a socket pair as a connection, keeping what it receives and
/// why it ended. Unless told to hold them, messages are finished with at once.
class Receiver {
public:
    explicit Receiver(int socket, SocketConnection::Limits limits = {}, bool hold = false)
    {
        connection = SocketConnection::open(socket, "test",
            { [state = state_, hold](Message message) {
                 std::lock_guard lock(state->mutex);
                 state->messages.push_back(std::move(message));
                 state->changed.notify_all();
                 if (!hold) {
                     state->finish = true;
                 }
             },
                [state = state_](const std::string& reason) {
                    std::lock_guard lock(state->mutex);
                    state->reason = reason;
                    state->ended = true;
                    state->changed.notify_all();
                } },
            limits);
        if (!hold) {
            finishAll = true;
        }
    }
    Receiver(const Receiver&) = delete;
    Receiver& operator=(const Receiver&) = delete;
    Receiver(Receiver&&) = delete;
    Receiver& operator=(Receiver&&) = delete;
    ~Receiver() { connection->close("done"); }

    bool waitForMessages(std::size_t count)
    {
        std::unique_lock lock(state_->mutex);
        const bool arrived
            = state_->changed.wait_for(lock, 5s, [&] { return state_->messages.size() >= count || state_->ended; });
        if (finishAll) {
            for (; finished_ < state_->messages.size(); ++finished_) {
                connection->deliveryFinished();
            }
        }
        return arrived && state_->messages.size() >= count;
    }
    std::optional<std::string> waitForEnd()
    {
        std::unique_lock lock(state_->mutex);
        if (!state_->changed.wait_for(lock, 5s, [&] { return state_->ended; })) {
            return std::nullopt;
        }
        return state_->reason;
    }
    std::vector<Message> messages() const
    {
        std::lock_guard lock(state_->mutex);
        return state_->messages;
    }

    std::shared_ptr<SocketConnection> connection;

private:
    struct State {
        mutable std::mutex mutex;
        std::condition_variable changed;
        std::vector<Message> messages;
        bool finish = false;
        bool ended = false;
        std::string reason;
    };
    std::shared_ptr<State> state_ = std::make_shared<State>();
    bool finishAll = false;
    std::size_t finished_ = 0;
};

std::array<int, 2> socketPair()
{
    std::array<int, 2> sockets { -1, -1 };
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets.data()), 0);
    return sockets;
}

std::shared_ptr<FileHandle> fileHolding(const std::string& text, FileHandle::Kind kind)
{
    int descriptor = -1;
    if (kind == FileHandle::Kind::SharedMemory) {
        descriptor = ::memfd_create("transport-test", MFD_CLOEXEC);
    } else {
        char name[] = "/tmp/lumora-transport-XXXXXX"; // NOLINT(*-avoid-c-arrays)
        descriptor = ::mkstemp(name);
        ::unlink(name);
    }
    EXPECT_EQ(::write(descriptor, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    return std::make_shared<FileHandle>(descriptor, kind);
}

std::string contentsOf(const FileHandle& handle)
{
    std::array<char, 64> buffer {};
    const auto length = ::pread(handle.descriptor(), buffer.data(), buffer.size(), 0);
    return { buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0)) };
}

// The payload of a message whose root dictionary is `root`, prefix included.
std::vector<std::uint8_t> frameOf(const Value& root)
{
    const auto payload = platform::PropertyList::dataFromValue(root, platform::PropertyList::Format::Binary);
    const auto length = static_cast<std::uint32_t>(payload->length());
    std::vector<std::uint8_t> bytes(MessageCodec::PrefixSize + length);
    for (std::size_t i = 0; i < MessageCodec::PrefixSize; ++i) {
        bytes[i] = static_cast<std::uint8_t>(length >> (8U * (MessageCodec::PrefixSize - 1 - i)));
    }
    std::memcpy(bytes.data() + MessageCodec::PrefixSize, payload->bytes(), length);
    return bytes;
}

Value messageRoot(Value argument, std::int64_t descriptors = 0)
{
    return std::make_shared<const Dictionary>(Dictionary { { "kind", 2 }, { "number", 0 }, { "selector", "call:" },
        { "arguments", std::make_shared<const Array>(Array { std::move(argument) }) },
        { "descriptors", descriptors } });
}

void sendRaw(int socket, const std::vector<std::uint8_t>& bytes, int descriptor = -1)
{
    iovec vector { const_cast<std::uint8_t*>(bytes.data()), bytes.size() }; // NOLINT(*-const-cast)
    msghdr header {};
    header.msg_iov = &vector;
    header.msg_iovlen = 1;
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> control {};
    if (descriptor >= 0) {
        header.msg_control = control.data();
        header.msg_controllen = control.size();
        auto* message = CMSG_FIRSTHDR(&header);
        message->cmsg_level = SOL_SOCKET;
        message->cmsg_type = SCM_RIGHTS;
        message->cmsg_len = CMSG_LEN(sizeof(int));
        std::memcpy(CMSG_DATA(message), &descriptor, sizeof(int));
    }
    ASSERT_EQ(::sendmsg(socket, &header, MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
}

TEST(TransportTest, EveryKindOfArgumentAndFileDescriptorsCrossIntact)
{
    const auto sockets = socketPair();
    Receiver receiver(sockets[1]);
    const auto sender = SocketConnection::open(sockets[0], "sender", {});

    const auto userInfo = std::make_shared<const Dictionary>(
        Dictionary { { std::string(platform::Error::LocalizedDescriptionKey), "Failed during recording" },
            { "nested", std::make_shared<const Array>(Array { 1, Value() }) } });
    const auto error = platform::Error::errorWithDomain("com.example.Domain", -5804, userInfo);
    // A dictionary whose key looks like a tag is still a dictionary.
    const auto lookalike = std::make_shared<const Dictionary>(Dictionary { { "$null", true } });
    const std::vector<Value> arguments { Value(), true, 42, std::int64_t { -1 } << 40, 2.5, "Grüße", Data("\0\1\2", 3),
        platform::Date::dateWithTimeIntervalSince1970(1.6e9), platform::URL::fileURLWithPath("/tmp/movie one.mp4"),
        *platform::URL::URLWithString("https://example.com/a?b=c"), lookalike,
        std::make_shared<const Array>(Array { Value(), std::make_shared<const Dictionary>() }) };
    auto sent = arguments;
    sent.emplace_back(std::const_pointer_cast<platform::Error>(error));
    sent.emplace_back(fileHolding("movie bytes", FileHandle::Kind::File));
    sent.emplace_back(fileHolding("shared frame", FileHandle::Kind::SharedMemory));
    ASSERT_EQ(sender->send({ Message::Kind::Request, 7, "request:with:", sent }), SocketConnection::Sent::Queued);

    ASSERT_TRUE(receiver.waitForMessages(1)) << receiver.waitForEnd().value_or("");
    const auto message = receiver.messages().front();
    EXPECT_EQ(message.kind, Message::Kind::Request);
    EXPECT_EQ(message.number, 7U);
    EXPECT_EQ(message.selector, "request:with:");
    ASSERT_EQ(message.arguments.size(), arguments.size() + 3);
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        EXPECT_EQ(message.arguments[i], arguments[i]) << "argument " << i;
    }
    const auto received = message.arguments[arguments.size()].objectAs<platform::Error>();
    ASSERT_NE(received, nullptr);
    EXPECT_EQ(received->domain(), "com.example.Domain");
    EXPECT_EQ(received->code(), -5804);
    EXPECT_EQ(Value(received->userInfo()), Value(userInfo));
    const auto file = message.arguments[arguments.size() + 1].objectAs<FileHandle>();
    const auto memory = message.arguments[arguments.size() + 2].objectAs<FileHandle>();
    ASSERT_NE(file, nullptr);
    ASSERT_NE(memory, nullptr);
    EXPECT_EQ(contentsOf(*file), "movie bytes");
    EXPECT_EQ(memory->kind(), FileHandle::Kind::SharedMemory);
    EXPECT_EQ(contentsOf(*memory), "shared frame");
    sender->close("done");
}

struct Hostile {
    const char* name;
    std::vector<std::uint8_t> bytes;
    const char* reason;
    int descriptor = -1;
    bool thenHangUp = false;
};

TEST(TransportTest, BadInputFromThePeerIsLoggedAndEndsTheConnectionWithoutDeliveringIt)
{
    const auto regular = fileHolding("x", FileHandle::Kind::File);
    std::array<int, 2> pipe { -1, -1 };
    ASSERT_EQ(::pipe2(pipe.data(), O_CLOEXEC), 0);
    const auto descriptorArgument = [](const char* kind) {
        return messageRoot(std::make_shared<const Dictionary>(Dictionary { { "$fd", 0 }, { "kind", kind } }), 1);
    };
    std::vector<Hostile> cases {
        { "huge length", { 0x7f, 0xff, 0xff, 0xff }, "over the limit" },
        { "empty message", { 0, 0, 0, 0 }, "an empty message" },
        { "not a property list", { 0, 0, 0, 5, 'h', 'e', 'l', 'l', 'o' }, "not a binary property list" },
        { "missing fields", frameOf(std::make_shared<const Dictionary>()), "missing or malformed fields" },
        { "unknown tag", frameOf(messageRoot(std::make_shared<const Dictionary>(Dictionary { { "$object", 1 } }))),
            "an unknown tag" },
        { "wrong argument type for an error",
            frameOf(messageRoot(std::make_shared<const Dictionary>(Dictionary { { "$error", 3 } }))),
            "an unknown tag" },
        { "descriptor that never came", frameOf(descriptorArgument("file")), "did not arrive" },
        { "pipe passed as a file", frameOf(descriptorArgument("file")), "the wrong kind", pipe[0] },
        { "file passed as shared memory", frameOf(descriptorArgument("memory")), "the wrong kind",
            regular->descriptor() },
        { "truncated", { 0, 0, 0, 100, 'b', 'p', 'l', 'i', 's', 't' }, "a truncated message", -1, true },
    };
    for (const auto& hostile : cases) {
        SCOPED_TRACE(hostile.name);
        LogCapture log;
        const auto sockets = socketPair();
        Receiver receiver(sockets[1]);
        sendRaw(sockets[0], hostile.bytes, hostile.descriptor);
        if (hostile.thenHangUp) {
            ::shutdown(sockets[0], SHUT_WR);
        }
        const auto reason = receiver.waitForEnd();
        ASSERT_TRUE(reason.has_value());
        EXPECT_NE(reason->find(hostile.reason), std::string::npos) << *reason;
        EXPECT_TRUE(receiver.messages().empty());
        const auto errors = log.texts(platform::Log::Level::Error);
        ASSERT_EQ(errors.size(), 1U);
        EXPECT_NE(errors.front().find("the connection is dropped"), std::string::npos);
        ::close(sockets[0]);
    }
    ::close(pipe[0]);
    ::close(pipe[1]);
}

TEST(TransportTest, AMessageBeforeBadInputIsStillDelivered)
{
    const auto sockets = socketPair();
    Receiver receiver(sockets[1]);
    auto bytes = frameOf(messageRoot(1));
    bytes.resize(bytes.size() + MessageCodec::PrefixSize, 0); // then an empty message
    sendRaw(sockets[0], bytes);
    ASSERT_TRUE(receiver.waitForEnd().has_value());
    ASSERT_EQ(receiver.messages().size(), 1U);
    EXPECT_EQ(receiver.messages().front().arguments, std::vector<Value> { 1 });
    ::close(sockets[0]);
}

TEST(TransportTest, APeerThatDoesNotKeepUpGetsBoundedBufferingAndDroppedFrames)
{
    const auto sockets = socketPair();
    SocketConnection::Limits receiving;
    receiving.maxUndelivered = 4;
    // The receiver holds what it is handed: it never keeps up.
    Receiver receiver(sockets[1], receiving, true);
    SocketConnection::Limits sending;
    sending.maxQueuedBytes = 64 * 1024;
    const auto sender = SocketConnection::open(sockets[0], "sender", {}, sending);

    const Value frame(Data(std::vector<std::uint8_t>(4096, 7)));
    std::size_t dropped = 0;
    for (int i = 0; i < 4000; ++i) {
        const auto sent = sender->send({ Message::Kind::Call, 0, "frame:", { frame } }, true);
        ASSERT_NE(sent, SocketConnection::Sent::Closed);
        dropped += sent == SocketConnection::Sent::Dropped ? 1 : 0;
        EXPECT_LE(sender->queuedBytes(), sending.maxQueuedBytes);
    }
    EXPECT_GT(dropped, 0U);
    EXPECT_EQ(sender->framesDropped(), dropped);
    ASSERT_TRUE(receiver.waitForMessages(receiving.maxUndelivered));
    EXPECT_EQ(receiver.messages().size(), receiving.maxUndelivered);

    // A message that may not be dropped finds no room: the peer has stopped
    // reading, and the connection ends.
    LogCapture log;
    std::size_t attempts = 0;
    while (sender->send({ Message::Kind::Request, 1, "request:", { frame } }) == SocketConnection::Sent::Queued
        && ++attempts < 100) { }
    EXPECT_FALSE(sender->isOpen());
    EXPECT_TRUE(log.contains("Connection sender: the peer does not read what is sent; the connection is dropped",
        platform::Log::Level::Error));
}

TEST(TransportTest, ArgumentsWithNoWireFormAreNotSent)
{
    class Opaque final : public platform::Object {
    public:
        [[nodiscard]] std::string className() const override { return "Opaque"; }
    };
    EXPECT_FALSE(MessageCodec::encode({ Message::Kind::Call, 0, "call:", { Value(std::make_shared<Opaque>()) } }));
    const auto nested = std::make_shared<const Array>(Array { Value(std::make_shared<Opaque>()) });
    EXPECT_FALSE(MessageCodec::encode({ Message::Kind::Call, 0, "call:", { nested } }));
}

} // namespace
} // namespace lumora::test
