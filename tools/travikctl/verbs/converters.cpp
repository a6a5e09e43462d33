// The library's own numbering beside VirtualBox's.

#include <algorithm>

#include "core/context.h"
#include "core/verbs.h"

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

std::vector<std::string> kindNames()
{
    std::vector<std::string> names;
    for (const Kind& kind : kinds)
        names.emplace_back(kind.name);
    return names;
}

void convert(Context& context, const std::string& name, std::uint32_t value)
{
    const Kind& kind = *std::find_if(std::begin(kinds), std::end(kinds), [&](const Kind& k) { return name == k.name; });
    VBoxInstanceImpl& vbox = context.vbox;
    const std::uint32_t toVBox = (vbox.*kind.toVBox)(value);
    Json facts{{"toVBox", toVBox}, {"toSdk", (vbox.*kind.toSdk)(value)}};
    if (name == "result")
        facts["toVBoxText"] = hexadecimal(toVBox);
    context.out.fields("converted", facts);
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
    verbs
        .add("convert", "A number in VirtualBox's numbering and in the library's",
             [options](Context& context) { convert(context, options->kind, options->value); })
        .withoutVirtualBox()
        .argument("KIND", &options->kind, "What the number stands for")
        .words(kindNames())
        .argument("VALUE", &options->value, "Number, also as 0x...")
        .example("convert machine-state 17")
        .example("convert result 0x80BB0007");
}
