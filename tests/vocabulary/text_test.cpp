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
    for (const size_t length : {0U, 1U, 2U, 100U, 1000U, 1022U, 1023U, 1024U, 1025U, 1026U, 3000U}) {
        for (const size_t next : {0U, 1U, 2U, 23U, 24U, 25U, 1023U, 1024U, 1025U, 5000U}) {
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
