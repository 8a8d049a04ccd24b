// The start mark in bytes that hold none, which is how long a search can take.
#include <memory>

#include <hostlink/HostLinkLib.h>

#include "Case.h"
#include "floors/ByteLoop.h"

namespace bench {

namespace {

using Bytes = std::vector<uint8_t>;
using Scan = uint32_t (*)(const uint8_t*, uint16_t);

// Any bytes but the mark's first.
Bytes withoutFF(size_t size) {
    Bytes bytes(size);
    for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<uint8_t>(i * 7 % 255);
    return bytes;
}

void proveScan(Scan scan, const std::string& who) {
    for (const int filling : {0x00, 0xFF, 0xFE}) {
        for (uint16_t at = 0; at < 40; ++at) {
            Bytes bytes(42, static_cast<uint8_t>(filling));
            bytes[at] = 0xFF;
            bytes[at + 1u] = 0xFE;
            prove(scan(bytes.data(), 42) == at, who, "a mark at " + std::to_string(at));
        }
    }
    for (const Bytes& none : {withoutFF(4096), Bytes(4096, 0xFF)})
        prove(scan(none.data(), 4096) == HOSTLINK_NO_SOP, who, "the absence of a mark");
}

} // namespace

void addScanCases(Cases* cases) {
    const auto add = [cases](const char* subject, Scan scan, const char* what, const Bytes& bytes) {
        proveScan(scan, subject);
        const auto kept = std::make_shared<const Bytes>(bytes);
        cases->push_back({std::string("start mark, ") + what, subject, std::to_string(bytes.size()),
                          [=] { return uint64_t{scan(kept->data(), static_cast<uint16_t>(kept->size()))}; }});
    };
    for (const size_t size : {64, 256, 1024, 4096, 16384}) {
        add("function core", hostLinkPacketHasSop, "garbage", withoutFF(size));
        add("function core", hostLinkPacketHasSop, "FF only", Bytes(size, 0xFF));
        add("byte loop", scanByteByByte, "garbage", withoutFF(size));
        add("byte loop", scanByteByByte, "FF only", Bytes(size, 0xFF));
    }
}

} // namespace bench
