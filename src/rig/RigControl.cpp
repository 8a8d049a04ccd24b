#include "RigControl.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

namespace busrig {

namespace {

constexpr const char* controlVariable = "ZENT_RIG_CONTROL";
constexpr std::chrono::milliseconds answerTimeout = std::chrono::minutes(1);

[[noreturn]] void fail(const std::string& what) {
    throw std::runtime_error("bus rig: " + what);
}
[[noreturn]] void failWithErrno(const std::string& what) {
    fail(what + ": " + strerror(errno));
}

descriptor::Descriptor connectTo(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) fail("path of the control socket is too long: " + path);
    memcpy(address.sun_path, path.c_str(), path.size() + 1);
    descriptor::Descriptor connection(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!connection) failWithErrno("socket");
    if (::connect(connection.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        failWithErrno("connect to " + path);
    }
    return connection;
}

std::vector<std::string> split(const std::string& text, const std::string& separator) {
    std::vector<std::string> parts;
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find(separator, at), text.size());
        parts.push_back(text.substr(at, end - at));
        at = end + separator.size();
    }
    return parts;
}

} // namespace

RigControl::RigControl(const RigBoard& rigBoard) : board(rigBoard) {
    const char* path = getenv(controlVariable);
    if (path == nullptr) fail("not inside the rig: start this program with scripts/run-in-rig.sh");
    connection = connectTo(path);
}

bool RigControl::isInRig() {
    return getenv(controlVariable) != nullptr;
}

std::string RigControl::command(const std::string& line) {
    const std::string answer = exchange(line, answerTimeout);
    if (answer.compare(0, 2, "ok") != 0) fail(line + ": " + answer);
    return answer.size() > 3 ? answer.substr(3) : "";
}

void RigControl::line(int gpio, bool high) {
    command("line " + std::to_string(gpio) + (high ? " 1" : " 0"));
}

bool RigControl::level(int gpio) {
    return command("level " + std::to_string(gpio)) == "1";
}

RigControl::Counts RigControl::counts() {
    Counts result;
    std::string json = command("counts"); // {"name":number,...}, numbers only
    json = json.substr(1, json.size() - 2);
    for (const std::string& entry : split(json, ",")) {
        const size_t colon = entry.find(':');
        result[entry.substr(1, colon - 2)] = std::stoull(entry.substr(colon + 1));
    }
    return result;
}

uint64_t RigControl::count(const std::string& name) {
    const Counts all = counts();
    const auto found = all.find(name);
    if (found == all.end()) fail("no such count: " + name);
    return found->second;
}

bool RigControl::waitForCount(const std::string& name, uint64_t minimum, std::chrono::milliseconds timeout) {
    const std::string line =
        "wait " + name + " " + std::to_string(minimum) + " " + std::to_string(std::max<int64_t>(timeout.count(), 0));
    const std::string answer = exchange(line, timeout + answerTimeout);
    if (answer == "timeout") return false;
    if (answer != "ok") fail(line + ": " + answer);
    return true;
}

bool RigControl::waitForCounts(const Counts& minimums, std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    return std::all_of(minimums.begin(), minimums.end(), [&](const auto& minimum) {
        const auto left = deadline - std::chrono::steady_clock::now();
        return waitForCount(minimum.first, minimum.second, std::chrono::duration_cast<std::chrono::milliseconds>(left));
    });
}

std::vector<std::string> RigControl::sysfsLog() {
    return split(command("sysfs-log"), "; ");
}

std::vector<std::string> RigControl::busLog() {
    return split(command("bus-log"), "; ");
}

std::string RigControl::exchange(const std::string& line, std::chrono::milliseconds timeout) {
    const std::lock_guard<std::mutex> lock(mutex);
    const std::string request = "@" + std::to_string(board.number) + " " + line + "\n";
    if (::send(connection.get(), request.data(), request.size(), MSG_NOSIGNAL) !=
        static_cast<ssize_t>(request.size())) {
        failWithErrno("send");
    }
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (received.find('\n') == std::string::npos) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        receive(line, std::max<int64_t>(left.count(), 0));
    }
    const size_t end = received.find('\n');
    std::string answer = received.substr(0, end);
    received.erase(0, end + 1);
    return answer;
}

void RigControl::receive(const std::string& line, int64_t timeoutMs) {
    pollfd answer{connection.get(), POLLIN, 0};
    const int ready = ::poll(&answer, 1, static_cast<int>(timeoutMs));
    if (ready < 0 && errno == EINTR) return;
    if (ready == 0) fail("no answer to " + line);
    char buffer[16384];
    const ssize_t count = ::recv(connection.get(), buffer, sizeof buffer, 0);
    if (count < 0 && errno == EINTR) return;
    if (count <= 0) fail("the rig has gone");
    received.append(buffer, static_cast<size_t>(count));
}

} // namespace busrig
