// Questions and answers in any order, lost, late, repeated and swapped: no result belongs to another question, and
// every question ends.
#include "hostlinkclient/machines/MatcherWorld.h"
#include "support/Input.h"
#include "support/Require.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    MatcherWorld world([&input](unsigned limit) { return input.below(limit); });
    while (!input.empty()) world.step();
    world.finish();
    require(world.complaint().empty(), world.complaint().c_str());
    return 0;
}
