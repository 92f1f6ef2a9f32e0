#pragma once

#include "platform/host/transport/FileHandle.h"
#include "platform/host/transport/Message.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace lumora::platform::host::transport {

/// One end of a stream socket between two processes that carries messages
/// (`MessageCodec`), with a thread of its own that reads and writes.
///
/// Everything is bounded. A message longer than `Limits::maxMessageSize` is
/// refused; messages waiting to be written take at most
/// `Limits::maxQueuedBytes`: past that a droppable message (a frame of a
/// stream) is dropped and counted, and any other means the peer has stopped
/// reading, which ends the connection. Received messages the receiver has
/// not finished with are at most `Limits::maxUndelivered`: until it finishes
/// some, the thread stops reading, so a peer that sends faster than this side
/// takes its messages is held back by the socket rather than by memory here.
///
/// Anything the peer sends that is not a well-formed message (bad length,
/// bytes that do not decode, a truncated message, descriptors that do not
/// fit) is logged and ends the connection; so does the peer going away. The
/// `closed` handler then hears why, once.
class SocketConnection final : public std::enable_shared_from_this<SocketConnection> {
public:
    struct Limits {
        /// Bytes of one message, its length prefix left out.
        std::size_t maxMessageSize = std::size_t { 1 } << 20U;
        /// Bytes of messages waiting to be written.
        std::size_t maxQueuedBytes = std::size_t { 8 } << 20U;
        /// Received messages not yet finished with (`deliveryFinished`).
        std::size_t maxUndelivered = 64;
    };
    struct Handlers {
        /// A message arrived; on the connection's thread. The receiver calls
        /// `deliveryFinished()` once it is done with it (at once or later).
        std::function<void(Message)> message;
        /// The connection ended, and why; once, on the connection's thread.
        std::function<void(const std::string& reason)> closed;
    };
    /// What became of a message handed to `send`.
    enum class Sent : std::uint8_t { Queued, Dropped, Closed };

    /// Takes over the connected stream socket `socket` and starts the
    /// connection's thread. `name` names the connection in log lines.
    static std::shared_ptr<SocketConnection> open(int socket, std::string name, Handlers handlers, Limits limits);
    static std::shared_ptr<SocketConnection> open(int socket, std::string name, Handlers handlers)
    {
        return open(socket, std::move(name), std::move(handlers), Limits {});
    }

    SocketConnection(const SocketConnection&) = delete;
    SocketConnection& operator=(const SocketConnection&) = delete;
    SocketConnection(SocketConnection&&) = delete;
    SocketConnection& operator=(SocketConnection&&) = delete;
    ~SocketConnection();

    /// Queues `message` to be written; from any thread.
    Sent send(const Message& message, bool droppable = false);
    /// The receiver is done with one message it was handed.
    void deliveryFinished();
    /// Ends the connection from this side; `closed` hears `reason`. From any
    /// thread; returns at once.
    void close(const std::string& reason);
    /// Whether the connection has not ended yet.
    [[nodiscard]] bool isOpen() const;
    /// Droppable messages dropped because the peer did not keep up.
    [[nodiscard]] std::uint64_t framesDropped() const { return framesDropped_.load(); }
    /// Bytes waiting to be written now.
    [[nodiscard]] std::size_t queuedBytes() const;
    /// Whether the calling thread is the connection's own.
    [[nodiscard]] bool isConnectionThread() const { return std::this_thread::get_id() == threadID_.load(); }

    struct Private;
    SocketConnection(int socket, int wake, std::string name, Handlers handlers, Limits limits, const Private& /*key*/);

private:
    struct Outgoing {
        std::vector<std::uint8_t> bytes;
        std::vector<std::shared_ptr<FileHandle>> descriptors;
        std::size_t written = 0;
    };

    void run();
    void wake() const;
    /// Reads what is there; false once the connection must end (`failure_` says why).
    bool readSome();
    bool deliverComplete();
    /// Writes what it can; false once the connection must end.
    bool writeSome();
    bool fail(std::string reason, bool hostile);

    const int socket_;
    const int wake_;
    const std::string name_;
    Handlers handlers_;
    const Limits limits_;
    std::thread thread_;
    std::atomic<std::thread::id> threadID_ {};

    mutable std::mutex mutex_;
    std::deque<Outgoing> outgoing_;
    std::size_t queuedBytes_ = 0;
    std::size_t undelivered_ = 0;
    bool closing_ = false;
    std::string closeReason_;
    std::atomic<std::uint64_t> framesDropped_ { 0 };

    // The connection's thread's own.
    std::vector<std::uint8_t> input_;
    std::size_t consumed_ = 0;
    std::deque<int> descriptors_;
    bool peerHungUp_ = false;
    std::string failure_;
};

} // namespace lumora::platform::host::transport
