// clang-format off
#include <utility>  // Must precede the Asio headers with this Boost and compiler.
// clang-format on
#include "platform/foundation/DispatchQueue.h"

#include "platform/foundation/Log.h"
#include "platform/host/device/SimulatedProcess.h"
#include "platform/host/foundation/PlatformThreads.h"

#include <boost/asio/defer.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/thread_pool.hpp>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>

namespace lumora::platform {

namespace {

// The queue whose task runs on this thread; each thread has its own.
thread_local const DispatchQueue* currentQueue = nullptr; // NOLINT(cppcoreguidelines-avoid-non-const-global-variables)

// The thread that runs static initialisation is the process's main thread.
const std::thread::id mainThreadId = std::this_thread::get_id();

boost::asio::thread_pool& workerPool()
{
    // Never destroyed, like the MainQueue: serial queues kept by objects that
    // outlive main() (the simulated device's requests, shared instances) may
    // be destroyed at exit after any pool would be, and their strands belong
    // to the pool.
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory,cppcoreguidelines-avoid-non-const-global-variables)
    static auto* pool = new boost::asio::thread_pool(4);
    return *pool;
}

// How many tasks posted to the platform's threads have not finished yet, so
// that a caller can wait until those threads are idle.
struct PlatformActivity {
    std::mutex mutex;
    std::condition_variable idle;
    std::size_t inFlight = 0;
};

PlatformActivity& platformActivity()
{
    // Never destroyed: tasks may still finish while the process exits.
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory,cppcoreguidelines-avoid-non-const-global-variables)
    static auto* activity = new PlatformActivity();
    return *activity;
}

// Counts a task as in flight until it has run (or been dropped unrun).
class InFlight {
public:
    InFlight()
    {
        std::lock_guard lock(platformActivity().mutex);
        ++platformActivity().inFlight;
    }
    InFlight(InFlight&& other) noexcept : counted_(std::exchange(other.counted_, false)) { }
    InFlight(const InFlight&) = delete;
    InFlight& operator=(const InFlight&) = delete;
    InFlight& operator=(InFlight&&) = delete;
    ~InFlight()
    {
        if (counted_) {
            auto& activity = platformActivity();
            std::lock_guard lock(activity.mutex);
            if (--activity.inFlight == 0) {
                activity.idle.notify_all();
            }
        }
    }

private:
    bool counted_ = true;
};

class MainQueueImpl final : public DispatchQueue {
public:
    void async(Task task) override
    {
        {
            std::lock_guard lock(mutex_);
            ++pending_;
        }
        boost::asio::post(context_, [this, task = std::move(task)] {
            {
                const CurrentScope scope(this);
                task();
            }
            std::lock_guard lock(mutex_);
            --pending_;
        });
        changed_.notify_all();
    }

    [[nodiscard]] const std::string& label() const override { return label_; }

    std::size_t drain()
    {
        std::size_t ran = 0;
        for (;;) {
            context_.restart();
            const std::size_t batch = context_.poll();
            if (batch == 0) {
                return ran;
            }
            ran += batch;
        }
    }

    // Waits until work is queued or the deadline passes.
    void waitForWork(std::chrono::steady_clock::time_point deadline)
    {
        std::unique_lock lock(mutex_);
        changed_.wait_until(lock, std::min(deadline, std::chrono::steady_clock::now() + std::chrono::milliseconds(5)),
            [this] { return pending_ > 0; });
    }

private:
    boost::asio::io_context context_;
    std::string label_ = "com.lumora.platform.main-queue";
    std::mutex mutex_;
    std::condition_variable changed_;
    std::size_t pending_ = 0;
};

MainQueueImpl& mainQueue()
{
    // Never destroyed: a platform thread may still post to it while the
    // process exits, after static objects made later have gone.
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory,cppcoreguidelines-avoid-non-const-global-variables)
    static auto* queue = new MainQueueImpl();
    return *queue;
}

class ConcurrentQueue final : public DispatchQueue {
public:
    explicit ConcurrentQueue(std::string label) : label_(std::move(label)) { }

