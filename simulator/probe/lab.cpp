#include "lab.h"

#include <objbase.h>

#include "files.h"

namespace Probe {

namespace fs = std::filesystem;

namespace {

/// All that the probe writes into the global extra data is below this.
constexpr const wchar_t* globalKeys = L"vboxprobe/";

ComPtr<ISession> newSession()
{
    ComPtr<ISession> session;
    must(CoCreateInstance(identity().sessionClass, nullptr, CLSCTX_INPROC_SERVER, identity().session,
                          reinterpret_cast<void**>(session.GetAddressOf())));
    return session;
}

bool isOff(std::uint32_t state)
{
    return state == MachineState::PoweredOff || state == MachineState::Aborted || state == MachineState::Saved;
}

} // namespace

Ending finish(const ComPtr<IProgress>& progress)
{
    const bool over = soon(
        [&] {
            must(progress->WaitForCompletion(250));
            return read(progress, &IProgress::get_Completed) != FALSE;
        },
        120'000);
    if (!over)
        throw std::runtime_error("an operation does not end within two minutes");
    Ending ending{static_cast<HRESULT>(read(progress, &IProgress::get_ResultCode)), L""};
    ComPtr<IVirtualBoxErrorInfo> error;
    if (SUCCEEDED(progress->get_ErrorInfo(&error)) && error)
        ending.text = text(error, &IVirtualBoxErrorInfo::get_Text);
    return ending;
}

void finishWell(const ComPtr<IProgress>& progress, const Place& place)
{
    must(finish(progress).result, place);
}

std::uint32_t sessionStateOf(const ComPtr<IMachine>& machine)
{
    return read(machine, &IMachine::get_SessionState);
}

std::uint32_t stateOf(const ComPtr<IMachine>& machine)
{
    return read(machine, &IMachine::get_State);
}

fs::path settingsFileOf(const ComPtr<IMachine>& machine)
{
    return text(machine, &IMachine::get_SettingsFilePath);
}

// ---- locks

Lock::Lock(const ComPtr<IMachine>& machine, ULONG type) : session(newSession()), listed_(machine)
{
    // The end of a lock before takes a moment in the server.
    HRESULT result = E_FAIL;
    soon([&] {
        result = machine->LockMachine(session.Get(), type);
        return static_cast<std::uint32_t>(result) != Result::InvalidObjectState;
    });
    must(result);
    this->machine = object(session, &ISession::get_Machine);
}

Lock::~Lock()
{
    try {
        unlock();
    } catch (const std::exception&) {
        // what the statement looks at ended badly already, and tidying up tries again
    }
}

void Lock::unlock()
{
    if (!session)
        return;
    const ComPtr<ISession> mine = std::exchange(session, nullptr);
    machine.Reset();
    if (read(mine, &ISession::get_State) == SessionState::Locked)
        must(mine->UnlockMachine());
    soon([&] {
        const std::uint32_t state = sessionStateOf(listed_);
        return state == SessionState::Unlocked || !isOff(stateOf(listed_));
    });
}

// ---- the other process

Rival::Rival(const std::wstring& machineId)
{
    wchar_t program[32768];
    GetModuleFileNameW(nullptr, program, 32768);
    std::wstring line =
        L"\"" + std::wstring(program) + L"\" --identity " + wide(identity().name) + L" --be-rival " + machineId;
    SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    HANDLE writing = nullptr;
    CreatePipe(&output_, &writing, &inherited, 0);
    SetHandleInformation(output_, HANDLE_FLAG_INHERIT, 0);
    STARTUPINFOW start{};
    start.cb = sizeof(start);
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdOutput = writing;
    PROCESS_INFORMATION made{};
    // A group of its own: Ctrl-C is for the probe, which then ends it.
    const BOOL started = CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE,
                                        CREATE_NEW_PROCESS_GROUP | CREATE_NO_WINDOW, nullptr, nullptr, &start, &made);
    CloseHandle(writing);
    if (!started) {
        CloseHandle(output_);
        throw std::runtime_error("the second process does not start");
    }
    CloseHandle(made.hThread);
    process_ = made.hProcess;
    id_ = made.dwProcessId;
    char word[7] = "";
    DWORD size = 0;
    if (!ReadFile(output_, word, 6, &size, nullptr) || std::string_view(word, size) != "locked") {
        kill();
        CloseHandle(process_);
        CloseHandle(output_);
        throw std::runtime_error("the second process cannot lock the machine");
    }
}

Rival::~Rival()
{
    kill();
    CloseHandle(process_);
    CloseHandle(output_);
}

void Rival::kill()
{
    TerminateProcess(process_, 9);
    WaitForSingleObject(process_, INFINITE);
}

int beRival(const std::wstring& machineId)
{
    ComPtr<IVirtualBox> box;
    must(CoCreateInstance(identity().virtualBoxClass, nullptr, CLSCTX_LOCAL_SERVER, identity().virtualBox,
                          reinterpret_cast<void**>(box.GetAddressOf())));
    ComPtr<IMachine> machine;
    must(box->FindMachine(Text(machineId), &machine));
    const Lock lock(machine, LockType::Write);
    must(lock.machine->put_MemorySize(333)); // is lost with the process
    DWORD written = 0;
    WriteFile(GetStdHandle(STD_OUTPUT_HANDLE), "locked", 6, &written, nullptr);
    Sleep(INFINITE);
    return 0;
}

// ---- the lab

Lab::Lab(const Scratch& scratch, bool mayStart) : scratch_(scratch), mayStart_(mayStart)
{
    const HRESULT result = CoCreateInstance(identity().virtualBoxClass, nullptr, CLSCTX_LOCAL_SERVER,
                                            identity().virtualBox, reinterpret_cast<void**>(box.GetAddressOf()));
    if (FAILED(result))
        throw std::runtime_error("VirtualBox cannot be reached: " + resultName(static_cast<std::uint32_t>(result)));
    // VirtualBox 6.0 answers to the same identifiers with other slots: nothing else may be called before this is known.
    const std::wstring api = text(box, &IVirtualBox::get_APIVersion);
    if (api != L"6_1")
        throw std::runtime_error("this VirtualBox has the interfaces of " + utf8(api) + ", not 6_1");
}

Lab::~Lab()
{
    ignoreInterrupts();
    try {
        stopRunning();
    } catch (const std::exception&) {
        // the machine is ended below
    }
    try {
        tidy();
        clear(folder());
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "vboxprobe: not everything could be taken away, the next start tries again: %s\n",
                     failure.what());
    }
}

