// Changing, saving and renaming.
#include <chrono>

#include "files.h"
#include "lab.h"

namespace Probe {
namespace {

using enum Ground;

Finding hiddenUntilSaved(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.machine();
    const Lock lock(machine, LockType::Write);
    must(lock.machine->put_MemorySize(100));
    const ULONG before = read(machine, &IMachine::get_MemorySize), own = read(lock.machine, &IMachine::get_MemorySize);
    must(lock.machine->SaveSettings());
    return all({equal(64, before), equal(100, own), equal(100, read(machine, &IMachine::get_MemorySize))});
}

Finding fileUntilSaved(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.machine();
    const std::string before = readText(settingsFileOf(machine));
    const Lock lock(machine, LockType::Write);
    must(lock.machine->put_MemorySize(100));
    const bool same = readText(settingsFileOf(machine)) == before;
    must(lock.machine->SaveSettings());
    return all({yes(same), yes(readText(settingsFileOf(machine)).find("RAMSize=\"100\"") != std::string::npos)});
}

Finding previousVersion(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.machine();
    const std::string before = readText(settingsFileOf(machine));
    const Lock lock(machine, LockType::Write);
    must(lock.machine->put_MemorySize(100));
    must(lock.machine->SaveSettings());
    return yes(readText(settingsFileOf(machine).wstring() + L"-prev") == before);
}

Finding modifiedMark(Lab& lab)
{
    const Lock lock(lab.machine(), LockType::Write);
    const BOOL before = read(lock.machine, &IMachine::get_SettingsModified);
    must(lock.machine->put_MemorySize(100));
    const BOOL changed = read(lock.machine, &IMachine::get_SettingsModified);
    must(lock.machine->SaveSettings());
    return all(
        {no(before != FALSE), yes(changed != FALSE), no(read(lock.machine, &IMachine::get_SettingsModified) != FALSE)});
}

Finding discard(Lab& lab)
{
    const Lock lock(lab.machine(), LockType::Write);
    must(lock.machine->put_MemorySize(100));
    must(lock.machine->DiscardSettings());
    return equal(64, read(lock.machine, &IMachine::get_MemorySize));
}

Finding saveWithoutLock(Lab& lab)
{
    return answersOneOf({Result::InvalidVMState, Result::AccessDenied}, lab.machine()->SaveSettings());
}

Finding discardWithoutLock(Lab& lab)
{
    return answers(Result::InvalidVMState, lab.machine()->DiscardSettings());
}

Finding sameId(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.machine();
    const Lock lock(machine, LockType::Write);
    return all({equal(text(machine, &IMachine::get_Id), text(lock.machine, &IMachine::get_Id)),
                no(query<IUnknown>(machine).Get() == query<IUnknown>(lock.machine).Get())});
}

Finding textsOfAllScripts(Lab& lab)
{
    const std::wstring words = L"模拟器 <&\"> \U0001F3AE";
    const ComPtr<IMachine> machine = lab.machine();
    Lock lock(machine, LockType::Write);
    must(lock.machine->put_Description(Text(words)));
    must(lock.machine->SaveSettings());
    lock.unlock();
    return equal(words, text(machine, &IMachine::get_Description));
}

Finding embeddedZero(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.create();
    must(machine->put_Description(Text(std::wstring(L"before\0after", 12))));
    return equal(L"before", text(machine, &IMachine::get_Description));
}

// ---- renaming

/// A machine that was renamed and saved.
struct Renamed
{
    ComPtr<IMachine> machine;
    std::filesystem::path before;
    std::wstring oldName, newName;
};

Renamed rename(const ComPtr<IMachine>& machine, const std::wstring& name)
{
    Renamed renamed{machine, settingsFileOf(machine), text(machine, &IMachine::get_Name), name};
    const Lock lock(machine, LockType::Write);
    must(lock.machine->put_Name(Text(name)));
    must(lock.machine->SaveSettings());
    return renamed;
}

Finding renamesFile(Lab& lab)
{
    const Renamed done = rename(lab.machine(), L"vboxprobe renamed");
    const std::filesystem::path now = settingsFileOf(done.machine);
    return all({equal(lab.fileFor(done.newName), now.wstring()), yes(std::filesystem::exists(now)),
                no(std::filesystem::exists(done.before.parent_path()))});
}

Finding renamesLookUp(Lab& lab)
{
    const Renamed done = rename(lab.machine(), L"vboxprobe renamed");
    ComPtr<IMachine> old, found;
    return all({answers(Result::ObjectNotFound, lab.box->FindMachine(Text(done.oldName), &old)),
                answers(Result::Ok, lab.box->FindMachine(Text(done.newName), &found))});
}

Finding keepsForeignFolder(Lab& lab)
{
    const std::wstring name = lab.newName();
    const std::filesystem::path folder = lab.folder() / L"elsewhere";
    ComPtr<IMachine> machine;
    must(lab.box->CreateMachine(Text((folder / (name + L".vbox")).wstring()), Text(name), nullptr, Text(L"Other"),
                                nullptr, &machine));
    must(lab.box->RegisterMachine(machine.Get()));
    const Renamed done = rename(lab.find(name), L"vboxprobe renamed");
    return equal((folder / L"vboxprobe renamed.vbox").wstring(), settingsFileOf(done.machine).wstring());
}

Finding renamesWhenSaved(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.machine();
    const std::wstring file = settingsFileOf(machine).wstring();
    const Lock lock(machine, LockType::Write);
    must(lock.machine->put_Name(Text(L"vboxprobe renamed")));
    return all({equal(file, settingsFileOf(machine).wstring()), yes(std::filesystem::exists(file))});
}

Finding emptyName(Lab& lab)
{
    const Lock lock(lab.machine(), LockType::Write);
    const HRESULT put = lock.machine->put_Name(Text(L""));
    return fails(FAILED(put) ? put : lock.machine->SaveSettings());
}

Finding takenFolder(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.machine();
    const Lock lock(machine, LockType::Write);
    std::filesystem::create_directory(lab.folder() / L"vboxprobe taken");
    writeText(lab.folder() / L"vboxprobe taken" / L"vboxprobe taken.vbox", "somebody else's");
    must(lock.machine->put_Name(Text(L"vboxprobe taken")));
    return all({fails(lock.machine->SaveSettings()),
                yes(readText(lab.folder() / L"vboxprobe taken" / L"vboxprobe taken.vbox") == "somebody else's")});
}

// ---- the parts

Finding audioAdapter(Lab& lab)
{
    const auto adapter = object(lab.machine(), &IMachine::get_AudioAdapter);
    return all({yes(adapter != nullptr), answers(Result::InvalidVMState, adapter->put_Enabled(TRUE))});
}

Finding audioSwitch(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.machine();
    const Lock lock(machine, LockType::Write);
    must(object(lock.machine, &IMachine::get_AudioAdapter)->put_Enabled(TRUE));
    must(lock.machine->SaveSettings());
    return yes(read(object(machine, &IMachine::get_AudioAdapter), &IAudioAdapter::get_Enabled) != FALSE);
}

Finding stateTime(Lab& lab)
{
    using namespace std::chrono;
    const auto now = duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
    const LONG64 change = read(lab.machine(), &IMachine::get_LastStateChange);
    return says(change > now - 86'400'000 && change < now + 86'400'000, "within a day of now", std::to_string(change));
}

Finding paravirtProvider(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.create();
    must(machine->put_ParavirtProvider(ParavirtProvider::Default));
    return equal(ParavirtProvider::Default, read(machine, &IMachine::get_ParavirtProvider));
}

} // namespace

Subject settingsStatements()
{
    return {
        "settings",
        "Changing and saving settings",
        {
            {"settings.own-object", "A lock gives a machine object of its own, with the same identifier.", Documented,
             sameId},
            {"settings.hidden", "Others see a change only after `SaveSettings`.", Documented, hiddenUntilSaved},
            {"settings.file", "So does the settings file.", Documented, fileUntilSaved},
            {"settings.previous", "The version before is kept as `<name>.vbox-prev`.", Documented, previousVersion},
            {"settings.modified", "`SettingsModified` is true between change and saving.", Documented, modifiedMark},
            {"settings.discard", "`DiscardSettings` brings back what was saved last.", Documented, discard},
            {"settings.save-unlocked",
             "Without a lock saving is refused, with `VBOX_E_INVALID_VM_STATE` or `E_ACCESSDENIED`.", Documented,
             saveWithoutLock},
            {"settings.discard-unlocked", "Discarding gives `VBOX_E_INVALID_VM_STATE`.", Documented,
             discardWithoutLock},
            {"settings.text", "Texts keep all characters, those of XML and beyond Unicode's first plane too.",
             Documented, textsOfAllScripts},
            {"settings.embedded-zero", "A text ends at an embedded zero.", Assumed, embeddedZero},
            {"settings.rename", "A new name moves the settings file, and the folder that has the old name.", Documented,
             renamesFile},
            {"settings.rename-folder", "A folder with another name stays.", Documented, keepsForeignFolder},
            {"settings.rename-late", "Nothing moves before `SaveSettings`.", Documented, renamesWhenSaved},
            {"settings.rename-find", "It is found by the new name then, and no longer by the old.", Documented,
             renamesLookUp},
            {"settings.rename-empty", "An empty name is refused when it is saved.", Documented, emptyName},
            {"settings.rename-taken", "So is one whose files exist already; they stay as they are.", Documented,
             takenFolder},
            {"settings.atomic", "Saving is one replacement: no reader sees half a file.", Assumed, nullptr,
             "it would need a reader that meets the moment"},
            {"settings.audio", "Every machine has an audio adapter, which follows the rule of locks.", Documented,
             audioAdapter},
            {"settings.audio-switch", "It can be switched on under a lock.", Documented, audioSwitch},
            {"settings.paravirt", "The paravirtualisation provider reads as it was set, also when that is Default.",
             Assumed, paravirtProvider},
            {"settings.state-time", "`LastStateChange` counts milliseconds since 1970.", Documented, stateTime},
        }};
}

} // namespace Probe
