#include "Follower.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <set>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace command {

namespace {

bool isSame(const capture::RunningRecorder& one, const capture::RunningRecorder& other) {
    return one.writer == other.writer && one.folder == other.folder;
}

// The numbers of its files that are there.
std::set<uint64_t> filesOf(const capture::RunningRecorder& recorder) {
    std::set<uint64_t> numbers;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(recorder.folder, error)) {
        const auto ringFile = capture::ringFileOf(entry.path().filename().string());
        if (ringFile && ringFile->writer == recorder.writer) numbers.insert(ringFile->number);
    }
    return numbers;
}

} // namespace

std::vector<capture::RunningRecorder> runningRecorders() {
    std::vector<capture::RunningRecorder> found;
    std::ifstream sockets("/proc/net/unix");
    for (std::string line; std::getline(sockets, line);) {
        const auto recorder = capture::runningRecorderOf(line);
        if (recorder) found.push_back(*recorder);
    }
    return found;
}

Follower::Follower(capture::RunningRecorder followed) : recorder(std::move(followed)) {
    const std::set<uint64_t> numbers = filesOf(recorder);
    if (!numbers.empty()) number = *numbers.rbegin() - 1;
    if (openNext()) readOn(nullptr);
}

bool Follower::hasNext() const {
    const std::set<uint64_t> numbers = filesOf(recorder);
    return !numbers.empty() && *numbers.rbegin() > number;
}

bool Follower::openNext() {
    const std::set<uint64_t> numbers = filesOf(recorder);
    const auto next = numbers.upper_bound(number);
    if (next == numbers.end()) return false;
    const std::string path = recorder.folder + "/" + capture::nameOf(capture::RingFile{*next, recorder.writer});
    descriptor::Descriptor opened(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!opened) {
        wrong = "cannot read " + path + ": " + std::generic_category().message(errno);
        return false;
    }
    number = *next;
    file = std::move(opened);
    return true;
}

// To the end of the file as it is.
void Follower::readOn(CaptureSink* into) {
    std::array<uint8_t, 65536> bytes;
    for (;;) {
        const ssize_t count = file ? ::read(file.get(), bytes.data(), bytes.size()) : 0;
        if (count <= 0) return;
        reader.append(bytes.data(), static_cast<std::size_t>(count));
        while (const auto packet = reader.next())
            if (into != nullptr) handOn(*packet, *into);
    }
}

void Follower::handOn(const capture::Packet& packet, CaptureSink& into) {
    auto known = interfaces.find(packet.interface);
    if (known == interfaces.end())
        known = interfaces.emplace(packet.interface, into.add(reader.interfaces()[packet.interface])).first;
    into.write(packet, known->second);
}

// The recorder is asked for first: what it wrote at last is there by then. A file that has a successor is complete.
bool Follower::follow(CaptureSink& into) {
    const auto running = runningRecorders();
    const bool runs =
        std::any_of(running.begin(), running.end(), [this](const auto& one) { return isSame(one, recorder); });
    for (bool isComplete = true; isComplete;) {
        isComplete = hasNext();
        readOn(&into);
        if (isComplete) isComplete = openNext();
    }
    if (wrong.empty() && !reader.problem().empty()) wrong = "its file is damaged, " + reader.problem();
    return runs && wrong.empty();
}

} // namespace command
