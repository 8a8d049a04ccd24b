/// @file
/// The ways in which a system call can fail, by its manual page.
#pragma once

#include <string>
#include <vector>

namespace sweep {

/// What a call answers in place of doing its work, or how it does it badly.
struct Failure {
    enum class Kind {
        Error,    ///< -1 with the errno value
        Nothing,  ///< 0: end of file, or no byte taken
        Half,     ///< half of what was asked for; a request of several messages reports one less than it did
        Condition ///< poll only: these revents on the first descriptor, nothing on the others
    };

    Kind kind;
    int value; // errno value or revents, else 0

    bool isError(int error) const { return kind == Kind::Error && value == error; }
    /// As it stands in HOSTLINK_SWEEP_CASE: "EIO", "nothing", "half", "POLLHUP".
    std::string text() const;
};

/// Every failure of that call. Throws std::out_of_range for one that the table does not know.
const std::vector<Failure>& failuresOf(const std::string& call);

} // namespace sweep
