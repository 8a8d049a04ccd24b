#include "SerialLog.h"

#include <system_error>

#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

#include "LogGate.h"

namespace serialcomm {

namespace {

LogGate gate;

// Runs when this library is left.
[[gnu::destructor]] void closeLog() {
    gate.closeAndWait();
}

// Never destroyed: a thread inside a port may outlive the static objects.
log4cplus::Logger& logger = *new log4cplus::Logger(log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("SerialComm")));

} // namespace

std::string errorText(int error) {
    return std::generic_category().message(error);
}

void logError(const std::string& device, std::string_view what) {
    const LogGate::Pass pass(gate);
    if (pass) LOG4CPLUS_ERROR(logger, device << ": " << what);
}

void logSystemError(const std::string& device, std::string_view what, int error) {
    const LogGate::Pass pass(gate);
    if (pass) LOG4CPLUS_ERROR(logger, device << ": " << what << ": " << errorText(error));
}

void logWarning(const std::string& device, std::string_view what) {
    const LogGate::Pass pass(gate);
    if (pass) LOG4CPLUS_WARN(logger, device << ": " << what);
}

} // namespace serialcomm
