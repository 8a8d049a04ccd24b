/// @file
/// Messages whose items are 16-bit numbers.
#pragma once

#include "HostLinkLib.h"
#include "HostLinkMessageSerializable.h"

/// Builds and reads a message with a list body, for example the state ids of a "GetStateMessage".
///
/// An ordinary value, owned by one thread at a time; const operations do not change it. Validity is decided at
/// construction and never changes. Indexes are taken modulo 256. The `bool*` of `get` must not be null.
class HOSTLINK_EXPORT HostLinkUInt16Message : public HostLinkMessageSerializable {
public:
    /// An empty message; invalid when the id is out of range or has a variant body.
    explicit HostLinkUInt16Message(MessageId id);
    /// A message read from bytes, which are copied; invalid when they do not verify.
    explicit HostLinkUInt16Message(const ByteArray& message);

    HostLinkUInt16Message(const HostLinkUInt16Message& other);
    /// Leaves `other` without bytes.
    HostLinkUInt16Message(HostLinkUInt16Message&& other) noexcept;
    HostLinkUInt16Message& operator=(const HostLinkUInt16Message& other);
    HostLinkUInt16Message& operator=(HostLinkUInt16Message&& other) noexcept;
    ~HostLinkUInt16Message() override;

    /// Appends one item. Does not look at the validity: bytes that failed to verify but hold a header still grow.
    HostLinkUInt16Message& addValue(unsigned short value);

    /// The item at `index`. `ok`: the message is valid and the item exists; otherwise the value is 0.
    unsigned short get(int index, bool* ok) const;
    /// The two bytes where item `index` would stand, not checked against the count; 0 when the message is not valid or
    /// the bytes lie beyond its store.
    unsigned short operator[](int index) const;

    /// Number of items; 0 when the message is not valid.
    int size() const;
    bool isValid() const;
    /// Grows the store by 10·n zero bytes; a negative n shrinks it by 10·|n|, at most to nothing.
    void resize(int n);
    /// The message bytes, also of a message that is not valid.
    ByteArray serialize() const override;

private:
    HostLinkLL buffer; // data follows the store; the message length may be larger than the capacity
    ByteArray store;   // as large as the capacity, or larger
    bool valid;
};
