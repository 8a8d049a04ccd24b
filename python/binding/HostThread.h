/// @file
/// The simulated host on a thread of its own.
#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

#include <descriptor/Descriptor.h>
#include <hostport/HostOnPort.h>
#include <terminal/PseudoTerminal.h>

namespace binding {

/// A host behind a pseudo terminal. Only its thread touches the host; others hand it tasks. No thread of it ever enters
/// the interpreter.
class HostThread {
public:
    /// @param link path of a symbolic link to the terminal; empty for none
    /// @param baud bits per second to which the line is slowed down; 0: not at all
    /// @throw std::system_error the system gives no pseudo terminal, descriptor or thread
    HostThread(const hostsim::HostOptions& options, const std::string& link, unsigned long baud, std::size_t recorded);
    HostThread(const HostThread&) = delete;
    HostThread& operator=(const HostThread&) = delete;
    ~HostThread();

    const std::string& path() const { return portPath; }

    /// Has the host's thread do this, and waits for it.
    /// @throw std::runtime_error the host is closed; what the task throws
    template <typename Task> auto ask(Task task) {
        using Given = decltype(task(std::declval<hostsim::SimulatedHost&>()));
        const auto packed = std::make_shared<std::packaged_task<Given()>>(
            [this, task = std::move(task)] { return task(engine->host.host()); });
        auto given = packed->get_future();
        post([packed] { (*packed)(); });
        return given.get();
    }

    struct Record {
        hostsim::TraceEvent event;
        ByteArray bytes;
    };
    /// What has been recorded since the last call, the newest `recorded` of it.
    std::deque<Record> takeRecords();

    /// Ends the thread and takes the terminal away: as if the host were unplugged.
    void close();

private:
    struct Engine {
        Engine(const hostsim::HostOptions& options, const std::string& link, unsigned long baud);
        PseudoTerminal port;
        HostOnPort host;
    };

    void post(std::function<void()> task);
    void start();
    void run();
    void live();
    void step();
    bool doTasks();

    std::unique_ptr<Engine> engine; // on the thread, while it runs
    const std::string portPath;
    const descriptor::Descriptor wakeup;
    const std::size_t mostRecords;
    std::deque<Record> records; // on the thread

    std::mutex mutex;
    std::deque<std::function<void()>> tasks; // guarded by the mutex
    bool isEnding = false;                   // as is this
    std::string lost;                        // and this: why there is no host any more
    std::mutex closing;                      // who joins the thread
    std::thread thread;                      // guarded by it
};

} // namespace binding
