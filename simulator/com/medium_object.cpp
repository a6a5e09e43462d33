#include "com/medium_object.h"

#include "base/files.h"
#include "com/progress_object.h"
#include "host/medium_creation.h"

namespace VBoxSim {

ComPtr<MediumObject> mediumObject(Server& server, const MediumPtr& medium)
{
    return medium ? make<MediumObject>(server, medium) : nullptr;
}

Interfaces<IMedium> mediumObjects(Server& server, const std::vector<MediumPtr>& media)
{
    Interfaces<IMedium> objects;
    for (const MediumPtr& medium : media)
        objects.push_back(make<MediumObject>(server, medium));
    return objects;
}

MediumPtr mediumOf(IUnknown* object)
{
    const ComPtr<MediumObject> own = implementationOf<MediumObject>(object);
    if (!own)
        throw Failure(Result::invalidArgument, L"The medium does not belong to this server");
    return own->medium();
}

std::vector<MediumPtr> mediaOf(SAFEARRAY* objects)
{
    std::vector<MediumPtr> media;
    for (IUnknown* object : objectsOf(objects))
        media.push_back(mediumOf(object));
    return media;
}

void MediumObject::checkUsable() const
{
    if (medium_->closed)
        throw Failure(Result::accessDenied, L"The object is not ready");
}

/// An array that is absent when nothing is in it.
template <class Read>
HRESULT MediumObject::getUnlessEmpty(const wchar_t* name, SAFEARRAY** out, Read&& read)
{
    if (out)
        *out = nullptr;
    return call(name, [&] {
        require(out);
        if (const auto found = read(); !found.empty())
            store(out, found);
    });
}

HRESULT MediumObject::get_Id(BSTR* id)
{
    return get(L"IMedium::get_Id", id, [&] { return medium_->id; });
}

HRESULT MediumObject::get_Description(BSTR* description)
{
    return get(L"IMedium::get_Description", description, [&] { return medium_->description; });
}

HRESULT MediumObject::put_Description(BSTR description)
{
    return call(
        L"IMedium::put_Description", [&] { medium_->description = textOf(description); }, description);
}

HRESULT MediumObject::get_State(ULONG* state)
{
    return get(L"IMedium::get_State", state, [&] { return host().media().stateOf(*medium_); });
}

HRESULT MediumObject::get_Location(BSTR* location)
{
    return get(L"IMedium::get_Location", location, [&] { return medium_->location; });
}

HRESULT MediumObject::get_Name(BSTR* name)
{
    return get(L"IMedium::get_Name", name, [&] { return Files::nameOf(medium_->location); });
}

HRESULT MediumObject::get_DeviceType(ULONG* type)
{
    return get(L"IMedium::get_DeviceType", type, [&] { return medium_->deviceType; });
}

HRESULT MediumObject::get_HostDrive(BOOL* hostDrive)
{
    return get(L"IMedium::get_HostDrive", hostDrive, [] { return false; });
}

HRESULT MediumObject::get_Size(LONG64* size)
{
    return get(L"IMedium::get_Size", size, [&] { return medium_->size; });
}

HRESULT MediumObject::get_Format(BSTR* format)
{
    return get(L"IMedium::get_Format", format, [&] { return medium_->format; });
}

HRESULT MediumObject::get_Type(ULONG* type)
{
    return get(L"IMedium::get_Type", type, [&] { return mediumType(*medium_); });
}

HRESULT MediumObject::get_Parent(IMedium** parent)
{
    return get(L"IMedium::get_Parent", parent,
               [&] { return mediumObject(server(), host().media().parentOf(*medium_)); });
}

HRESULT MediumObject::get_Children(SAFEARRAY** children)
{
    return getUnlessEmpty(L"IMedium::get_Children", children,
                          [&] { return mediumObjects(server(), host().media().childrenOf(*medium_)); });
}

HRESULT MediumObject::get_Base(IMedium** base)
{
    return get(L"IMedium::get_Base", base, [&] { return mediumObject(server(), host().media().baseOf(medium_)); });
}

HRESULT MediumObject::get_ReadOnly(BOOL* readOnly)
{
    return get(L"IMedium::get_ReadOnly", readOnly, [&] { return host().media().isReadOnly(*medium_); });
}

HRESULT MediumObject::get_LogicalSize(LONG64* size)
{
    return get(L"IMedium::get_LogicalSize", size, [&] { return medium_->logicalSize; });
}

HRESULT MediumObject::get_LastAccessError(BSTR* error)
{
    return get(L"IMedium::get_LastAccessError", error, [&] { return medium_->lastAccessError; });
}

HRESULT MediumObject::get_MachineIds(SAFEARRAY** ids)
{
    return getUnlessEmpty(L"IMedium::get_MachineIds", ids, [&] {
        std::vector<std::wstring> found;
        for (const MachinePtr& machine : host().media().machinesUsing(medium_->id))
            found.push_back(machine->id);
        return found;
    });
}

HRESULT MediumObject::RefreshState(ULONG* state)
{
    return get(L"IMedium::RefreshState", state, [&] { return host().media().refresh(*medium_); });
}

HRESULT MediumObject::Close()
{
    return call(L"IMedium::Close", [&] { host().media().close(medium_); });
}

HRESULT MediumObject::CreateBaseStorage(LONG64 size, SAFEARRAY* variant, IProgress** progress)
{
    return get(
        L"IMedium::CreateBaseStorage", progress,
        [&] {
            std::uint32_t flags = 0;
            for (const std::int32_t flag : numbersOf(variant))
                flags |= static_cast<std::uint32_t>(flag);
            const ComPtr<IUnknown> self(static_cast<IMedium*>(this));
            return make<ProgressObject>(server(), createBaseStorage(host(), medium_, size, flags), self);
        },
        size, variant);
}

HRESULT MediumObject::DeleteStorage(IProgress** progress)
{
    return get(L"IMedium::DeleteStorage", progress,
               [&] { return make<ProgressObject>(server(), host().media().deleteStorage(medium_)); });
}

} // namespace VBoxSim
