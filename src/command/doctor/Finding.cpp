#include "Finding.h"

#include <algorithm>

namespace command {

const char* nameOf(Verdict verdict) {
    switch (verdict) {
    case Verdict::Good: return "ok";
    case Verdict::Doubtful: return "warn";
    case Verdict::Bad: break;
    }
    return "fail";
}

std::size_t Findings::count(Verdict verdict) const {
    return static_cast<std::size_t>(
        std::count_if(all.begin(), all.end(), [=](const Finding& each) { return each.verdict == verdict; }));
}

} // namespace command
