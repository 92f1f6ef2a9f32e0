#include "platform/host/transport/SocketConnection.h"

#include "platform/foundation/Log.h"
#include "platform/host/transport/MessageCodec.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace lumora::platform::host::transport {

namespace {

constexpr std::size_t kReadChunk = std::size_t { 64 } * 1024;
// Descriptors received ahead of the messages that take them.
constexpr std::size_t kMaxPendingDescriptors = 2 * MessageCodec::MaxDescriptors;

} // namespace

struct SocketConnection::Private { };

std::shared_ptr<SocketConnection> SocketConnection::open(int socket, std::string name, Handlers handlers, Limits limits)
{
    const int wake = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    auto connection
        = std::make_shared<SocketConnection>(socket, wake, std::move(name), std::move(handlers), limits, Private {});
    // The thread keeps its connection until it has ended.
    connection->thread_ = std::thread([connection] { connection->run(); });
    return connection;
}

SocketConnection::SocketConnection(
    int socket, int wake, std::string name, Handlers handlers, Limits limits, const Private& /*key*/)
    : socket_(socket), wake_(wake), name_(std::move(name)), handlers_(std::move(handlers)), limits_(limits)
{ }

SocketConnection::~SocketConnection()
{
    if (thread_.joinable()) {
        if (thread_.get_id() == std::this_thread::get_id()) {
            thread_.detach();
        } else {
            thread_.join();
        }
    }
    if (wake_ >= 0) {
        ::close(wake_);
    }
}

SocketConnection::Sent SocketConnection::send(const Message& message, bool droppable)
{
    auto frame = MessageCodec::encode(message);
    if (!frame || frame->bytes.size() - MessageCodec::PrefixSize > limits_.maxMessageSize) {
        Log::error(
            "Connection %s: %s cannot be sent (too large, or an argument with no wire form)", name_, message.selector);
        return Sent::Dropped;
    }
    {
        std::lock_guard lock(mutex_);
        if (closing_) {
            return Sent::Closed;
        }
        if (queuedBytes_ + frame->bytes.size() > limits_.maxQueuedBytes) {
            if (droppable) {
                ++framesDropped_;
                return Sent::Dropped;
            }
            closing_ = true;
            closeReason_ = "the peer does not read what is sent";
            Log::error("Connection %s: %s; the connection is dropped", name_, closeReason_);
        } else {
            queuedBytes_ += frame->bytes.size();
            outgoing_.push_back(Outgoing { std::move(frame->bytes), std::move(frame->descriptors), 0 });
        }
    }
    wake();
    return isOpen() ? Sent::Queued : Sent::Closed;
}

void SocketConnection::deliveryFinished()
{
    bool resume = false;
    {
        std::lock_guard lock(mutex_);
        resume = undelivered_-- == limits_.maxUndelivered;
    }
    if (resume) {
        wake();
    }
}

void SocketConnection::close(const std::string& reason)
{
    {
        std::lock_guard lock(mutex_);
        if (closing_) {
            return;
        }
        closing_ = true;
        closeReason_ = reason;
    }
    wake();
}

bool SocketConnection::isOpen() const
{
    std::lock_guard lock(mutex_);
    return !closing_;
}

std::size_t SocketConnection::queuedBytes() const
{
    std::lock_guard lock(mutex_);
    return queuedBytes_;
}

void SocketConnection::wake() const
{
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(wake_, &one, sizeof one);
}

bool SocketConnection::fail(std::string reason, bool hostile)
{
    if (hostile) {
        Log::error("Connection %s: %s; the connection is dropped", name_, reason);
    }
    failure_ = std::move(reason);
    return false;
}

