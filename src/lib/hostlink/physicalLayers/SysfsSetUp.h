/// @file
/// How the set-up of a sysfs line went, and what that means for its link.
#pragma once

#include <string>

/// The errors of each step, 0 or errno values.
struct SysfsSetUp {
    /// A text that was written to a file.
    struct Step {
        int opening = 0;
        int writing = 0;

        bool failed() const { return opening != 0 || writing != 0; }
        int error() const { return opening != 0 ? opening : writing; }
    };

    Step exporting;
    Step direction;
    Step edge;
    bool edgeIsSet = false; ///< although that failed, falling edges are reported: somebody has set it before
    int value = 0;          ///< of opening it

    /// The one line that says why a step failed and what follows for the link, the gravest of what there is to say;
    /// empty when all went well.
    std::string explanation(int number) const;

private:
    std::string whyNotThere() const;
    std::string whyDeaf(int number) const;
};
