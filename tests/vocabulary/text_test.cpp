// Text that is put together of pieces: the same as a string to which each of them is appended.
#include <cstdint>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include <hostlink/vocabulary/Text.h>

TEST(Text, IsEmptyWithoutPieces) {
    EXPECT_EQ(Text().string(), "");
}

TEST(Text, JoinsPiecesOfAnyLength) {
    for (const size_t length : {0, 1, 2, 100, 1000, 1022, 1023, 1024, 1025, 1026, 3000}) {
        for (const size_t next : {0, 1, 2, 23, 24, 25, 1023, 1024, 1025, 5000}) {
            Text text;
            text += std::string(length, 'a');
            text += std::string(next, 'b');
            text += "end";
            EXPECT_EQ(text.string(), std::string(length, 'a') + std::string(next, 'b') + "end");
        }
    }
}

TEST(Text, JoinsLettersAndNumbersWhereverTheyFall) {
    constexpr auto longest = std::numeric_limits<int64_t>::min();
    for (size_t before = 990; before < 1030; ++before) {
        Text text;
        text += std::string(before, 'a');
        text += '|';
        appendDecimal(text, longest);
        text += '|';
        appendDecimal(text, uint8_t{255});
        EXPECT_EQ(text.string(), std::string(before, 'a') + "|-9223372036854775808|255");
    }
}
