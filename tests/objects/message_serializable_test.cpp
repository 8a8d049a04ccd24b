// The interface of messages as programs are compiled against it: the order of its virtual functions, and no name of the
// library's own beside it.

/// A program's own class of a name that the library once had.
class MessageStore {
public:
    int kept = 7;
};

#include <cstddef>
#include <cstring>
#include <memory>

#include <gtest/gtest.h>

#include <hostlink/HostLinkMessageSerializable.h>
#include <hostlink/HostLinkUInt16Message.h>
#include <hostlink/HostLinkValueMessage.h>

#include "support/Bytes.h"

namespace {

using Serialize = ByteArray (HostLinkMessageSerializable::*)() const;

/// A pointer to a virtual member function as the Itanium C++ ABI lays it out: the offset in the table, plus one, in the
/// first word; on ARM the offset alone, and the mark that it is a virtual function in the second.
struct MemberPointer {
    std::ptrdiff_t first;
    std::ptrdiff_t adjustment;
};

MemberPointer layoutOf(Serialize pointer) {
    static_assert(sizeof pointer == sizeof(MemberPointer));
    MemberPointer layout{};
    std::memcpy(&layout, &pointer, sizeof layout);
    return layout;
}

#if defined(__arm__) || defined(__aarch64__)
constexpr MemberPointer firstSlot{0, 1};
#else
constexpr MemberPointer firstSlot{1, 0};
#endif

/// The function in the first place of an object's table, as a program reaches it that was compiled against a table
/// which begins with `serialize`.
ByteArray serializeThroughTheFirstSlot(const HostLinkMessageSerializable& message) {
    using Function = ByteArray (*)(const HostLinkMessageSerializable*);
    const Function* table = nullptr;
    std::memcpy(&table, static_cast<const void*>(&message), sizeof table);
    return table[0](&message);
}

class FixedMessage : public HostLinkMessageSerializable {
public:
    explicit FixedMessage(bool* flag) : destroyed(flag) {}
    ~FixedMessage() override { *destroyed = true; }
    ByteArray serialize() const override { return bytes("04 00 00"); }

private:
    bool* destroyed;
};

} // namespace

TEST(MessageSerializable, HasSerializeInTheFirstSlot) {
    const MemberPointer layout = layoutOf(&HostLinkMessageSerializable::serialize);
    ASSERT_EQ(layout.first, firstSlot.first);
    ASSERT_EQ(layout.adjustment, firstSlot.adjustment);
    EXPECT_EQ(hex(serializeThroughTheFirstSlot(HostLinkValueMessage(MSG_SetState).addValueNil(7))),
              "01 00 01 07 00 C0");
    EXPECT_EQ(hex(serializeThroughTheFirstSlot(HostLinkUInt16Message(MSG_GetState).addValue(9))), "02 00 01 09 00");
    bool destroyed = false;
    const FixedMessage own(&destroyed);
    EXPECT_EQ(hex(serializeThroughTheFirstSlot(own)), "04 00 00");
    EXPECT_FALSE(destroyed);
}

TEST(MessageSerializable, DestroysThroughTheBase) {
    bool destroyed = false;
    std::unique_ptr<HostLinkMessageSerializable> message = std::make_unique<FixedMessage>(&destroyed);
    EXPECT_EQ(hex(message->serialize()), "04 00 00");
    message.reset();
    EXPECT_TRUE(destroyed);
}

TEST(MessageSerializable, LeavesAProgramItsOwnNames) {
    EXPECT_EQ(MessageStore().kept, 7);
    EXPECT_EQ(HostLinkValueMessage(MSG_SetState).serialize().size(), 3u);
}
