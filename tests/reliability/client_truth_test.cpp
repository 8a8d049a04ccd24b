// What a set's "done" is worth over a line that damages packets: short here, a million by `make soak`.
#include <chrono>
#include <iostream>

#include <gtest/gtest.h>

#include "ClientSets.h"
#include "support/TestSeed.h"
#include "support/Watchdog.h"

namespace truth {

namespace {

SetFigures setsAt10Percent(SetForm form, uint64_t sets,
                           std::chrono::milliseconds answerTime = SetOptions().answerTime) {
    SetOptions options;
    options.form = form;
    options.answerTime = answerTime;
    options.sets = sets;
    options.seed = testSeed();
    const SetFigures made = makeSets(options);
    std::cout << made.sets << " sets: " << made.done << " done, " << made.wrong << " of them wrong" << std::endl;
    EXPECT_EQ(made.sets, sets);
    return made;
}

TEST(ClientTruth, OfConfirmedSetsIsNeverWrong) {
    const SetFigures made = setsAt10Percent(SetForm::Confirmed, 2000);
    EXPECT_EQ(made.wrong, 0U);
    EXPECT_GT(made.done, 1700U); // and most of them succeed
}

// The same line makes fools of the others: it is bad enough.
TEST(ClientTruth, OfPlainSetsIsWrongForSome) {
    const SetFigures made = setsAt10Percent(SetForm::Plain, 2000);
    EXPECT_GT(made.wrong, 20U);
    EXPECT_GT(made.done, 1400U);
}

TEST(ClientTruth, OfComparedSetsIsWrongForFew) {
    // An answer that a busy machine lets come too late says nothing of the value.
    const SetFigures made = setsAt10Percent(SetForm::Compared, 2000, std::chrono::milliseconds(100));
    EXPECT_LT(made.wrong, 4U);
    EXPECT_GT(made.another, 20U); // what the plain ones do not notice
}

TEST(ClientTruth, OfAnySetIsRightOverAGoodLine) {
    for (const SetForm form : {SetForm::Plain, SetForm::Compared, SetForm::Confirmed}) {
        SetOptions options;
        options.form = form;
        options.rate = 0;
        options.sets = 400;
        options.clients = 2;
        options.answerTime = std::chrono::seconds(15);
        testIsAt(nameOf(form));
        const SetFigures made = makeSets(options);
        EXPECT_EQ(made.done, 400U) << nameOf(form);
        EXPECT_EQ(made.wrong, 0U) << nameOf(form);
    }
}

} // namespace

} // namespace truth
