#include "hostlinkclient/session/RecordedFiles.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <capture/PcapngWriter.h>

namespace hostlink {

namespace {

using descriptor::Descriptor;
using descriptor::repeatInterrupted;

constexpr uint64_t smallestRing = 1 << 18;
constexpr uint64_t filesOfRing = 4;
constexpr mode_t readableByGroup = 0640;
// What a short file takes on a disk: a program that starts again and again shall not leave any number of them.
constexpr uint64_t diskBlock = 4096;

struct KeptFile {
    uint64_t number;
    std::string path;
    uint64_t size;
};

std::vector<KeptFile> filesIn(const std::string& folder) {
    std::vector<KeptFile> found;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
        const auto file = capture::ringFileOf(entry.path().filename().string());
        std::error_code gone;
        const uint64_t size = file ? entry.file_size(gone) : 0;
        if (file && !gone) found.push_back({file->number, entry.path().string(), std::max(size, diskBlock)});
    }
    std::sort(found.begin(), found.end(), [](const auto& one, const auto& other) { return one.number < other.number; });
    return found;
}

// Whoever writes a file of a ring holds it locked.
bool isBeingWritten(const std::string& path) {
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    return file && ::flock(file.get(), LOCK_SH | LOCK_NB) != 0;
}

std::string programName() {
    return program_invocation_short_name;
}

} // namespace

RecordedFiles::RecordedFiles(const RecordingRing& ring, std::string writerName)
    : folder(ring.folder), bytes(std::max(ring.bytes, smallestRing)), writer(std::move(writerName)) {}

RecordedFiles::RecordedFiles(const RecordingFile& oneFile) : bytes(0), present(oneFile.path) {}

uint64_t RecordedFiles::limit() const {
    return bytes / filesOfRing;
}

std::size_t RecordedFiles::longestPiece() const {
    constexpr std::size_t ample = 1 << 20;
    return isRing() ? std::min<std::size_t>(ample, limit() / 2) : ample;
}

std::string RecordedFiles::problemWith(const std::string& what, int error) const {
    return "cannot " + what + " " + (present.empty() ? folder : present) + ": " +
           std::generic_category().message(error);
}

std::string RecordedFiles::begin() {
    if (!isRing()) {
        constexpr mode_t asUsual = 0666;
        return beginFile(::open(present.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, asUsual));
    }
    std::string problem = beginRingFile();
    announce();
    return problem;
}

std::string RecordedFiles::beginFile(int fd) {
    if (fd < 0) return problemWith("make", errno);
    file = Descriptor(fd);
    size = 0;
    interfacesOfFile = 0;
    capture::Bytes head;
    capture::appendSection(head, programName() + ", process " + std::to_string(::getpid()));
    std::string problem = append(head);
    if (!problem.empty()) file.reset();
    return problem;
}

std::string RecordedFiles::beginRingFile() {
    file.reset(); // which is one that may be removed from now on
    present.clear();
    std::error_code error;
    std::filesystem::create_directories(folder, error); // what is wrong with it shows in the next step
    const auto kept = filesIn(folder);
    if (!kept.empty()) lastNumber = std::max(lastNumber, kept.back().number);
    makeRoom();
    // Another recorder may take the number meanwhile.
    int fd = -1;
    do {
        present = folder + "/" + capture::nameOf(capture::RingFile{++lastNumber, writer});
        fd = ::open(present.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, readableByGroup);
    } while (fd < 0 && errno == EEXIST);
    if (fd >= 0) ::flock(fd, LOCK_EX | LOCK_NB);
    return beginFile(fd);
}

// So much goes that a whole file fits.
void RecordedFiles::makeRoom() const {
    std::vector<KeptFile> kept = filesIn(folder);
    uint64_t total = limit();
    for (const KeptFile& one : kept) total += one.size;
    for (const KeptFile& one : kept) {
        if (total <= bytes) return;
        if (!isBeingWritten(one.path) && ::unlink(one.path.c_str()) == 0) total -= one.size;
    }
}

// Those that this file does not have yet.
void RecordedFiles::appendMissing(capture::Bytes& all, const std::vector<capture::Interface>& interfaces) const {
    for (std::size_t i = interfacesOfFile; i < interfaces.size(); ++i) capture::appendInterface(all, interfaces[i]);
}

std::string RecordedFiles::write(const capture::Bytes& packets, const std::vector<capture::Interface>& interfaces) {
    capture::Bytes all;
    appendMissing(all, interfaces);
    if (!file || (isRing() && size + all.size() + packets.size() > limit())) {
        std::string problem = isRing() ? beginRingFile() : begin();
        if (!problem.empty()) return problem;
        all.clear();
        appendMissing(all, interfaces);
    }
    all.insert(all.end(), packets.begin(), packets.end());
    std::string problem = append(all);
    if (problem.empty()) interfacesOfFile = interfaces.size();
    return problem;
}

// What a failure leaves behind the end is taken away, and else overwritten by what comes next.
std::string RecordedFiles::append(const capture::Bytes& data) {
    std::size_t written = 0;
    while (written < data.size()) {
        const ssize_t count = repeatInterrupted([&] {
            return ::pwrite(file.get(), data.data() + written, data.size() - written,
                            static_cast<off_t>(size + written));
        });
        if (count <= 0) {
            std::string problem = problemWith("write", errno);
            [[maybe_unused]] const int cut = ::ftruncate(file.get(), static_cast<off_t>(size));
            return problem;
        }
        written += static_cast<std::size_t>(count);
    }
    size += written;
    return "";
}

// Without the name, which not every folder's fits into, a recorder is only harder to find.
void RecordedFiles::announce() {
    std::error_code error;
    const std::string place = std::filesystem::absolute(folder, error).lexically_normal().string();
    const auto name = capture::announcementOf({writer, place});
    if (!name) return;
    announced = Descriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path + 1, name->data(), name->size()); // a zero in front: in no file system
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name->size());
    [[maybe_unused]] const int bound = ::bind(announced.get(), reinterpret_cast<const sockaddr*>(&address), length);
}

} // namespace hostlink
