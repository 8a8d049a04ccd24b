#include "hostlinkclient/session/Log.h"

#include <mutex>
#include <thread>

#include <log4cplus/appender.h>
#include <log4cplus/logger.h>
#include <log4cplus/nullappender.h>
#include <log4cplus/spi/loggingevent.h>

#include <serialcomm/LogGate.h>

namespace hostlink {

namespace {

serialcomm::LogGate gate;

constexpr const char* openingLoggers[] = {"HostLinkPhysicalLayer", "SerialComm"};

// Runs when this library is left, before log4cplus is.
[[gnu::destructor]] void closeLog() {
    gate.closeAndWait();
}

// Never destroyed: threads of a client may run on while the process ends.
log4cplus::Logger& clientLogger() {
    static auto& logger = *new log4cplus::Logger(log4cplus::Logger::getInstance("HostLinkClient"));
    return logger;
}

log4cplus::LogLevel levelOf(LogLevel level) {
    // In the order of the enumerators.
    static constexpr log4cplus::LogLevel levels[] = {log4cplus::DEBUG_LOG_LEVEL, log4cplus::INFO_LOG_LEVEL,
                                                     log4cplus::WARN_LOG_LEVEL, log4cplus::ERROR_LOG_LEVEL};
    return levels[static_cast<int>(level)];
}

} // namespace

void writeLog(LogLevel level, const std::string& line) {
    const serialcomm::LogGate::Pass pass(gate);
    if (pass) clientLogger().log(levelOf(level), line);
}

void acceptSilence() {
    using log4cplus::Logger;
    const serialcomm::LogGate::Pass pass(gate);
    if (!pass || !Logger::getRoot().getAllAppenders().empty()) return;
    for (const char* name : {"HostLinkClient", "HostLinkTransportLayer", "HostLinkPhysicalLayer", "SerialComm"}) {
        Logger logger = Logger::getInstance(name);
        if (logger.getAllAppenders().empty())
            logger.addAppender(log4cplus::SharedAppenderPtr(new log4cplus::NullAppender));
    }
}

// Held by the loggers as well, which let go of it in their time: a process may end meanwhile.
class FirstError::Listener : public log4cplus::Appender {
public:
    Listener() = default;
    ~Listener() override { destructorImpl(); }
    void close() override { closed = true; }

    std::string first() const {
        const std::lock_guard lock(mutex);
        return line;
    }

private:
    void append(const log4cplus::spi::InternalLoggingEvent& event) override {
        if (event.getLogLevel() < log4cplus::ERROR_LOG_LEVEL || std::this_thread::get_id() != thread) return;
        const std::lock_guard lock(mutex);
        if (line.empty()) line = event.getMessage();
    }

    const std::thread::id thread = std::this_thread::get_id();
    mutable std::mutex mutex; // guards the line
    std::string line;
};

FirstError::FirstError() : listener(new Listener) {
    const log4cplus::SharedAppenderPtr shared(listener);
    kept = std::make_shared<log4cplus::SharedAppenderPtr>(shared);
    const serialcomm::LogGate::Pass pass(gate);
    if (!pass) return;
    for (const char* name : openingLoggers) log4cplus::Logger::getInstance(name).addAppender(shared);
}

FirstError::~FirstError() {
    const serialcomm::LogGate::Pass pass(gate);
    if (!pass) return;
    const auto shared = *std::static_pointer_cast<log4cplus::SharedAppenderPtr>(kept);
    for (const char* name : openingLoggers) log4cplus::Logger::getInstance(name).removeAppender(shared);
}

std::string FirstError::text() const {
    return listener->first();
}

} // namespace hostlink
