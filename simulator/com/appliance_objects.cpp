#include "com/appliance_objects.h"

namespace VBoxSim {

namespace {

/// The places that the two methods for whole descriptions fill.
struct DescriptionArrays
{
    SAFEARRAY** types;
    SAFEARRAY** references;
    SAFEARRAY** originals;
    SAFEARRAY** suggested;
    SAFEARRAY** extras;

    void clear() const
    {
        for (SAFEARRAY** out : {types, references, originals, suggested, extras})
            if (out)
                *out = nullptr;
    }

    void fill(const std::vector<DescriptionEntry>& entries, ULONG wanted) const
    {
        for (SAFEARRAY** out : {types, references, originals, suggested, extras})
            require(out);
        std::vector<LONG> numbers;
        std::vector<std::wstring> texts[4];
        for (const DescriptionEntry& entry : entries) {
            if (wanted && static_cast<ULONG>(entry.type) != wanted)
                continue;
            numbers.push_back(static_cast<LONG>(entry.type));
            texts[0].push_back(entry.reference);
            texts[1].push_back(entry.original);
            texts[2].push_back(entry.suggested);
            texts[3].push_back(entry.extra);
        }
        store(types, numbers);
        store(references, texts[0]);
        store(originals, texts[1]);
        store(suggested, texts[2]);
        store(extras, texts[3]);
    }
};

} // namespace

HRESULT ApplianceObject::get_Path(BSTR* path)
{
    return get(L"IAppliance::get_Path", path, [&] { return data_->path; });
}

HRESULT ApplianceObject::get_VirtualSystemDescriptions(SAFEARRAY** descriptions)
{
    return get(L"IAppliance::get_VirtualSystemDescriptions", descriptions, [&] {
        Interfaces<IVirtualSystemDescription> found;
        for (std::size_t i = 0; i < data_->interpretation.systems.size(); ++i)
            found.push_back(make<VirtualSystemDescription>(data_, i));
        return found;
    });
}

HRESULT ApplianceObject::get_Machines(SAFEARRAY** machines)
{
    return get(L"IAppliance::get_Machines", machines, [&] { return data_->machines; });
}

HRESULT ApplianceObject::Read(BSTR file, IProgress** progress)
{
    return get(
        L"IAppliance::Read", progress, [&] { return make<Progress>(readAppliance(data_, textOf(file))); }, file);
}

HRESULT ApplianceObject::Interpret()
{
    return call(L"IAppliance::Interpret", [&] { interpretAppliance(*data_); });
}

HRESULT ApplianceObject::ImportMachines(SAFEARRAY* options, IProgress** progress)
{
    return get(
        L"IAppliance::ImportMachines", progress,
        [&] { return make<Progress>(importAppliance(data_, numbersOf(options))); }, options);
}

HRESULT ApplianceObject::GetWarnings(SAFEARRAY** warnings)
{
    return get(L"IAppliance::GetWarnings", warnings, [&] { return data_->interpretation.warnings; });
}

std::vector<DescriptionEntry>& VirtualSystemDescription::entries() const
{
    if (index_ >= data_->interpretation.systems.size())
        throw Failure(Result::accessDenied, L"The appliance was read anew");
    return data_->interpretation.systems[index_].entries;
}

HRESULT VirtualSystemDescription::get_Count(ULONG* count)
{
    return get(L"IVirtualSystemDescription::get_Count", count, [&] { return entries().size(); });
}

HRESULT VirtualSystemDescription::GetDescription(SAFEARRAY** types, SAFEARRAY** references, SAFEARRAY** originals,
                                                 SAFEARRAY** suggested, SAFEARRAY** extras)
{
    const DescriptionArrays arrays{types, references, originals, suggested, extras};
    arrays.clear();
    return call(L"IVirtualSystemDescription::GetDescription", [&] { arrays.fill(entries(), 0); });
}

HRESULT VirtualSystemDescription::GetDescriptionByType(ULONG type, SAFEARRAY** types, SAFEARRAY** references,
                                                       SAFEARRAY** originals, SAFEARRAY** suggested, SAFEARRAY** extras)
{
    const DescriptionArrays arrays{types, references, originals, suggested, extras};
    arrays.clear();
    return call(
        L"IVirtualSystemDescription::GetDescriptionByType", [&] { arrays.fill(entries(), type); }, type);
}

HRESULT VirtualSystemDescription::GetValuesByType(ULONG type, ULONG which, SAFEARRAY** values)
{
    return get(
        L"IVirtualSystemDescription::GetValuesByType", values,
        [&] {
            const std::wstring DescriptionEntry::*const members[] = {
                &DescriptionEntry::reference, &DescriptionEntry::original, &DescriptionEntry::suggested,
                &DescriptionEntry::extra};
            if (which < 1 || which > std::size(members))
                throw Failure(Result::invalidArgument, L"Invalid value type " + std::to_wstring(which));
            std::vector<std::wstring> found;
            for (const DescriptionEntry& entry : entries())
                if (static_cast<ULONG>(entry.type) == type)
                    found.push_back(entry.*members[which - 1]);
            return found;
        },
        type, which);
}

HRESULT VirtualSystemDescription::SetFinalValues(SAFEARRAY* enabled, SAFEARRAY* suggested, SAFEARRAY* extras)
{
    return call(
        L"IVirtualSystemDescription::SetFinalValues",
        [&] {
            std::vector<DescriptionEntry>& all = entries();
            const std::vector<LONG> flags = numbersOf(enabled);
            const std::vector<std::wstring> values = textsOf(suggested), more = textsOf(extras);
            if (flags.size() != all.size() || values.size() != all.size() || more.size() != all.size())
                throw Failure(Result::invalidArgument, L"The arrays must be as long as the description");
            for (std::size_t i = 0; i < all.size(); ++i) {
                all[i].enabled = flags[i] != 0;
                all[i].suggested = values[i];
                all[i].extra = more[i];
            }
        },
        enabled, suggested, extras);
}

} // namespace VBoxSim
