// The library's own numbering beside VirtualBox's.

#include "verbs.h"

using namespace Travik;

namespace {

using Converter = std::uint32_t (VBoxInstanceImpl::*)(std::uint32_t);

struct Kind
{
    const char* name;
    Converter toVBox;
    Converter toSdk;
};

const Kind kinds[] = {
    {"machine-state", &VBoxInstanceImpl::toVBoxMachineState, &VBoxInstanceImpl::toSdkMachineState},
    {"event-type", &VBoxInstanceImpl::toVBoxEventType, &VBoxInstanceImpl::toSdkEventType},
    {"paravirt", &VBoxInstanceImpl::toVBoxParavirtProvider, &VBoxInstanceImpl::toSdkParavirtProvider},
    {"result", &VBoxInstanceImpl::toHResult, &VBoxInstanceImpl::toVBoxResultCode},
    {"switch", &VBoxInstanceImpl::toVBoxSwitch, &VBoxInstanceImpl::toSdkSwitch},
    {"flag-a", &VBoxInstanceImpl::toVBoxFlagA, &VBoxInstanceImpl::toSdkFlagA},
    {"flag-b", &VBoxInstanceImpl::toVBoxFlagB, &VBoxInstanceImpl::toSdkFlagB},
    {"flag-c", &VBoxInstanceImpl::toVBoxFlagC, &VBoxInstanceImpl::toSdkFlagC},
    {"kind-a", &VBoxInstanceImpl::toVBoxKindA, &VBoxInstanceImpl::toSdkKindA},
    {"kind-b", &VBoxInstanceImpl::toVBoxKindB, &VBoxInstanceImpl::toSdkKindB},
    {"kind-c", &VBoxInstanceImpl::toVBoxKindC, &VBoxInstanceImpl::toSdkKindC},
};

std::set<std::string> kindNames()
{
    std::set<std::string> names;
    for (const Kind& kind : kinds)
        names.insert(kind.name);
    return names;
}

void convert(Context& context, const std::string& name, std::uint32_t value)
{
    for (const Kind& kind : kinds) {
        if (name != kind.name)
            continue;
        const std::uint32_t toVBox = (context.vbox.*kind.toVBox)(value);
        Json facts{{"toVBox", toVBox}, {"toSdk", (context.vbox.*kind.toSdk)(value)}};
        if (name == "result")
            facts["toVBox"] = hexadecimal(toVBox);
        context.out.fields("converted", facts);
    }
}

} // namespace

void addConverterVerb(Verbs& verbs)
{
    struct Options
    {
        std::string kind;
        std::uint32_t value = 0;
    };
    auto options = std::make_shared<Options>();
    CLI::App& verb = verbs.add("convert", "A number in VirtualBox's numbering and in the library's",
                               [options](Context& context) { convert(context, options->kind, options->value); });
    verbs.withoutVirtualBox();
    addArgument(verb, "KIND", options->kind, "What the number stands for")->check(CLI::IsMember(kindNames()));
    verb.add_option("VALUE", options->value, "Number, also as 0x...")->required()->type_name("");
}
