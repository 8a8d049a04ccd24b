#include "CountedSteps.h"

#include <atomic>

#include <hostlink/HostLinkLib.h>

// The linker leads every call of a function to its __wrap_ and that one's call of __real_ to the function.
extern "C" {
uint32_t __real_hostLinkVariantIteratorNext(HostLinkVariantIter* iterator);
uint32_t __real_hostLinkVariantIteratorGetNext(HostLinkVariantIter* iterator, HostLinkVariant* item);
uint32_t __real_hostLinkVariantIteratorGetValue(HostLinkVariantIter* iterator, HostLinkVariant* item);
uint32_t __real_hostLinkMessageVariantGetItem(const HostLinkLL* buffer, uint8_t index, HostLinkVariant* item);
uint32_t __wrap_hostLinkVariantIteratorNext(HostLinkVariantIter* iterator);
uint32_t __wrap_hostLinkVariantIteratorGetNext(HostLinkVariantIter* iterator, HostLinkVariant* item);
uint32_t __wrap_hostLinkVariantIteratorGetValue(HostLinkVariantIter* iterator, HostLinkVariant* item);
uint32_t __wrap_hostLinkMessageVariantGetItem(const HostLinkLL* buffer, uint8_t index, HostLinkVariant* item);
}

namespace {

std::atomic<long> steps{0};

} // namespace

long countedSteps() {
    return steps;
}

uint32_t __wrap_hostLinkVariantIteratorNext(HostLinkVariantIter* iterator) {
    ++steps;
    return __real_hostLinkVariantIteratorNext(iterator);
}

uint32_t __wrap_hostLinkVariantIteratorGetNext(HostLinkVariantIter* iterator, HostLinkVariant* item) {
    ++steps;
    return __real_hostLinkVariantIteratorGetNext(iterator, item);
}

uint32_t __wrap_hostLinkVariantIteratorGetValue(HostLinkVariantIter* iterator, HostLinkVariant* item) {
    ++steps;
    return __real_hostLinkVariantIteratorGetValue(iterator, item);
}

// It walks from the first item.
uint32_t __wrap_hostLinkMessageVariantGetItem(const HostLinkLL* buffer, uint8_t index, HostLinkVariant* item) {
    steps += index + 1;
    return __real_hostLinkMessageVariantGetItem(buffer, index, item);
}
