#include "hostlinkclient/session/Log.h"

#include <log4cplus/logger.h>
#include <log4cplus/nullappender.h>

#include <serialcomm/LogGate.h>

namespace hostlink {

namespace {

serialcomm::LogGate gate;

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

} // namespace hostlink
