#include "Logging.h"

#include <log4cplus/initializer.h>
#include <log4cplus/logger.h>
#include <log4cplus/nullappender.h>

void formatLog(bool formatted) {
    static const log4cplus::Initializer initializer;
    log4cplus::Logger root = log4cplus::Logger::getRoot();
    static const bool attached = [&root] {
        root.addAppender(log4cplus::SharedAppenderPtr(new log4cplus::NullAppender));
        return true;
    }();
    static_cast<void>(attached);
    root.setLogLevel(formatted ? log4cplus::TRACE_LOG_LEVEL : log4cplus::OFF_LOG_LEVEL);
}
