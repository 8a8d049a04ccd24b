/// @file
/// What a host keeps to, numbered. docs/host-rules.md is written from this table (`zent-hostcheck --rules`).
#pragma once

#include <string>
#include <vector>

namespace hostcheck {

enum class Strength { Must, Should, Free };

struct Rule {
    unsigned number;
    Strength strength;
    const char* topic; ///< heading under which it stands
    const char* text;
    const char* reason;
};

const char* nameOf(Strength strength);

/// In the order of their numbers, which are never given out again.
const std::vector<Rule>& allRules();

/// @param number one that there is
const Rule& rule(unsigned number);

/// The tables of docs/host-rules.md, a heading and a table for each topic.
std::string rulesAsMarkdown();

} // namespace hostcheck
