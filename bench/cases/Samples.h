/// @file
/// The messages that the library and its competitors build and read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <hostlink/HostLinkLib.h>

namespace bench {

/// One tagged value. A signed number stands sign-extended in `number`.
struct Item {
    uint16_t tag;
    uint8_t encoding; // of `Encoding`
    uint64_t number;
    std::vector<uint8_t> bytes; // of `ENC_Bin16`

    bool operator==(const Item& other) const {
        return tag == other.tag && encoding == other.encoding && number == other.number && bytes == other.bytes;
    }
};

struct Sample {
    std::string name;
    uint16_t id;
    std::vector<Item> items;

    bool operator==(const Sample& other) const { return id == other.id && items == other.items; }
};

/// "typical": Uint8, Uint16, Uint32, Int32 and a string of 24 bytes. "item900": one item of 900 bytes. "empty".
/// "every encoding": each with its extremes. "255 items": of all encodings.
const std::vector<Sample>& samples();
const Sample& sampleNamed(const std::string& name);

/// A message of that many 16-bit items, with tags and values that print without a name of their own.
Sample numbers(size_t items);

/// What the function core makes of it.
std::vector<uint8_t> bytesOf(const Sample& sample);

/// Takes what a reader finds.
class ItemSink {
public:
    virtual ~ItemSink() = default;
    virtual void id(uint16_t id) = 0;
    virtual void number(uint16_t tag, uint8_t encoding, uint64_t value) = 0;
    virtual void bytes(uint16_t tag, const uint8_t* first, size_t count) = 0;
};

/// Keeps everything: for the proof.
class Collected : public ItemSink {
public:
    void id(uint16_t id) override { sample.id = id; }
    void number(uint16_t tag, uint8_t encoding, uint64_t value) override {
        sample.items.push_back({tag, encoding, value, {}});
    }
    void bytes(uint16_t tag, const uint8_t* first, size_t count) override {
        sample.items.push_back({tag, ENC_Bin16, 0, {first, first + count}});
    }

    Sample sample{};
};

/// Looks at each value and takes bytes along into memory of its own: for the measurement.
class Digest : public ItemSink {
public:
    void id(uint16_t id) override { sum += id; }
    void number(uint16_t tag, uint8_t encoding, uint64_t value) override { sum += tag + encoding + value; }
    void bytes(uint16_t tag, const uint8_t* first, size_t count) override;

    uint64_t sum = 0;

private:
    uint8_t taken[1024];
};

/// One way to turn a message into bytes and back.
class MessageCodec {
public:
    virtual ~MessageCodec() = default;
    virtual void build(const Sample& sample) = 0;
    /// What `build` made. False when it cannot be read.
    virtual bool read(ItemSink* sink) = 0;
};

/// Whether the codec gives back what it was given, for each sample.
void proveCodec(MessageCodec& codec, const std::string& who);

/// The codec's work on one sample.
uint64_t buildAndRead(MessageCodec& codec, const Sample& sample);

} // namespace bench
