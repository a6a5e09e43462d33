// Guest properties.

#include "core/context.h"
#include "core/verbs.h"

using namespace Travik;

namespace {

struct PropertyOptions
{
    std::string machine, name, value, flags;
};

void get(Context& context, const PropertyOptions& options)
{
    const GuestProperty property =
        context.vbox.getGuestProperty(context.machine(options.machine), fromUtf8(options.name));
    if (property.value.empty() && property.timestamp == 0)
        throw CommandError(
            ExitCode::NotFound, "the machine has no property " + options.name,
            "Names are case-sensitive and usually begin with a slash, as in /VirtualBox/GuestInfo/Net/Count.");
    context.out.fields("property", {{"name", options.name},
                                    {"value", toUtf8(property.value)},
                                    {"timestamp", property.timestamp},
                                    {"flags", toUtf8(property.flags)}});
}

void set(Context& context, const PropertyOptions& options)
{
    context.edit(options.machine, Lock::Shared, [&](const ScopedMachine& machine) {
        context.vbox.setGuestProperty(machine, fromUtf8(options.name), fromUtf8(options.value),
                                      fromUtf8(options.flags));
    });
    context.out.done("Set " + options.name + ".", {{"machine", options.machine}, {"name", options.name}});
}

void remove(Context& context, const PropertyOptions& options)
{
    context.edit(options.machine, Lock::Shared, [&](const ScopedMachine& machine) {
        context.vbox.deleteGuestProperty(machine, fromUtf8(options.name));
    });
    context.out.done("Deleted " + options.name + ".", {{"machine", options.machine}, {"name", options.name}});
}

} // namespace

void addPropertyVerbs(Verbs& verbs)
{
    Verbs::Group group = verbs.group("prop", "Guest properties, the channel between host and guest");
    const auto add = [&group](const char* word, const char* description,
                              void (*act)(Context&, const PropertyOptions&)) {
        auto options = std::make_shared<PropertyOptions>();
        Verb& verb = group.add(word, description, [options, act](Context& context) { act(context, *options); });
        verb.machine(options->machine).argument("NAME", &options->name, "Name of the property");
        return std::pair<Verb&, std::shared_ptr<PropertyOptions>>(verb, options);
    };

    add("get", "A property with its time (nanoseconds since 1970) and flags", get)
        .first.example("prop get Player /VirtualBox/GuestInfo/Net/Count");
    const auto [setting, options] = add("set", "Set a property; the machine must run or be off", set);
    setting.argument("VALUE", &options->value, "Value; an empty one deletes the property")
        .option("--flags", "TEXT", &options->flags, "Flags, with commas: TRANSIENT, RDONLYGUEST, ...")
        .example("prop set Player /ctl/greeting hello --flags RDONLYGUEST");
    add("delete", "Delete a property", remove).first.example("prop delete Player /ctl/greeting");
}
