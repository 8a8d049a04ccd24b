/// @file
/// Bytes behind which there is nothing.
#pragma once

#include <algorithm>
#include <cstdlib>

#include <sys/mman.h>
#include <unistd.h>

#include "Bytes.h"

/// A copy of `content` that ends where a page ends; the next page may not be touched, and who does so dies of it.
class AtPageEnd {
public:
    explicit AtPageEnd(const ByteArray& content)
        : page(static_cast<size_t>(sysconf(_SC_PAGESIZE))), size((content.size() / page + 2) * page) {
        void* const memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) std::abort();
        first = static_cast<unsigned char*>(memory);
        if (mprotect(first + size - page, page, PROT_NONE) != 0) std::abort();
        begin = first + size - page - content.size();
        std::copy(content.begin(), content.end(), begin);
    }
    ~AtPageEnd() { munmap(first, size); }
    AtPageEnd(const AtPageEnd&) = delete;
    AtPageEnd& operator=(const AtPageEnd&) = delete;

    unsigned char* data() { return begin; }

private:
    const size_t page;
    const size_t size;
    unsigned char* first;
    unsigned char* begin;
};
