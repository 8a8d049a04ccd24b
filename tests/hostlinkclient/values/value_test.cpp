// Values, states and results. Bytes were written out by hand from the table of encodings.
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <hostlinkclient/Value.h>
#include <hostlinkclient/values/Names.h>

#include "support/Bytes.h"

namespace {

using namespace hostlink;

TEST(Value, TakesTheSmallestEncodingThatHasRoom) {
    EXPECT_EQ(Value(0).encoding(), ENC_Uint8);
    EXPECT_EQ(Value(255).encoding(), ENC_Uint8);
    EXPECT_EQ(Value(256).encoding(), ENC_Uint16);
    EXPECT_EQ(Value(65535L).encoding(), ENC_Uint16);
    EXPECT_EQ(Value(65536).encoding(), ENC_Uint32);
    EXPECT_EQ(Value(4294967296).encoding(), ENC_Uint64);
    EXPECT_EQ(Value(std::numeric_limits<uint64_t>::max()).encoding(), ENC_Uint64);
    EXPECT_EQ(Value(-1).encoding(), ENC_Int8);
    EXPECT_EQ(Value(-128).encoding(), ENC_Int8);
    EXPECT_EQ(Value(-129).encoding(), ENC_Int16);
    EXPECT_EQ(Value(-32769).encoding(), ENC_Int32);
    EXPECT_EQ(Value(std::numeric_limits<int64_t>::min()).encoding(), ENC_Int64);
    EXPECT_EQ(Value(true).encoding(), ENC_Uint8);
    EXPECT_EQ(Value(STA_PlayerVolume), Value(9));
    EXPECT_EQ(Value("Hi").encoding(), ENC_Bin16);
    EXPECT_EQ(Value(std::string("Hi")), Value("Hi"));
    EXPECT_EQ(Value(bytes("48 69")), Value("Hi"));
    EXPECT_TRUE(Value().isNil());
}

TEST(Value, IsMadeInTheEncodingAskedForWhenItFits) {
    EXPECT_EQ(Value::in(ENC_Int64, 30)->encoding(), ENC_Int64);
    EXPECT_EQ(Value::in(ENC_Uint16, 30)->encoding(), ENC_Uint16);
    EXPECT_EQ(Value::in(ENC_Uint8, 256).outcome(), Outcome::BadArgument);
    EXPECT_EQ(Value::in(ENC_Uint8, 256).text(), "256 does not fit Uint8");
    EXPECT_EQ(Value::in(ENC_Uint64, -1).text(), "-1 does not fit Uint64");
    EXPECT_EQ(Value::in(ENC_Int8, 128).text(), "128 does not fit Int8");
    EXPECT_EQ(Value::in(ENC_Int8, -129).text(), "-129 does not fit Int8");
    EXPECT_TRUE(Value::in(ENC_Int8, -128).ok());
    EXPECT_EQ(Value::in(ENC_Bin16, 1).text(), "Bin16 is not the encoding of a number");
    EXPECT_EQ(Value::in(ENC_Nil, 1).text(), "Nil is not the encoding of a number");
}

TEST(Value, GivesItsNumberToATypeThatHasRoom) {
    EXPECT_EQ(*Value(30).to<int>(), 30);
    EXPECT_EQ(*Value(-6).to<int8_t>(), -6);
    EXPECT_EQ(*Value(1).to<bool>(), true);
    EXPECT_EQ(*Value(0).to<bool>(), false);
    EXPECT_EQ(*Value(std::numeric_limits<uint64_t>::max()).to<uint64_t>(), std::numeric_limits<uint64_t>::max());
    EXPECT_EQ(*Value(std::numeric_limits<int64_t>::min()).to<int64_t>(), std::numeric_limits<int64_t>::min());
    EXPECT_EQ(Value(300).to<uint8_t>().text(), "300 does not fit 8 bits: 0 to 255");
    EXPECT_EQ(Value(-1).to<uint16_t>().text(), "-1 does not fit 16 bits: 0 to 65535");
    EXPECT_EQ(Value(2).to<bool>().text(), "2 does not fit bool: 0 to 1");
    EXPECT_EQ(Value(128).to<int8_t>().text(), "128 does not fit 8 signed bits: -128 to 127");
    EXPECT_EQ(Value(-32769).to<int16_t>().text(), "-32769 does not fit 16 signed bits: -32768 to 32767");
    EXPECT_EQ(Value(4294967295U).to<int32_t>().text(),
              "4294967295 does not fit 32 signed bits: -2147483648 to 2147483647");
    EXPECT_EQ(Value(4294967296).to<uint32_t>().text(), "4294967296 does not fit 32 bits: 0 to 4294967295");
    EXPECT_EQ(Value(-1).to<uint64_t>().text(), "-1 does not fit 64 bits: 0 to 18446744073709551615");
    EXPECT_EQ(Value(std::numeric_limits<uint64_t>::max()).to<int64_t>().text(),
              "18446744073709551615 does not fit 64 signed bits: -9223372036854775808 to 9223372036854775807");
    EXPECT_EQ(Value("30").to<int>().text(), "it is Bin16, not a number");
    EXPECT_EQ(Value().to<unsigned>().text(), "it is Nil, not a number");
    EXPECT_EQ(Value("30").to<bool>().outcome(), Outcome::BadArgument);
}

TEST(Value, GivesTextAndBytesOfBinaryDataOnly) {
    EXPECT_EQ(*Value("Hi").text(), "Hi");
    EXPECT_EQ(*Value("Hi").bytes(), bytes("48 69"));
    EXPECT_EQ(Value(5).text().text(), "it is Uint8, not text");
    EXPECT_EQ(Value().bytes().text(), "it is Nil, not binary data");
}

TEST(Value, ChangesItsEncodingWhenItFits) {
    EXPECT_EQ(Value(30).as(ENC_Int32)->encoding(), ENC_Int32);
    EXPECT_EQ(Value("Hi").as(ENC_Bin16)->encoding(), ENC_Bin16);
    EXPECT_EQ(Value(-6).as(ENC_Uint8).text(), "-6 does not fit Uint8");
    EXPECT_EQ(Value("Hi").as(ENC_Uint8).text(), "Bin16 cannot be turned into Uint8");
    EXPECT_EQ(Value(1).as(ENC_Bin16).outcome(), Outcome::BadArgument);
}

TEST(Value, IsEqualInOneEncodingOnly) {
    EXPECT_EQ(Value(30), *Value::in(ENC_Uint8, 30));
    EXPECT_NE(Value(30), *Value::in(ENC_Int64, 30));
    EXPECT_NE(Value(30), Value(31));
    EXPECT_NE(Value(30), Value("30"));
    EXPECT_NE(Value(0), Value());
    EXPECT_EQ(Value(), Value());
    EXPECT_EQ(Value("Hi"), Value(bytes("48 69")));
}

TEST(Value, MeansTheSameNumberInWhateverEncoding) {
    EXPECT_TRUE(Value(30).meansSameAs(*Value::in(ENC_Int64, 30)));
    EXPECT_TRUE(Value::in(ENC_Int8, -6)->meansSameAs(*Value::in(ENC_Int64, -6)));
    EXPECT_FALSE(Value::in(ENC_Int64, -1)->meansSameAs(std::numeric_limits<uint64_t>::max()));
    EXPECT_FALSE(Value(30).meansSameAs(31));
    EXPECT_FALSE(Value(30).meansSameAs("30"));
    EXPECT_FALSE(Value("0").meansSameAs(0));
    EXPECT_FALSE(Value(0).meansSameAs(Value()));
    EXPECT_TRUE(Value().meansSameAs(Value()));
    EXPECT_TRUE(Value("Hi").meansSameAs("Hi"));
}

TEST(Value, ReadsANumberAsPeopleWriteIt) {
    EXPECT_EQ(*Value::number("30"), Value(30));
    EXPECT_EQ(*Value::number("010"), Value(10)); // not octal
    EXPECT_EQ(*Value::number("0x1F"), Value(31));
    EXPECT_EQ(*Value::number("0XFFFF"), Value(65535));
    EXPECT_EQ(*Value::number("-0"), Value(0));
    EXPECT_EQ(*Value::number("-0x80"), Value(-128));
    EXPECT_EQ(*Value::number("18446744073709551615"), Value(std::numeric_limits<uint64_t>::max()));
    EXPECT_EQ(*Value::number("-9223372036854775808"), Value(std::numeric_limits<int64_t>::min()));
    for (const char* bad : {"", "-", "0x", "--5", "+5", " 5", "5 ", "5x", "0xG", "1.5", "99999999999999999999x"})
        EXPECT_EQ(Value::number(bad).text(), "'" + std::string(bad) + "' is not a number");
    const std::string range = " does not fit any encoding: -9223372036854775808 to 18446744073709551615";
    for (const char* large : {"18446744073709551616", "-9223372036854775809", "-18446744073709551616"})
        EXPECT_EQ(Value::number(large).text(), large + range);
}

TEST(Value, IsPrintedForPeople) {
    EXPECT_EQ(Value(30).print(), "30");
    EXPECT_EQ(Value(-6).print(), "-6");
    EXPECT_EQ(Value("Blue in Green").print(), "Blue in Green");
    EXPECT_EQ(Value().print(), "no value");
    EXPECT_EQ(Value(2).print(STA_PlayerPlayStatus), "Playing");
    EXPECT_EQ(Value(77).print(STA_PlayerPlayStatus), "77");
    EXPECT_EQ(Value(4294967298).print(STA_PlayerPlayStatus), "4294967298"); // 2 in its lower half
    EXPECT_EQ(Value(2).print(STA_PlayerVolume), "2");
    EXPECT_EQ(Value(2).print(StateId("nonsense")), "2");
    EXPECT_EQ(Value("text").print(STA_PlayerPlayStatus), "text");
}

TEST(Value, IsFoundByItsName) {
    EXPECT_EQ(*Value::named(STA_PlayerPlayStatus, "Playing"), Value(2));
    EXPECT_EQ(*Value::named("PlayerPlayStatus", "paused"), Value(3));
    EXPECT_EQ(Value::named(STA_PlayerPlayStatus, "Sleeping").text(),
              "PlayerPlayStatus has no value named 'Sleeping'; docs/vocabulary.md lists the names");
    EXPECT_EQ(Value::named(STA_PlayerVolume, "Loud").outcome(), Outcome::BadArgument);
    EXPECT_EQ(Value::named("Volme", "Loud").text(),
              "there is no state named 'Volme'; docs/vocabulary.md lists the names");
}

TEST(Value, NamesItsEncoding) {
    const std::vector<std::pair<Encoding, std::string>> names = {
        {ENC_Nil, "Nil"},       {ENC_Bin16, "Bin16"},   {ENC_Uint8, "Uint8"}, {ENC_Uint16, "Uint16"},
        {ENC_Uint32, "Uint32"}, {ENC_Uint64, "Uint64"}, {ENC_Int8, "Int8"},   {ENC_Int16, "Int16"},
        {ENC_Int32, "Int32"},   {ENC_Int64, "Int64"}};
    for (const auto& [encoding, name] : names) EXPECT_EQ(nameOf(encoding), name);
    EXPECT_STREQ(nameOf(static_cast<Encoding>(1)), "no encoding");
}

TEST(StateId, IsANumberOrAName) {
    EXPECT_EQ(StateId(STA_PlayerVolume).number(), 9);
    EXPECT_EQ(StateId(9).name(), "PlayerVolume");
    EXPECT_EQ(StateId("PlayerVolume").number(), 9);
    EXPECT_EQ(StateId("STA_PlayerVolume").number(), 9);
    EXPECT_EQ(StateId("playervolume").number(), 9);
    EXPECT_EQ(StateId("STA_AudioBass").number(), 26);
    EXPECT_EQ(StateId("AudioBass").number(), 26); // whose name in the log has the prefix
    EXPECT_EQ(StateId("9").number(), 9);
    EXPECT_EQ(StateId("0xF001").number(), 0xF001);
    EXPECT_EQ(StateId(std::string("0Xf001")).number(), 0xF001);
    EXPECT_EQ(StateId(0xBEEF).name(), "0xBEEF");
    EXPECT_TRUE(StateId(65535).isValid());
    EXPECT_EQ(StateId("PlayerVolume"), StateId(9));
    EXPECT_NE(StateId("PlayerVolume"), StateId(10));
    EXPECT_LT(StateId(9), StateId(10));
}

TEST(StateId, KeepsWhatIsNoState) {
    EXPECT_EQ(StateId(65536).problem(), "there is no state number 65536: states have numbers from 0 to 65535");
    EXPECT_EQ(StateId(-1).problem(), "there is no state number -1: states have numbers from 0 to 65535");
    EXPECT_EQ(StateId("70000").problem(), "there is no state number 70000: states have numbers from 0 to 65535");
    EXPECT_FALSE(StateId("").isValid());
    EXPECT_FALSE(StateId("-9").isValid());
    EXPECT_FALSE(StateId("0x").isValid());
    EXPECT_FALSE(StateId("9x").isValid());
    EXPECT_NE(StateId(0), StateId("nonsense"));
}

TEST(Result, TellsValueOrFailure) {
    const Result<int> good = 5;
    EXPECT_TRUE(good);
    EXPECT_EQ(good.value(), 5);
    EXPECT_EQ(good.orThrow(), 5);
    EXPECT_EQ(good.valueOr(6), 5);
    EXPECT_EQ(good.outcome(), Outcome::Done);
    EXPECT_EQ(good.text(), "");
    EXPECT_TRUE(good.mayHaveBeenExecuted());

    const Result<int> bad = Failure(Outcome::LinkDown, "no link");
    EXPECT_FALSE(bad);
    EXPECT_EQ(bad.valueOr(6), 6);
    EXPECT_EQ(bad.outcome(), Outcome::LinkDown);
    EXPECT_EQ(bad.text(), "no link");
    EXPECT_FALSE(bad.mayHaveBeenExecuted());
    EXPECT_THROW(bad.value(), FailedRequest);

    const Result<void> nothing;
    EXPECT_NO_THROW(nothing.orThrow());
    const Result<void> failed = Failure(Outcome::HoldsAnother, "it holds 5", true, 2, {{STA_PlayerVolume, 5}});
    try {
        failed.orThrow();
        FAIL() << "nothing was thrown";
    } catch (const FailedRequest& thrown) {
        const FailedRequest copy = thrown; // NOLINT(performance-unnecessary-copy-initialization): that is tested
        EXPECT_STREQ(copy.what(), "it holds 5");
        EXPECT_EQ(copy.failure().outcome(), Outcome::HoldsAnother);
        EXPECT_EQ(copy.failure().refusals(), 2);
        EXPECT_TRUE(copy.failure().mayHaveBeenExecuted());
        ASSERT_EQ(copy.failure().held().size(), 1U);
        EXPECT_EQ(copy.failure().held()[0].value, Value(5));
    }
}

TEST(Failure, StaysWholeWhenItIsMovedFrom) {
    Failure one(Outcome::LinkDown, "one");
    Failure two = std::move(one);
    EXPECT_EQ(one.text(), "one"); // NOLINT(bugprone-use-after-move): that is tested
    Failure three(Outcome::Cancelled, "three");
    two = std::move(three);
    EXPECT_EQ(two.text(), "three");
    EXPECT_EQ(three.text(), "three"); // NOLINT(bugprone-use-after-move): that is tested
    one = two;
    EXPECT_EQ(one.outcome(), Outcome::Cancelled);
}

TEST(Outcome, HasAName) {
    const std::vector<std::pair<Outcome, std::string>> names = {
        {Outcome::Done, "Done"},
        {Outcome::NotSent, "NotSent"},
        {Outcome::Unanswered, "Unanswered"},
        {Outcome::Unsupported, "Unsupported"},
        {Outcome::WithoutState, "WithoutState"},
        {Outcome::HoldsAnother, "HoldsAnother"},
        {Outcome::LinkDown, "LinkDown"},
        {Outcome::Cancelled, "Cancelled"},
        {Outcome::TimedOutBeforeSending, "TimedOutBeforeSending"},
        {Outcome::BadArgument, "BadArgument"},
        {Outcome::Aborted, "Aborted"}};
    for (const auto& [outcome, name] : names) EXPECT_EQ(nameOf(outcome), name);
    EXPECT_STREQ(nameOf(static_cast<Outcome>(99)), "unknown");
}

} // namespace
