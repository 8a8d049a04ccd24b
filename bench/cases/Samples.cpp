#include "Samples.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <stdexcept>

#include "Case.h"

namespace bench {

namespace {

std::vector<uint8_t> textBytes(const char* text) {
    return {text, text + std::strlen(text)};
}

template <typename T> uint64_t asNumber(T value) {
    return static_cast<uint64_t>(static_cast<int64_t>(value));
}

template <typename T> void addExtremes(std::vector<Item>* items, uint8_t encoding) {
    for (const T value : {std::numeric_limits<T>::min(), static_cast<T>(1), std::numeric_limits<T>::max()})
        items->push_back({static_cast<uint16_t>(items->size()), encoding, asNumber(value), {}});
}

std::vector<Item> everyEncoding() {
    std::vector<Item> items;
    addExtremes<uint8_t>(&items, ENC_Uint8);
    addExtremes<uint16_t>(&items, ENC_Uint16);
    addExtremes<uint32_t>(&items, ENC_Uint32);
    addExtremes<uint64_t>(&items, ENC_Uint64);
    addExtremes<int8_t>(&items, ENC_Int8);
    addExtremes<int16_t>(&items, ENC_Int16);
    addExtremes<int32_t>(&items, ENC_Int32);
    addExtremes<int64_t>(&items, ENC_Int64);
    items.push_back({0xFFFF, ENC_Nil, 0, {}});
    items.push_back({0xFFFE, ENC_Bin16, 0, {}});
    items.push_back({0xFFFD, ENC_Bin16, 0, {0xFF, 0xFE, 0x00}});
    return items;
}

std::vector<Item> manyItems() {
    const std::vector<Item> kinds = everyEncoding();
    std::vector<Item> items;
    while (items.size() < 255) items.push_back(kinds[items.size() % kinds.size()]);
    return items;
}

std::vector<Sample> makeSamples() {
    return {
        {"typical",
         MSG_SetState,
         {{0x0009, ENC_Uint8, 40, {}},
          {0x0013, ENC_Uint16, 320, {}},
          {0x000A, ENC_Uint32, 123456, {}},
          {0x0018, ENC_Int32, asNumber(-7), {}},
          {0x000C, ENC_Bin16, 0, textBytes("A track title, 24 bytes ")}}},
        {"item900", MSG_DataTransfer, {{2, ENC_Bin16, 0, std::vector<uint8_t>(900, 0x5A)}}},
        {"empty", MSG_SetState, {}},
        {"every encoding", MSG_SetState, everyEncoding()},
        {"255 items", MSG_SetState, manyItems()},
    };
}

} // namespace

const std::vector<Sample>& samples() {
    static const std::vector<Sample> all = makeSamples();
    return all;
}

const Sample& sampleNamed(const std::string& name) {
    const auto found =
        std::find_if(samples().begin(), samples().end(), [&](const Sample& s) { return s.name == name; });
    if (found == samples().end()) throw std::invalid_argument("no sample " + name);
    return *found;
}

Sample numbers(size_t items) {
    Sample sample{std::to_string(items), MSG_SetState, {}};
    for (size_t i = 0; i < items; ++i) sample.items.push_back({0x0013, ENC_Uint16, 0x1000 + i, {}}); // a bitrate
    return sample;
}

void Digest::bytes(uint16_t tag, const uint8_t* first, size_t count) {
    const size_t taking = std::min(count, sizeof taken);
    if (taking != 0) std::memcpy(taken, first, taking);
    sum += tag + count + (taking != 0 ? taken[taking - 1] : 0);
}

void proveCodec(MessageCodec& codec, const std::string& who) {
    for (const Sample& sample : samples()) {
        Collected found;
        codec.build(sample);
        prove(codec.read(&found) && found.sample == sample, who, "the sample \"" + sample.name + "\"");
    }
}

uint64_t buildAndRead(MessageCodec& codec, const Sample& sample) {
    Digest digest;
    codec.build(sample);
    codec.read(&digest);
    return digest.sum;
}

} // namespace bench
