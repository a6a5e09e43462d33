#include "verbs.h"

Verb::Verb(std::string group, std::string word, std::string description, Action action)
    : group_(std::move(group)), word_(std::move(word)), description_(std::move(description)), action_(std::move(action))
{}

Verb& Verb::argument(std::string name, Parameter::Target target, std::string description)
{
    option(std::move(name), "", target, std::move(description));
    return required();
}

Verb& Verb::machine(std::string& which)
{
    argument("MACHINE", &which, "Name, UUID or settings file of the machine");
    parameters_.back().isMachine = true;
    return *this;
}

Verb& Verb::machines(std::vector<std::string>& which)
{
    argument("MACHINE", &which, "Names, UUIDs or settings files of the machines");
    parameters_.back().isMachine = true;
    return *this;
}

Verb& Verb::option(std::string name, std::string valueName, Parameter::Target target, std::string description)
{
    Parameter parameter;
    parameter.name = std::move(name);
    parameter.valueName = std::move(valueName);
    parameter.target = target;
    parameter.description = std::move(description);
    parameters_.push_back(std::move(parameter));
    return *this;
}

Verb& Verb::flag(std::string name, bool& target, std::string description)
{
    return option(std::move(name), "", &target, std::move(description));
}

Verb& Verb::required()
{
    parameters_.back().required = true;
    return *this;
}

Verb& Verb::optional()
{
    parameters_.back().required = false;
    return *this;
}

Verb& Verb::excludes(std::string other)
{
    parameters_.back().excludes = std::move(other);
    return *this;
}

Verb& Verb::words(std::vector<std::string> values)
{
    parameters_.back().words = std::move(values);
    return *this;
}

Verb& Verb::choices(Choices values)
{
    parameters_.back().choices = std::move(values);
    return *this;
}

Verb& Verb::between(double least, double greatest)
{
    parameters_.back().range = {least, greatest};
    return *this;
}

Verb& Verb::checked(std::function<std::string(const std::string&)> problem)
{
    parameters_.back().problem = std::move(problem);
    return *this;
}

Verb& Verb::withoutVirtualBox()
{
    needsVirtualBox_ = false;
    return *this;
}

Verb& Verb::waitingLong()
{
    waitsLong_ = true;
    return *this;
}

Verb& Verb::failingInTheLog()
{
    failsInTheLog_ = true;
    return *this;
}

Verb& Verb::endedByCtrlC()
{
    endsByCtrlC_ = true;
    return *this;
}

Verb& Verb::inLines()
{
    isInLines_ = true;
    return *this;
}

Verb& Verb::example(std::string commandLine)
{
    examples_.push_back(std::move(commandLine));
    return *this;
}

Verb& Verbs::add(std::string word, std::string description, Verb::Action action)
{
    return verbs_.emplace_back("", std::move(word), std::move(description), std::move(action));
}

Verb& Verbs::Group::add(std::string word, std::string description, Verb::Action action)
{
    return verbs_.verbs_.emplace_back(word_, std::move(word), std::move(description), std::move(action));
}

Verbs::Group Verbs::group(std::string word, std::string description)
{
    groups_.emplace(word, std::move(description));
    return Group(*this, std::move(word));
}
