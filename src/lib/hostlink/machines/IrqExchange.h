/// @file
/// What the host's reply to an IRQ frame means.
#pragma once

#include "hostlink/ByteArray.h"

/// Decides about the reply to an IRQ frame, and remembers across exchanges whether a refusal has been retried.
///
/// A refused IRQ frame is worth one retry. The mark that it was tried stays when the retry is refused too: the next
/// refusal is then reported at once, until a message or an announcement shows that the host answers again.
/// Knows no thread, lock, log or file.
class IrqExchange {
public:
    enum class Verdict : unsigned char {
        Invalid,      ///< the reply does not verify: refuse it
        Announcement, ///< an IRQ frame: ask again, reading `value` bytes
        Message,      ///< a message packet: acknowledge and deliver it
        Retry,        ///< the IRQ frame was refused: send it once more
        Reported,     ///< another acknowledgement, of type `value`: report it and stop
        Unsupported   ///< a frame of type `value`: report it and stop
    };

    struct Decision {
        Verdict verdict;
        int value;
        bool alreadyRetried; ///< Reported: whether a retry had been made
    };

    Decision decide(const ByteArray& reply);

private:
    Decision decideResponse(const ByteArray& reply);

    bool nackRetried = false;
};
