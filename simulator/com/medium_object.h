#pragma once

#include "com/object.h"
#include "host/medium.h"

namespace VBoxSim {

class MediumObject : public Object<MediumObject, IMedium>
{
public:
    static constexpr GUID implementationId{
        0x6E0B7C54, 0x2D7A, 0x4F0C, {0x9A, 0x83, 0x5B, 0x1E, 0x4C, 0x2D, 0x9F, 0x23}};

    MediumObject(Server& server, MediumPtr medium) : Object(server), medium_(std::move(medium)) {}

    HRESULT STDMETHODCALLTYPE get_Id(BSTR* id) override;
    HRESULT STDMETHODCALLTYPE get_Description(BSTR* description) override;
    HRESULT STDMETHODCALLTYPE put_Description(BSTR description) override;
    HRESULT STDMETHODCALLTYPE get_State(ULONG* state) override;
    HRESULT STDMETHODCALLTYPE get_Location(BSTR* location) override;
    HRESULT STDMETHODCALLTYPE get_Name(BSTR* name) override;
    HRESULT STDMETHODCALLTYPE get_DeviceType(ULONG* type) override;
    HRESULT STDMETHODCALLTYPE get_HostDrive(BOOL* hostDrive) override;
    HRESULT STDMETHODCALLTYPE get_Size(LONG64* size) override;
    HRESULT STDMETHODCALLTYPE get_Format(BSTR* format) override;
    HRESULT STDMETHODCALLTYPE get_Type(ULONG* type) override;
    HRESULT STDMETHODCALLTYPE get_Parent(IMedium** parent) override;
    HRESULT STDMETHODCALLTYPE get_Children(SAFEARRAY** children) override;
    HRESULT STDMETHODCALLTYPE get_Base(IMedium** base) override;
    HRESULT STDMETHODCALLTYPE get_ReadOnly(BOOL* readOnly) override;
    HRESULT STDMETHODCALLTYPE get_LogicalSize(LONG64* size) override;
    HRESULT STDMETHODCALLTYPE get_LastAccessError(BSTR* error) override;
    HRESULT STDMETHODCALLTYPE get_MachineIds(SAFEARRAY** ids) override;
    HRESULT STDMETHODCALLTYPE RefreshState(ULONG* state) override;
    HRESULT STDMETHODCALLTYPE Close() override;
    HRESULT STDMETHODCALLTYPE CreateBaseStorage(LONG64 size, SAFEARRAY* variant, IProgress** progress) override;
    HRESULT STDMETHODCALLTYPE DeleteStorage(IProgress** progress) override;

    const wchar_t* typeName() const override { return L"IMedium"; }
    const MediumPtr& medium() const { return medium_; }

private:
    void checkUsable() const override;
    template <class Read>
    HRESULT getUnlessEmpty(const wchar_t* name, SAFEARRAY** out, Read&& read);

    const MediumPtr medium_;
};

/// Null for a null medium.
ComPtr<MediumObject> mediumObject(Server& server, const MediumPtr& medium);
Interfaces<IMedium> mediumObjects(Server& server, const std::vector<MediumPtr>& media);
/// Both throw Failure(invalidArgument) for what is no medium of this server.
MediumPtr mediumOf(IUnknown* object);
std::vector<MediumPtr> mediaOf(SAFEARRAY* objects);

} // namespace VBoxSim
