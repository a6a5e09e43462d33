#include "com/medium_object.h"

#include "base/files.h"
#include "base/text.h"
#include "com/progress_object.h"
#include "host/scheduler.h"

namespace VBoxSim {

void Medium::checkUsable() const
{
    if (data_->closed)
        throw Failure(Result::accessDenied, L"The object is not ready");
}

HRESULT Medium::get_Id(BSTR* id)
{
    return get(L"IMedium::get_Id", id, [&] { return data_->id; });
}

HRESULT Medium::get_Description(BSTR* description)
{
    return get(L"IMedium::get_Description", description, [&] { return data_->description; });
}

HRESULT Medium::put_Description(BSTR description)
{
    return call(
        L"IMedium::put_Description", [&] { data_->description = textOf(description); }, description);
}

HRESULT Medium::get_State(ULONG* state)
{
    return get(L"IMedium::get_State", state, [&] { return World::instance().stateOf(*data_); });
}

HRESULT Medium::get_Location(BSTR* location)
{
    return get(L"IMedium::get_Location", location, [&] { return data_->location; });
}

HRESULT Medium::get_Name(BSTR* name)
{
    return get(L"IMedium::get_Name", name, [&] { return Files::nameOf(data_->location); });
}

HRESULT Medium::get_DeviceType(ULONG* type)
{
    return get(L"IMedium::get_DeviceType", type, [&] { return data_->deviceType; });
}

HRESULT Medium::get_HostDrive(BOOL* hostDrive)
{
    return get(L"IMedium::get_HostDrive", hostDrive, [] { return false; });
}

HRESULT Medium::get_Size(LONG64* size)
{
    return get(L"IMedium::get_Size", size, [&] { return data_->size; });
}

HRESULT Medium::get_Format(BSTR* format)
{
    return get(L"IMedium::get_Format", format, [&] { return data_->format; });
}

HRESULT Medium::get_Type(ULONG* type)
{
    return get(L"IMedium::get_Type", type, [&]() -> ULONG {
        constexpr const wchar_t* names[] = {L"Normal",    L"Immutable", L"Writethrough",
                                            L"Shareable", L"Readonly",  L"MultiAttach"};
        for (ULONG value = 0; value < std::size(names); ++value)
            if (data_->type == names[value])
                return value;
        return 0;
    });
}

HRESULT Medium::get_Parent(IMedium** parent)
{
    return get(L"IMedium::get_Parent", parent, [&]() -> ComPtr<Medium> {
        const MediumPtr found = data_->parent.empty() ? nullptr : World::instance().findMedium(data_->parent);
        return found ? make<Medium>(found) : nullptr;
    });
}

HRESULT Medium::get_Children(SAFEARRAY** children)
{
    if (children)
        *children = nullptr;
    return call(L"IMedium::get_Children", [&] {
        require(children);
        Interfaces<IMedium> found;
        for (const MediumPtr& child : World::instance().childrenOf(*data_))
            found.push_back(make<Medium>(child));
        if (!found.empty())
            store(children, found);
    });
}

HRESULT Medium::get_Base(IMedium** base)
{
    return get(L"IMedium::get_Base", base, [&] {
        MediumPtr medium = data_;
        while (const MediumPtr parent = medium->parent.empty() ? nullptr : World::instance().findMedium(medium->parent))
            medium = parent;
        return make<Medium>(medium);
    });
}

HRESULT Medium::get_ReadOnly(BOOL* readOnly)
{
    return get(L"IMedium::get_ReadOnly", readOnly,
               [&] { return data_->deviceType == 2 || !World::instance().childrenOf(*data_).empty(); });
}

HRESULT Medium::get_LogicalSize(LONG64* size)
{
    return get(L"IMedium::get_LogicalSize", size, [&] { return data_->logicalSize; });
}

HRESULT Medium::get_LastAccessError(BSTR* error)
{
    return get(L"IMedium::get_LastAccessError", error, [&] { return data_->lastAccessError; });
}

HRESULT Medium::get_MachineIds(SAFEARRAY** ids)
{
    if (ids)
        *ids = nullptr;
    return call(L"IMedium::get_MachineIds", [&] {
        require(ids);
        std::vector<std::wstring> found;
        for (const MachinePtr& machine : World::instance().machinesUsing(data_->id))
            found.push_back(machine->id);
        if (!found.empty())
            store(ids, found);
    });
}

HRESULT Medium::RefreshState(ULONG* state)
{
    return get(L"IMedium::RefreshState", state, [&] { return World::instance().refresh(*data_); });
}

HRESULT Medium::Close()
{
    return call(L"IMedium::Close", [&] {
        const std::uint32_t state = World::instance().stateOf(*data_);
        if (World::instance().isMediumBusy(*data_))
            throw Failure(Result::objectInUse, L"Medium '" + data_->location +
                                                   L"' cannot be closed because it is attached or has child media");
        if (state != MediumState::NotCreated && state != MediumState::Created && state != MediumState::Inaccessible)
            throw Failure(Result::invalidObjectState, L"Medium '" + data_->location + L"' is in use");
        World::instance().forgetMedium(data_);
    });
}

HRESULT Medium::DeleteStorage(IProgress** progress)
{
    return get(L"IMedium::DeleteStorage", progress, [&] {
        if (World::instance().isMediumBusy(*data_))
            throw Failure(Result::objectInUse,
                          L"Cannot delete storage: medium '" + data_->location + L"' is attached or has child media");
        if (data_->state != MediumState::Created && data_->state != MediumState::Inaccessible)
            throw Failure(Result::invalidObjectState, L"Medium '" + data_->location + L"' is in use");
        const auto work = std::make_shared<ProgressData>(
            L"IMedium::DeleteStorage", L"Deleting medium storage unit '" + data_->location + L"'", false,
            std::vector<ProgressData::Operation>{{L"Deleting medium storage unit", 1}});
        data_->state = MediumState::Deleting;
        Scheduler::instance().work([medium = data_, work] {
            const bool removed = Files::remove(medium->location);
            const WorldLock lock(worldMutex());
            if (auto failure = work->orderedFailure(); failure || !removed) {
                medium->state = MediumState::Inaccessible;
                work->fail(failure ? *failure
                                   : Failure(Result::fileError, L"Could not delete '" + medium->location + L"'"));
                return;
            }
            World::instance().forgetMedium(medium);
            medium->closed = false; // the object stays, without storage
            medium->state = MediumState::NotCreated;
            work->succeed();
        });
        return make<Progress>(work);
    });
}

} // namespace VBoxSim
