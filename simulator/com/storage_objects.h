#pragma once

#include "com/object.h"
#include "host/device_views.h"

namespace VBoxSim {

class StorageControllerObject : public Object<StorageControllerObject, IStorageController>
{
public:
    StorageControllerObject(Server& server, StorageControllerView view) : Object(server), view_(std::move(view)) {}

    HRESULT STDMETHODCALLTYPE get_Name(BSTR* name) override;
    HRESULT STDMETHODCALLTYPE put_Name(BSTR name) override;
    HRESULT STDMETHODCALLTYPE get_MaxDevicesPerPortCount(ULONG* count) override;
    HRESULT STDMETHODCALLTYPE get_MinPortCount(ULONG* count) override;
    HRESULT STDMETHODCALLTYPE get_MaxPortCount(ULONG* count) override;
    HRESULT STDMETHODCALLTYPE get_Instance(ULONG* instance) override;
    HRESULT STDMETHODCALLTYPE put_Instance(ULONG instance) override;
    HRESULT STDMETHODCALLTYPE get_PortCount(ULONG* count) override;
    HRESULT STDMETHODCALLTYPE put_PortCount(ULONG count) override;
    HRESULT STDMETHODCALLTYPE get_Bus(ULONG* bus) override;
    HRESULT STDMETHODCALLTYPE get_ControllerType(ULONG* type) override;
    HRESULT STDMETHODCALLTYPE put_ControllerType(ULONG type) override;
    HRESULT STDMETHODCALLTYPE get_UseHostIOCache(BOOL* use) override;
    HRESULT STDMETHODCALLTYPE put_UseHostIOCache(BOOL use) override;
    HRESULT STDMETHODCALLTYPE get_Bootable(BOOL* bootable) override;

    const wchar_t* typeName() const override { return L"IStorageController"; }

private:
    void checkUsable() const override { view_.machine().checkUsable(); }

    StorageControllerView view_;
};

/// An attachment as it was when it was asked for.
class MediumAttachmentObject : public Object<MediumAttachmentObject, IMediumAttachment>
{
public:
    MediumAttachmentObject(Server& server, MachineView machine, std::wstring controller, AttachmentSettings settings)
        : Object(server),
          machine_(std::move(machine)),
          controller_(std::move(controller)),
          settings_(std::move(settings))
    {}

    HRESULT STDMETHODCALLTYPE get_Machine(IMachine** machine) override;
    HRESULT STDMETHODCALLTYPE get_Medium(IMedium** medium) override;
    HRESULT STDMETHODCALLTYPE get_Controller(BSTR* controller) override;
    HRESULT STDMETHODCALLTYPE get_Port(LONG* port) override;
    HRESULT STDMETHODCALLTYPE get_Device(LONG* device) override;
    HRESULT STDMETHODCALLTYPE get_Type(ULONG* type) override;
    HRESULT STDMETHODCALLTYPE get_Passthrough(BOOL* passthrough) override;
    HRESULT STDMETHODCALLTYPE get_TemporaryEject(BOOL* temporaryEject) override;
    HRESULT STDMETHODCALLTYPE get_IsEjected(BOOL* ejected) override;
    HRESULT STDMETHODCALLTYPE get_NonRotational(BOOL* nonRotational) override;
    HRESULT STDMETHODCALLTYPE get_Discard(BOOL* discard) override;
    HRESULT STDMETHODCALLTYPE get_HotPluggable(BOOL* hotPluggable) override;

    const wchar_t* typeName() const override { return L"IMediumAttachment"; }

private:
    void checkUsable() const override { machine_.checkUsable(); }

    const MachineView machine_;
    const std::wstring controller_;
    const AttachmentSettings settings_;
};

} // namespace VBoxSim
