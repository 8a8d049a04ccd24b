// A log line whose level is off.
#include <hostlink/link/LinkLog.h>

#include "Case.h"
#include "floors/PlainLogLine.h"

// The lines' way out; the library's own is hidden in it.
serialcomm::LogGate logGate;

namespace bench {

namespace {

uint64_t libraryLogLine(uint64_t value) {
    static log4cplus::Logger logger = log4cplus::Logger::getInstance("bench");
    LOG4CPLUS_TRACE(logger, "Received: " << value);
    return value;
}

} // namespace

void addLogCases(Cases* cases) {
    log4cplus::Logger::getRoot().setLogLevel(log4cplus::OFF_LOG_LEVEL);
    cases->push_back({"log line, off", "library", "one line", [] { return libraryLogLine(1); }});
    cases->push_back({"log line, off", "log4cplus alone", "one line", [] { return plainLogLine(1); }});
}

} // namespace bench
