// Whose answer it is, whatever the host and the wire do to answers: short here, long by `make soak`.
#include <iostream>
#include <string>

#include <gtest/gtest.h>

#include "ClientAnswers.h"
#include "support/TestSeed.h"

namespace truth {

namespace {

TEST(ClientAnswers, AreNeverThoseOfAnotherRequest) {
    AnswerOptions options;
    options.requests = 2400;
    options.seed = testSeed();
    const AnswerFigures all = askForAnswers(options);
    for (const std::string& one : all.wrong) ADD_FAILURE() << one;
    EXPECT_EQ(all.asked, options.requests);
    // The faults were there, and did not keep everything from being answered.
    EXPECT_GT(all.answered, options.requests / 4);
    EXPECT_GT(all.unanswered, 10U);
    EXPECT_GT(all.late, 100U);
    EXPECT_GT(all.lost, 10U);
    EXPECT_GT(all.twice, 100U);
    EXPECT_GT(all.swapped, 100U);
    EXPECT_GT(all.stale, 50U);
}

} // namespace

} // namespace truth
