#include "SerialTap.h"

#include "Tapped.h"

std::atomic<SerialTap> serialcomm::Tapped::tap{nullptr};

void serialTap(SerialTap told) {
    serialcomm::Tapped::tap.store(told, std::memory_order_relaxed);
}
