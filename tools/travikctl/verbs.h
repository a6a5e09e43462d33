#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "context.h"

using Action = std::function<void(Context&)>;

/// How a command is run.
struct Verb
{
    std::string name; ///< "nat add"
    Action action;
    bool needsVirtualBox = true; ///< connect before the action
    bool waitsLong = false;      ///< no time limit unless --timeout is given
};

/// The command line's verbs; parsing it chooses one.
class Verbs
{
public:
    explicit Verbs(CLI::App& app) : app_(app) {}

    /// A verb of its own, or one of a group. The traits are those of Verb.
    CLI::App& add(const std::string& name, const std::string& description, Action action);
    CLI::App& add(CLI::App& group, const std::string& name, const std::string& description, Action action);

    /// A verb that is followed by one of its own verbs.
    CLI::App& group(const std::string& name, const std::string& description);

    /// Marks the verb last added.
    Verbs& withoutVirtualBox();
    Verbs& waitingLong();

    /// The verb that the command line names.
    const Verb& chosen() const { return *chosen_; }

private:
    CLI::App& app_;
    std::shared_ptr<Verb> last_;
    std::shared_ptr<Verb> chosen_;
};

/// A required argument, named in the help as it is.
CLI::Option* addArgument(CLI::App& verb, const std::string& name, std::string& value, const std::string& description);

/// The MACHINE argument, the same everywhere.
CLI::Option* addMachine(CLI::App& verb, std::string& machine);

// One function per subject, each in its own source.
void addShowVerbs(Verbs& verbs);
void addCreateVerbs(Verbs& verbs);
void addSettingsVerbs(Verbs& verbs);
void addPowerVerbs(Verbs& verbs);
void addWatchVerb(Verbs& verbs);
void addNatVerbs(Verbs& verbs);
void addShareVerbs(Verbs& verbs);
void addPropertyVerbs(Verbs& verbs);
void addAudioAndHostVerbs(Verbs& verbs);
void addDiskVerbs(Verbs& verbs);
void addFolderVerbs(Verbs& verbs);
void addConverterVerb(Verbs& verbs);
void addDoctorVerb(Verbs& verbs);
void addTourVerb(Verbs& verbs);
