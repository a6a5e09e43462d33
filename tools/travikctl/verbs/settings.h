#pragma once

#include <optional>
#include <string>
#include <vector>

#include "core/context.h"
#include "core/verbs.h"

/// Settings as the command line gives them.
struct Settings
{
    std::optional<std::uint32_t> cpus;
    std::optional<std::uint32_t> memory;
    std::optional<std::uint32_t> paravirt;
    std::vector<std::string> extra; ///< KEY=VALUE
};

/// The options that fill settings.
void addSettings(Verb& verb, Settings& settings);

/// Changes a mutable machine; nothing is saved.
void apply(const Travik::Operations& vbox, const Travik::ScopedMachine& machine, const Settings& settings);
