#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

struct Context;

/// The words that stand for the values of a parameter.
using Choices = std::vector<std::pair<std::string, std::uint32_t>>;

/// What stands behind a verb: an argument ("MACHINE"), or an option or flag ("--port").
struct Parameter
{
    /// Where the value goes; a vector takes several, a bool is a flag's.
    using Target = std::variant<std::string*, std::optional<std::string>*, std::vector<std::string>*, bool*,
                                std::int32_t*, std::uint32_t*, std::uint64_t*, std::optional<std::uint32_t>*, double*>;

    std::string name;
    std::string valueName; ///< of an option: what the help calls its value
    Target target;
    std::string description;
    bool required = false;
    std::string excludes;                                   ///< a parameter that must not stand beside this one
    std::vector<std::string> words;                         ///< the only values, if any
    Choices choices;                                        ///< the same for a number; case does not matter
    std::optional<std::pair<double, double>> range;         ///< least and greatest value
    std::function<std::string(const std::string&)> problem; ///< what is wrong with a value; empty: nothing
    bool isMachine = false;                                 ///< a machine's name serves

    bool isArgument() const { return name.front() != '-'; }
};

/// A verb as data: what the command line, its help and its completion are made from.
class Verb
{
public:
    using Action = std::function<void(Context&)>;

    Verb(std::string group, std::string word, std::string description, Action action);

    /// A required argument.
    Verb& argument(std::string name, Parameter::Target target, std::string description);
    /// The MACHINE argument, the same everywhere; one, or one and more.
    Verb& machine(std::string& which);
    Verb& machines(std::vector<std::string>& which);
    Verb& option(std::string name, std::string valueName, Parameter::Target target, std::string description);
    Verb& flag(std::string name, bool& target, std::string description);

    // About the parameter last named.
    Verb& required();
    Verb& optional();
    Verb& excludes(std::string other);
    Verb& words(std::vector<std::string> values);
    Verb& choices(Choices values);
    Verb& between(double least, double greatest);
    Verb& checked(std::function<std::string(const std::string&)> problem);

    /// The action connects itself, or needs no VirtualBox.
    Verb& withoutVirtualBox();
    /// No time limit unless --timeout is given.
    Verb& waitingLong();
    /// VirtualBox's reason for a failure stands in the library's log only.
    Verb& failingInTheLog();
    /// Ctrl-C is its usual end.
    Verb& endedByCtrlC();
    /// Its output has no end: one JSON object a line, also for a failure.
    Verb& inLines();
    /// A command line for the help, without the program's name.
    Verb& example(std::string commandLine);

    /// "nat" of "nat add"; empty for a verb that stands alone.
    const std::string& group() const { return group_; }
    /// "add" of "nat add".
    const std::string& word() const { return word_; }
    std::string name() const { return group_.empty() ? word_ : group_ + " " + word_; }
    const std::string& description() const { return description_; }
    const std::vector<Parameter>& parameters() const { return parameters_; }
    const Action& action() const { return action_; }
    bool needsVirtualBox() const { return needsVirtualBox_; }
    bool waitsLong() const { return waitsLong_; }
    bool failsInTheLog() const { return failsInTheLog_; }
    bool endsByCtrlC() const { return endsByCtrlC_; }
    bool isInLines() const { return isInLines_; }
    const std::vector<std::string>& examples() const { return examples_; }

private:
    std::string group_, word_, description_;
    Action action_;
    std::vector<Parameter> parameters_;
    bool needsVirtualBox_ = true;
    bool waitsLong_ = false;
    bool failsInTheLog_ = false;
    bool endsByCtrlC_ = false;
    bool isInLines_ = false;
    std::vector<std::string> examples_;
};

/// All verbs, in the order of the help.
class Verbs
{
public:
    Verb& add(std::string word, std::string description, Verb::Action action);

    /// Verbs that follow a common word.
    class Group
    {
    public:
        Group(Verbs& verbs, std::string word) : verbs_(verbs), word_(std::move(word)) {}
        Verb& add(std::string word, std::string description, Verb::Action action);

    private:
        Verbs& verbs_;
        std::string word_;
    };
    Group group(std::string word, std::string description);

    const std::deque<Verb>& all() const { return verbs_; }
    const std::string& descriptionOf(const std::string& group) const { return groups_.at(group); }

private:
    std::deque<Verb> verbs_;                    // whose elements stay where they are
    std::map<std::string, std::string> groups_; // with their descriptions
};

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
void addCompletionVerb(Verbs& verbs); // last: it knows the others
void addTourVerb(Verbs& verbs);
