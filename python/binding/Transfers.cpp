// Files and tunnels.
#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <sstream>
#include <string>
#include <utility>

#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <hostlinkclient/Transfer.h>
#include <hostlinkclient/Tunnel.h>

#include "BoundClient.h"
#include "CarriedOut.h"
#include "Conversions.h"
#include "Interpreter.h"
#include "Parts.h"

namespace binding {

using std::chrono::milliseconds;

namespace {

/// Files that the host sends, in memory until they are taken. The library's thread brings them, any thread takes them.
class Arrivals {
public:
    explicit Arrivals(uint64_t mostBytes) : limit(mostBytes) {}

    struct File {
        hostlink::ReceivedFile end;
        std::string data;
    };

    bool begin(const hostlink::IncomingFile& file) {
        growing.clear();
        return file.size.value_or(0) <= limit;
    }
    bool write(const unsigned char* data, size_t size) {
        if (growing.size() + size > limit) return false;
        growing.append(data, data + size);
        return true;
    }
    void end(const hostlink::ReceivedFile& file) {
        const std::lock_guard lock(mutex);
        files.push_back({file, std::move(growing)});
        growing.clear();
        changed.notify_all();
    }
    std::optional<File> next(milliseconds within) {
        std::unique_lock lock(mutex);
        if (!changed.wait_for(lock, within, [this] { return !files.empty(); })) return std::nullopt;
        File file = std::move(files.front());
        files.pop_front();
        return file;
    }

private:
    const uint64_t limit;
    std::string growing; // of the file under way; on the library's thread
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<File> files; // guarded by the mutex
};

/// Takes files as long as it lives.
struct Incoming {
    std::shared_ptr<Arrivals> arrivals;
    hostlink::Receiving receiving;
};

hostlink::SendOptions sendOptionsOf(const py::dict& from) {
    hostlink::SendOptions options;
    take(from, "name", options.name);
    take(from, "chunk", options.chunk);
    take(from, "answer_time", options.answerTime);
    take(from, "patience", options.patience);
    take(from, "restarts", options.restarts);
    return options;
}

std::shared_ptr<Incoming> receive(BoundClient& self, uint64_t limit, int64_t patience) {
    const auto arrivals = std::make_shared<Arrivals>(limit);
    hostlink::ReceiveOptions options;
    options.begin = [arrivals](const hostlink::IncomingFile& file) { return arrivals->begin(file); };
    options.write = [arrivals](const unsigned char* data, size_t size) { return arrivals->write(data, size); };
    options.end = [arrivals](const hostlink::ReceivedFile& file) { arrivals->end(file); };
    options.patience = milliseconds(patience);
    const auto receiving = carriedOut([&] { return self->receiveFiles(options); });
    return std::make_shared<Incoming>(Incoming{arrivals, *receiving});
}

hostlink::Tunnel tunnel(BoundClient& self, const py::dict& from) {
    hostlink::TunnelSettings settings;
    take(from, "address", settings.address);
    take(from, "port", settings.port);
    take(from, "connections", settings.connections);
    take(from, "patience", settings.patience);
    return *carriedOut([&] { return self->tunnel(settings); });
}

py::dict statisticsOf(const hostlink::TunnelStatistics& counted) {
    py::dict all;
    all["open"] = counted.open;
    all["opened"] = counted.opened;
    all["refused"] = counted.refused;
    all["finished"] = counted.finished;
    all["broken"] = counted.broken;
    all["bytesToHost"] = counted.bytesToHost;
    all["bytesFromHost"] = counted.bytesFromHost;
    all["repeated"] = counted.repeated;
    all["damaged"] = counted.damaged;
    return all;
}

} // namespace

void defineTransfers(py::module_& module) {
    using hostlink::Sending;
    py::class_<Sending>(module, "Sending")
        .def("wait_for", [](const Sending& self,
                            int64_t time) { return unlocked([&] { return self.waitFor(milliseconds(time)); }); })
        .def("result",
             [](const Sending& self) {
                 const auto sent = carriedOut([&] { return self.wait(); });
                 return py::make_tuple(sent->bytes, sent->checksum, sent->chunks, sent->repeated, sent->restarts,
                                       sent->took.count());
             })
        .def("progress",
             [](const Sending& self) {
                 const hostlink::Progress progress = unlocked([&] { return self.progress(); });
                 std::optional<int64_t> left;
                 if (progress.left) left = progress.left->count();
                 return py::make_tuple(progress.bytes, progress.total, progress.bytesPerSecond, left);
             })
        .def("cancel", [](const Sending& self) { unlocked([&] { self.cancel(); }); });
    py::class_<Incoming, std::shared_ptr<Incoming>>(module, "Receiving")
        .def("next",
             [](const Incoming& self, int64_t within) -> py::object {
                 const auto file = unlocked([&] { return self.arrivals->next(milliseconds(within)); });
                 if (!file) return py::none();
                 return py::make_tuple(textOf(file->end.name), hostlink::nameOf(file->end.end), file->end.bytes,
                                       file->end.checksum, py::bytes(file->data));
             })
        .def("cancel", [](const Incoming& self) { unlocked([&] { self.receiving.cancel(); }); })
        .def("end", [](Incoming& self) { unlocked([&] { self.receiving.end(); }); });
    py::class_<hostlink::Tunnel>(module, "Tunnel")
        .def("port", &hostlink::Tunnel::port)
        .def("statistics", [](const hostlink::Tunnel& self) { return statisticsOf(self.statistics()); })
        .def("end", [](hostlink::Tunnel& self) { unlocked([&] { self.end(); }); });
}

void defineTransfersOf(py::class_<BoundClient, std::shared_ptr<BoundClient>>& type) {
    type.def("begin_sending", [](BoundClient& self, const std::string& path, const py::dict& how) {
        return *carriedOut([&, options = sendOptionsOf(how)] { return self->beginSending(path, options); });
    });
    type.def("begin_sending_bytes", [](BoundClient& self, const py::bytes& data, const py::dict& how) {
        return *carriedOut([&, text = std::string(data), options = sendOptionsOf(how)] {
            return self->beginSending(std::make_shared<std::istringstream>(text), options);
        });
    });
    type.def("receive", &receive);
    type.def("tunnel", &tunnel);
}

} // namespace binding
