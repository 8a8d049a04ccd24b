#include "CallerMemory.h"

#include <sys/uio.h>

namespace busrig {

namespace {

void* address(uintptr_t number) {
    return reinterpret_cast<void*>(number); // NOLINT(performance-no-int-to-ptr): the kernel's structures hold numbers
}

} // namespace

bool CallerMemory::read(void* to, uintptr_t from, size_t count) const {
    if (count == 0) return true;
    const iovec here{to, count};
    const iovec there{address(from), count};
    return ::process_vm_readv(pid, &here, 1, &there, 1, 0) == static_cast<ssize_t>(count);
}

bool CallerMemory::write(uintptr_t to, const void* from, size_t count) const {
    if (count == 0) return true;
    const iovec here{const_cast<void*>(from), count};
    const iovec there{address(to), count};
    return ::process_vm_writev(pid, &here, 1, &there, 1, 0) == static_cast<ssize_t>(count);
}

} // namespace busrig
