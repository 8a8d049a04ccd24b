/// @file
/// Cuts the byte stream of a serial line into packets.
#pragma once

#include "hostlink/ByteArray.h"

/// The UART reader as a pure state machine: bytes go in by `append`, and `next` tells what is to be done.
///
/// `next` is called until it asks for bytes. It finds the start mark, drops what stands before it, checks the packet
/// and takes it out; what is left over is looked at before anything more is asked for. Knows no thread, lock, log or
/// file.
class UartStream {
public:
    enum class Event : unsigned char {
        NeedBytes, ///< read up to `count` bytes, append them, ask again
        NoStart,   ///< no start mark in what is there: all of it was dropped
        Skipped,   ///< `count` bytes before a start mark were dropped
        Packet,    ///< `packet` is complete and verified
        BadPacket  ///< `packet` failed with `code` and was taken out by its declared length
    };

    struct Step {
        Event event;
        int count;         ///< NeedBytes, NoStart, Skipped: how many
        unsigned int code; ///< BadPacket: the result code of the check
        ByteArray packet;
    };

    void append(const ByteArray& bytes);
    Step next();

private:
    Step needBytes() const;
    Step takePacket(unsigned int code);

    ByteArray pending;     // bytes read and not yet taken out
    int want = wantAtOnce; // bytes to ask for next

    static constexpr int wantAtOnce = 64; // a packet of the default maximum size
};
