/// @file
/// Plays one side of a recording.
#pragma once

#include <chrono>
#include <functional>
#include <vector>

#include "Expectations.h"
#include "PlayPort.h"

namespace command {

struct PlayOptions {
    bool inRecordedTime = false;              ///< else as fast as the other side answers
    std::chrono::milliseconds patience{2000}; ///< how much later than in the recording a packet may come
    unsigned mostMissing = 3;                 ///< after so many that did not come it is given up
};

class Player {
public:
    /// @param isOver whether to stop before the end: Ctrl-C, or the other side has gone
    Player(PlayPort& to, const std::vector<Step>& steps, Expectations& expected, const PlayOptions& options,
           std::function<bool()> isOver);

    /// Plays to the end. Before it says something, everything must have come that came before it.
    /// @return why it stopped before; empty at the end
    std::string play();

private:
    using Clock = std::chrono::steady_clock;

    bool awaitBefore(const Step* step, std::size_t order);
    bool isAskedFor(const Step& step);
    bool isOver() const;
    bool isLost(const Step& step) const;
    void lose(const Step& missed);
    void listen(Clock::time_point until);
    void take(const ByteArray& bytes);
    std::chrono::nanoseconds pauseBefore(const Step& step) const;

    PlayPort& port;
    const std::vector<Step>& script;
    Expectations& expectations;
    const PlayOptions settings;
    const std::function<bool()> over;
    ByteArray unread;       // what may be the beginning of a packet
    Clock::time_point last; // when something was said as in the recording
    unsigned missing = 0;
    std::size_t lostExchange = 0; // of a bus: the one whose packet did not come
};

} // namespace command
