/// @file
/// What a module sends, well or badly, from rapidcheck's choices.
#pragma once

#include <hostlink/HostLinkLib.h>

#include "support/Packets.h"
#include "support/Properties.h"

class ModuleTraffic {
public:
    /// One packet, or bytes that are none. Message packets differ from one another, but for those that come again.
    ByteArray next() {
        if (*rc::gen::inRange(0, 8) == 0 && isRepeatable && mayRepeat) return last;
        last = choose();
        isRepeatable = last.size() > 8 && last[5] != 0;
        return last;
    }

    /// Something else was sent: the packet does not come again.
    void forget() { isRepeatable = false; }

    /// From now on no packet comes again.
    void repeatNoMore() { mayRepeat = false; }

private:
    ByteArray choose() {
        const auto id = *rc::gen::inRange(0U, 6U);
        switch (*rc::gen::inRange(0, 10)) {
        case 0: return responseFrame(*rc::gen::element(0x23U, 0x63U, 0xE3U), id);
        case 1:
        case 2: return responseFrame(0xA3, id);
        case 3: return packetOf(anyFlags(), id, 0, unique(4));
        case 4: return packetOf(0x22, id, 0, {*rc::gen::arbitrary<unsigned char>(), 0, 0, 0});
        case 5: return messagePart(id, *rc::gen::inRange(0U, 3U), unique(20));
        case 6: return messageEnd(id, *rc::gen::inRange(0U, 3U), unique(20));
        case 7: return *bytesNearMarks(12);
        default: return messageEnd(id, 0, request());
        }
    }

    // Of any format but a reset, which the tests send themselves where both sides have nothing under way.
    static unsigned anyFlags() {
        const auto flags = *rc::gen::inRange(0U, 256U);
        return (flags & 7U) == FMT_Reset ? flags | 4U : flags;
    }

    // Not the same bytes twice: what is a repetition is decided elsewhere.
    ByteArray unique(size_t longest) {
        ++number;
        return ByteArray{static_cast<unsigned char>(number), static_cast<unsigned char>(number >> 8), 7} +
               *bytesNearMarks(longest);
    }

    ByteArray request() {
        ++number;
        const auto state = static_cast<unsigned char>(*rc::gen::element(8, 9, 12, 21));
        const auto value = static_cast<unsigned char>(number);
        const auto more = static_cast<unsigned char>(number >> 8);
        switch (*rc::gen::inRange(0, 4)) {
        case 0: return {1, 0, 1, state, 0, 0xCD, value, more};
        case 1: return {2, 0, 2, state, 0, value, more};
        case 2: return {3, 0, 2, state, 0, value, more};
        default: return {8, 0, 2, 0, 0, 0xCD, value, more, 1, 0, 0xC5, 2, 0, 1, 2};
        }
    }

    unsigned number = 0;
    ByteArray last;
    bool isRepeatable = false;
    bool mayRepeat = true;
};
