/// @file
/// A bus without combined transactions.
#pragma once

#include <memory>
#include <utility>

#include <serialcomm/SerialBus.h>

/// Makes of each `writeRead` a `write` and a `read`, each with its own start and stop: for devices that take the stop
/// for the end of what they are to answer, and adapters that cannot combine. Another master may get in between.
class TwoTransactions : public SerialBus {
public:
    explicit TwoTransactions(std::unique_ptr<SerialBus> combining) : bus(std::move(combining)) {}

    bool open() override { return bus->open(); }
    ByteArray read(int size) override { return bus->read(size); }
    bool write(const ByteArray& data) override { return bus->write(data); }
    ByteArray writeRead(const ByteArray& data, int size) override {
        if (!bus->write(data)) return {};
        return bus->read(size);
    }

private:
    const std::unique_ptr<SerialBus> bus;
};
