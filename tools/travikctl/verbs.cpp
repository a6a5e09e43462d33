#include "verbs.h"

CLI::App& Verbs::add(const std::string& name, const std::string& description, Action action)
{
    return add(app_, name, description, std::move(action));
}

CLI::App& Verbs::add(CLI::App& group, const std::string& name, const std::string& description, Action action)
{
    CLI::App& verb = *group.add_subcommand(name, description);
    verb.fallthrough(); // the general options may follow the verb
    const std::string fullName = &group == &app_ ? name : group.get_name() + " " + name;
    last_ = std::make_shared<Verb>(Verb{fullName, std::move(action)});
    verb.callback([this, chosen = last_] { chosen_ = chosen; });
    return verb;
}

CLI::App& Verbs::group(const std::string& name, const std::string& description)
{
    CLI::App& group = *app_.add_subcommand(name, description);
    group.fallthrough();
    group.require_subcommand(1);
    return group;
}

Verbs& Verbs::withoutVirtualBox()
{
    last_->needsVirtualBox = false;
    return *this;
}

Verbs& Verbs::waitingLong()
{
    last_->waitsLong = true;
    return *this;
}

CLI::Option* addArgument(CLI::App& verb, const std::string& name, std::string& value, const std::string& description)
{
    return verb.add_option(name, value, description)->required()->type_name("");
}

CLI::Option* addMachine(CLI::App& verb, std::string& machine)
{
    return addArgument(verb, "MACHINE", machine, "Name, UUID or settings file of the machine");
}
