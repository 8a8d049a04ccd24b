#include "hostlinkclient/session/ReceivingRun.h"

#include <system_error>
#include <utility>

#include "hostlinkclient/session/Calling.h"

// Threads: the files' own (Pump) holds the machine and calls the program; the client's hands in what comes.

namespace hostlink {

namespace {

exchange::ReceivingOptions machineOptions(const ReceiveOptions& options) {
    exchange::ReceivingOptions machine;
    machine.patience = options.patience;
    return machine;
}

FileEnd publicEnd(exchange::ReceivingEnd end) {
    using exchange::ReceivingEnd;
    switch (end) {
    case ReceivingEnd::Complete: return FileEnd::Complete;
    case ReceivingEnd::Damaged: return FileEnd::Damaged;
    case ReceivingEnd::Cancelled: return FileEnd::Cancelled;
    case ReceivingEnd::Silent: return FileEnd::Silent;
    case ReceivingEnd::Unwritable: return FileEnd::Unwritable;
    case ReceivingEnd::Aborted: break;
    }
    return FileEnd::Aborted;
}

} // namespace

Receiving::Run::Run(std::shared_ptr<Core> with, ReceiveOptions receiveOptions)
    : core(std::move(with)), options(std::move(receiveOptions)), receiver(*this, machineOptions(options)) {}

std::optional<Failure> Receiving::Run::start() {
    const std::string what = "receiving files: ";
    if (!options.write) return Failure(Outcome::BadArgument, what + "nothing says where the bytes go. Set `write`");
    if (options.patience.count() <= 0) return Failure(Outcome::BadArgument, what + "a time of nothing or less");
    Keeping keeping(*core, Role::Receiver, shared_from_this());
    if (!keeping) return Failure(Outcome::BadArgument, what + "somebody does already, or the client was closed");
    pump.post([this] { Calling::mark(core.get()); });
    listening = core->listen(MSG_DataTransfer, [weak = weak_from_this()](const ByteArray& message) {
        if (const auto self = weak.lock()) self->pump.post([self = self.get(), message] { self->take(message); });
    });
    try {
        pump.start([this](exchange::Time now) {
            receiver.advance(now);
            tellEnd();
            return receiver.deadline();
        });
    } catch (const std::system_error& error) {
        listening.reset();
        return Failure(Outcome::NotSent, what + "no thread for it: " + error.what());
    }
    keeping.goOn();
    return std::nullopt;
}

void Receiving::Run::take(const ByteArray& message) {
    Question answer;
    answer.message = receiver.take(message, Pump::now());
    answer.deadline = std::chrono::steady_clock::now() + options.patience;
    core->submit(std::move(answer), nullptr, [](const Matcher::End&) {}); // the host asks again when it gets lost
    tellEnd();
}

void Receiving::Run::cancel() {
    pump.post([this] { cancelNow(); });
}

void Receiving::Run::cancelNow() {
    receiver.cancel();
    tellEnd();
}

void Receiving::Run::finish() {
    listening.reset();
    close();
    core->release(Role::Receiver, this);
}

void Receiving::Run::close() {
    pump.post([this] { cancelNow(); });
    pump.finish();
}

bool Receiving::Run::begin(const std::string& name, std::optional<uint32_t> size) {
    tellEnd(); // of the file in whose place this one comes
    return !options.begin || options.begin({name, size});
}

bool Receiving::Run::write(const uint8_t* data, size_t size) {
    return options.write(data, size);
}

void Receiving::Run::end(const exchange::ReceivingReport& report) {
    over = report;
}

// A program that ends with its file must not take the last answer away from the host: that is on its way by now.
void Receiving::Run::tellEnd() {
    const auto report = std::exchange(over, std::nullopt);
    if (report && options.end) options.end({report->name, publicEnd(report->end), report->bytes, report->checksum});
}

} // namespace hostlink
