#pragma once

#include <string>
#include <vector>

#include "verbs.h"

/// What may stand at the end of a command line.
struct Completion
{
    std::vector<std::string> words;
    bool machines = false; ///< the names of machines, too
    std::string begun;     ///< what has been typed of the word
};

/// Of a line with the program's name, up to the cursor. Files are left to the shell.
Completion completionOf(const Verbs& verbs, const std::string& line);
