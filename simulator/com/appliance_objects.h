#pragma once

#include "com/object.h"
#include "host/importing.h"

namespace VBoxSim {

/// An appliance that is read, interpreted and imported.
class ApplianceObject : public Object<ApplianceObject, IAppliance>
{
public:
    explicit ApplianceObject(Server& server) : Object(server) {}

    HRESULT STDMETHODCALLTYPE get_Path(BSTR* path) override;
    HRESULT STDMETHODCALLTYPE get_Disks(SAFEARRAY** disks) override;
    HRESULT STDMETHODCALLTYPE get_VirtualSystemDescriptions(SAFEARRAY** descriptions) override;
    HRESULT STDMETHODCALLTYPE get_Machines(SAFEARRAY** machines) override;
    HRESULT STDMETHODCALLTYPE Read(BSTR file, IProgress** progress) override;
    HRESULT STDMETHODCALLTYPE Interpret() override;
    HRESULT STDMETHODCALLTYPE ImportMachines(SAFEARRAY* options, IProgress** progress) override;
    HRESULT STDMETHODCALLTYPE GetWarnings(SAFEARRAY** warnings) override;

    const wchar_t* typeName() const override { return L"IAppliance"; }

private:
    const AppliancePtr data_ = std::make_shared<ApplianceData>();
};

/// What an import would make of one system of an appliance.
class VirtualSystemDescriptionObject : public Object<VirtualSystemDescriptionObject, IVirtualSystemDescription>
{
public:
    VirtualSystemDescriptionObject(Server& server, AppliancePtr data, std::size_t index)
        : Object(server), data_(std::move(data)), index_(index)
    {}

    HRESULT STDMETHODCALLTYPE get_Count(ULONG* count) override;
    HRESULT STDMETHODCALLTYPE GetDescription(SAFEARRAY** types, SAFEARRAY** references, SAFEARRAY** originals,
                                             SAFEARRAY** suggested, SAFEARRAY** extras) override;
    HRESULT STDMETHODCALLTYPE GetDescriptionByType(ULONG type, SAFEARRAY** types, SAFEARRAY** references,
                                                   SAFEARRAY** originals, SAFEARRAY** suggested,
                                                   SAFEARRAY** extras) override;
    HRESULT STDMETHODCALLTYPE GetValuesByType(ULONG type, ULONG which, SAFEARRAY** values) override;
    HRESULT STDMETHODCALLTYPE SetFinalValues(SAFEARRAY* enabled, SAFEARRAY* suggested, SAFEARRAY* extras) override;

    const wchar_t* typeName() const override { return L"IVirtualSystemDescription"; }

private:
    std::vector<DescriptionEntry>& entries() const { return entriesOf(*data_, index_); }

    const AppliancePtr data_;
    const std::size_t index_;
};

} // namespace VBoxSim
