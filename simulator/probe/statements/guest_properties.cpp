// Messages for the guest, by name.
#include <chrono>

#include "lab.h"

namespace Probe {
namespace {

using enum Ground;

struct Property
{
    std::wstring value;
    LONG64 timestamp = -1;
    std::wstring flags;
};

Property get(const ComPtr<IMachine>& machine, const wchar_t* name)
{
    Text value, flags;
    Property found;
    must(machine->GetGuestProperty(Text(name), value.put(), &found.timestamp, flags.put()));
    found.value = value.str();
    found.flags = flags.str();
    return found;
}

HRESULT set(const ComPtr<IMachine>& machine, const wchar_t* name, const wchar_t* value, const wchar_t* flags = L"")
{
    return machine->SetGuestProperty(Text(name), Text(value), Text(flags));
}

Finding roundTrip(Lab& lab)
{
    const Lock lock(lab.machine(), LockType::Write);
    must(set(lock.machine, L"/probe/greeting", L"Moin \U0001F3AE", L"RDONLYGUEST"));
    const Property found = get(lock.machine, L"/probe/greeting");
    return all({equal(L"Moin \U0001F3AE", found.value), equal(L"RDONLYGUEST", found.flags)});
}

Finding timestamp(Lab& lab)
{
    using namespace std::chrono;
    const Lock lock(lab.machine(), LockType::Write);
    must(set(lock.machine, L"/probe/greeting", L"Moin"));
    const auto now = duration_cast<nanoseconds>(system_clock::now().time_since_epoch()).count();
    const LONG64 stamp = get(lock.machine, L"/probe/greeting").timestamp;
    const LONG64 hour = 3'600'000'000'000;
    return says(stamp > now - hour && stamp < now + hour, "within an hour of now", std::to_string(stamp));
}

Finding absentProperty(Lab& lab)
{
    const Property found = get(lab.machine(), L"/probe/nothing");
    return all({equal(L"", found.value), equal(L"", found.flags)});
}

Finding absentTime(Lab& lab)
{
    return equal(0, get(lab.machine(), L"/probe/nothing").timestamp);
}

Finding emptyValueDeletes(Lab& lab)
{
    const Lock lock(lab.machine(), LockType::Write);
    must(set(lock.machine, L"/probe/greeting", L"Moin", L"RDONLYGUEST"));
    must(set(lock.machine, L"/probe/greeting", L"", L"RDONLYGUEST"));
    return equal(L"", get(lock.machine, L"/probe/greeting").flags);
}

Finding deleted(Lab& lab)
{
    const Lock lock(lab.machine(), LockType::Write);
    must(set(lock.machine, L"/probe/greeting", L"Moin"));
    must(lock.machine->DeleteGuestProperty(Text(L"/probe/greeting")));
    return equal(L"", get(lock.machine, L"/probe/greeting").value);
}

Finding absentDeleted(Lab& lab)
{
    const Lock lock(lab.machine(), LockType::Write);
    return answers(Result::Ok, lock.machine->DeleteGuestProperty(Text(L"/probe/nothing")));
}

Finding unlocked(Lab& lab)
{
    return answers(Result::InvalidVMState, set(lab.machine(), L"/probe/greeting", L"Moin"));
}

Finding saved(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.machine();
    Lock lock(machine, LockType::Write);
    must(set(lock.machine, L"/probe/greeting", L"Moin"));
    must(lock.machine->SaveSettings());
    lock.unlock();
    return equal(L"Moin", get(machine, L"/probe/greeting").value);
}

Finding badFlags(Lab& lab)
{
    const Lock lock(lab.machine(), LockType::Write);
    return answers(Result::InvalidArg, set(lock.machine, L"/probe/greeting", L"Moin", L"NOSUCHFLAG"));
}

Finding readOnlyForHost(Lab& lab)
{
    const Lock lock(lab.machine(), LockType::Write);
    must(set(lock.machine, L"/probe/greeting", L"Moin", L"RDONLYHOST"));
    return answers(Result::AccessDenied, set(lock.machine, L"/probe/greeting", L"Servus"));
}

Finding transient(Lab& lab)
{
    const Lock lock(lab.machine(), LockType::Write);
    return answers(Result::InvalidObjectState, set(lock.machine, L"/probe/greeting", L"Moin", L"TRANSIENT"));
}

Finding pattern(Lab& lab)
{
    const Lock lock(lab.machine(), LockType::Write);
    must(set(lock.machine, L"/probe/a", L"1"));
    must(set(lock.machine, L"/probe/b", L"2"));
    must(set(lock.machine, L"/other/c", L"3"));
    Array names, values, timestamps, flags;
    must(lock.machine->EnumerateGuestProperties(Text(L"/probe/*"), names.put(), values.put(), timestamps.put(),
                                                flags.put()));
    return all({equal(2, static_cast<std::int64_t>(names.size())), equal(2, static_cast<std::int64_t>(values.size()))});
}

} // namespace

Subject guestPropertyStatements()
{
    return {
        "properties",
        "Guest properties",
        {
            {"properties.read", "A property reads as it was set, with its flags.", Documented, roundTrip},
            {"properties.time", "Its time stamp counts nanoseconds since 1970.", Assumed, timestamp},
            {"properties.absent", "One that is absent is no failure: value and flags are empty.", Documented,
             absentProperty},
            {"properties.absent-time", "Its time stamp is 0.", Assumed, absentTime},
            {"properties.empty", "An empty value deletes it.", Documented, emptyValueDeletes},
            {"properties.delete", "So does `DeleteGuestProperty`.", Documented, deleted},
            {"properties.delete-absent", "Deleting one that is absent is no failure.", Assumed, absentDeleted},
            {"properties.pattern", "They can be listed by a pattern.", Documented, pattern},
            {"properties.unlocked", "Without a lock none is set: `VBOX_E_INVALID_VM_STATE`.", Documented, unlocked},
            {"properties.saved", "`SaveSettings` keeps them, and then they can be read without a lock.", Documented,
             saved},
            {"properties.bad-flags", "Flags that do not exist give `E_INVALIDARG`.", Documented, badFlags},
            {"properties.read-only", "The host cannot change what is read-only for it: `E_ACCESSDENIED`.", Documented,
             readOnlyForHost},
            {"properties.transient", "A machine that is off takes no transient ones: `VBOX_E_INVALID_OBJECT_STATE`.",
             Documented, transient},
            {"properties.guest", "The guest sets properties, too.", Documented, nullptr, "it would need a guest"},
        }};
}

} // namespace Probe
