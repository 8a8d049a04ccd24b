#include "LineWatch.h"

#include <utility>

#include <log4cplus/spi/loggingevent.h>

namespace {

class Listener : public log4cplus::Appender {
public:
    explicit Listener(std::function<void(const std::string&)> lossObserver) : onLoss(std::move(lossObserver)) {}
    ~Listener() override { destructorImpl(); } // what log4cplus asks of each appender

    void close() override { closed = true; }

protected:
    void append(const log4cplus::spi::InternalLoggingEvent& event) override {
        if (event.getMessage().find("line lost: ") != std::string::npos) onLoss(event.getMessage());
    }

private:
    std::function<void(const std::string&)> onLoss;
};

} // namespace

LineWatch::LineWatch(const std::function<void(const std::string&)>& onLoss)
    : logger(log4cplus::Logger::getInstance("SerialComm")), appender(new Listener(onLoss)) {
    if (!logger.isEnabledFor(log4cplus::ERROR_LOG_LEVEL)) { // for the watch alone, then
        logger.setAdditivity(false);
        logger.setLogLevel(log4cplus::ERROR_LOG_LEVEL);
    }
    logger.addAppender(appender);
}

LineWatch::~LineWatch() {
    logger.removeAppender(appender);
}
