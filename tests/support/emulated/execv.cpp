// A death test starts its own program over, which the kernel cannot run by itself: the emulator goes in front.
#include <vector>

#include <unistd.h>

extern "C" int execv(const char* path, char* const arguments[]) noexcept {
    std::vector<char*> emulated{const_cast<char*>(ZENT_EMULATOR), const_cast<char*>(path)};
    for (char* const* argument = arguments + 1; *argument != nullptr; ++argument) emulated.push_back(*argument);
    emulated.push_back(nullptr);
    return execvp(ZENT_EMULATOR, emulated.data());
}
