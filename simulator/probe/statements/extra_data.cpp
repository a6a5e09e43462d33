// Keys and values for front ends, of a machine and of VirtualBox.
#include <algorithm>

#include "files.h"
#include "lab.h"

namespace Probe {
namespace {

using enum Ground;

template <class Owner>
std::wstring get(const ComPtr<Owner>& owner, const wchar_t* key)
{
    Text value;
    must(owner->GetExtraData(Text(key), value.put()));
    return value.str();
}

template <class Owner>
HRESULT set(const ComPtr<Owner>& owner, const wchar_t* key, const wchar_t* value)
{
    return owner->SetExtraData(Text(key), Text(value));
}

Finding withoutLock(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.machine();
    must(set(machine, L"vboxprobe/key", L"value \U0001F511 <&\">"));
    return equal(L"value \U0001F511 <&\">", get(machine, L"vboxprobe/key"));
}

Finding whileLocked(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.machine();
    const Lock lock(machine, LockType::Write);
    must(set(lock.machine, L"vboxprobe/key", L"value"));
    return equal(L"value", get(machine, L"vboxprobe/key"));
}

Finding absent(Lab& lab)
{
    Text value;
    const HRESULT result = lab.machine()->GetExtraData(Text(L"vboxprobe/nothing"), value.put());
    return all({answers(Result::Ok, result), equal(L"", value.str())});
}

bool hasKey(const std::vector<std::wstring>& keys)
{
    return std::find(keys.begin(), keys.end(), L"vboxprobe/key") != keys.end();
}

Finding keys(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.machine();
    must(set(machine, L"vboxprobe/key", L"value"));
    return yes(hasKey(array(machine, &IMachine::GetExtraDataKeys).texts()));
}

Finding emptyDeletes(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.machine();
    must(set(machine, L"vboxprobe/key", L"value"));
    must(set(machine, L"vboxprobe/key", L""));
    return no(hasKey(array(machine, &IMachine::GetExtraDataKeys).texts()));
}

Finding controlCharacters(Lab& lab)
{
    return answers(Result::InvalidArg, set(lab.machine(), L"vboxprobe\nkey", L"value"));
}

Finding onDisk(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.machine();
    must(set(machine, L"vboxprobe/key", L"at-once"));
    return yes(readText(settingsFileOf(machine)).find("at-once") != std::string::npos);
}

Finding changesNothingElse(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.machine();
    const Lock lock(machine, LockType::Write);
    must(lock.machine->put_MemorySize(100));
    must(set(machine, L"vboxprobe/key", L"value"));
    return all({equal(64, read(machine, &IMachine::get_MemorySize)),
                equal(100, read(lock.machine, &IMachine::get_MemorySize))});
}

Finding global(Lab& lab)
{
    must(set(lab.box, L"vboxprobe/key", L"value"));
    const std::wstring during = get(lab.box, L"vboxprobe/key");
    const bool listed = hasKey(array(lab.box, &IVirtualBox::GetExtraDataKeys).texts());
    must(set(lab.box, L"vboxprobe/key", L""));
    return all({equal(L"value", during), yes(listed), equal(L"", get(lab.box, L"vboxprobe/key"))});
}

} // namespace

Subject extraDataStatements()
{
    return {"extra-data",
            "Extra data",
            {
                {"extra-data.unlocked", "Extra data are set without a lock.", Documented, withoutLock},
                {"extra-data.locked", "While a lock is held, others see them at once, too.", Assumed, whileLocked},
                {"extra-data.absent", "A key that is absent is no failure: its value is empty.", Documented, absent},
                {"extra-data.keys", "A key that was set is in the list of keys.", Documented, keys},
                {"extra-data.empty", "An empty value deletes the key.", Documented, emptyDeletes},
                {"extra-data.control", "A key with control characters gives `E_INVALIDARG`.", Documented,
                 controlCharacters},
                {"extra-data.disk", "They are in the settings file at once.", Assumed, onDisk},
                {"extra-data.alone", "Settings that are not saved yet stay so.", Documented, changesNothingElse},
                {"extra-data.global", "VirtualBox itself has extra data of the same kind.", Documented, global},
            }};
}

} // namespace Probe
