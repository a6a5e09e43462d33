#pragma once

#include <optional>

#include "statement.h"

namespace Probe {

/// What became of one statement.
struct Outcome
{
    const Subject* subject;
    const Statement* statement;
    std::optional<Finding> finding; ///< nothing: it could not be checked
    std::string why;                ///< it could not
    unsigned milliseconds = 0;      ///< that it took
};

/// Whether a statement is meant by one of these words: its name, or how its name begins. No word means all.
bool isWanted(const Statement& statement, const std::vector<std::string>& words);

/// Checks one statement and takes away what that made.
Outcome check(Lab& lab, const Subject& subject, const Statement& statement);

} // namespace Probe
