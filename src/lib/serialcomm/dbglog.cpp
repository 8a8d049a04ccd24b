#include "dbglog.h"

std::string dbglog_scopedFunction(const std::string& function, const std::string& scope) {
    return "[" + scope + "] " + function;
}
