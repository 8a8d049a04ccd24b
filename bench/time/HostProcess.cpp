#include "HostProcess.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <system_error>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

namespace bench {

namespace {

constexpr std::array<uint8_t, 8> accepted{0xFF, 0xFE, 8, 0, 0xA3, 0, 0, 0};

void sleepUntil(timespec end) {
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr) == EINTR) {
    }
}

timespec after(timespec time, long long nanoseconds) {
    const long long sum = time.tv_nsec + nanoseconds;
    return {time.tv_sec + static_cast<time_t>(sum / 1000000000), static_cast<long>(sum % 1000000000)};
}

void mustWrite(int master, const uint8_t* bytes, size_t count) {
    if (write(master, bytes, count) != static_cast<ssize_t>(count)) _exit(1);
}

// What is behind `held` after the first packet, which is answered: a request for one state with the state's value.
size_t answerFirst(int master, std::array<uint8_t, 4096>& bytes, size_t held, size_t length) {
    static uint8_t frameId = 0;
    constexpr size_t state = 11; // header, id and number of states
    if (length > accepted.size()) {
        std::array<uint8_t, 25> answer{0xFF, 0xFE, 8, 0, 0xA3, 0, 0, 0, 0xFF, 0xFE, 17, 0, 0x23,
                                       0,    0,    0, 2, 0x80, 1, 0, 0, 0xCC, 5,    0,  0};
        answer[13] = frameId++;
        answer[19] = bytes[state];
        answer[20] = bytes[state + 1];
        mustWrite(master, answer.data(), answer.size());
    }
    std::copy(bytes.begin() + static_cast<std::ptrdiff_t>(length), bytes.begin() + static_cast<std::ptrdiff_t>(held),
              bytes.begin());
    return held - length;
}

// The acknowledgement of an answer may come together with the next request.
[[noreturn]] void serveRequests(int master) {
    std::array<uint8_t, 4096> bytes{};
    size_t held = 0;
    for (;;) {
        const ssize_t count = read(master, bytes.data() + held, bytes.size() - held);
        if (count <= 0) { // nobody has opened the line yet, or no longer
            usleep(1000);
            continue;
        }
        held += static_cast<size_t>(count);
        while (held >= accepted.size() && held >= bytes[2] + 256u * bytes[3])
            held = answerFirst(master, bytes, held, bytes[2] + 256u * bytes[3]);
    }
}

// Packets come one at a time, since the writer waits for the answer.
[[noreturn]] void serve(int master, long baudRate) {
    std::array<uint8_t, 4096> bytes{};
    size_t held = 0;
    timespec start{};
    for (;;) {
        const ssize_t count = read(master, bytes.data() + held, bytes.size() - held);
        if (count <= 0) { // nobody has opened the line yet, or no longer
            usleep(1000);
            continue;
        }
        if (held == 0) clock_gettime(CLOCK_MONOTONIC, &start);
        held += static_cast<size_t>(count);
        if (held < 4 || held < bytes[2] + 256u * bytes[3]) continue;
        const long long bits = 10 * static_cast<long long>(held + accepted.size());
        if (baudRate != 0) sleepUntil(after(start, bits * 1000000000 / baudRate));
        mustWrite(master, accepted.data(), accepted.size());
        held = 0;
    }
}

} // namespace

HostProcess::HostProcess(long baudRate, Kind kind) : master(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)), process(-1) {
    std::array<char, 128> name{};
    termios settings{};
    if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0 ||
        ptsname_r(master, name.data(), name.size()) != 0 || tcgetattr(master, &settings) != 0)
        throw std::system_error(errno, std::generic_category(), "no pseudo terminal");
    cfmakeraw(&settings);
    tcsetattr(master, TCSANOW, &settings);
    path = name.data();
    process = fork();
    if (process == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        prctl(PR_SET_TIMERSLACK, 1); // nanosecond: a line is not late
        if (kind == Kind::Answering) serveRequests(master);
        serve(master, baudRate);
    }
    if (process < 0) throw std::system_error(errno, std::generic_category(), "no process for the far side");
}

HostProcess::~HostProcess() {
    kill(process, SIGKILL);
    waitpid(process, nullptr, 0);
    close(master);
}

} // namespace bench
