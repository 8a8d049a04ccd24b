/// @file
/// Numbers and columns as text, and text in XML.
#pragma once

#include <string>

#include "Wire.h"

namespace hostcheck {

/// Upper-case digits, as many as asked for or more.
std::string hexadecimal(unsigned number, int digits);
/// How many of the unit it is, with so many decimals: "2.50".
std::string inUnits(Time time, Time unit, int decimals);
/// Filled up with blanks to so many columns, behind the text or before it.
std::string filledUp(const std::string& text, size_t columns);
std::string rightAligned(const std::string& text, size_t columns);
/// As it stands in XML; without control characters, which that has not.
std::string asXml(const std::string& text);

} // namespace hostcheck
