// Two small subjects: a machine's sound and the host's processor.

#include "core/context.h"
#include "core/verbs.h"

using namespace Travik;

namespace {

void setAudio(Context& context, const std::string& which, bool on)
{
    context.edit(which, Lock::Write, [&](const ScopedMachine& machine) {
        context.vbox.setAudioAdapterEnabled(context.vbox.getAudioAdapter(machine), on);
    });
    context.out.done(std::string("Audio of ") + which + " is " + (on ? "on." : "off."),
                     {{"machine", which}, {"audio", on}});
}

void host(Context& context)
{
    struct Row
    {
        Feature feature;
        const char* key;
        const char* label;
    };
    static constexpr Row rows[] = {{Feature::HWVirtEx, "hardwareVirtualisation", "hardware virtualisation"},
                                   {Feature::PAE, "pae", "PAE"},
                                   {Feature::LongMode, "longMode", "64 bit"},
                                   {Feature::NestedPaging, "nestedPaging", "nested paging"},
                                   {Feature::UnrestrictedGuest, "unrestrictedGuest", "unrestricted guest"},
                                   {Feature::NestedHWVirt, "nestedVirtualisation", "nested virtualisation"}};
    const ScopedHost handle = context.vbox.getHost();
    Json found = Json::object();
    Output::Labels labels;
    for (const Row& row : rows) {
        found[row.key] = context.vbox.hostGetProcessorFeature(handle, row.feature);
        labels[row.key] = row.label;
    }
    context.out.fields("host", found, labels);
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
            .machine(*machine)
            .example(on ? "audio on Player" : "audio off Player");
    }
    verbs.add("host", "What the host's processor can do", host).example("host");
}
