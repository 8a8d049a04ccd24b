/// @file
/// What a client is told in tests.
#pragma once

#include <chrono>

#include <hostlinkclient/Options.h>

/// Times that a test can wait for. What must not be late on a busy machine has more.
inline hostlink::Options quick() {
    using std::chrono::milliseconds;
    hostlink::Options options;
    options.deadline = std::chrono::seconds(10);
    options.answerTime = milliseconds(30);
    options.lateFor = milliseconds(60);
    options.refusalTime = milliseconds(20);
    options.firstPause = milliseconds(5);
    options.longestPause = milliseconds(20);
    return options;
}
