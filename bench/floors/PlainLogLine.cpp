#include "PlainLogLine.h"

#include <log4cplus/loggingmacros.h>

uint64_t bench::plainLogLine(uint64_t value) {
    static log4cplus::Logger logger = log4cplus::Logger::getInstance("bench");
    LOG4CPLUS_TRACE(logger, "Received: " << value);
    return value;
}
