/// @file
/// The questions that a client asks, with who answers them. Their times and numbers of sendings are the caller's to
/// set.
#pragma once

#include <cstdint>
#include <vector>

#include <items/Items.h>

#include "hostlinkclient/machines/Question.h"

namespace hostlink {

/// About states, each once: get, subscribe or unsubscribe.
/// @param states 1 to 255
Question listQuestion(MessageId id, std::vector<uint16_t> states);
inline Question getQuestion(std::vector<uint16_t> states) {
    return listQuestion(MSG_GetState, std::move(states));
}

/// A message of states and values whose answer is about the same states; without a message when it would be too long.
Question itemsQuestion(MessageId id, const std::vector<Item>& items);

/// Any message that can be read, with the answer that its id and its tags ask for; without one where there is none.
Question rawQuestion(const ByteArray& message);

} // namespace hostlink
