#include "BusHostSide.h"

#include <string>

namespace truth {

namespace {

constexpr std::chrono::seconds patience{30};

class BusHostSide : public HostSide {
public:
    BusHostSide(LinkKind linkKind, const busrig::RigBoard& rigBoard, const Timing& timing)
        : kind(linkKind), board(rigBoard), rig(rigBoard) {
        // An edge that led to nothing is repeated soon: the line stays low after an exchange that failed.
        rig.command("host-options interruptRepeatMs=20,repeatWindowMs=5000,responseTimeoutMs=" +
                    std::to_string(timing.hostResponse.count() / 1000));
        rig.command("journal");
    }

    HostLinkPhysicalLayer::Properties properties() const override {
        HostLinkPhysicalLayer::Properties properties;
        properties.setString(DevicePath, kind == LinkKind::I2c ? board.i2cPath : board.spiPath);
        properties.setInt(GpioNumber, board.gpio);
        if (kind == LinkKind::I2c) properties.setInt(I2cSlaveAddress, board.i2cAddress);
        if (kind == LinkKind::Spi) properties.setInt(SpiSpeed, 1000000);
        return properties;
    }
    void setFaults(const faultywire::WireFaults& faults) override {
        std::string text =
            "wire seed=" + std::to_string(faults.seed) + ",late-by-ms=" + std::to_string(faults.lateBy.count() / 1000);
        for (size_t i = 1; i < faultywire::wireFaultCount; ++i)
            text += std::string(",") + faultywire::nameOf(static_cast<faultywire::WireFault>(i)) + "=" +
                    std::to_string(faults.rates.at(i));
        rig.command(text);
    }
    void send(const ByteArray& message) override { rig.send(message); }
    std::vector<faultywire::Entry> takeJournal() override {
        return faultywire::entriesFromText(rig.command("journal"));
    }
    void keepJournal(bool on) override { rig.command(on ? "journal" : "journal off"); }
    uint64_t messagesReceived() override { return rig.count("messagesReceived"); }
    bool waitUntilQuiet() override { return rig.waitForCount("hostIdle", 1, patience); }

private:
    const LinkKind kind;
    const busrig::RigBoard board;
    busrig::RigControl rig;
};

} // namespace

std::unique_ptr<HostSide> makeBusHost(LinkKind kind, const busrig::RigBoard& board, const Timing& timing) {
    return std::make_unique<BusHostSide>(kind, board, timing);
}

} // namespace truth
