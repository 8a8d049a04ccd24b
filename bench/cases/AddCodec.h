/// @file
/// Adds a way to turn a message into bytes and back.
#pragma once

#include <memory>

#include "Case.h"
#include "Samples.h"

namespace bench {

inline void addCodec(Cases* cases, const std::string& subject, const std::shared_ptr<MessageCodec>& codec) {
    proveCodec(*codec, subject);
    for (const char* name : {"typical", "item900"}) {
        cases->push_back(
            {"message", subject, name, [codec, &sample = sampleNamed(name)] { return buildAndRead(*codec, sample); }});
    }
}

} // namespace bench
