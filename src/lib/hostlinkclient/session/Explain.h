/// @file
/// How a request's end is told to people.
#pragma once

#include <string>

#include "hostlinkclient/Outcome.h"
#include "hostlinkclient/machines/Matcher.h"

namespace hostlink {

/// What became of a request that was not answered as asked, and what to do.
/// @param what what was asked: "get PlayerVolume"
/// @param link why the link is as it is
Failure explain(const Matcher::End& end, const std::string& what, const std::string& link);

} // namespace hostlink
