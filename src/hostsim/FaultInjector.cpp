#include "FaultInjector.h"

namespace hostsim {

namespace {

bool isDue(unsigned every, uint64_t number) {
    return every != 0 && number % every == 0;
}

constexpr unsigned char startMarkFirst = 0xFF;
constexpr unsigned char startMarkSecond = 0xFE;
constexpr uint64_t halfMarkEvery = 4; // a byte drawn at random is one in 256 times only

} // namespace

FaultInjector::FaultInjector(const FaultOptions& faults, HostCounts& hostCounts)
    : options(faults), counts(hostCounts), random(faults.seed) {}

bool FaultInjector::inject(uint64_t HostCounts::*count) {
    if (options.limit && counts.faults() >= *options.limit) return false;
    counts.*count += 1;
    return true;
}

AnswerFault FaultInjector::answerFault(uint64_t packetNumber, unsigned attempt) {
    if (isDue(options.silentEvery, packetNumber) && inject(&HostCounts::faultSilences)) return AnswerFault::Silence;
    if (isDue(options.ackNackEvery, packetNumber) && inject(&HostCounts::faultAckNacks)) return AnswerFault::AckNack;
    if (isDue(options.neitherEvery, packetNumber) && inject(&HostCounts::faultNeithers)) return AnswerFault::Neither;
    if (attempt <= options.nackFirst && inject(&HostCounts::faultNacks)) return AnswerFault::Nack;
    return AnswerFault::None;
}

Time FaultInjector::answerDelay(uint64_t packetNumber) {
    const bool late = isDue(options.lateEvery, packetNumber) && inject(&HostCounts::faultLateAnswers);
    return late ? options.lateBy : Time::zero();
}

bool FaultInjector::repeats(uint64_t packetNumber) {
    return isDue(options.repeatEvery, packetNumber) && inject(&HostCounts::faultRepeatedPackets);
}

ByteArray FaultInjector::garbage(uint64_t packetNumber) {
    if (!isDue(options.garbageEvery, packetNumber) || options.garbageBytes == 0) return {};
    if (!inject(&HostCounts::faultGarbage)) return {};
    ByteArray bytes(options.garbageBytes);
    unsigned char before = 0;
    for (unsigned char& byte : bytes) {
        byte = randomByte();
        if (before == startMarkFirst && byte == startMarkSecond) byte = 0;
        before = byte;
    }
    if (counts.faultGarbage % halfMarkEvery == 0) bytes.back() = startMarkFirst;
    return bytes;
}

bool FaultInjector::splitsWrites() {
    return options.splitWrites && inject(&HostCounts::faultSplitWrites);
}

unsigned FaultInjector::burst() {
    return options.burst != 0 && inject(&HostCounts::faultBursts) ? options.burst : 0;
}

bool FaultInjector::damagesChunk(uint64_t chunkNumber) {
    return isDue(options.damageChunkEvery, chunkNumber) && inject(&HostCounts::faultDamagedChunks);
}

bool FaultInjector::losesChunk(uint64_t chunkNumber) {
    return isDue(options.loseChunkEvery, chunkNumber) && inject(&HostCounts::faultLostChunks);
}

unsigned FaultInjector::lateTransfers() {
    return options.lateTransfers != 0 && inject(&HostCounts::faultLateTransfers) ? options.lateTransfers : 0;
}

bool FaultInjector::refusesIrq(unsigned attempt) {
    return attempt <= options.irqNackFirst && inject(&HostCounts::faultIrqNacks);
}

bool FaultInjector::announcesSize(unsigned announced) {
    return announced < options.irqAnnounceFirst && inject(&HostCounts::faultIrqAnnouncements);
}

bool FaultInjector::happens(double rate) {
    constexpr double inverse = 1.0 / 9007199254740992.0; // 2^-53: 53 random bits make a double below 1
    return rate > 0 && static_cast<double>(random() >> 11) * inverse < rate;
}

unsigned char FaultInjector::randomByte() {
    return static_cast<unsigned char>(random() & 0xFF);
}

ByteArray FaultInjector::disturb(const ByteArray& bytes, const ByteNoise& noise) {
    if (!noise.any()) return bytes;
    ByteArray disturbed;
    for (const unsigned char byte : bytes) {
        if (happens(noise.insertRate) && inject(&HostCounts::faultInsertedBytes)) disturbed.push_back(randomByte());
        if (happens(noise.dropRate) && inject(&HostCounts::faultDroppedBytes)) continue;
        const bool corrupted = happens(noise.corruptRate) && inject(&HostCounts::faultCorruptedBytes);
        const auto mask = static_cast<unsigned char>(corrupted ? 1 + random() % 255 : 0);
        disturbed.push_back(byte ^ mask);
        if (happens(noise.repeatRate) && inject(&HostCounts::faultRepeatedBytes)) disturbed.push_back(disturbed.back());
    }
    return disturbed;
}

} // namespace hostsim
