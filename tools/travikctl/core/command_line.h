#pragma once

#include <optional>
#include <string>
#include <vector>

#include "verbs.h"

/// The options of all verbs.
struct Options
{
    bool json = false;
    bool quiet = false;
    bool verbose = false;
    std::string log;
    std::optional<double> timeout;
    double waitLock = 5;
};

/// A command line that was understood, or not.
struct Request
{
    const Verb* verb = nullptr; ///< null: nothing is to be done
    std::string text;           ///< of help that was asked for
    std::string command;        ///< whose command line is wrong, as "travikctl nat"
    std::string problem;        ///< what is wrong with it
};

/// Their names.
std::vector<std::string> generalOptions();

/// Finds the verb, and fills its parameters and the options. The arguments are without the program's name.
Request parseCommandLine(const Verbs& verbs, Options& options, const std::vector<std::string>& arguments);
