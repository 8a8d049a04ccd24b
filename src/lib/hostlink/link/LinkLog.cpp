#include "LinkLog.h"

serialcomm::LogGate logGate;

namespace {

// Runs when this library is left, before its static objects go: the tables that lines are made of are among them.
[[gnu::destructor]] void closeLog() {
    logGate.closeAndWait();
}

} // namespace

log4cplus::Logger& linkLogger() {
    static auto& kept = *new log4cplus::Logger(log4cplus::Logger::getInstance("HostLinkPhysicalLayer"));
    return kept;
}

log4cplus::Logger& transportLogger() {
    static auto& kept = *new log4cplus::Logger(log4cplus::Logger::getInstance("HostLinkTransportLayer"));
    return kept;
}