    void async(Task task) override
    {
        boost::asio::post(workerPool(), [this, task = std::move(task), inFlight = InFlight()]() mutable {
            {
                const CurrentScope scope(this);
                task();
            }
            // Whatever the task holds goes before it stops counting as in flight.
            task = nullptr;
        });
    }

    [[nodiscard]] const std::string& label() const override { return label_; }

private:
    std::string label_;
};

class SerialQueue final : public DispatchQueue, public std::enable_shared_from_this<SerialQueue> {
public:
    explicit SerialQueue(std::string label) : label_(std::move(label)), strand_(workerPool().get_executor()) { }

    void async(Task task) override
    {
        // The queued task keeps the queue alive until it has run. Deferred,
        // not posted: asked from one of the pool's own threads, it runs on
        // that thread once the current task returns instead of waking
        // another one, which saves a thread hand-off per hop on a busy
        // path. Asked from any other thread, the two are the same.
        boost::asio::defer(
            strand_, [self = shared_from_this(), task = std::move(task), inFlight = InFlight()]() mutable {
                {
                    const CurrentScope scope(self.get());
                    task();
                }
                // Whatever the task holds goes before it stops counting as in flight.
                task = nullptr;
            });
    }

    [[nodiscard]] const std::string& label() const override { return label_; }

private:
    std::string label_;
    boost::asio::strand<boost::asio::thread_pool::executor_type> strand_;
};

} // namespace

DispatchQueue::CurrentScope::CurrentScope(const DispatchQueue* queue) : previous_(currentQueue)
{
    currentQueue = queue;
}

DispatchQueue::CurrentScope::~CurrentScope()
{
    currentQueue = previous_;
}

const DispatchQueue* DispatchQueue::current()
{
    return currentQueue;
}

DispatchQueue& DispatchQueue::main() // NOLINT(bugprone-exception-escape)
{
    return mainQueue();
}

DispatchQueue& DispatchQueue::global(Priority priority)
{
    static ConcurrentQueue defaultQueue("com.lumora.platform.global-default");
    static ConcurrentQueue backgroundQueue("com.lumora.platform.global-background");
    return priority == Priority::Background ? backgroundQueue : defaultQueue;
}

std::shared_ptr<DispatchQueue> DispatchQueue::makeSerial(std::string label)
{
    return std::make_shared<SerialQueue>(std::move(label));
}

std::size_t MainQueue::drain()
{
    return mainQueue().drain();
}

bool MainQueue::runUntil(const std::function<bool()>& condition, std::chrono::milliseconds timeout)
{
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    for (;;) {
        mainQueue().drain();
        if (condition()) {
            return true;
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        mainQueue().waitForWork(deadline);
    }
}

bool MainQueue::isCurrent()
{
    return currentQueue == &mainQueue() || (currentQueue == nullptr && std::this_thread::get_id() == mainThreadId);
}

namespace host {

void postToPlatformThread(std::function<void()> task)
{
    // Never destroyed, like the MainQueue: deliveries may chain while the process exits.
    // NOLINTNEXTLINE(cppcoreguidelines-owning-memory,cppcoreguidelines-avoid-non-const-global-variables)
    static auto* platformQueue = new ConcurrentQueue("com.lumora.platform.delivery");
    // A delivery belongs to the process that asked for it. What it throws
    // would end that process on a device (an extension's, as a rule, whose
    // code runs in this one here): the platform's threads log it and go on.
    platformQueue->async([task = SimulatedProcess::bindToCurrentProcess(std::move(task))] {
        std::string thrown;
        try {
            task();
            return;
        } catch (const std::exception& exception) {
            thrown = exception.what();
        } catch (...) {
            thrown = "an exception of unknown type";
        }
        Log::error("Platform: a delivery threw (%s); its process would have ended", thrown);
    });
}

bool waitForPlatformThreadsIdle(std::chrono::milliseconds timeout)
{
    auto& activity = platformActivity();
    std::unique_lock lock(activity.mutex);
    return activity.idle.wait_for(lock, timeout, [&] { return activity.inFlight == 0; });
}

} // namespace host

} // namespace lumora::platform