void SocketConnection::run()
{
    threadID_ = std::this_thread::get_id();
    bool open = true;
    while (open) {
        // Messages read ahead of a receiver that has since caught up.
        if (consumed_ < input_.size() && !deliverComplete()) {
            break;
        }
        if (peerHungUp_) {
            // Whole messages the peer sent before it went are still delivered.
            bool waiting = false;
            {
                std::lock_guard lock(mutex_);
                waiting = !closing_ && undelivered_ >= limits_.maxUndelivered;
            }
            if (!waiting) {
                if (consumed_ < input_.size()) {
                    fail("a truncated message", true);
                } else {
                    fail("the peer closed the connection", false);
                }
                break;
            }
            std::array<pollfd, 1> waitWake { pollfd { wake_, POLLIN, 0 } };
            ::poll(waitWake.data(), waitWake.size(), -1);
            std::uint64_t count = 0;
            [[maybe_unused]] const auto drained = ::read(wake_, &count, sizeof count);
            continue;
        }
        short events = 0;
        {
            std::lock_guard lock(mutex_);
            if (closing_) {
                failure_ = closeReason_;
                break;
            }
            if (undelivered_ < limits_.maxUndelivered) {
                events |= POLLIN;
            }
            if (!outgoing_.empty()) {
                events |= POLLOUT;
            }
        }
        std::array<pollfd, 2> polled { pollfd { socket_, events, 0 }, pollfd { wake_, POLLIN, 0 } };
        if (::poll(polled.data(), polled.size(), -1) < 0) {
            if (errno == EINTR) {
                continue;
            }
            fail("poll failed: " + std::generic_category().message(errno), false);
            break;
        }
        if ((polled[1].revents & POLLIN) != 0) {
            std::uint64_t count = 0;
            [[maybe_unused]] const auto drained = ::read(wake_, &count, sizeof count);
        }
        const auto revents = polled[0].revents;
        if ((revents & (POLLIN | POLLHUP | POLLERR)) != 0 && (events & POLLIN) != 0) {
            open = readSome();
        } else if ((revents & (POLLHUP | POLLERR)) != 0 && (events & POLLOUT) == 0) {
            // Not reading for now, and nothing to write: wait for the receiver
            // instead of spinning on the hang-up.
            std::array<pollfd, 1> waitWake { pollfd { wake_, POLLIN, 0 } };
            ::poll(waitWake.data(), waitWake.size(), -1);
        }
        if (open && (revents & POLLOUT) != 0) {
            open = writeSome();
        }
    }
    {
        std::lock_guard lock(mutex_);
        closing_ = true;
        outgoing_.clear();
        queuedBytes_ = 0;
    }
    ::shutdown(socket_, SHUT_RDWR);
    ::close(socket_);
    for (const int descriptor : descriptors_) {
        ::close(descriptor);
    }
    descriptors_.clear();
    if (handlers_.closed) {
        handlers_.closed(failure_);
    }
    // Whatever the handlers hold goes with the thread that used them.
    handlers_ = {};
}

bool SocketConnection::readSome()
{
    if (consumed_ > 0 && consumed_ == input_.size()) {
        input_.clear();
        consumed_ = 0;
    } else if (consumed_ > kReadChunk) {
        input_.erase(input_.begin(), input_.begin() + static_cast<std::ptrdiff_t>(consumed_));
        consumed_ = 0;
    }
    const auto start = input_.size();
    input_.resize(start + kReadChunk);
    iovec vector { input_.data() + start, kReadChunk };
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int) * MessageCodec::MaxDescriptors)> control {};
    msghdr header {};
    header.msg_iov = &vector;
    header.msg_iovlen = 1;
    header.msg_control = control.data();
    header.msg_controllen = control.size();
    const auto received = ::recvmsg(socket_, &header, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
    const auto got = received > 0 ? static_cast<std::size_t>(received) : 0;
    input_.resize(start + got);
    if (received < 0) {
        if (errno == EAGAIN || errno == EINTR) {
            return true;
        }
        return fail("the socket failed: " + std::generic_category().message(errno), false);
    }
    for (auto* message = CMSG_FIRSTHDR(&header); message != nullptr; message = CMSG_NXTHDR(&header, message)) {
        if (message->cmsg_level != SOL_SOCKET || message->cmsg_type != SCM_RIGHTS) {
            continue;
        }
        const auto count = (message->cmsg_len - CMSG_LEN(0)) / sizeof(int);
        for (std::size_t i = 0; i < count; ++i) {
            int descriptor = -1;
            std::memcpy(&descriptor, CMSG_DATA(message) + i * sizeof(int), sizeof(int));
            descriptors_.push_back(descriptor);
        }
    }
    if ((header.msg_flags & MSG_CTRUNC) != 0 || descriptors_.size() > kMaxPendingDescriptors) {
        return fail("more file descriptors than messages take", true);
    }
    if (!deliverComplete()) {
        return false;
    }
    peerHungUp_ = received == 0;
    return true;
}

