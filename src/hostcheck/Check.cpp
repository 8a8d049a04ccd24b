#include "Check.h"

#include <iterator>

namespace hostcheck {

const std::vector<Check>& allChecks() {
    static const std::vector<Check> all = [] {
        std::vector<Check> checks;
        for (const auto& group :
             {answerChecks(), byteChecks(), frameChecks(), resetChecks(), sizeChecks(), ownPacketChecks(),
              messageChecks(), stateChecks(), transferChecks(), busChecks(), loadChecks()}) {
            checks.insert(checks.end(), group.begin(), group.end());
        }
        return checks;
    }();
    return all;
}

} // namespace hostcheck
