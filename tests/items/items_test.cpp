// The items of messages. Bytes were written out by hand from the table of encodings.
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include <items/Items.h>

#include "support/Bytes.h"

using namespace hostlink;

namespace {

// Every encoding, item by item, as the table of encodings has them.
const ByteArray everyEncoding = bytes("01 00 0A  0C 00 C0  0C 00 C5 02 00 48 69  0C 00 CC 1E  0C 00 CD 34 12"
                                      "0C 00 CE 80 BB 00 00  0C 00 CF 01 00 00 00 00 00 00 00  0C 00 D0 FA"
                                      "0C 00 D1 FE FF  0C 00 D2 FF FF FF FF  0C 00 D3 FF FF FF FF FF FF FF FF");

TEST(Items, AreReadAndWrittenInEveryEncoding) {
    const auto items = readItems(everyEncoding);
    ASSERT_TRUE(items);
    ASSERT_EQ(items->size(), 10U);
    const std::vector<Value> values = {Value(),
                                       Value("Hi"),
                                       Value(30),
                                       Value(0x1234),
                                       *Value::in(ENC_Uint32, 48000),
                                       *Value::in(ENC_Uint64, 1),
                                       Value(-6),
                                       *Value::in(ENC_Int16, -2),
                                       *Value::in(ENC_Int32, -1),
                                       *Value::in(ENC_Int64, -1)};
    for (size_t i = 0; i < values.size(); ++i) EXPECT_EQ((*items)[i].value, values[i]) << "item " << i;
    EXPECT_EQ(*writeItems(MSG_SetState, *items), everyEncoding);
}

TEST(Items, AreNotReadFromWhatIsNotWhole) {
    EXPECT_FALSE(readItems({}));
    EXPECT_FALSE(readItems(bytes("01 00 01 09 00 CC")));
    EXPECT_FALSE(readItems(bytes("01 00 01 09 00 CB 00"))); // no such encoding
    EXPECT_FALSE(readItems(bytes("02 00 01 09 00")));       // a list
    EXPECT_FALSE(readList(bytes("02 00 02 09 00")));
    EXPECT_FALSE(readList(bytes("01 00 00")));
    EXPECT_EQ(*readList(bytes("02 00 02 09 00 0C 00")), (std::vector<uint16_t>{9, 12}));
}

TEST(Items, TellTheirTagsInOrder) {
    EXPECT_EQ(*sortedTags(bytes("03 80 02 0C 00 09 00")), (std::vector<uint16_t>{9, 12}));
    EXPECT_EQ(*sortedTags(bytes("02 80 02 0C 00 C0 09 00 C0")), (std::vector<uint16_t>{9, 12}));
    EXPECT_FALSE(sortedTags(bytes("03 80 02 0C 00")));
    EXPECT_FALSE(sortedTags(bytes("02 80 02 0C 00 C0")));
    EXPECT_TRUE(sortedTags(bytes("00 80 00"))->empty());
}

TEST(Items, AreNotWrittenBeyondAMessage) {
    EXPECT_FALSE(writeItems(MSG_SetState, std::vector<Item>(256, Item{9, 1})));
    EXPECT_FALSE(writeItems(MSG_SetState, {{9, ByteArray(40000)}, {10, ByteArray(40000)}}));
    EXPECT_FALSE(writeItems(MSG_SetState, {{9, ByteArray(65528)}})); // 65536 with what stands before it
    EXPECT_EQ(writeItems(MSG_SetState, {{9, ByteArray(65527)}})->size(), 65535U);
    EXPECT_FALSE(writeItems(MSG_GetState, {})); // whose messages are lists
    EXPECT_FALSE(writeList(MSG_GetState, std::vector<uint16_t>(256)));
    EXPECT_EQ(*writeList(MSG_GetState, {0x15}), bytes("02 00 01 15 00"));
}

TEST(Items, KnowWhatAnswersAMessage) {
    EXPECT_EQ(answerTo(MSG_SetState), MSG_SetStateResponse);
    EXPECT_EQ(answerTo(MSG_GetState), MSG_GetStateResponse);
    EXPECT_EQ(answerTo(MSG_SubscribeState), MSG_SubscribeStateResponse);
    EXPECT_EQ(answerTo(MSG_UnsubscribeState), MSG_UnsubscribeStateResponse);
    EXPECT_EQ(answerTo(MSG_DataTransfer), MSG_DataTransferResponse);
    EXPECT_EQ(answerTo(MSG_TcpTunneling), MSG_TcpTunnelingResponse);
    EXPECT_FALSE(answerTo(MSG_InputEvent));
    EXPECT_FALSE(answerTo(MSG_SetStateResponse));
}

} // namespace
