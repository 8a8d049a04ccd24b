#include "Failures.h"

#include <cerrno>
#include <cstring>
#include <map>

#include <poll.h>

namespace sweep {

namespace {

std::vector<Failure> errors(const std::vector<int>& values) {
    std::vector<Failure> failures;
    for (const int value : values) failures.push_back({Failure::Kind::Error, value});
    return failures;
}

std::vector<Failure> operator+(std::vector<Failure> left, const std::vector<Failure>& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

const std::vector<Failure> half = {{Failure::Kind::Half, 0}};
const std::vector<Failure> shortTransfers = {{Failure::Kind::Half, 0}, {Failure::Kind::Nothing, 0}};
const std::vector<Failure> conditions = {
    {Failure::Kind::Condition, POLLERR}, {Failure::Kind::Condition, POLLHUP}, {Failure::Kind::Condition, POLLNVAL}};

const std::map<std::string, std::vector<Failure>>& table() {
    static const std::map<std::string, std::vector<Failure>> all = {
        // accept(2)
        {"accept4", errors({EAGAIN, EBADF, ECONNABORTED, EINTR, EINVAL, EMFILE, ENFILE, ENOBUFS, ENOMEM, ENOTSOCK,
                            EOPNOTSUPP, EPERM, EPROTO})},
        // bind(2)
        {"bind", errors({EACCES, EADDRINUSE, EADDRNOTAVAIL, EBADF, EINVAL, ENOTSOCK})},
        // close(2)
        {"close", errors({EBADF, EDQUOT, EINTR, EIO, ENOSPC})},
        // epoll_create(2), epoll_ctl(2)
        {"epoll_create1", errors({EINVAL, EMFILE, ENFILE, ENOMEM})},
        {"epoll_ctl", errors({EBADF, EEXIST, EINVAL, ENOENT, ENOMEM, ENOSPC, EPERM})},
        // epoll_wait(2)
        {"epoll_wait", errors({EBADF, EFAULT, EINTR, EINVAL})},
        // eventfd(2)
        {"eventfd", errors({EINVAL, EMFILE, ENFILE, ENODEV, ENOMEM})},
        // fcntl(2)
        {"fcntl",
         errors({EACCES, EAGAIN, EBADF, EBUSY, EDEADLK, EFAULT, EINTR, EINVAL, EMFILE, ENOLCK, ENOTDIR, EPERM})},
        // flock(2)
        {"flock", errors({EBADF, EINTR, EINVAL, ENOLCK, EWOULDBLOCK})},
        // getsockname(2)
        {"getsockname", errors({EBADF, EFAULT, EINVAL, ENOBUFS, ENOTSOCK})},
        // ioctl(2), ioctl_tty(2); the bus drivers' own: Documentation/i2c/fault-codes of the kernel
        {"ioctl", errors({EAGAIN, EBADF, EBADMSG, EBUSY, EFAULT, EINTR, EINVAL, EIO, ENODEV, ENOMEM, ENOTTY, ENXIO,
                          EOPNOTSUPP, EPERM, EPROTO, EREMOTEIO, ESHUTDOWN, ETIMEDOUT}) +
                      half},
        // listen(2)
        {"listen", errors({EADDRINUSE, EBADF, ENOTSOCK, EOPNOTSUPP})},
        // lseek(2)
        {"lseek", errors({EBADF, EINVAL, ENXIO, EOVERFLOW, ESPIPE})},
        // open(2)
        {"open", errors({EACCES,  EBADF, EBUSY,      EDQUOT,       EEXIST, EFAULT, EFBIG,   EINTR,      EINVAL,
                         EISDIR,  ELOOP, EMFILE,     ENAMETOOLONG, ENFILE, ENODEV, ENOENT,  ENOMEM,     ENOSPC,
                         ENOTDIR, ENXIO, EOPNOTSUPP, EOVERFLOW,    EPERM,  EROFS,  ETXTBSY, EWOULDBLOCK})},
        // pipe(2)
        {"pipe2", errors({EFAULT, EINVAL, EMFILE, ENFILE, ENOPKG})},
        // poll(2)
        {"poll", errors({EFAULT, EINTR, EINVAL, ENOMEM}) + conditions},
        {"ppoll", errors({EFAULT, EINTR, EINVAL, ENOMEM}) + conditions},
        // pthread_create(3)
        {"pthread_create", errors({EAGAIN, EINVAL, EPERM})},
        // read(2)
        {"read", errors({EAGAIN, EBADF, EFAULT, EINTR, EINVAL, EIO, EISDIR}) + shortTransfers},
        // recv(2), send(2)
        {"recv", errors({EAGAIN, EBADF, ECONNREFUSED, EFAULT, EINTR, EINVAL, ENOMEM, ENOTCONN, ENOTSOCK}) +
                     std::vector<Failure>{{Failure::Kind::Half, 0}}},
        {"send", errors({EACCES, EAGAIN, EBADF, ECONNRESET, EFAULT, EINTR, EINVAL, EMSGSIZE, ENOBUFS, ENOMEM, ENOTCONN,
                         ENOTSOCK, EPIPE}) +
                     std::vector<Failure>{{Failure::Kind::Half, 0}}},
        // socket(2)
        {"socket", errors({EACCES, EAFNOSUPPORT, EINVAL, EMFILE, ENFILE, ENOBUFS, ENOMEM, EPROTONOSUPPORT})},
        // stat(2)
        {"stat", errors({EACCES, EFAULT, ELOOP, ENAMETOOLONG, ENOENT, ENOMEM, ENOTDIR, EOVERFLOW})},
        // termios(3)
        {"tcflush", errors({EBADF, EINTR, EINVAL, EIO, ENOTTY})},
        // write(2)
        {"write",
         errors({EAGAIN, EBADF, EDESTADDRREQ, EDQUOT, EFAULT, EFBIG, EINTR, EINVAL, EIO, ENOSPC, EPERM, EPIPE}) +
             shortTransfers},
    };
    return all;
}

std::string conditionText(int condition) {
    if (condition == POLLERR) return "POLLERR";
    return condition == POLLHUP ? "POLLHUP" : "POLLNVAL";
}

} // namespace

std::string Failure::text() const {
    switch (kind) {
    case Kind::Error: return ::strerrorname_np(value);
    case Kind::Nothing: return "nothing";
    case Kind::Half: return "half";
    case Kind::Condition: return conditionText(value);
    }
    return "?";
}

const std::vector<Failure>& failuresOf(const std::string& call) {
    return table().at(call);
}

} // namespace sweep
