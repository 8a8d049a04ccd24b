/* What the engine and the application ask for, for images without a C library. Compiled so that the compiler does not
   see a call of memcpy in memcpy. */
#include <stddef.h>
#include <stdint.h>

void* memcpy(void* restrict to, const void* restrict from, size_t count) {
    uint8_t* out = to;
    for (const uint8_t* in = from; count != 0; --count) *out++ = *in++;
    return to;
}

void* memmove(void* to, const void* from, size_t count) {
    if ((uintptr_t)to <= (uintptr_t)from) return memcpy(to, from, count);
    for (uint8_t* out = to; count != 0; --count) out[count - 1] = ((const uint8_t*)from)[count - 1];
    return to;
}

void* memset(void* to, int byte, size_t count) {
    for (uint8_t* out = to; count != 0; --count) *out++ = (uint8_t)byte;
    return to;
}

int memcmp(const void* one, const void* other, size_t count) {
    const uint8_t* a = one;
    const uint8_t* b = other;
    for (; count != 0; --count, ++a, ++b) {
        if (*a != *b) return *a - *b;
    }
    return 0;
}
