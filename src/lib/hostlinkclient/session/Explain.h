/// @file
/// How a request's end is told to people, and why it was not asked at all.
#pragma once

#include <optional>
#include <string>

#include "hostlinkclient/Outcome.h"
#include "hostlinkclient/machines/Matcher.h"

namespace hostlink {

/// What became of a request that was not answered as asked, and what to do.
/// @param what what was asked: "get PlayerVolume"
/// @param link why the link is as it is
Failure explain(const Matcher::End& end, const std::string& what, const std::string& link);

/// Notes what is wrong with a request before it is asked, unless nothing is or something has been noted already.
void complain(std::optional<Failure>& wrong, const std::string& what, const std::string& problem);

} // namespace hostlink
