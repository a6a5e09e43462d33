// Two small subjects: a machine's sound and the host's processor.

#include "core/context.h"
#include "core/verbs.h"

using namespace Travik;

namespace {

void setAudio(Context& context, const std::string& which, bool on)
{
    context.edit(which, LockType::Write, [&](VBoxHandle machine) {
        const auto adapter = context.ask<ScopedAudioAdapter>(&VBoxInstanceImpl::getAudioAdapter, machine);
        context.check(context.vbox.setAudioAdapterEnabled(adapter, on ? 1 : 0));
    });
    context.out.done(std::string("Audio of ") + which + " is " + (on ? "on." : "off."),
                     {{"machine", which}, {"audio", on}});
}

void host(Context& context)
{
    struct Feature
    {
        std::uint32_t number;
        const char* name;
    };
    static constexpr Feature features[] = {{ProcessorFeature::HWVirtEx, "hardware virtualisation"},
                                           {ProcessorFeature::PAE, "PAE"},
                                           {ProcessorFeature::LongMode, "64 bit"},
                                           {ProcessorFeature::NestedPaging, "nested paging"},
                                           {ProcessorFeature::UnrestrictedGuest, "unrestricted guest"},
                                           {ProcessorFeature::NestedHWVirt, "nested virtualisation"}};
    const auto handle = context.ask<ScopedHost>(&VBoxInstanceImpl::getHost);
    Json found = Json::object();
    for (const Feature& feature : features)
        found[feature.name] =
            context.ask<std::uint32_t>(&VBoxInstanceImpl::hostGetProcessorFeature, handle, feature.number) != 0;
    context.out.fields("host", found);
}

} // namespace

void addAudioAndHostVerbs(Verbs& verbs)
{
    Verbs::Group group = verbs.group("audio", "A machine's sound; it changes only while the machine is off");
    for (const bool on : {true, false}) {
        auto machine = std::make_shared<std::string>();
        group
            .add(on ? "on" : "off", on ? "Switch it on" : "Switch it off",
                 [machine, on](Context& context) { setAudio(context, *machine, on); })
            .machine(*machine);
    }
    verbs.add("host", "What the host's processor can do", host);
}
