/// @file
/// States set through a client over a bad line, and what the host really holds afterwards.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace truth {

/// Who says that a set was done.
enum class SetForm {
    Plain,    ///< the host's link: it has taken every packet, as for `writeMessage`
    Compared, ///< the host's answer: it says the value that was asked for
    Confirmed ///< the state, read back
};

/// "plain", "compared", "confirmed".
const char* nameOf(SetForm form);

struct SetOptions {
    SetForm form = SetForm::Confirmed;
    double rate = 0.1; ///< share of the packets, in either direction, of which a byte is hit
    uint64_t sets = 0; ///< in all
    uint32_t seed = 1;
    unsigned clients = 16; ///< at a time, each with a host of its own: most of the time is waiting
    /// How long a client waits: the answer is there at once, or it is lost. A machine that is busy may let it come
    /// later.
    std::chrono::milliseconds answerTime{20};
};

struct SetFigures {
    uint64_t sets = 0;
    uint64_t done = 0;
    uint64_t wrong = 0;   ///< "done", but the host holds another value
    uint64_t another = 0; ///< "the host holds another value"
    uint64_t notDone = 0; ///< otherwise
    uint64_t heldAll = 0; ///< of all that were not "done": the host holds the value
    uint64_t packets = 0; ///< of messages to the hosts
    double seconds = 0;

    void add(const SetFigures& other);
};

/// Each value is another one than its state held before. The same options make the same values and the same decisions
/// of the wire; which packet meets which decision follows from the time-outs, too.
SetFigures makeSets(const SetOptions& options);

/// All forms at 0, 1, 5 and 10 %; `sets` confirmed ones at the highest rate, a tenth of them elsewhere. Prints the
/// table of docs/reliability.md.
/// @return whether no confirmed set was wrong
bool runClientCurve(uint64_t sets, uint32_t seed);

} // namespace truth
