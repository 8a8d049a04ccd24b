/// @file
/// The lines of `--json`: one object in each, whose "event" says what it is. docs/simulator.md lists them.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <hostlinkclient/Value.h>
#include <hostsim/FileSending.h>
#include <hostsim/HostCounts.h>

/// The port is open.
std::string readyEvent(const std::string& device, const std::string& link);

std::string countsEvent(const hostsim::HostCounts& counts);

/// The value of a state: a number, a text, or null. Bytes that are no UTF-8 stand in a text as U+FFFD.
std::string stateEvent(uint16_t id, const hostlink::Value& value);

/// A file that the host has sent has ended.
std::string sentEvent(const hostsim::SentFile& file);

/// @param commands each with what it does
std::string helpEvent(const std::vector<std::pair<const char*, const char*>>& commands);

/// A command that could not be carried out, and why.
std::string errorEvent(const std::string& text);
