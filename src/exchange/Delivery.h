/// @file
/// What became of a message that was handed to the link.
#pragma once

namespace hostlink::exchange {

enum class Delivery {
    Accepted, ///< the other end has accepted every packet
    Refused,  ///< it has refused one, so it cannot have the message
    Unknown   ///< it did not say: it may have the message or not
};

} // namespace hostlink::exchange
