/// @file
/// What can go wrong between a bus device and its slave.
#pragma once

#include <cerrno>

namespace busrig {

/// How many of the next transactions or phases a fault still hits. The fields combine.
struct BusFaults {
    /// A count that never runs out.
    static constexpr unsigned forever = ~0U;

    unsigned nack = 0;          ///< transactions that end with `nackErrno`; the slave sees nothing of them
    int nackErrno = ENXIO;      ///< what most I2C adapters give when nobody acknowledges the address
    unsigned shortTransfer = 0; ///< transactions of which only a part is carried out
    unsigned late = 0;          ///< read phases that give idle bytes; the slave keeps its answer for a later one
    unsigned wrongStart = 0;    ///< read phases whose first byte is turned over
    unsigned silent = 0;        ///< write phases that the slave does not hear
    unsigned mute = 0;          ///< write phases that the slave hears, but whose answer never arrives
    unsigned edgeBackHigh = 0;  ///< interrupts whose line is high again before anybody can read it
    unsigned edgeBurst = 0;     ///< falling edges, instead of one, that announce the next interrupt

    /// Whether this time is hit; counts down.
    static bool take(unsigned& count) {
        if (count == 0) return false;
        if (count != forever) --count;
        return true;
    }
};

} // namespace busrig
