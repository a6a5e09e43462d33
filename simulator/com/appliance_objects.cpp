#include "com/appliance_objects.h"

#include "com/progress_object.h"

namespace VBoxSim {

namespace {

/// The outputs of the two methods for whole descriptions.
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

HRESULT ApplianceObject::get_Disks(SAFEARRAY** disks)
{
    return get(L"IAppliance::get_Disks", disks, [&] { return diskTexts(*data_); });
}

HRESULT ApplianceObject::get_VirtualSystemDescriptions(SAFEARRAY** descriptions)
{
    return get(L"IAppliance::get_VirtualSystemDescriptions", descriptions, [&] {
        Interfaces<IVirtualSystemDescription> found;
        for (std::size_t i = 0; i < data_->interpretation.systems.size(); ++i)
            found.push_back(make<VirtualSystemDescriptionObject>(server(), data_, i));
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
        L"IAppliance::Read", progress,
        [&] { return make<ProgressObject>(server(), readAppliance(host(), data_, textOf(file))); }, file);
}

HRESULT ApplianceObject::Interpret()
{
    return call(L"IAppliance::Interpret", [&] { interpretAppliance(host(), *data_); });
}

HRESULT ApplianceObject::ImportMachines(SAFEARRAY* options, IProgress** progress)
{
    return get(
        L"IAppliance::ImportMachines", progress,
        [&] {
            const ProgressPtr importing = importAppliance(host(), data_, numbersOf(options));
            server().noteImport(importing);
            return make<ProgressObject>(server(), importing);
        },
        options);
}

HRESULT ApplianceObject::GetWarnings(SAFEARRAY** warnings)
{
    return get(L"IAppliance::GetWarnings", warnings, [&] { return data_->interpretation.warnings; });
}

HRESULT VirtualSystemDescriptionObject::get_Count(ULONG* count)
{
    return get(L"IVirtualSystemDescription::get_Count", count, [&] { return entries().size(); });
}

HRESULT VirtualSystemDescriptionObject::GetDescription(SAFEARRAY** types, SAFEARRAY** references, SAFEARRAY** originals,
                                                       SAFEARRAY** suggested, SAFEARRAY** extras)
{
    const DescriptionArrays arrays{types, references, originals, suggested, extras};
    arrays.clear();
    return call(L"IVirtualSystemDescription::GetDescription", [&] { arrays.fill(entries(), 0); });
}

HRESULT VirtualSystemDescriptionObject::GetDescriptionByType(ULONG type, SAFEARRAY** types, SAFEARRAY** references,
                                                             SAFEARRAY** originals, SAFEARRAY** suggested,
                                                             SAFEARRAY** extras)
{
    const DescriptionArrays arrays{types, references, originals, suggested, extras};
    arrays.clear();
    return call(
        L"IVirtualSystemDescription::GetDescriptionByType", [&] { arrays.fill(entries(), type); }, type);
}

HRESULT VirtualSystemDescriptionObject::GetValuesByType(ULONG type, ULONG which, SAFEARRAY** values)
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

HRESULT VirtualSystemDescriptionObject::SetFinalValues(SAFEARRAY* enabled, SAFEARRAY* suggested, SAFEARRAY* extras)
{
    return call(
        L"IVirtualSystemDescription::SetFinalValues",
        [&] {
            setFinalValues(entries(), {numbersOf(enabled), textsOf(suggested), textsOf(extras)});
        },
        enabled, suggested, extras);
}

} // namespace VBoxSim
