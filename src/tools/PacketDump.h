/// @file
/// Packets and messages for people.
#pragma once

#include <ostream>

#include <hostlink/ByteArray.h>
#include <hostsim/HostTime.h>
#include <hostsim/HostTrace.h>

/// Writes what the host tells: when, what, and the printer's text.
void dump(std::ostream& out, hostsim::Time now, hostsim::TraceEvent event, const ByteArray& bytes);
