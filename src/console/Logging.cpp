#include "Logging.h"

#include <cctype>

#include <log4cplus/configurator.h>
#include <log4cplus/logger.h>

namespace console {

void startLogging(std::string level) {
    for (char& letter : level) letter = static_cast<char>(std::toupper(static_cast<unsigned char>(letter)));
    log4cplus::BasicConfigurator(log4cplus::Logger::getDefaultHierarchy(), true).configure(); // true: standard error
    log4cplus::Logger::getRoot().setLogLevel(log4cplus::getLogLevelManager().fromString(level));
}

} // namespace console
