#include "EmulatedBoard.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace truth {

namespace {

constexpr char emulator[] = "qemu-system-arm";
constexpr char image[] = ZENT_FIRMWARE_IMAGES "/mps2-an385-mailbox.elf";
constexpr off_t memorySize = 16 << 20; // the machine's PSRAM

int checked(int result, const char* what) {
    if (result < 0) throw std::system_error(errno, std::generic_category(), what);
    return result;
}

bool isInPath(const std::string& program) {
    const char* path = std::getenv("PATH");
    std::string folders = path == nullptr ? "" : path;
    for (size_t end = 0; !folders.empty(); folders.erase(0, end + 1)) {
        end = std::min(folders.find(':'), folders.size());
        if (::access((folders.substr(0, end) + "/" + program).c_str(), X_OK) == 0) return true;
        if (end == folders.size()) break;
    }
    return false;
}

// In the child: between fork and exec, so nothing that takes a lock.
[[noreturn]] void becomeEmulator(char* const* words, int line, int memory) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::fcntl(line, F_SETFD, 0);
    ::fcntl(memory, F_SETFD, 0);
    ::execvp(words[0], words);
    ::_exit(127);
}

} // namespace

std::string EmulatedBoard::hindrance() {
    if (!isInPath(emulator)) return "no qemu-system-arm here; scripts/install-packages.sh firmware installs it";
    if (::access(image, R_OK) != 0)
        return "the firmware was not built: no arm-none-eabi-g++ when the build was set up; "
               "scripts/install-packages.sh firmware installs it, cmake --preset release finds it";
    return {};
}

EmulatedBoard::EmulatedBoard(const Times& times)
    : memory(checked(::memfd_create("board", MFD_CLOEXEC), "no memory for the board")) {
    checked(::ftruncate(memory.get(), memorySize), "no memory for the board");
    void* place = ::mmap(nullptr, sizeof(Mailbox), PROT_READ | PROT_WRITE, MAP_SHARED, memory.get(), MAILBOX_OFFSET);
    if (place == MAP_FAILED) checked(-1, "no memory for the mailbox");
    shared = static_cast<Mailbox*>(place);
    shared->responseTimeout = times.response;
    shared->packetTimeout = times.packet;
    shared->repeatWindow = times.repeatWindow;

    std::array<int, 2> ends{};
    checked(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), "no line for the board");
    nearEnd = descriptor::Descriptor(ends[0]);
    const descriptor::Descriptor farEnd(ends[1]);
    checked(::fcntl(nearEnd.get(), F_SETFL, O_NONBLOCK), "no line for the board");

    const std::string file = "/proc/self/fd/" + std::to_string(memory.get());
    std::vector<std::string> words{emulator,   "-M",   "mps2-an385", "-display", "none",
                                   "-monitor", "none", "-kernel",    image};
    for (const std::string& word :
         {std::string("-object"),
          "memory-backend-file,id=memory,size=" + std::to_string(memorySize) + ",share=on,mem-path=" + file,
          std::string("-machine"), std::string("memory-backend=memory"), std::string("-chardev"),
          "socket,id=module,fd=" + std::to_string(farEnd.get()), std::string("-serial"), std::string("chardev:module")})
        words.push_back(word);
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    process = checked(::fork(), "no process for the emulator");
    if (process == 0) becomeEmulator(arguments.data(), farEnd.get(), memory.get());
}

EmulatedBoard::~EmulatedBoard() {
    ::kill(process, SIGKILL);
    ::waitpid(process, nullptr, 0);
    ::munmap(shared, sizeof(Mailbox));
}

} // namespace truth
