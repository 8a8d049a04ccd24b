#include "SerialLog.h"

#include <system_error>

#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>

namespace serialcomm {

namespace {

const log4cplus::Logger& serialLogger() {
    static const log4cplus::Logger logger = log4cplus::Logger::getInstance(LOG4CPLUS_TEXT("SerialComm"));
    return logger;
}

} // namespace

std::string errorText(int error) {
    return std::generic_category().message(error);
}

void logError(const std::string& device, std::string_view what) {
    LOG4CPLUS_ERROR(serialLogger(), device << ": " << what);
}

void logSystemError(const std::string& device, std::string_view what, int error) {
    LOG4CPLUS_ERROR(serialLogger(), device << ": " << what << ": " << errorText(error));
}

void logWarning(const std::string& device, std::string_view what) {
    LOG4CPLUS_WARN(serialLogger(), device << ": " << what);
}

} // namespace serialcomm
