// The machine that VirtualBox runs on.
#include <chrono>

#include "lab.h"

namespace Probe {
namespace {

using enum Ground;

ComPtr<IHost> host(Lab& lab)
{
    return object(lab.box, &IVirtualBox::get_Host);
}

Finding longMode(Lab& lab)
{
    SYSTEM_INFO info;
    GetNativeSystemInfo(&info);
    if (info.wProcessorArchitecture != PROCESSOR_ARCHITECTURE_AMD64)
        throw Cannot("this system is not of 64 bits");
    BOOL supported = FALSE;
    must(host(lab)->GetProcessorFeature(ProcessorFeature::LongMode, &supported));
    return yes(supported != FALSE);
}

Finding features(Lab& lab)
{
    const auto result = [&lab](ULONG feature) {
        BOOL supported = FALSE;
        return host(lab)->GetProcessorFeature(feature, &supported);
    };
    return all({answers(Result::Ok, result(ProcessorFeature::HWVirtEx)),
                answers(Result::Ok, result(ProcessorFeature::PAE)),
                answers(Result::Ok, result(ProcessorFeature::NestedPaging)),
                answers(Result::Ok, result(ProcessorFeature::UnrestrictedGuest)),
                answers(Result::Ok, result(ProcessorFeature::NestedHWVirt))});
}

Finding unknownFeature(Lab& lab)
{
    BOOL supported = FALSE;
    return answers(Result::InvalidArg, host(lab)->GetProcessorFeature(ProcessorFeature::NestedHWVirt + 1, &supported));
}

Finding processors(Lab& lab)
{
    SYSTEM_INFO info;
    GetNativeSystemInfo(&info);
    return all({equal(info.dwNumberOfProcessors, read(host(lab), &IHost::get_ProcessorOnlineCount)),
                yes(read(host(lab), &IHost::get_ProcessorCount) >= info.dwNumberOfProcessors)});
}

Finding memory(Lab& lab)
{
    const ULONG size = read(host(lab), &IHost::get_MemorySize),
                available = read(host(lab), &IHost::get_MemoryAvailable);
    return says(size > 0 && available <= size, "some MB, of which not more are available",
                std::to_string(size) + " MB, of which " + std::to_string(available));
}

Finding system(Lab& lab)
{
    const std::wstring name = text(host(lab), &IHost::get_OperatingSystem);
    return says(!name.empty(), "a name", utf8(name));
}

Finding time(Lab& lab)
{
    using namespace std::chrono;
    const auto now = duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
    const LONG64 told = read(host(lab), &IHost::get_UTCTime);
    return says(told > now - 60'000 && told < now + 60'000, "within a minute of now", std::to_string(told));
}

Finding macAddress(Lab& lab)
{
    Text mac;
    must(host(lab)->GenerateMACAddress(mac.put()));
    const std::wstring made = mac.str();
    return says(made.size() == 12 && made.starts_with(L"080027"), "12 digits, 080027 in front", utf8(made));
}

} // namespace

Subject hostStatements()
{
    return {
        "host",
        "The host",
        {
            {"host.features", "It tells each feature of the processor that the API names.", Documented, features},
            {"host.long-mode", "A 64-bit Windows has a processor with long mode.", Documented, longMode},
            {"host.unknown-feature", "A feature that does not exist gives `E_INVALIDARG`.", Assumed, unknownFeature},
            {"host.nested-paging", "Nested paging is told as the processor has it.", Assumed, nullptr,
             "Windows tells programs too little of it to compare"},
            {"host.processors", "Processors that are online are those of the system.", Documented, processors},
            {"host.memory", "Memory is told in megabytes.", Documented, memory},
            {"host.system", "The operating system has a name.", Documented, system},
            {"host.time", "Its time counts milliseconds since 1970.", Documented, time},
            {"host.mac", "It makes MAC addresses that begin with 080027.", Assumed, macAddress},
        }};
}

} // namespace Probe
