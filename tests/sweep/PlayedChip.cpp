#include "PlayedChip.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <stdexcept>

#include <fcntl.h>
#include <linux/gpio.h>
#include <unistd.h>

namespace sweep {

namespace {

const std::string deviceFolder = "/dev/";

std::filesystem::path newFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "playedchipXXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
    return name;
}

template <std::size_t size> void put(char (&field)[size], const std::string& text) {
    std::fill_n(field, size, '\0');
    std::copy_n(text.begin(), std::min(text.size(), size - 1), field);
}

} // namespace

PlayedChip::PlayedChip() : devices(newFolder()) {
    std::ofstream(devices / "null");
}

PlayedChip::~PlayedChip() {
    if (events >= 0) ::close(events);
    std::error_code ignored;
    std::filesystem::remove_all(devices, ignored);
}

void PlayedChip::add(const std::string& name, const Chip& chip) {
    const std::lock_guard lock(chipMutex);
    std::ofstream(devices / name);
    chips[name] = chip;
}

std::string PlayedChip::folder(const char* path) {
    return path == std::string("/dev") ? devices.string() : std::string();
}

PlayedKernel::Answer PlayedChip::open(const char* path, int flags) {
    const std::string name = std::string(path).substr(0, deviceFolder.size()) == deviceFolder
                                 ? std::string(path).substr(deviceFolder.size())
                                 : std::string();
    const std::lock_guard lock(chipMutex);
    const auto chip = chips.find(name);
    if (chip == chips.end()) return PlayedBoard::open(path, flags);
    if (chip->second.openError != 0) return -chip->second.openError;
    const int fd = ::open("/dev/null", flags);
    openChips[fd] = name;
    return fd;
}

void PlayedChip::closing(int fd) {
    {
        const std::lock_guard lock(chipMutex);
        openChips.erase(fd);
        if (fd == line) line = -1;
    }
    PlayedBoard::closing(fd);
}

PlayedKernel::Answer PlayedChip::ioctl(int fd, unsigned long request, void* argument) {
    const std::lock_guard lock(chipMutex);
    if (fd == line && request == GPIO_V2_LINE_GET_VALUES_IOCTL) {
        auto& values = *static_cast<gpio_v2_line_values*>(argument);
        values.bits = high ? values.mask & 1 : 0;
        return 0;
    }
    const auto opened = openChips.find(fd);
    if (opened == openChips.end()) return PlayedBoard::ioctl(fd, request, argument);
    const Chip& chip = chips.at(opened->second);
    if (!chip.answers) return -ENOTTY;
    switch (request) {
    case GPIO_GET_CHIPINFO_IOCTL: tellChip(chip, opened->second, argument); return 0;
    case GPIO_V2_GET_LINEINFO_IOCTL: return tellLine(chip, argument);
    case GPIO_V2_GET_LINE_IOCTL: return requestLine(chip, deviceFolder + opened->second, argument);
    default: return -ENOTTY;
    }
}

void PlayedChip::tellChip(const Chip& chip, const std::string& name, void* argument) {
    auto& info = *static_cast<gpiochip_info*>(argument);
    put(info.name, name);
    put(info.label, chip.label);
    info.lines = static_cast<std::uint32_t>(chip.lines.size());
}

PlayedKernel::Answer PlayedChip::tellLine(const Chip& chip, void* argument) const {
    auto& info = *static_cast<gpio_v2_line_info*>(argument);
    if (!knowsLines || info.offset >= chip.lines.size()) return -EINVAL;
    put(info.name, chip.lines[info.offset]);
    put(info.consumer, holder);
    info.flags = isUsed ? GPIO_V2_LINE_FLAG_USED : 0;
    return 0;
}

PlayedKernel::Answer PlayedChip::requestLine(const Chip& chip, const std::string& path, void* argument) {
    auto& request = *static_cast<gpio_v2_line_request*>(argument);
    if (requestError != 0) return -requestError;
    if (request.num_lines != 1 || request.offsets[0] >= chip.lines.size()) return -EINVAL;
    if (line >= 0) return -EBUSY;
    const bool debounced = request.config.num_attrs == 1 && request.config.attrs[0].mask == 1 &&
                           request.config.attrs[0].attr.id == GPIO_V2_LINE_ATTR_ID_DEBOUNCE;
    asked.push_back({path, request.offsets[0], request.config.flags,
                     debounced ? request.config.attrs[0].attr.debounce_period_us : 0, request.consumer,
                     request.event_buffer_size});
    if (events >= 0) ::close(events);
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) return -errno;
    line = ends[0];
    events = ends[1];
    number = 0;
    request.fd = line;
    return 0;
}

PlayedKernel::Answer PlayedChip::poll(pollfd* entries, std::size_t count, int timeout) {
    {
        const std::lock_guard lock(chipMutex);
        if (count > 0 && entries[0].fd == line && line >= 0) lastTimeout = timeout;
    }
    return PlayedBoard::poll(entries, count, timeout);
}

std::chrono::nanoseconds PlayedChip::clock() {
    return now().value();
}

void PlayedChip::pulse(unsigned count, unsigned skipped) {
    const auto time = clock();
    const std::lock_guard lock(chipMutex);
    number += skipped;
    report(time, count);
}

void PlayedChip::pulseAt(std::chrono::nanoseconds time) {
    const std::lock_guard lock(chipMutex);
    report(time, 1);
}

void PlayedChip::report(std::chrono::nanoseconds time, unsigned count) {
    std::vector<gpio_v2_line_event> all(count);
    for (gpio_v2_line_event& event : all) {
        event.timestamp_ns = static_cast<std::uint64_t>(time.count());
        event.id = GPIO_V2_LINE_EVENT_FALLING_EDGE;
        event.offset = asked.back().offset;
        event.seqno = event.line_seqno = ++number;
    }
    const std::size_t size = count * sizeof(gpio_v2_line_event);
    if (::write(events, all.data(), size) != static_cast<ssize_t>(size)) throw std::runtime_error("no event");
}

void PlayedChip::setLevel(bool isHigh) {
    const std::lock_guard lock(chipMutex);
    high = isHigh;
}

void PlayedChip::remove() {
    const std::lock_guard lock(chipMutex);
    ::close(events);
    events = -1;
}

std::vector<PlayedChip::Request> PlayedChip::requests() const {
    const std::lock_guard lock(chipMutex);
    return asked;
}

bool PlayedChip::isLineOpen() const {
    const std::lock_guard lock(chipMutex);
    return line >= 0;
}

int PlayedChip::timeout() const {
    const std::lock_guard lock(chipMutex);
    return lastTimeout;
}

} // namespace sweep
