#include "ThreadState.h"

#include <cstdio>

#include <sys/syscall.h>
#include <unistd.h>

pid_t currentThreadId() {
    return static_cast<pid_t>(::syscall(SYS_gettid));
}

bool isAsleep(pid_t thread) {
    char path[64];
    std::snprintf(path, sizeof path, "/proc/self/task/%d/stat", static_cast<int>(thread));
    std::FILE* file = std::fopen(path, "re");
    if (file == nullptr) return false;
    char state = 0;
    const bool read = std::fscanf(file, "%*d (%*[^)]) %c", &state) == 1; // the field behind the name in parentheses
    std::fclose(file);
    return read && state == 'S';
}
