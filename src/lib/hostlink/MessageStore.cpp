#include "MessageStore.h"

#include <algorithm>

void MessageStore::resize(long delta) {
    const long size = static_cast<long>(bytes.size()) + delta;
    bytes.resize(static_cast<size_t>(std::max(size, 0L)));
    attach();
}

ByteArray MessageStore::message() const {
    const size_t held = std::min<size_t>(view.used, bytes.size());
    return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(held)};
}