std::wstring Lab::newName()
{
    return L"vboxprobe " + std::to_wstring(GetCurrentProcessId()) + L"-" + std::to_wstring(++count_);
}

fs::path Lab::newFile(const std::wstring& suffix)
{
    const fs::path own = folder() / std::to_wstring(++count_);
    fs::create_directory(own);
    return own / (L"file" + suffix);
}

std::wstring Lab::fileFor(const std::wstring& name) const
{
    Text file;
    must(box->ComposeMachineFilename(Text(name), nullptr, nullptr, Text(folder().wstring()), file.put()));
    return file.str();
}

ComPtr<IMachine> Lab::create(const std::wstring& name)
{
    ComPtr<IMachine> machine;
    must(box->CreateMachine(Text(fileFor(name)), Text(name), nullptr, Text(L"Other"), nullptr, &machine));
    must(machine->put_MemorySize(64));
    return machine;
}

ComPtr<IMachine> Lab::unregistered()
{
    const ComPtr<IMachine> machine = create();
    must(machine->SaveSettings());
    return machine;
}

ComPtr<IMachine> Lab::machine()
{
    const ComPtr<IMachine> machine = create();
    must(box->RegisterMachine(machine.Get()));
    return find(text(machine, &IMachine::get_Id));
}

ComPtr<IMachine> Lab::machineWithDisk(ComPtr<IMedium>& disk)
{
    const ComPtr<IMachine> made = machine();
    disk = this->disk();
    const Lock lock(made, LockType::Write);
    ComPtr<IStorageController> controller;
    must(lock.machine->AddStorageController(Text(L"SATA"), StorageBus::SATA, &controller));
    must(lock.machine->AttachDevice(Text(L"SATA"), 0, 0, DeviceType::HardDisk, disk.Get()));
    must(lock.machine->SaveSettings());
    return made;
}

ComPtr<IMachine> Lab::find(const std::wstring& nameOrId, const Place& place) const
{
    ComPtr<IMachine> machine;
    must(box->FindMachine(Text(nameOrId), &machine), place);
    return machine;
}

ComPtr<ISession> Lab::session() const
{
    return newSession();
}

ComPtr<IMedium> Lab::open(const fs::path& image, ULONG deviceType)
{
    ComPtr<IMedium> medium;
    must(box->OpenMedium(Text(image.wstring()), deviceType,
                         deviceType == DeviceType::DVD ? AccessMode::ReadOnly : AccessMode::ReadWrite, FALSE, &medium));
    opened_.push_back(medium);
    return medium;
}

ComPtr<IMedium> Lab::disk()
{
    const fs::path file = newFile(L".vdi");
    writeVdi(file);
    return open(file);
}

