// The whole life of a machine, told as a story; every subsystem of the library once. Against the stand-in all of it;
// against a real VirtualBox the steps that plant no fault.

#include <fstream>
#include <memory>

#include "core/context.h"
#include "core/names.h"
#include "core/terminal.h"
#include "core/verbs.h"
#include "world.h"

using namespace Travik;

namespace {

/// A step's result is not what the step states.
class StepFailed : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// What the command line allows.
struct TourOptions
{
    bool real = false;  ///< whatever VirtualBox answers
    bool start = false; ///< there, a machine may be started
};

class Tour
{
public:
    Tour(Context& context, const TourOptions& options) : context_(context), vbox_(context.vbox), options_(options) {}

    void run();

private:
    enum class Needs
    {
        Nothing,
        StandIn, ///< a fault, which a real VirtualBox does not have
        Start    ///< a machine that runs
    };
    struct Step
    {
        const char* subject;
        const char* story;
        void (Tour::*act)();
        Needs needs = Needs::Nothing;
    };
    static const std::vector<Step>& steps();

    void arrive();
    void importAppliance();
    void chooseName();
    void createMachine();
    void cloneMachine();
    void editSettings();
    void moveDisk();
    void forwardPorts();
    void shareFolders();
    void useProperties();
    void askDevices();
    void loseTheServer();
    void startMachine();
    void pauseAndResume();
    void hearOfAnError();
    void meetAFault();
    void stopMachine();
    void deleteMachines();

    /// Whether a step is left out of this tour.
    bool skips(const Step& step) const;
    /// Runs one step; false when it failed.
    bool take(const Step& step, std::size_t number);
    void leave();
    /// Takes away what a tour left that did not come to its end.
    void clearLeftovers();
    void remove(const std::wstring& nameOrId);
    void end(const std::wstring& nameOrId);
    void requireStandIn() const;
    void requireFreeNames();

    void verify(bool holds, const std::string& statement);
    void tell(const std::string& sentence);

    ScopedMachine find(const std::wstring& name) const { return vbox_.findMachine(name); }
    LockedSession lock(const std::wstring& name, Lock type) const
    {
        return LockedSession(vbox_, find(name), type, std::chrono::seconds(20));
    }
    std::wstring folderOf(const std::wstring& name) const;
    std::wstring diskOf(const ScopedMachine& machine) const;
    /// Whether the machine's settings file has this attribute at this element: not all can be read back otherwise.
    bool isSaved(const std::wstring& name, const std::string& element, const std::string& attribute) const;
    State stateOf(const std::wstring& name) const;
    /// Waits for an event; false when it does not come.
    bool comes(const std::function<bool(const EventData&)>& wanted);
    /// Whether an operation fails with this code and result.
    bool fails(const std::function<void()>& act, std::uint32_t code, std::uint32_t result);

    Context& context_;
    Operations vbox_;
    const TourOptions options_;
    ScratchFolder scratch_;
    std::wstring oldFolder_;
    bool namesAreOurs_ = false;
    std::wstring created_, imported_, copy_ = L"harbour 副本";
    std::optional<LockedSession> running_;
    ScopedConsole console_;
    std::optional<EventLoop> events_;

