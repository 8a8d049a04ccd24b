/// @file
/// Messages whose items are tagged values.
#pragma once

#include <atomic>
#include <string>

#include "HostLinkLib.h"
#include "HostLinkMessageSerializable.h"

/// Builds and reads a message with a variant body: items of a 16-bit tag, an encoding and a value.
///
/// An ordinary value, owned by one thread at a time; const operations do not change it, so that several threads may
/// read one message at once. Validity is decided at construction and never changes. An append that fails (invalid
/// message, 255 items, a value too long for the 16-bit count of the free space) has no effect. Reading an item walks
/// the items between the one read last and it, or those before it. Indexes are taken modulo 256. The `bool*` of a
/// getter is always written and must not be null.
class HOSTLINK_EXPORT HostLinkValueMessage : public HostLinkMessageSerializable {
public:
    /// An empty message; invalid when the id is out of range or has a list body.
    explicit HostLinkValueMessage(MessageId id);
    /// A message read from bytes, which are copied; invalid when they do not verify.
    explicit HostLinkValueMessage(const ByteArray& message);
    /// The same of bytes that nobody needs any more: they are taken over.
    explicit HostLinkValueMessage(ByteArray&& message);

    HostLinkValueMessage(const HostLinkValueMessage& other);
    /// Leaves `other` without bytes.
    HostLinkValueMessage(HostLinkValueMessage&& other) noexcept;
    HostLinkValueMessage& operator=(const HostLinkValueMessage& other);
    HostLinkValueMessage& operator=(HostLinkValueMessage&& other) noexcept;
    ~HostLinkValueMessage() override;

    HostLinkValueMessage& addValueUint8(unsigned short tag, unsigned char value);
    HostLinkValueMessage& addValueUint16(unsigned short tag, unsigned short value);
    HostLinkValueMessage& addValueUint32(unsigned short tag, unsigned int value);
    HostLinkValueMessage& addValueUint64(unsigned short tag, unsigned long value);
    HostLinkValueMessage& addValueInt8(unsigned short tag, signed char value);
    HostLinkValueMessage& addValueInt16(unsigned short tag, short value);
    HostLinkValueMessage& addValueInt32(unsigned short tag, int value);
    HostLinkValueMessage& addValueInt64(unsigned short tag, long value);
    HostLinkValueMessage& addValueNil(unsigned short tag);
    /// Appends binary data; its size is taken as 16 bits. Up to 21839 bytes are appended whatever the message holds. A
    /// longer value may make the store grow beyond what the 16-bit count of its free space can tell (3·n + 16 > 65535
    /// at most), and the append then has no effect: a new message takes up to 32738 bytes, one in use may take fewer.
    HostLinkValueMessage& addValueBin16(unsigned short tag, ByteArray value);
    /// Appends the string's characters as binary data, without a terminating zero.
    HostLinkValueMessage& addValueString(unsigned short tag, std::string value);

    /// Tag of an item. `ok`: the item exists and can be read.
    unsigned short getTag(int index, bool* ok) const;
    /// Encoding of an item. `ok`: the item exists and can be read.
    Encoding getEnc(int index, bool* ok) const;

    /// Value of an item. `ok`: the item can be read and has exactly this encoding; otherwise the value is 0.
    unsigned char getUint8(int index, bool* ok) const;
    unsigned short getUint16(int index, bool* ok) const;
    unsigned int getUint32(int index, bool* ok) const;
    unsigned long getUint64(int index, bool* ok) const;
    signed char getInt8(int index, bool* ok) const;
    short getInt16(int index, bool* ok) const;
    int getInt32(int index, bool* ok) const;
    long getInt64(int index, bool* ok) const;
    /// True, here and in `ok`, when the item can be read and is "Nil".
    bool getNil(int index, bool* ok) const;
    /// Copy of binary data; empty when `ok` is false.
    ByteArray getBin16(int index, bool* ok) const;
    /// Binary data as a string, embedded zero bytes kept; empty when `ok` is false.
    std::string getString(int index, bool* ok) const;

    /// Number of items; 0 when the message is not valid.
    int size() const;
    bool isValid() const;
    /// Grows the store by 2·n zero bytes; a negative n shrinks it by 2·|n|, at most to nothing.
    void resize(int n);
    /// The message bytes, also of a message that is not valid.
    ByteArray serialize() const override;

private:
    template <typename T> HostLinkValueMessage& addFixed(unsigned short tag, T value, Encoding encoding);
    template <typename T> T getFixed(int index, bool* ok, Encoding encoding) const;
    HostLinkValueMessage& addBytes(unsigned short tag, const unsigned char* bytes, size_t count);
    const unsigned char* itemAt(int index) const;
    const unsigned char* valueAt(int index, Encoding encoding) const;
    void take(HostLinkValueMessage& other) noexcept;

    HostLinkLL buffer; // data is where the bytes are; the message length may be larger than the capacity
    ByteArray store;   // the bytes, unless they are in `few`; as large as the capacity, or larger
    bool valid;
    mutable std::atomic<uint32_t>
        lastRead;           // where the item stands that was read last; 0 when none was since the last change
    unsigned char few[256]; // what a small message needs
};
