/// @file
/// Talking about states: each function says on the standard output what it did.
#pragma once

#include <cstdint>
#include <vector>

#include <hostlink/HostLinkValueMessage.h>

#include "Conversation.h"

/// Asks for the values of states.
/// @throw std::runtime_error the host does not answer; so do the functions below
HostLinkValueMessage getStates(Conversation& host, const std::vector<uint16_t>& states);

/// Asks to be told about changes of states.
void subscribe(Conversation& host, const std::vector<uint16_t>& states);

/// Sets a state and waits for the host to tell that it changed. A state that keeps its value is no change: after a wait
/// in vain this tries the other value.
void changeState(Conversation& host, uint16_t state, unsigned char value, unsigned char otherValue);

/// The value of a state among values that `getStates` gave; 0 when it is not a number.
unsigned char valueIn(const HostLinkValueMessage& values, uint16_t state);