    Json rows_ = Json::array();
    const char* subject_ = "";
};

const std::wstring controller = L"SATA";

/// All that the tour's machines may be called.
const std::vector<std::wstring> names{L"harbour", L"harbour_1", L"harbour_2", L"harbour 副本"};

/// For people: the subject only on the first of its rows.
Json withSubjectsOnce(Json rows)
{
    std::string last;
    for (Json& row : rows) {
        const std::string subject = row["subject"];
        if (subject == last)
            row["subject"] = "";
        last = subject;
    }
    return rows;
}

const std::vector<Tour::Step>& Tour::steps()
{
    static const std::vector<Step> steps{
        {"connection", "VirtualBox answers; machines are made in a folder of the tour.", &Tour::arrive},
        {"appliance", "A colleague sends a machine as an appliance file.", &Tour::importAppliance},
        {"names", "A second machine needs a name that is free.", &Tour::chooseName},
        {"creation", "It is created, sized and registered.", &Tour::createMachine},
        {"cloning", "The imported machine is copied, with its disk.", &Tour::cloneMachine},
        {"settings", "The copy is changed under a lock.", &Tour::editSettings},
        {"disks", "The copy's disk moves to another file.", &Tour::moveDisk},
        {"port forwarding", "Host ports lead into the guest.", &Tour::forwardPorts},
        {"shared folders", "The guest is to see a folder of the host.", &Tour::shareFolders},
        {"guest properties", "A message for the guest.", &Tour::useProperties},
        {"audio and host", "Sound is switched on and off; the host tells what its processor can do.",
         &Tour::askDevices},
        {"reconnection", "VirtualBox's server dies in the middle of a call.", &Tour::loseTheServer, Needs::StandIn},
        {"start", "The machine starts, in a process of its own.", &Tour::startMachine, Needs::Start},
        {"pause", "The stand-in pauses it, as a sleeping host would; we let it run on.", &Tour::pauseAndResume,
         Needs::StandIn},
        {"runtime errors", "The guest's disk is full.", &Tour::hearOfAnError, Needs::StandIn},
        {"failures", "VirtualBox is made to fail once.", &Tour::meetAFault, Needs::StandIn},
        {"stop", "The plug is pulled.", &Tour::stopMachine, Needs::Start},
        {"deletion", "All is taken away again.", &Tour::deleteMachines},
    };
    return steps;
}

void Tour::verify(bool holds, const std::string& statement)
{
    rows_.push_back({{"subject", subject_}, {"verified", statement}, {"holds", holds}});
    if (!holds)
        throw StepFailed(statement);
    tell(statement);
}

void Tour::tell(const std::string& sentence)
{
    if (!context_.out.json())
        writeOut("      " + sentence + "\n");
}

bool Tour::skips(const Step& step) const
{
    return options_.real && (step.needs == Needs::StandIn || (step.needs == Needs::Start && !options_.start));
}

bool Tour::take(const Step& step, std::size_t number)
{
    subject_ = step.subject;
    if (!context_.out.json())
        writeOut((number < 10 ? "\n " : "\n") + std::to_string(number) + ". " + step.story + "\n");
    try {
        (this->*step.act)();
        context_.throwIfInterrupted();
        return true;
    } catch (const StepFailed& failure) {
        writeError(std::string("the tour stops: it is not true that ") + failure.what() + "\n");
    } catch (const Interrupted&) {
        throw;
    } catch (...) {
        context_.tell(std::current_exception(), subject_);
        rows_.push_back({{"subject", subject_}, {"verified", "the step failed"}, {"holds", false}});
    }
    return false;
}

void Tour::run()
{
    bool whole = true;
    try {
        std::size_t number = 0;
        for (const Step& step : steps())
            whole = whole && (skips(step) || take(step, ++number));
    } catch (...) {
        leave();
        throw;
    }
    leave();
    if (!context_.out.json())
        writeOut("\nVerified on this tour:\n\n");
    context_.out.table("tour", {"subject", "verified", "holds"}, context_.out.json() ? rows_ : withSubjectsOnce(rows_));
    context_.out.done(whole ? "\nThe tour is complete: everything it states holds." : "\nThe tour is not complete.",
                      {{"complete", whole}});
    if (!whole)
        context_.exitCode = ExitCode::Findings;
}

/// Puts things back as they were, whatever step was the last.
void Tour::leave()
{
    events_.reset();
    console_.reset();
    running_.reset();
    try {
        reconnect(vbox_, std::chrono::seconds(20)); // the last step may have ended with the server's death
    } catch (const SdkError&) {
        context_.tell(std::current_exception(), "");
    }
    for (const std::wstring& name : names)
        if (namesAreOurs_)
            remove(name);
    if (!oldFolder_.empty() && vbox_.plain().setDefaultMachineFolder(oldFolder_) != 0)
        writeError("the machine folder could not be set back to " + toUtf8(oldFolder_) + "\n");
    else
        forgetMachineFolder(scratch_.path());
}

/// Deletes a machine of the tour, which may run or be gone.
void Tour::remove(const std::wstring& nameOrId)
{
    try {
        const ScopedMachine machine = find(nameOrId);
        const State state = stateOf(nameOrId);
        if (state != State::PoweredOff && state != State::Aborted)
            end(nameOrId);
        deleteMachine(vbox_, machine, std::chrono::seconds(20));
    } catch (const std::exception&) {
        // gone already, as after a whole tour; what else failed was told by its step
    }
}

void Tour::end(const std::wstring& nameOrId)
{
    const LockedSession session = lock(nameOrId, Lock::Shared);
    const ScopedConsole console = session.console();
    const auto progress = vbox_.powerDown(console);
    waitFor(vbox_, progress, std::chrono::seconds(60));
}

void Tour::clearLeftovers()
{
    for (const std::filesystem::path& folder : ScratchFolder::leftovers()) {
        if (const auto before = rememberedMachineFolder(folder))
            vbox_.setDefaultMachineFolder(*before);
        for (const std::wstring& uuid : machinesIn(folder))
            remove(uuid);
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
        tell("what an earlier tour left is taken away: " + toUtf8(folder.wstring()));
    }
}

std::wstring Tour::folderOf(const std::wstring& name) const
{
    const std::wstring file = vbox_.composeMachineFilename(name);
    return std::filesystem::path(file).parent_path().wstring();
}

std::wstring Tour::diskOf(const ScopedMachine& machine) const
{
    const auto medium = vbox_.getCurrentMedium(machine, controller, 0, 0);
    return vbox_.getMediumLocation(medium);
}

bool Tour::isSaved(const std::wstring& name, const std::string& element, const std::string& attribute) const
{
    const std::wstring file = vbox_.composeMachineFilename(name);
    std::ifstream stream(std::filesystem::path(file), std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    const std::size_t begin = text.find("<" + element + " ");
    return begin != std::string::npos &&
           text.substr(begin, text.find('>', begin) - begin).find(" " + attribute) != std::string::npos;
}

State Tour::stateOf(const std::wstring& name) const
{
    return vbox_.machineGetState(find(name));
}

bool Tour::comes(const std::function<bool(const EventData&)>& wanted)
{
    const Deadline deadline(std::chrono::seconds(20));
    bool came = false;
    while (!came && !deadline.passed()) {
        events_->next(deadline.left(std::chrono::milliseconds(250)),
                      [&](const EventData& event) { came = wanted(event); });
        context_.throwIfInterrupted();
    }
    return came;
}

bool Tour::fails(const std::function<void()>& act, std::uint32_t code, std::uint32_t result)
{
    try {
        act();
        return false;
    } catch (const SdkError& failure) {
        return failure.code() == code && failure.result() == result;
    }
}

void Tour::requireStandIn() const
{
    // The stand-in describes itself as JSON; without a server of its own, it is a real VirtualBox that answers us.
    if (!Json::accept(runVBoxSim({L"status"})))
        throw CommandError(ExitCode::Refused, "the VirtualBox that answers is not the stand-in",
                           "Run 'vboxsim register' first, or tour the real one with --real.");
}

/// What the tour deletes at its end, it finds by name: nobody else's machine may have one of them.
void Tour::requireFreeNames()
{
    for (const std::wstring& name : names)
        if (vbox_.plain().findMachine(name, nullptr) == 0)
            throw CommandError(ExitCode::Refused, "there is a machine called " + toUtf8(name) + " already",
                               "The tour needs this name for a machine of its own; rename yours for a while.");
    namesAreOurs_ = true;
}

void Tour::arrive()
{
    if (!options_.real)
        requireStandIn();
    clearLeftovers();
    requireFreeNames();
    const std::wstring folder = (scratch_.path() / "machines").wstring();
    std::filesystem::create_directory(folder);
    oldFolder_ = vbox_.getDefaultMachineFolder();
    rememberMachineFolder(scratch_.path(), oldFolder_);
    vbox_.setDefaultMachineFolder(folder);
    verify(vbox_.getDefaultMachineFolder() == folder, "new machines go to the tour's folder");
    tell(toUtf8(folder));
    verify(fails([&] { vbox_.setDefaultMachineFolder(folder + L"\\missing"); }, CheckFileExistsFail, 0),
           "a folder that does not exist is refused");
}

void Tour::importAppliance()
{
    const std::filesystem::path file = scratch_.path() / "harbour.ova";
    writeAppliance(file);
    imported_ = vbox_.getImportOvaVmName(file.wstring());
    verify(imported_ == L"harbour", "the appliance's machine will be called harbour");
    vbox_.importOva(file.wstring());
    const ScopedMachine machine = find(imported_);
    verify(static_cast<bool>(machine), "after the import it is registered");
    verify(std::filesystem::path(diskOf(machine)).extension() == ".vdi", "its disk has become a VDI image");
}

void Tour::chooseName()
{
    created_ = vbox_.createVmName(L"harbour");
    verify(created_ == L"harbour_1", "the first free name is harbour_1");
}

void Tour::createMachine()
{
    const auto machine = vbox_.createMachine(std::wstring(), created_);
    vbox_.setMachineCPUCount(machine, 2);
    vbox_.setMachineMemory(machine, 512);
    vbox_.setMachineParavirtProvider(machine, Paravirtualisation::HyperV);
    vbox_.saveSettings(machine);
    const std::wstring file = vbox_.composeMachineFilename(created_);
    verify(std::filesystem::exists(file), "its settings file is where it was composed to be");
    tell(toUtf8(file));
    verify(fails([&] { static_cast<void>(vbox_.findMachine(created_)); }, FindMachineFail, Result::ObjectNotFound),
           "before it is registered nobody finds it");
    vbox_.registerMachine(machine);
    const std::wstring uuid = vbox_.getVmUUID(machine);
    verify(vbox_.getVmName(find(uuid)) == created_, "then it is found, by its UUID too");
    tell(toUtf8(uuid));
    verify(vbox_.createVmName(L"harbour") == L"harbour_2", "the next free name is harbour_2");
}

void Tour::cloneMachine()
{
    const ScopedMachine original = find(imported_);
    const auto copy = vbox_.createMachine(std::wstring(), copy_);
    vbox_.cloneToMachine(original, copy);
    vbox_.registerMachine(copy);
    const std::wstring disk = diskOf(copy);
    verify(disk != diskOf(original) && std::filesystem::exists(disk), "the copy has a disk of its own");
    tell(toUtf8(disk));
    std::size_t count = 0;
    for (const MachineEntry& entry : listMachines(vbox_))
        count += entry.name == imported_ || entry.name == created_ || entry.name == copy_ ? 1 : 0;
    verify(count == 3, "all three machines are in the list");
}

void Tour::editSettings()
{
    LockedSession session = lock(copy_, Lock::Write);
    vbox_.setMachineCPUCount(session.machine(), 4);
    vbox_.setMachineMemory(session.machine(), 1024);
    vbox_.setMachineExtraData(session.machine(), L"tour/owner", L"健吾");
    session.save();
    verify(fails([&] { vbox_.setMachineMemory(session.machine(), 0); }, SetMachineMemoryFail, Result::InvalidArg),
           "a machine without memory is refused");
    session.unlock();
    verify(isSaved(copy_, "CPU", R"(count="4")") && isSaved(copy_, "Memory", R"(RAMSize="1024")"),
           "its settings file has the 4 processors and 1024 MB");
    const ScopedMachine machine = find(copy_);
    verify(vbox_.getMachineExtraData(machine, L"tour/owner") == L"健吾", "the owner in the extra data reads 健吾");
    verify(fails([&] { vbox_.setMachineMemory(machine, 2048); }, SetMachineMemoryFail, Result::InvalidVMState),
           "without a lock nothing can be changed");
}

void Tour::moveDisk()
{
    LockedSession session = lock(copy_, Lock::Write);
    const auto ports = vbox_.getMachineStorageControllerPortCount(session.machine(), controller);
    verify(ports > 0, "the controller tells how many ports it has, " + std::to_string(ports));
    auto medium = vbox_.getCurrentMedium(session.machine(), controller, 0, 0);
    const std::wstring from = vbox_.getMediumLocation(medium);
    const std::wstring to = (std::filesystem::path(from).parent_path() / L"renamed.vdi").wstring();
    const std::wstring uuid = vbox_.getMediumUUID(medium);

    verify(fails([&] { vbox_.closeMedium(medium); }, CloseMediumFail, Result::ObjectInUse),
           "an attached disk cannot be closed");
    vbox_.detachMedium(session.machine(), controller, 0, 0);
    session.save();
    vbox_.closeMedium(medium);
    vbox_.renameVmDisk(from, to);
    verify(!std::filesystem::exists(from) && std::filesystem::exists(to), "the file has a new name");
    medium = vbox_.openMedium(to, false);
    vbox_.attachMedium(session.machine(), medium, controller, 0, 0);
    session.save();
    session.unlock();
    verify(vbox_.getMediumUUID(medium) == uuid && diskOf(find(copy_)) == to,
           "the machine has the same disk at its new place");
    verify(vbox_.getMediumState(medium) == ImageState::Created, "the disk is sound");
}

void Tour::forwardPorts()
{
    LockedSession session = lock(copy_, Lock::Shared);
    const auto adapter = vbox_.getNetworkAdapter(session.machine(), 0u);
    const auto engine = vbox_.getNATEngine(adapter);
    const auto add = [&](const wchar_t* name, std::uint32_t hostPort, std::uint32_t guestPort) {
        return vbox_.addRedirect(engine, name, Protocol::TCP, L"127.0.0.1", hostPort, L"", guestPort);
    };
    add(L"ssh", 2222, 22);
    add(L"web", 8080, 80);
    add(L"~last", 65535, 65535);
    verify(fails([&] { add(L"ssh", 2223, 22); }, AddRedirectFail, Result::InvalidArg),
           "a second rule called ssh is refused");
    using Rules = std::list<std::wstring>;
    const Rules rules = vbox_.getRedirects(engine);
    verify(rules == Rules{L"ssh,1,127.0.0.1,2222,,22", L"web,1,127.0.0.1,8080,,80"},
           "the list shows ssh and web; the last rule never shows");
    vbox_.removeRedirect(engine, L"~last");
    session.save();
}

void Tour::shareFolders()
{
    const std::wstring folder = scratch_.path().wstring();
    LockedSession session = lock(copy_, Lock::Write);
    vbox_.machineCreateSharedFolder(session.machine(), L"exchange", folder, true, true);
    vbox_.machineCreateSharedFolder(session.machine(), L"unused", folder, false, false);
    verify(fails([&] { vbox_.machineCreateSharedFolder(session.machine(), L"exchange", folder, false, false); },
                 MachineCreateSharedFolderFail, Result::ObjectInUse),
           "a second share called exchange is refused");
    vbox_.machineRemoveSharedFolder(session.machine(), L"unused");
    session.save();
    verify(fails([&] { vbox_.machineRemoveSharedFolder(session.machine(), L"unused"); }, MachineRemoveSharedFolderFail,
                 Result::ObjectNotFound),
           "a share that was removed is gone");
}

void Tour::useProperties()
{
    LockedSession session = lock(copy_, Lock::Write);
    const std::wstring name = L"/tour/greeting";
    vbox_.setGuestProperty(session.machine(), name, L"Moin 🎮", L"RDONLYGUEST");
    vbox_.setGuestProperty(session.machine(), L"/tour/draft", L"x", L"");
    vbox_.deleteGuestProperty(session.machine(), L"/tour/draft");
    session.save();
    const GuestProperty greeting = vbox_.getGuestProperty(session.machine(), name);
    verify(greeting.value == L"Moin 🎮" && greeting.flags == L"RDONLYGUEST" && greeting.timestamp > 0,
           "the guest will read Moin 🎮 and cannot change it");
    verify(vbox_.getGuestProperty(session.machine(), L"/tour/draft").value.empty(), "a deleted property is empty");
}

void Tour::askDevices()
{
    LockedSession session = lock(copy_, Lock::Write);
    {
        const auto adapter = vbox_.getAudioAdapter(session.machine());
        vbox_.setAudioAdapterEnabled(adapter, true);
        session.save();
        const bool on = isSaved(copy_, "AudioAdapter", R"(enabled="true")");
        vbox_.setAudioAdapterEnabled(adapter, false);
        session.save();
        verify(on && !isSaved(copy_, "AudioAdapter", R"(enabled="true")"), "the settings file follows the switch");
    }
    const auto host = vbox_.getHost();
    verify(vbox_.hostGetProcessorFeature(host, Feature::LongMode), "the host's processor is one of 64 bit");
}

void Tour::loseTheServer()
{
    const ScopedMachine machine = find(created_);
    runVBoxSim({L"die-in", L"IMachine::get_Name"});
    std::wstring name;
    const std::uint32_t code = vbox_.plain().getVmName(machine.get(), &name);
    const SdkError failure = lastFailure(vbox_, code);
    verify(code == PutNameFail && isProcessGone(failure.result()),
           std::string("the call fails with ") + failure.what());
    reconnect(vbox_, std::chrono::seconds(20), context_.onWait());
    verify(vbox_.plain().getVmName(machine.get(), &name) == COM_Get_MachineFail,
           "after the reconnection old handles are void");
    verify(vbox_.getVmName(find(created_)) == created_, "the machines are all there and found again");
}

void Tour::startMachine()
{
    const ScopedMachine machine = find(copy_);
    ScopedProgress progress;
    retryWhileLocked(std::chrono::seconds(20),
                     [&] { progress = vbox_.launchVMProcess(machine, L"headless", {L"TOUR=1"}); });
    waitFor(vbox_, progress, std::chrono::seconds(60), context_.onWait());
    running_.emplace(LockedSession::adopt(vbox_));
    console_ = running_->console();
    verify(console_ && stateOf(copy_) == State::Running, "it runs");
    verify(fails([&] { static_cast<void>(vbox_.launchVMProcess(machine)); }, LaunchVMProcessFail,
                 Result::InvalidObjectState),
           "a machine that runs cannot be started again");
    events_.emplace(vbox_, vbox_.getEventSource(console_),
                    std::vector<EventType>{EventType::StateChanged, EventType::RuntimeError});
    vbox_.consoleCreateSharedFolder(console_, L"today", scratch_.path().wstring(), true, false);
    vbox_.consoleRemoveSharedFolder(console_, L"today");
    verify(fails([&] { vbox_.consoleRemoveSharedFolder(console_, L"today"); }, ConsoleRemoveSharedFolderFail,
                 Result::FileError),
           "a share of the running machine comes and goes");
}

void Tour::pauseAndResume()
{
    const auto newState = [](State state) {
        return
            [state](const EventData& event) { return event.type == EventType::StateChanged && event.state == state; };
    };
    runVBoxSim({L"pause", copy_});
    verify(comes(newState(State::Paused)), "an event tells that it is paused");
    verify(vbox_.consoleGetState(console_) == State::Paused, "the console says so too");
    vbox_.consoleResume(console_);
    verify(comes(newState(State::Running)), "an event tells that it runs again");
    verify(fails([&] { vbox_.consoleResume(console_); }, ConsoleResumeFail, Result::InvalidVMState),
           "a running machine cannot be resumed");
}

void Tour::hearOfAnError()
{
    runVBoxSim({L"runtime-error", copy_, L"--id", L"DrvVD_DISKFULL", L"--message", L"No space is left", L"--fatal"});
    EventData error;
    verify(comes([&error](const EventData& event) {
               if (event.type == EventType::RuntimeError)
                   error = event;
               return event.type == EventType::RuntimeError;
           }),
           "an event brings the error");
    verify(error.fatal && error.id == L"DrvVD_DISKFULL" && error.message == L"No space is left",
           "it is fatal, DrvVD_DISKFULL: No space is left");
    verify(stateOf(copy_) == State::Paused, "the machine was paused first");
}

void Tour::meetAFault()
{
    const ScopedMachine machine = find(created_);
    runVBoxSim({L"fail", L"IMachine::get_Name", L"0x80004005", L"--times", L"1"});
    std::wstring name = L"untouched";
    const SdkErrorCode code = vbox_.plain().getVmName(machine.get(), &name);
    const SdkError failure = lastFailure(vbox_, code);
    verify(code == PutNameFail && failure.result() == Result::Fail && name == L"untouched",
           std::string("the operation fails with ") + failure.what());
    const std::wstring ending = L" with rc=0x80004005 rcDesc=OleFailError errorDesc=PutNameFail";
    verify(failure.operation() == L"getVmName" && failure.text().ends_with(ending),
           "the library's text names operation, result and code");
    verify(vbox_.getVmName(machine) == created_, "the next call succeeds");
}

void Tour::stopMachine()
{
    const auto progress = vbox_.powerDown(console_);
    waitFor(vbox_, progress, std::chrono::seconds(60), context_.onWait());
    verify(stateOf(copy_) == State::PoweredOff, "it is powered off");
    events_.reset();
    console_.reset();
    running_.reset();
    const LockedSession session = lock(copy_, Lock::Write);
    tell("its lock came free after " + std::to_string(session.waited().count()) + " ms");
}

void Tour::deleteMachines()
{
    for (const std::wstring& name : {created_, imported_, copy_}) {
        const std::wstring folder = folderOf(name);
        const ScopedMachine machine = find(name);
        deleteMachine(vbox_, machine, std::chrono::seconds(20));
        verify(fails([&] { static_cast<void>(vbox_.findMachine(name)); }, FindMachineFail, Result::ObjectNotFound) &&
                   !std::filesystem::exists(folder),
               toUtf8(name) + " and its files are gone");
    }
}

} // namespace

void addTourVerb(Verbs& verbs)
{
    auto options = std::make_shared<TourOptions>();
    verbs
        .add("tour", "The whole life of a machine, against the stand-in",
             [options](Context& context) { Tour(context, *options).run(); })
        .waitingLong()
        .flag("--real", options->real, "Against the VirtualBox that is registered, without the steps that plant faults")
        .flag("--start", options->start, "With --real: start a machine, too, without a window")
        .example("tour")
        .example("tour --real --start");
}
