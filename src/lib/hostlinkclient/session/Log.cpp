#include "hostlinkclient/session/Log.h"

#include <log4cplus/logger.h>

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
    switch (level) {
    case LogLevel::Debug: return log4cplus::DEBUG_LOG_LEVEL;
    case LogLevel::Info: return log4cplus::INFO_LOG_LEVEL;
    case LogLevel::Warning: return log4cplus::WARN_LOG_LEVEL;
    case LogLevel::Error: break;
    }
    return log4cplus::ERROR_LOG_LEVEL;
}

} // namespace

void writeLog(LogLevel level, const std::string& line) {
    const serialcomm::LogGate::Pass pass(gate);
    if (pass) clientLogger().log(levelOf(level), line);
}

} // namespace hostlink
