#include "StopSignal.h"

#include <cerrno>
#include <cstdint>
#include <system_error>

#include <fcntl.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include "hostlink/link/LinkLogger.h"

using descriptor::Descriptor;

bool StopSignal::make() {
    counter = Descriptor(::eventfd(0, EFD_CLOEXEC));
    if (!counter) {
        LOG4CPLUS_ERROR(logger, "Failed to create eventfd");
        return false;
    }
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) {
        LOG4CPLUS_ERROR(logger, "Failed to create pipe: " << std::generic_category().message(errno));
        return false;
    }
    pipeEnd = Descriptor(ends[0]);
    farEnd = Descriptor(ends[1]);
    return true;
}

void StopSignal::raise() {
    if (!counter) return;
    const std::uint64_t one = 1;
    const ssize_t written = descriptor::repeatInterrupted([&] { return ::write(counter.get(), &one, sizeof one); });
    if (written < static_cast<ssize_t>(sizeof one)) {
        const int error = errno;
        farEnd.reset();
        LOG4CPLUS_ERROR(logger, "Failed to stop qpio thread: " << written << " " << error);
    }
}

void StopSignal::close() {
    for (Descriptor* end : {&counter, &pipeEnd, &farEnd}) end->reset();
}
