#include "Quarters.h"

#include <iostream>

#include <console/ProgressLine.h>

void Quarters::show(uint64_t done, uint64_t whole) {
    const int quarters = static_cast<int>(4 * console::partOf(done, whole));
    if (quarters <= shown) return;
    shown = quarters;
    std::cout << "   " << 25 * quarters << " % sent\n" << std::flush;
}