void Lab::redirectMachineFolder()
{
    const auto properties = object(box, &IVirtualBox::get_SystemProperties);
    writeNote(folder(), text(properties, &ISystemProperties::get_DefaultMachineFolder));
    must(properties->put_DefaultMachineFolder(Text(folder().wstring())));
}

void Lab::setMachineFolderBack(const fs::path& folder) const
{
    const auto before = readNote(folder);
    if (!before)
        return;
    const auto properties = object(box, &IVirtualBox::get_SystemProperties);
    must(properties->put_DefaultMachineFolder(Text(*before)));
    removeNote(folder);
}

// ---- machines that run

void Lab::needStart() const
{
    if (!mayStart_)
        throw Cannot("needs a machine that runs; --start allows it");
}

RunningMachine Lab::start(const ComPtr<IMachine>& machine) const
{
    needStart();
    RunningMachine started{machine, session(), nullptr, nullptr};
    ComPtr<IProgress> progress;
    must(machine->LaunchVMProcess(started.session.Get(), Text(L"headless"), nullptr, &progress));
    const Ending ending = finish(progress);
    if (FAILED(ending.result))
        throw Cannot("a machine does not start here: " + utf8(ending.text));
    started.machine = object(started.session, &ISession::get_Machine);
    started.console = object(started.session, &ISession::get_Console);
    return started;
}

RunningMachine& Lab::running()
{
    needStart();
    if (!running_.console) {
        const ComPtr<IMachine> listed = machine();
        runningFolder_ = settingsFileOf(listed).parent_path().wstring();
        running_ = start(listed);
    }
    return running_;
}

void Lab::stopRunning()
{
    const RunningMachine stopped = std::exchange(running_, {});
    runningFolder_.clear();
    if (!stopped.console)
        return;
    ComPtr<IProgress> progress;
    if (SUCCEEDED(stopped.console->PowerDown(&progress)) && progress)
        finish(progress);
    soon([&] { return sessionStateOf(stopped.listed) == SessionState::Unlocked; });
}

// ---- taking away

void Lab::removeMachine(const ComPtr<IMachine>& machine) const
{
    if (!isOff(stateOf(machine))) {
        ComPtr<IProgress> nothing;
        machine->LaunchVMProcess(nullptr, Text(L"emergencystop"), nullptr, &nothing);
    }
    soon([&] { return sessionStateOf(machine) == SessionState::Unlocked; });
    Array media;
    must(machine->Unregister(CleanupMode::Full, media.put()));
    ComPtr<IProgress> progress;
    must(machine->DeleteConfig(media.copy<IMedium>(), &progress));
    finish(progress); // of a machine whose file a statement took away something may be missing
}

void Lab::closeMedia(const fs::path& folder) const
{
    for (const ComPtr<IMedium>& disk : array(box, &IVirtualBox::get_HardDisks).objects<IMedium>()) {
        Text location;
        if (SUCCEEDED(disk->get_Location(location.put())) && liesIn(folder, location.str()))
            disk->Close();
    }
}

void Lab::tidy()
{
    setMachineFolderBack(folder());
    for (const ComPtr<IMachine>& machine : array(box, &IVirtualBox::get_Machines).objects<IMachine>()) {
        const std::wstring file = settingsFileOf(machine).wstring();
        if (liesIn(folder(), file) && (runningFolder_.empty() || !liesIn(runningFolder_, file)))
            removeMachine(machine);
    }
    for (const ComPtr<IMedium>& medium : std::exchange(opened_, {}))
        medium->Close(); // fails for those that are closed already
    closeMedia(folder());
    for (const fs::directory_entry& entry : fs::directory_iterator(folder())) {
        if (entry.path().wstring() == runningFolder_)
            continue;
        if (entry.is_directory())
            removeFolder(entry.path());
        else
            DeleteFileW(entry.path().c_str());
    }
}

void Lab::clear(const fs::path& folder) const
{
    setMachineFolderBack(folder);
    for (const ComPtr<IMachine>& machine : array(box, &IVirtualBox::get_Machines).objects<IMachine>())
        if (liesIn(folder, settingsFileOf(machine).wstring()))
            removeMachine(machine);
    closeMedia(folder);
    for (const fs::path& image : imagesIn(folder)) { // VirtualBox may still know them from a run that broke off
        ComPtr<IMedium> medium;
        if (SUCCEEDED(
                box->OpenMedium(Text(image.wstring()), deviceTypeOf(image), AccessMode::ReadOnly, FALSE, &medium)))
            medium->Close();
    }
    for (const std::wstring& key : array(box, &IVirtualBox::GetExtraDataKeys).texts())
        if (key.starts_with(globalKeys))
            must(box->SetExtraData(Text(key), nullptr));
    removeFolder(folder);
}

} // namespace Probe
