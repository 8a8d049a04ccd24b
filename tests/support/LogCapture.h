/// @file
/// What a logger wrote, for tests that check levels and texts.
#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

#include <log4cplus/appender.h>
#include <log4cplus/logger.h>
#include <log4cplus/loglevel.h>
#include <log4cplus/spi/loggingevent.h>

/// One log line: its level (`log4cplus::ERROR_LOG_LEVEL`, ...) and its text without any layout.
struct LogLine {
    log4cplus::LogLevel level;
    std::string text;
    std::string function = {}; ///< where it was logged, as the compiler spells it; not compared

    bool operator==(const LogLine& other) const { return level == other.level && text == other.text; }
};

/// How GoogleTest shows a line.
inline void PrintTo(const LogLine& line, std::ostream* out) {
    *out << log4cplus::getLogLevelManager().toString(line.level) << " \"" << line.text << '"';
}

/// Collects every line of one logger, TRACE included, from construction to destruction.
///
/// Meanwhile the logger's level is TRACE and nothing goes on to its parents; both are as before afterwards. Any thread
/// may log. Build and destroy the capture while nobody else changes the logger's settings. The program's main must have
/// initialised log4cplus.
class LogCapture {
public:
    /// Bound of the waits below: far more than anything here takes, so that only a missing line uses it up.
    static constexpr std::chrono::seconds patience{20};

    explicit LogCapture(const std::string& loggerName)
        : logger(log4cplus::Logger::getInstance(loggerName)),
          previousLevel(logger.getLogLevel()),
          previousAdditivity(logger.getAdditivity()),
          recorder(new Recorder),
          attached(recorder) {
        logger.addAppender(attached);
        logger.setAdditivity(false);
        logger.setLogLevel(log4cplus::TRACE_LOG_LEVEL);
    }

    ~LogCapture() {
        logger.setLogLevel(previousLevel);
        logger.setAdditivity(previousAdditivity);
        logger.removeAppender(attached);
    }

    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    /// Every line so far, in the order of the logger's appender lock.
    std::vector<LogLine> lines() const {
        const std::lock_guard<std::mutex> lock(recorder->mutex);
        return recorder->lines;
    }

    /// The texts at `level` and above.
    std::vector<std::string> texts(log4cplus::LogLevel level = log4cplus::TRACE_LOG_LEVEL) const {
        std::vector<std::string> result;
        for (const LogLine& line : lines())
            if (line.level >= level) result.push_back(line.text);
        return result;
    }

    /// How many lines hold `text`.
    std::size_t count(const std::string& text) const { return countIn(lines(), text); }

    /// Whether some line holds `text`.
    bool contains(const std::string& text) const { return count(text) != 0; }

    /// Whether some line has this level and exactly this text.
    bool contains(log4cplus::LogLevel level, const std::string& text) const {
        const std::vector<LogLine> all = lines();
        return std::find(all.begin(), all.end(), LogLine{level, text}) != all.end();
    }

    /// Waits until at least `times` lines hold `text`; false when the time is over before.
    bool waitFor(const std::string& text, std::size_t times = 1, std::chrono::milliseconds limit = patience) const {
        return waitUntil([&](const std::vector<LogLine>& all) { return countIn(all, text) >= times; }, limit);
    }

    /// Waits until `condition` holds for the lines so far; false when the time is over before. The condition runs under
    /// the recorder's lock: it must not log.
    bool waitUntil(const std::function<bool(const std::vector<LogLine>&)>& condition,
                   std::chrono::milliseconds limit = patience) const {
        std::unique_lock<std::mutex> lock(recorder->mutex);
        return recorder->grown.wait_for(lock, limit, [&] { return condition(recorder->lines); });
    }

    /// Forgets the lines so far.
    void clear() {
        const std::lock_guard<std::mutex> lock(recorder->mutex);
        recorder->lines.clear();
    }

private:
    class Recorder : public log4cplus::Appender {
    public:
        ~Recorder() override { destructorImpl(); }
        void close() override { closed = true; }

        std::mutex mutex; // guards lines
        std::condition_variable grown;
        std::vector<LogLine> lines;

    protected:
        void append(const log4cplus::spi::InternalLoggingEvent& event) override {
            {
                const std::lock_guard<std::mutex> lock(mutex);
                lines.push_back({event.getLogLevel(), event.getMessage(), event.getFunction()});
            }
            grown.notify_all();
        }
    };

    static std::size_t countIn(const std::vector<LogLine>& all, const std::string& text) {
        const auto holds = [&](const LogLine& line) { return line.text.find(text) != std::string::npos; };
        return static_cast<std::size_t>(std::count_if(all.begin(), all.end(), holds));
    }

    log4cplus::Logger logger;
    log4cplus::LogLevel previousLevel;
    bool previousAdditivity;
    Recorder* recorder; // owned by `attached`
    log4cplus::SharedAppenderPtr attached;
};
