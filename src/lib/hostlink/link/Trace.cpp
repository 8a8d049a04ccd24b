#include "Trace.h"

#include <serialcomm/dbglog.h>

namespace {

// "const ByteArray &" and "const ByteArray&" are the same signature.
std::string withoutBlankBeforeReference(std::string signature) {
    for (size_t at = 0; (at = signature.find(" &", at)) != std::string::npos;) signature.erase(at, 1);
    for (size_t at = 0; (at = signature.find(" *", at)) != std::string::npos;) signature.erase(at, 1);
    return signature;
}

} // namespace

std::string tracedName(const char* signature, const char* loggerScope) {
    return dbglog_scopedFunction(withoutBlankBeforeReference(signature), loggerScope);
}
