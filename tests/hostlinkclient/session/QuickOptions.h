/// @file
/// What a client is told in tests.
#pragma once

#include <chrono>

#include <hostlinkclient/Client.h>
#include <hostlinkclient/Options.h>

/// For a host that answers: what has to be waited for is short, what only a busy machine can exceed is not.
inline hostlink::Options quick() {
    using std::chrono::milliseconds;
    using std::chrono::seconds;
    hostlink::Options options;
    options.deadline = seconds(20);
    options.answerTime = seconds(10);
    options.lateFor = milliseconds(60);
    options.refusalTime = milliseconds(20);
    options.firstPause = milliseconds(5);
    options.longestPause = milliseconds(20);
    return options;
}

/// For a host that does not answer. What it does answer may come too late for a busy machine, and is asked for again
/// where that does no harm.
inline hostlink::Options impatient() {
    hostlink::Options options = quick();
    options.answerTime = std::chrono::milliseconds(30);
    return options;
}

/// Waits until the host answers, and none of the questions is on its way any more that a client asks by itself to find
/// that out: on a busy machine it asks again, and what waits for its turn is written behind that. A key is pressed.
inline bool isUpAndQuiet(hostlink::Client& client) {
    return client.waitUntilUp(std::chrono::seconds(20)) && client.sendInputEvent(BUT_KeyPressed, 0).ok();
}
