#include "Case.h"

bench::Cases bench::ownCases() {
    Cases cases;
    for (const auto add : {addWholePathCases, addMessageCases, addIndexCases, addChecksumCases, addScanCases,
                           addPrintCases, addLogCases, addTransportCases, addGrowthCases}) {
        add(&cases);
    }
    return cases;
}
