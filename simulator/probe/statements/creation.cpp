// New machines.
#include "files.h"
#include "lab.h"

namespace Probe {
namespace {

using enum Ground;

HRESULT create(Lab& lab, const std::wstring& file, const std::wstring& name, const wchar_t* type, const wchar_t* flags,
               ComPtr<IMachine>& machine)
{
    return lab.box->CreateMachine(Text(file), Text(name), nullptr, Text(type), Text(flags), &machine);
}

Finding createAnswers(Lab& lab, std::uint32_t expected, const std::wstring& name, const wchar_t* type)
{
    ComPtr<IMachine> machine;
    return answers(expected, create(lab, lab.fileFor(L"made"), name, type, L"", machine));
}

Finding nothingOnDisk(Lab& lab)
{
    return no(std::filesystem::exists(settingsFileOf(lab.create()).parent_path()));
}

Finding mutableAtOnce(Lab& lab)
{
    return answers(Result::Ok, lab.create()->put_MemorySize(100));
}

Finding savedOnRequest(Lab& lab)
{
    return yes(std::filesystem::exists(settingsFileOf(lab.unregistered())));
}

Finding composedPath(Lab& lab)
{
    const std::wstring name = lab.newName();
    Text composed;
    must(lab.box->ComposeMachineFilename(Text(name), nullptr, nullptr, nullptr, composed.put()));
    ComPtr<IMachine> machine; // stays in memory, so that nothing is made in the user's folder
    must(create(lab, L"", name, L"Other", L"", machine));
    return yes(settingsFileOf(machine) == composed.str());
}

Finding settingsFileThere(Lab& lab)
{
    const ComPtr<IMachine> first = lab.unregistered();
    ComPtr<IMachine> second;
    return answers(Result::FileError, create(lab, settingsFileOf(first).wstring(), text(first, &IMachine::get_Name),
                                             L"Other", L"", second));
}

Finding forceOverwrite(Lab& lab)
{
    const ComPtr<IMachine> first = lab.unregistered();
    ComPtr<IMachine> second;
    return answers(Result::Ok, create(lab, settingsFileOf(first).wstring(), text(first, &IMachine::get_Name), L"Other",
                                      L"forceOverwrite=1", second));
}

Finding givenUuid(Lab& lab)
{
    const std::wstring id = L"6d1f1b9a-0c8e-4a53-9a3c-1b2c3d4e5f63";
    ComPtr<IMachine> machine;
    must(create(lab, lab.fileFor(L"made"), L"made", L"Other", (L"UUID=" + id).c_str(), machine));
    return equal(id, text(machine, &IMachine::get_Id));
}

Finding firstState(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.machine();
    return all({machineState(MachineState::PoweredOff, stateOf(machine)),
                sessionState(SessionState::Unlocked, sessionStateOf(machine))});
}

Finding hardware(Lab& lab)
{
    ComPtr<IMachine> machine;
    must(create(lab, lab.fileFor(L"made"), L"made", L"Other", L"", machine));
    return all(
        {equal(128, read(machine, &IMachine::get_MemorySize)), equal(1, read(machine, &IMachine::get_CPUCount))});
}

Finding hardwareUuid(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.create();
    return equal(text(machine, &IMachine::get_Id), text(machine, &IMachine::get_HardwareUUID));
}

Finding noParts(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.create();
    return all({equal(0, static_cast<std::int64_t>(array(machine, &IMachine::get_StorageControllers).size())),
                equal(0, static_cast<std::int64_t>(array(machine, &IMachine::get_MediumAttachments).size())),
                equal(0, static_cast<std::int64_t>(array(machine, &IMachine::get_SharedFolders).size())),
                equal(0, read(machine, &IMachine::get_SnapshotCount))});
}

Finding folders(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.create();
    const std::filesystem::path folder = settingsFileOf(machine).parent_path();
    return all({equal((folder / L"Snapshots").wstring(), text(machine, &IMachine::get_SnapshotFolder)),
                equal((folder / L"Logs").wstring(), text(machine, &IMachine::get_LogFolder))});
}

Finding group(Lab& lab)
{
    const std::vector<std::wstring> groups = array(lab.create(), &IMachine::get_Groups).texts();
    return equal(L"/", groups.size() == 1 ? groups[0] : L"another number of groups");
}

Finding fileVersion(Lab& lab)
{
    const std::string content = readText(settingsFileOf(lab.unregistered()));
    const std::size_t at = content.find(" version=\"1.1");
    const std::string version = at == content.npos ? "none" : content.substr(at + 10, 4);
    return says(version == "1.15" || version == "1.16", "1.15 or 1.16", version);
}

Finding adapters(Lab& lab)
{
    const ComPtr<IMachine> machine = lab.create();
    ComPtr<INetworkAdapter> first, second;
    must(machine->GetNetworkAdapter(0, &first));
    must(machine->GetNetworkAdapter(1, &second));
    return all({yes(read(first, &INetworkAdapter::get_Enabled) != FALSE),
                equal(NetworkAttachmentType::NAT, read(first, &INetworkAdapter::get_AttachmentType)),
                no(read(second, &INetworkAdapter::get_Enabled) != FALSE)});
}

} // namespace

Subject creationStatements()
{
    return {
        "creation",
        "Creating machines",
        {
            {"creation.memory-only", "A created machine is in memory only until its settings are saved.", Documented,
             nothingOnDisk},
            {"creation.mutable", "It can be changed at once, without a lock.", Documented, mutableAtOnce},
            {"creation.save", "`SaveSettings` writes its file, before it is registered too.", Documented,
             savedOnRequest},
            {"creation.composed-path", "Without a path it gets the composed one.", Documented, composedPath},
            {"creation.existing-file", "A settings file that exists gives `VBOX_E_FILE_ERROR`.", Documented,
             settingsFileThere},
            {"creation.force-overwrite", "`forceOverwrite=1` takes that file's place.", Documented, forceOverwrite},
            {"creation.uuid", "`UUID=` gives the machine that identifier.", Documented, givenUuid},
            {"creation.empty-name", "An empty name gives `E_INVALIDARG`.", Documented,
             [](Lab& lab) { return createAnswers(lab, Result::InvalidArg, L"", L"Other"); }},
            {"creation.unknown-type", "An unknown guest type gives `VBOX_E_OBJECT_NOT_FOUND`.", Documented,
             [](Lab& lab) { return createAnswers(lab, Result::ObjectNotFound, L"made", L"NoSuchSystem"); }},
            {"creation.no-type", "An empty guest type is accepted.", Assumed,
             [](Lab& lab) { return createAnswers(lab, Result::Ok, L"made", L""); }},
            {"creation.state", "It is powered off and unlocked.", Documented, firstState},
            {"creation.hardware", "It has 128 MB and one processor.", Assumed, hardware},
            {"creation.hardware-uuid", "Its hardware UUID is its own UUID.", Documented, hardwareUuid},
            {"creation.no-parts", "It has no controllers, disks, shared folders and snapshots.", Documented, noParts},
            {"creation.adapters", "Its first network adapter is enabled and on NAT; the others are disabled.", Assumed,
             adapters},
            {"creation.folders", "Its snapshots go to `Snapshots`, its logs to `Logs` of its folder.", Documented,
             folders},
            {"creation.group", "Its only group is `/`.", Documented, group},
            {"creation.file-version", "Its file has the settings version 1.15, or 1.16 with newer features.",
             Documented, fileVersion},
        }};
}

} // namespace Probe
