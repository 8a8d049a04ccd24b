// The place of the host in the bus rig, in which the recorded host is played.
#include <algorithm>
#include <exception>
#include <map>
#include <sstream>
#include <utility>

#include <hostlink/HostLinkLib.h>
#include <rig/RigControl.h>

#include "BusPacket.h"
#include "PlayPort.h"
#include "command/Hex.h"
#include "command/UsageError.h"

namespace command {

namespace {

constexpr const busrig::RigBoard& board = busrig::firstBoard;

class RigPort : public PlayPort {
public:
    RigPort(const std::vector<BusExchange>& exchanges, const std::string& kind)
        : name(kind == "spi" ? board.spiPath : board.i2cPath) {
        for (const BusExchange& exchange : exchanges) answers[exchange.when.order] = &exchange.reads;
        rig.command("slave played");
    }
    RigPort(const RigPort&) = delete;
    RigPort& operator=(const RigPort&) = delete;
    ~RigPort() override {
        try {
            rig.command("slave auto");
        } catch (const std::exception&) { // the rig has gone
        }
    }

    const std::string& path() const override { return name; }

    // Low until it is asked; for one that was not asked, another edge.
    bool say(const Step& /*step*/) override {
        rig.line(board.gpio, true);
        rig.line(board.gpio, false);
        return true;
    }

    ByteArray read(std::chrono::milliseconds within) override {
        const auto until = std::chrono::steady_clock::now() + within;
        for (auto left = within; left >= left.zero();) {
            std::istringstream phase(rig.command("phase " + std::to_string(left.count())));
            std::string way;
            std::string what;
            if (!(phase >> way >> what)) return {};
            if (way == "w") return written(*busrig::fromHex(what));
            give();
            left = std::chrono::floor<std::chrono::milliseconds>(until - std::chrono::steady_clock::now());
        }
        return {};
    }

    void taken(const Step* step) override {
        const auto found = step == nullptr ? answers.end() : answers.find(step->order);
        answer = found == answers.end() ? nullptr : found->second;
        given = 0;
    }

    void leave() override {
        rig.command("slave manual");
        rig.line(board.gpio, true);
    }
    bool isGone() const override { return false; } // programs come and go

private:
    ByteArray written(const ByteArray& bytes) {
        answer = nullptr;
        if (HostLinkPacket::frameType(bytes) == FRT_Irq) rig.line(board.gpio, true);
        return bytes;
    }

    // Who reads more often than in the recording gets the last of it again, as from a host.
    void give() {
        const bool isThere = answer != nullptr && !answer->empty();
        const ByteArray bytes = isThere ? (*answer)[std::min(given++, answer->size() - 1)] : ByteArray();
        rig.command("give " + busrig::toHex(bytes));
    }

    busrig::RigControl rig{board};
    const std::string name;
    std::map<std::size_t, const std::vector<ByteArray>*> answers; // by the order of what they answer
    const std::vector<ByteArray>* answer = nullptr;               // to what was written last; null: none
    std::size_t given = 0;                                        // how many of them
};

} // namespace

std::unique_ptr<PlayPort> standInTheRig(const std::vector<BusExchange>& exchanges, const std::string& kind) {
    if (!busrig::RigControl::isInRig())
        throw UsageError("the host of a bus is played in the bus rig: begin with run-in-rig.sh; or name the bus of a "
                         "host, for which the module is played");
    return std::make_unique<RigPort>(exchanges, kind);
}

} // namespace command
