#include "Screen.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace command {

namespace {

using descriptor::Descriptor;
using descriptor::repeatInterrupted;

// What xterm and all that are like it understand: another page, no cursor, no wrapping; and back.
constexpr const char* enter = "\033[?1049h\033[?25l\033[?7l";
constexpr const char* leave = "\033[0m\033[?7h\033[?25h\033[?1049l";
constexpr int lastWords = 300; // milliseconds that a terminal which takes nothing may hold up the end

Descriptor windowChanges() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGWINCH);
    return Descriptor(::signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK));
}

// Not waiting for a terminal that takes nothing; where it cannot be opened once more, the usual one.
Descriptor terminalToWrite() {
    Descriptor own(::open("/proc/self/fd/1", O_WRONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    return own ? std::move(own) : Descriptor(::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0));
}

} // namespace

bool Screen::isPossible() {
    return ::isatty(STDIN_FILENO) == 1 && ::isatty(STDOUT_FILENO) == 1;
}

Screen::Screen(int stop) : end(stop), sizeChanges(windowChanges()), out(terminalToWrite()) {
    if (!sizeChanges || !out || ::tcgetattr(STDIN_FILENO, &found) != 0)
        throw std::system_error(errno, std::generic_category(), "cannot use the terminal");
    termios keyByKey = found;
    keyByKey.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    keyByKey.c_iflag &= ~static_cast<tcflag_t>(IXON); // Ctrl-S would stop more than the picture
    for (const int character : {VSUSP, VQUIT}) keyByKey.c_cc[character] = _POSIX_VDISABLE;
    keyByKey.c_cc[VMIN] = 1;
    keyByKey.c_cc[VTIME] = 0;
    ::tcsetattr(STDIN_FILENO, TCSANOW, &keyByKey);
    write(enter);
}

Screen::~Screen() {
    restore();
}

void Screen::restore() {
    const std::lock_guard<std::mutex> lock(mutex);
    if (restored) return;
    restored = true;
    write(leave);
    ::tcsetattr(STDIN_FILENO, TCSANOW, &found);
}

Screen::Size Screen::size() const {
    winsize now{};
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &now) != 0 || now.ws_col == 0 || now.ws_row == 0) return {80, 24};
    return {now.ws_col, now.ws_row};
}

// In one piece, so that nothing flickers.
void Screen::draw(const std::vector<std::string>& lines, std::size_t turned) {
    std::string text = "\033[H";
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (i > 0) text += "\r\n";
        text += i == turned ? "\033[7m" + lines[i] + "\033[0m" : lines[i];
        text += "\033[K";
    }
    write(text + "\033[J");
}

void Screen::write(const std::string& text) const {
    std::size_t at = 0;
    while (at < text.size()) {
        const ssize_t taken = repeatInterrupted([&] { return ::write(out.get(), text.data() + at, text.size() - at); });
        if (taken >= 0) {
            at += static_cast<std::size_t>(taken);
            continue;
        }
        if (errno != EAGAIN) return; // the terminal is gone, which reading notices
        pollfd waits[] = {{out.get(), POLLOUT, 0}, {end, POLLIN, 0}};
        repeatInterrupted([&] { return ::poll(waits, 2, -1); });
        if (waits[0].revents == 0 && ::poll(waits, 1, lastWords) <= 0) return;
    }
}

std::string Screen::keys() {
    std::array<char, 64> typed{};
    const ssize_t size = repeatInterrupted([&] { return ::read(STDIN_FILENO, typed.data(), typed.size()); });
    return size > 0 ? std::string(typed.data(), static_cast<std::size_t>(size)) : "";
}

void Screen::forgetResize() {
    signalfd_siginfo info{};
    while (::read(sizeChanges.get(), &info, sizeof info) == sizeof info) {
    }
}

} // namespace command
