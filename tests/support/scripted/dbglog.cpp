#include <atomic>

#include <serialcomm/dbglog.h>

#include "ScriptedPort.h"

namespace {

std::atomic<int> calls{0};

} // namespace

// Renders names unlike the project's own library.
std::string dbglog_scopedFunction(const std::string& function, const std::string& scope) {
    ++calls;
    return scope + "::<" + function + ">";
}

int scopedFunctionCalls() {
    return calls;
}