bool SocketConnection::deliverComplete()
{
    while (input_.size() - consumed_ >= MessageCodec::PrefixSize) {
        const std::span<const std::uint8_t, MessageCodec::PrefixSize> prefix(
            input_.data() + consumed_, MessageCodec::PrefixSize);
        const auto length = MessageCodec::announcedLength(prefix);
        if (length == 0) {
            return fail("an empty message", true);
        }
        if (length > limits_.maxMessageSize) {
            return fail("a message of " + std::to_string(length) + " bytes, over the limit", true);
        }
        if (input_.size() - consumed_ - MessageCodec::PrefixSize < length) {
            return true;
        }
        {
            // The rest waits in the buffer until the receiver catches up.
            std::lock_guard lock(mutex_);
            if (undelivered_ >= limits_.maxUndelivered) {
                return true;
            }
        }
        auto decoded
            = MessageCodec::decode({ input_.data() + consumed_ + MessageCodec::PrefixSize, length }, descriptors_);
        consumed_ += MessageCodec::PrefixSize + length;
        if (!decoded.message) {
            return fail("a malformed message (" + decoded.refusal + ")", true);
        }
        {
            std::lock_guard lock(mutex_);
            if (closing_) {
                return true;
            }
            ++undelivered_;
        }
        if (handlers_.message) {
            handlers_.message(std::move(*decoded.message));
        } else {
            deliveryFinished();
        }
    }
    return true;
}

bool SocketConnection::writeSome()
{
    while (true) {
        std::vector<std::uint8_t>* bytes = nullptr;
        std::vector<int> descriptors;
        std::size_t written = 0;
        {
            std::lock_guard lock(mutex_);
            if (outgoing_.empty()) {
                return true;
            }
            auto& front = outgoing_.front();
            bytes = &front.bytes;
            written = front.written;
            if (written == 0) {
                for (const auto& handle : front.descriptors) {
                    descriptors.push_back(handle->descriptor());
                }
            }
        }
        // Only this thread takes frames off the queue, so the front stays put.
        iovec vector { bytes->data() + written, bytes->size() - written };
        msghdr header {};
        header.msg_iov = &vector;
        header.msg_iovlen = 1;
        alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int) * MessageCodec::MaxDescriptors)> control {};
        if (!descriptors.empty()) {
            header.msg_control = control.data();
            header.msg_controllen = CMSG_SPACE(sizeof(int) * descriptors.size());
            auto* message = CMSG_FIRSTHDR(&header);
            message->cmsg_level = SOL_SOCKET;
            message->cmsg_type = SCM_RIGHTS;
            message->cmsg_len = CMSG_LEN(sizeof(int) * descriptors.size());
            std::memcpy(CMSG_DATA(message), descriptors.data(), sizeof(int) * descriptors.size());
        }
        const auto sent = ::sendmsg(socket_, &header, MSG_DONTWAIT | MSG_NOSIGNAL);
        if (sent < 0) {
            if (errno == EAGAIN || errno == EINTR) {
                return true;
            }
            return fail("the socket failed: " + std::generic_category().message(errno), false);
        }
        std::lock_guard lock(mutex_);
        auto& front = outgoing_.front();
        front.written += static_cast<std::size_t>(sent);
        if (front.written == front.bytes.size()) {
            queuedBytes_ -= front.bytes.size();
            outgoing_.pop_front();
        }
    }
}

} // namespace lumora::platform::host::transport
