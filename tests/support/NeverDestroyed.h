/// @file
/// Links that must not be destroyed.
#pragma once

#include <vector>

#include <hostlink/HostLinkPhysicalLayer.h>

/// Keeps a link until the process ends. Destroying a UART link whose reader thread never ran ends the process, on
/// purpose, so a test that makes such a link gives it away; it stays reachable, and no leak is reported.
inline void neverDestroyed(HostLinkPhysicalLayer* link) {
    static auto& kept = *new std::vector<HostLinkPhysicalLayer*>;
    kept.push_back(link);
}
