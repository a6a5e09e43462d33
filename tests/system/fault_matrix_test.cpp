// Every call of VirtualBox that any operation makes goes wrong in every way: it fails, it gives nothing, it is slow,
// the server dies inside it. The caller gets the operation's code, in time, and the next operation works.

#include <functional>
#include <iostream>

#include "harness/running_machine.h"
#include "harness/settings_text.h"

namespace TravikTest {
namespace {

namespace fs = std::filesystem;

constexpr const wchar_t* diskId = L"5d1f4b1e-0000-4000-8000-000000000001";
constexpr const wchar_t* looseId = L"5d1f4b1e-0000-4000-8000-000000000002";
constexpr const wchar_t* diskful = L"Diskful";
constexpr VBoxHandle untouched = 77'777;
constexpr milliseconds bounded(10'000);
constexpr std::uint32_t slowness = 250; // milliseconds

/// How far the world has to be for an operation.
enum class Scene
{
    registered, // the machines, a medium, the host
    locked,     // the session has the player for writing
    diskLocked, // the session has the machine with the disk for writing
    running,    // the player runs; its console and its events
    failed      // the player's start has failed; its progress
};

/// What the absence of an answer means.
enum class Absence
{
    nothing,   // the call hands out nothing
    endsWell,  // nothing to hand out: success
    fails,     // the operation's code, without an HRESULT
    otherCode, // a code of its own, without an HRESULT
    tolerated  // neither that nor a failure matters
};

class FaultMatrix;

/// One call in one operation.
struct Fault
{
    const char* operation;
    Scene scene;
    const wchar_t* call;
    std::uint32_t code;
    Absence absence;
    std::function<SdkErrorCode(FaultMatrix&)> invoke;
    std::uint32_t otherCode = 0;         // of the next call: without this one's work, or with the server dead
    const wchar_t* unanswered = nullptr; // another call that gives nothing, so that this one is made
};

class FaultMatrix : public RunningMachineTest
{
public:
    using SystemTest::world;

    void furnish() override
    {
        MachineText text;
        text.mediaRegistry = hardDiskXml(diskId, "disk.vdi");
        text.sataAttachments = attachedDiskXml(diskId, 0) + emptyDriveXml(1);
        world().addMachine(diskful, L"3e9c1b52-6f6a-4c0e-9d55-0a1b2c3d4e10", text);
        writeFiles();
        world().addUsualMachines();
    }

    /// What operations may have changed or removed.
    void writeFiles()
    {
        for (const fs::path& file : {world().machineFile(diskful).parent_path() / L"disk.vdi", loose()})
            fs::remove(file);
        writeVdi(world().machineFile(diskful).parent_path() / L"disk.vdi", diskId);
        writeVdi(loose(), looseId);
        const std::string head = R"(<?xml version="1.0"?><Envelope xmlns="http://schemas.dmtf.org/ovf/envelope/1")"
                                 R"( xmlns:ovf="http://schemas.dmtf.org/ovf/envelope/1")"
                                 R"( xmlns:rasd="http://schemas.dmtf.org/wbem/wscim/1/cim-schema/2/)"
                                 R"(CIM_ResourceAllocationSettingData"><References/>)";
        TravikTest::writeFile(appliance(),
                              head + R"(<VirtualSystem ovf:id="imported"><Info/><VirtualHardwareSection><Info/>)"
                                     R"(<Item><rasd:InstanceID>1</rasd:InstanceID>)"
                                     R"(<rasd:ResourceType>3</rasd:ResourceType>)"
                                     R"(<rasd:VirtualQuantity>1</rasd:VirtualQuantity></Item>)"
                                     R"(</VirtualHardwareSection></VirtualSystem></Envelope>)");
    }

    fs::path loose() { return world().folder() / L"loose" / L"loose.vdi"; }
    fs::path appliance() { return world().folder() / L"appliances" / L"one.ovf"; }

    /// The state that an operation needs, made anew.
    void stage(Scene scene)
    {
        places = {};
        machine = find(Machines::player);
        worker = find(Machines::worker);
        diskMachine = find(diskful);
        check(sdk, sdk.getCurrentMedium(diskMachine, L"SATA", 0, 0, &medium));
        check(sdk, sdk.getHost(&host));
        switch (scene) {
        case Scene::registered:
            check(sdk, sdk.getAudioAdapter(machine, &audio));
            break;
        case Scene::locked:
            mutableMachine = lockForWriting(machine);
            check(sdk, sdk.openMedium(loose().wstring(), false, &medium));
            check(sdk, sdk.getNetworkAdapter(mutableMachine, 0, &adapter));
            check(sdk, sdk.getNATEngine(adapter, &nat));
            check(sdk, sdk.getAudioAdapter(mutableMachine, &audio));
            check(sdk, sdk.addRedirect(nat, L"there", 1, L"", 2000, L"", 22));
            check(sdk, sdk.machineCreateSharedFolder(mutableMachine, L"there", L"C:\\", 0, 0));
            check(sdk, sdk.setGuestProperty(mutableMachine, L"/there", L"value", L""));
            break;
        case Scene::diskLocked:
            mutableMachine = lockForWriting(diskMachine);
            break;
        case Scene::running:
            stageRunning();
            break;
        case Scene::failed:
            control().scenario(
                LR"({"machines": {"Player": {"launch": {"result": "0x80004005", "text": "no such luck"}}}})");
            check(sdk, sdk.launchVMProcess(machine, L"headless", {L""}, &progress));
            sdk.progressWaitForCompletion(progress, 5'000);
            break;
        }
    }

    void stageRunning()
    {
        launch(Machines::player);
        console = consoleOf();
        check(sdk, sdk.getEventSource(console, &source));
        check(sdk, sdk.eventSourceCreateListener(source, &listener));
        check(sdk, sdk.eventSourceRegisterListener(source, listener,
                                                   {VBoxEventType::OnStateChanged, VBoxEventType::OnRuntimeError}, 0));
        check(sdk, sdk.consoleCreateSharedFolder(console, L"there", L"C:\\", 0, 0));
        control().runtimeError(Machines::player, true, L"id", L"message"); // pauses the machine first
        check(sdk, sdk.eventSourceGetEvent(source, listener, 5'000, &event));
        check(sdk, sdk.getEventSourceStateChangedEvent(event, &stateChanged));
        VBoxHandle second = 0;
        check(sdk, sdk.eventSourceGetEvent(source, listener, 5'000, &second));
        check(sdk, sdk.getEventSourceRuntimeErrorEvent(second, &runtimeError));
        control().runtimeError(Machines::player, false, L"id", L"one more to wait for");
    }

    /// Nothing of what was runs, is locked, faulty or changed.
    void begin()
    {
        sdk.releaseRC();
        std::wstring listing;
        EXPECT_TRUE(soon([&] { return control().references(listing) == 0; }))
            << "still held by the library: " << utf8(listing);
        control().reset();
        writeFiles();
        for (const fs::path& made : {world().machineFolder() / L"imported", world().machineFolder() / L"made"})
            fs::remove_all(made);
        world().writeRegistry();
        fs::remove_all(world().machineFile(Machines::player).parent_path());
        world().writeMachine(Machines::player, Machines::playerId);
        control().reset();
        control().scenario(LR"({"times": {"spawn": 10, "start": 10, "stop": 10, "holdLock": 0}})");
    }

    /// Nothing was handed out.
    testing::AssertionResult nothingWritten() const
    {
        if (places.handle == untouched && places.text == L"as it was")
            return testing::AssertionSuccess();
        return testing::AssertionFailure()
               << "wrote the handle " << places.handle << ", the text \"" << utf8(places.text) << "\"";
    }

    /// Runs the operation and tells whether it took a bounded time.
    SdkErrorCode timed(const Fault& fault, milliseconds& time)
    {
        const auto before = std::chrono::steady_clock::now();
        const SdkErrorCode code = fault.invoke(*this);
        time = std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - before);
        EXPECT_LT(time, bounded);
        return code;
    }

    /// The code is the operation's, and one of these HRESULTs is recorded.
    void expectRecorded(SdkErrorCode got, std::uint32_t code, std::initializer_list<std::uint32_t> results)
    {
        EXPECT_EQ(got, code);
        EXPECT_THAT(results, testing::Contains(sdk.getVBoxError()));
        EXPECT_TRUE(code == 0 || sdk.getVBoxErrorMessage().find(L" with rc=0x") != std::wstring::npos);
    }

    void expectWorld() { EXPECT_EQ(nameOf(find(Machines::worker)), Machines::worker); }

    VBoxInstanceImpl& box() { return sdk; }
    Control& order() { return control(); }

    struct Places
    {
        VBoxHandle handle = untouched;
        std::uint32_t number = 0;
        std::int32_t signedNumber = 0;
        std::wstring text = L"as it was";
        std::list<std::wstring> rules;
        std::vector<VBoxHandle> machines;
    } places;
    VBoxHandle machine = 0, worker = 0, diskMachine = 0, medium = 0, host = 0, mutableMachine = 0, adapter = 0, nat = 0,
               audio = 0, console = 0, source = 0, listener = 0, event = 0, stateChanged = 0, runtimeError = 0,
               progress = 0;
};

using Slots = FaultMatrix;

SdkErrorCode clone(Slots& s)
{
    VBoxHandle target = 0;
    check(s.box(), s.box().createMachine(s.world().machineFile(L"made").wstring(), L"made", &target));
    return s.box().cloneToMachine(s.machine, target);
}

/// QueryInterface alone is not in the table: it is COM's own, and the stand-in's controls do not reach it.
const std::vector<Fault>& faults()
{
    using enum Scene;
    using enum Absence;
    // clang-format off
    static const std::vector<Fault> all = {
        {"composeMachineFilename", registered, L"IVirtualBox::ComposeMachineFilename", 159, endsWell, [](Slots& s) { return s.box().composeMachineFilename(L"made", &s.places.text); }},
        {"createVmName", registered, L"IVirtualBox::ComposeMachineFilename", 159, endsWell, [](Slots& s) { return s.box().createVmName(L"made", nullptr); }},
        {"getDefaultMachineFolder", registered, L"IVirtualBox::get_SystemProperties", 160, fails, [](Slots& s) { return s.box().getDefaultMachineFolder(&s.places.text); }},
        {"getDefaultMachineFolder", registered, L"ISystemProperties::get_DefaultMachineFolder", 162, endsWell, [](Slots& s) { return s.box().getDefaultMachineFolder(&s.places.text); }},
        {"setDefaultMachineFolder", registered, L"IVirtualBox::get_SystemProperties", 160, fails, [](Slots& s) { return s.box().setDefaultMachineFolder(s.world().machineFolder().wstring()); }},
        {"setDefaultMachineFolder", registered, L"ISystemProperties::put_DefaultMachineFolder", 161, nothing, [](Slots& s) { return s.box().setDefaultMachineFolder(s.world().machineFolder().wstring()); }},
        {"openMedium", registered, L"IVirtualBox::OpenMedium", 163, endsWell, [](Slots& s) { return s.box().openMedium(s.loose().wstring(), false, &s.places.handle); }},
        {"closeMedium", locked, L"IMedium::Close", 164, nothing, [](Slots& s) { return s.box().closeMedium(s.medium); }},
        {"deleteMedium", locked, L"IMedium::get_Location", 200, endsWell, [](Slots& s) { return s.box().deleteMedium(s.medium); }},
        {"attachMedium", locked, L"IMachine::AttachDevice", 167, nothing, [](Slots& s) { return s.box().attachMedium(s.mutableMachine, s.medium, L"SATA", 0, 0); }},
        {"attachMedium", locked, L"IMachine::SetAutoDiscardForDevice", 165, tolerated, [](Slots& s) { return s.box().attachMedium(s.mutableMachine, s.medium, L"SATA", 0, 0); }},
        {"attachMedium", locked, L"IMachine::NonRotationalDevice", 166, tolerated, [](Slots& s) { return s.box().attachMedium(s.mutableMachine, s.medium, L"SATA", 0, 0); }},
        {"detachMedium", diskLocked, L"IMachine::DetachDevice", 168, nothing, [](Slots& s) { return s.box().detachMedium(s.mutableMachine, L"SATA", 0, 0); }},
        {"setVmName", locked, L"IMachine::put_Name", 169, nothing, [](Slots& s) { return s.box().setVmName(s.mutableMachine, L"Renamed"); }},
        {"getVmName", registered, L"IMachine::get_Name", 169, endsWell, [](Slots& s) { return s.box().getVmName(s.machine, &s.places.text); }},
        {"getVmUUID", registered, L"IMachine::get_Id", 169, endsWell, [](Slots& s) { return s.box().getVmUUID(s.machine, &s.places.text); }},
        {"getImportOvaVmName", registered, L"IVirtualBox::CreateAppliance", 170, fails, [](Slots& s) { return s.box().getImportOvaVmName(s.appliance().wstring(), &s.places.text); }},
        {"getImportOvaVmName", registered, L"IAppliance::Read", 171, fails, [](Slots& s) { return s.box().getImportOvaVmName(s.appliance().wstring(), &s.places.text); }},
        {"getImportOvaVmName", registered, L"IAppliance::Interpret", 172, nothing, [](Slots& s) { return s.box().getImportOvaVmName(s.appliance().wstring(), &s.places.text); }},
        {"getImportOvaVmName", registered, L"IAppliance::get_VirtualSystemDescriptions", 211, endsWell, [](Slots& s) { return s.box().getImportOvaVmName(s.appliance().wstring(), &s.places.text); }},
        {"getImportOvaVmName", registered, L"IVirtualSystemDescription::GetValuesByType", 212, tolerated, [](Slots& s) { return s.box().getImportOvaVmName(s.appliance().wstring(), &s.places.text); }},
        {"importOva", registered, L"IVirtualBox::CreateAppliance", 170, fails, [](Slots& s) { return s.box().importOva(s.appliance().wstring()); }},
        {"importOva", registered, L"IAppliance::Read", 171, fails, [](Slots& s) { return s.box().importOva(s.appliance().wstring()); }},
        {"importOva", registered, L"IAppliance::Interpret", 172, nothing, [](Slots& s) { return s.box().importOva(s.appliance().wstring()); }, 174},
        {"importOva", registered, L"IAppliance::ImportMachines", 174, fails, [](Slots& s) { return s.box().importOva(s.appliance().wstring()); }},
        {"createMachine", registered, L"IVirtualBox::CreateMachine", 177, endsWell, [](Slots& s) { return s.box().createMachine(s.world().machineFile(L"made").wstring(), L"made", &s.places.handle); }},
        {"cloneToMachine", registered, L"IMachine::CloneTo", 178, fails, clone},
        {"cloneToMachine", registered, L"IProgress::get_Completed", 122, tolerated, clone, 121},
        {"cloneToMachine", registered, L"IProgress::WaitForCompletion", 121, nothing, clone, 0, L"IProgress::get_Completed"},
        {"cloneToMachine", registered, L"IProgress::get_ResultCode", 123, tolerated, clone},
        {"deleteMachine", registered, L"IMachine::Unregister", 179, nothing, [](Slots& s) { return s.box().deleteMachine(s.machine); }, 180},
        {"deleteMachine", registered, L"IMachine::DeleteConfig", 180, fails, [](Slots& s) { return s.box().deleteMachine(s.machine); }},
        {"openMachine", registered, L"IVirtualBox::OpenMachine", 106, endsWell, [](Slots& s) { return s.box().openMachine(s.world().machineFile(Machines::player).wstring(), &s.places.handle); }},
        {"findMachine", registered, L"IVirtualBox::FindMachine", 107, endsWell, [](Slots& s) { return s.box().findMachine(Machines::player, &s.places.handle); }},
        {"launchVMProcess", registered, L"IMachine::LaunchVMProcess", 108, endsWell, [](Slots& s) { return s.box().launchVMProcess(s.machine, L"headless", {L""}, &s.places.handle); }},
        {"lockMachine", registered, L"IMachine::LockMachine", 109, nothing, [](Slots& s) { return s.box().lockMachine(s.machine, LockType::Write); }},
        {"unlockMachine", locked, L"ISession::UnlockMachine", 110, nothing, [](Slots& s) { return s.box().unlockMachine(); }},
        {"registerMachine", registered, L"IVirtualBox::RegisterMachine", 111, nothing, [](Slots& s) {
             VBoxHandle made = 0;
             s.box().createMachine(s.world().machineFile(L"made").wstring(), L"made", &made);
             return s.box().registerMachine(made);
         }},
        {"machineGetState", registered, L"IMachine::get_State", 112, nothing, [](Slots& s) { return s.box().machineGetState(s.machine, &s.places.number); }},
        {"getMachineExtraData", registered, L"IMachine::GetExtraData", 158, endsWell, [](Slots& s) { return s.box().getMachineExtraData(s.machine, L"key", &s.places.text); }},
        {"createMutableMachine", locked, L"ISession::get_Machine", 113, endsWell, [](Slots& s) { return s.box().createMutableMachine(s.machine, &s.places.handle); }},
        {"setMachineCPUCount", locked, L"IMachine::put_CPUCount", 115, nothing, [](Slots& s) { return s.box().setMachineCPUCount(s.mutableMachine, 2); }},
        {"setMachineMemory", locked, L"IMachine::put_MemorySize", 116, nothing, [](Slots& s) { return s.box().setMachineMemory(s.mutableMachine, 512); }},
        {"setMachineParavirtProvider", locked, L"IMachine::put_ParavirtProvider", 117, nothing, [](Slots& s) { return s.box().setMachineParavirtProvider(s.mutableMachine, 1); }},
        {"setMachineExtraData", locked, L"IMachine::SetExtraData", 118, nothing, [](Slots& s) { return s.box().setMachineExtraData(s.mutableMachine, L"key", L"value"); }},
        {"saveSettings", locked, L"IMachine::SaveSettings", 119, nothing, [](Slots& s) { return s.box().saveSettings(s.mutableMachine); }},
        {"powerDown", running, L"IConsole::PowerDown", 120, endsWell, [](Slots& s) { return s.box().powerDown(s.console, &s.places.handle); }},
        {"progressWaitForCompletion", failed, L"IProgress::WaitForCompletion", 121, nothing, [](Slots& s) { return s.box().progressWaitForCompletion(s.progress, 1'000); }},
        {"getProgressCompleted", failed, L"IProgress::get_Completed", 122, nothing, [](Slots& s) { return s.box().getProgressCompleted(s.progress, &s.places.number); }},
        {"getProgressResultCode", failed, L"IProgress::get_ResultCode", 123, nothing, [](Slots& s) { return s.box().getProgressResultCode(s.progress, &s.places.signedNumber); }},
        {"getProgressErrorInfo", failed, L"IProgress::get_ErrorInfo", 124, endsWell, [](Slots& s) { return s.box().getProgressErrorInfo(s.progress, &s.places.text); }},
        {"getProgressErrorInfo", failed, L"IVirtualBoxErrorInfo::get_Text", 124, endsWell, [](Slots& s) { return s.box().getProgressErrorInfo(s.progress, &s.places.text); }},
        {"getHost", registered, L"IVirtualBox::get_Host", 125, endsWell, [](Slots& s) { return s.box().getHost(&s.places.handle); }},
        {"hostGetProcessorFeature", registered, L"IHost::GetProcessorFeature", 126, nothing, [](Slots& s) { return s.box().hostGetProcessorFeature(s.host, 0, &s.places.number); }},
        {"machineRemoveSharedFolder", locked, L"IMachine::RemoveSharedFolder", 127, nothing, [](Slots& s) { return s.box().machineRemoveSharedFolder(s.mutableMachine, L"there"); }},
        {"machineCreateSharedFolder", locked, L"IMachine::CreateSharedFolder", 128, nothing, [](Slots& s) { return s.box().machineCreateSharedFolder(s.mutableMachine, L"share", L"C:\\", 0, 0); }},
        {"getConsole", running, L"ISession::get_Console", 129, endsWell, [](Slots& s) { return s.box().getConsole(&s.places.handle); }},
        {"consoleGetState", running, L"IConsole::get_State", 130, nothing, [](Slots& s) { return s.box().consoleGetState(s.console, &s.places.number); }},
        {"consoleResume", running, L"IConsole::Resume", 131, nothing, [](Slots& s) { return s.box().consoleResume(s.console); }},
        {"consoleRemoveSharedFolder", running, L"IConsole::RemoveSharedFolder", 132, nothing, [](Slots& s) { return s.box().consoleRemoveSharedFolder(s.console, L"there"); }},
        {"consoleCreateSharedFolder", running, L"IConsole::CreateSharedFolder", 133, nothing, [](Slots& s) { return s.box().consoleCreateSharedFolder(s.console, L"share", L"C:\\", 0, 0); }},
        {"getNetworkAdapter", registered, L"IMachine::GetNetworkAdapter", 134, endsWell, [](Slots& s) { return s.box().getNetworkAdapter(s.machine, 0, &s.places.handle); }},
        {"getNATEngine", locked, L"INetworkAdapter::get_NATEngine", 135, endsWell, [](Slots& s) { return s.box().getNATEngine(s.adapter, &s.places.handle); }},
        {"removeRedirect", locked, L"INATEngine::RemoveRedirect", 136, nothing, [](Slots& s) { return s.box().removeRedirect(s.nat, L"there"); }},
        {"addRedirect", locked, L"INATEngine::AddRedirect", 137, nothing, [](Slots& s) { return s.box().addRedirect(s.nat, L"rule", 1, L"", 2022, L"", 22); }},
        {"getRedirects", locked, L"INATEngine::get_Redirects", 138, endsWell, [](Slots& s) { return s.box().getRedirects(s.nat, &s.places.rules); }},
        {"getGuestProperty", locked, L"IMachine::GetGuestProperty", 139, endsWell, [](Slots& s) {
             std::int64_t time = 0;
             return s.box().getGuestProperty(s.mutableMachine, L"/there", &s.places.text, &time, nullptr);
         }},
        {"setGuestProperty", locked, L"IMachine::SetGuestProperty", 140, nothing, [](Slots& s) { return s.box().setGuestProperty(s.mutableMachine, L"/name", L"value", L""); }},
        {"deleteGuestProperty", locked, L"IMachine::DeleteGuestProperty", 141, nothing, [](Slots& s) { return s.box().deleteGuestProperty(s.mutableMachine, L"/there"); }},
        {"getAudioAdapter", registered, L"IMachine::get_AudioAdapter", 142, endsWell, [](Slots& s) { return s.box().getAudioAdapter(s.machine, &s.places.handle); }},
        {"setAudioAdapterEnabled", locked, L"IAudioAdapter::put_Enabled", 143, nothing, [](Slots& s) { return s.box().setAudioAdapterEnabled(s.audio, 1); }},
        {"getEventSource", running, L"IConsole::get_EventSource", 144, endsWell, [](Slots& s) { return s.box().getEventSource(s.console, &s.places.handle); }},
        {"eventSourceCreateListener", running, L"IEventSource::CreateListener", 145, endsWell, [](Slots& s) { return s.box().eventSourceCreateListener(s.source, &s.places.handle); }},
        {"eventSourceRegisterListener", running, L"IEventSource::RegisterListener", 146, nothing, [](Slots& s) {
             VBoxHandle another = 0;
             s.box().eventSourceCreateListener(s.source, &another);
             return s.box().eventSourceRegisterListener(s.source, another, {VBoxEventType::OnStateChanged}, 0);
         }},
        {"eventSourceUnregisterListener", running, L"IEventSource::UnregisterListener", 147, nothing, [](Slots& s) { return s.box().eventSourceUnregisterListener(s.source, s.listener); }},
        {"eventSourceGetEvent", running, L"IEventSource::GetEvent", 149, endsWell, [](Slots& s) { return s.box().eventSourceGetEvent(s.source, s.listener, 1'000, &s.places.handle); }},
        {"eventSourceEventProcessed", running, L"IEventSource::EventProcessed", 150, nothing, [](Slots& s) { return s.box().eventSourceEventProcessed(s.source, s.listener, s.event); }},
        {"eventSourceEventGetType", running, L"IEvent::get_Type", 151, nothing, [](Slots& s) { return s.box().eventSourceEventGetType(s.event, &s.places.number); }},
        {"eventSourceStateChangedEventGetState", running, L"IStateChangedEvent::get_State", 153, nothing, [](Slots& s) { return s.box().eventSourceStateChangedEventGetState(s.stateChanged, &s.places.number); }},
        {"eventSourceRuntimeErrorEventGetFatal", running, L"IRuntimeErrorEvent::get_Fatal", 155, nothing, [](Slots& s) { return s.box().eventSourceRuntimeErrorEventGetFatal(s.runtimeError, &s.places.signedNumber); }},
        {"eventSourceRuntimeErrorEventGetId", running, L"IRuntimeErrorEvent::get_Id", 156, endsWell, [](Slots& s) { return s.box().eventSourceRuntimeErrorEventGetId(s.runtimeError, &s.places.text); }},
        {"eventSourceRuntimeErrorEventGetMessage", running, L"IRuntimeErrorEvent::get_Message", 157, endsWell, [](Slots& s) { return s.box().eventSourceRuntimeErrorEventGetMessage(s.runtimeError, &s.places.text); }},
        {"getMachineStorageControllerPortCount", registered, L"IMachine::GetStorageControllerByName", 198, fails, [](Slots& s) { return s.box().getMachineStorageControllerPortCount(s.machine, L"SATA", &s.places.number); }},
        {"getMachineStorageControllerPortCount", registered, L"IStorageController::get_PortCount", 199, nothing, [](Slots& s) { return s.box().getMachineStorageControllerPortCount(s.machine, L"SATA", &s.places.number); }},
        {"getMediumLocation", registered, L"IMedium::get_Location", 200, endsWell, [](Slots& s) { return s.box().getMediumLocation(s.medium, &s.places.text); }},
        {"getMediumState", registered, L"IMedium::RefreshState", 213, nothing, [](Slots& s) { return s.box().getMediumState(s.medium, &s.places.number); }},
        {"getMediumUUID", registered, L"IMedium::get_Id", 215, endsWell, [](Slots& s) { return s.box().getMediumUUID(s.medium, &s.places.text); }},
        {"getMediumLastAccessError", registered, L"IMedium::get_LastAccessError", 214, endsWell, [](Slots& s) { return s.box().getMediumLastAccessError(s.medium, &s.places.text); }},
        {"getCurrentMedium", registered, L"IMachine::GetMedium", 201, endsWell, [](Slots& s) { return s.box().getCurrentMedium(s.diskMachine, L"SATA", 0, 0, &s.places.handle); }},
        {"listVms", registered, L"IVirtualBox::get_Machines", 210, otherCode, [](Slots& s) { return s.box().listVms(&s.places.machines); }, 148},
    };
    // clang-format on
    return all;
}

/// Runs one fault after the other, each in its scene; what is thrown there counts against that one.
void forEachFault(FaultMatrix& matrix, const std::function<void(const Fault&)>& run, std::size_t first = 0,
                  std::size_t step = 1)
{
    milliseconds longest(0);
    std::size_t count = 0;
    for (std::size_t i = first; i < faults().size(); i += step, ++count) {
        const Fault& fault = faults()[i];
        SCOPED_TRACE(std::string(fault.operation) + ", " + utf8(fault.call));
        const auto before = std::chrono::steady_clock::now();
        try {
            matrix.begin();
            matrix.stage(fault.scene);
            if (fault.unanswered != nullptr)
                matrix.order().answerNull(fault.unanswered);
            run(fault);
        } catch (const std::exception& error) {
            ADD_FAILURE() << error.what();
        }
        longest =
            std::max(longest, std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - before));
    }
    matrix.begin();
    std::cout << count << " faults, the longest with its scene " << longest.count() << " ms\n";
}

TEST_F(FaultMatrix, EveryCallFails)
{
    forEachFault(*this, [this](const Fault& fault) {
        control().fail(fault.call, Result::vmError);
        milliseconds time;
        const SdkErrorCode got = timed(fault, time);
        if (fault.absence == Absence::tolerated)
            expectRecorded(got, 0, {0});
        else
            expectRecorded(got, fault.code, {Result::vmError});
        EXPECT_TRUE(fault.absence == Absence::tolerated || nothingWritten());
        expectWorld();
    });
}

/// The code of a later call that misses what this one should have done or given.
std::uint32_t missedCode(const Fault& fault)
{
    return fault.absence == Absence::tolerated ? 0 : fault.otherCode;
}

TEST_F(FaultMatrix, EveryCallGivesNothing)
{
    forEachFault(*this, [this](const Fault& fault) {
        control().answerNull(fault.call);
        milliseconds time;
        const SdkErrorCode got = timed(fault, time);
        EXPECT_EQ(got, fault.absence == Absence::fails ? fault.code : missedCode(fault));
        EXPECT_EQ(sdk.getVBoxError() != 0, fault.absence == Absence::nothing && missedCode(fault) != 0);
        EXPECT_TRUE(fault.absence == Absence::tolerated || nothingWritten());
        expectWorld();
    });
}

TEST_F(FaultMatrix, EveryCallIsSlow)
{
    forEachFault(*this, [this](const Fault& fault) {
        control().delay(fault.call, slowness);
        milliseconds time;
        EXPECT_TRUE(done(timed(fault, time)));
        EXPECT_GE(time.count(), slowness - 10) << "the operation does not make the call";
        control().delay(fault.call, 0);
        expectWorld();
    });
}

/// In parts, each with a process of its own: Wine gives a new server the number of a dead one in the end, and a client
/// that has talked to both mistakes them.
constexpr std::size_t parts = 9;

class FaultMatrixDeath : public FaultMatrix, public testing::WithParamInterface<std::size_t>
{};

INSTANTIATE_TEST_SUITE_P(Part, FaultMatrixDeath, testing::Range<std::size_t>(0, parts));

TEST_P(FaultMatrixDeath, TheServerDiesInEveryCall)
{
    const auto die = [this](const Fault& fault) {
        const bool tolerated = fault.absence == Absence::tolerated;
        control().dieIn(fault.call);
        milliseconds time;
        const SdkErrorCode got = timed(fault, time);
        if (tolerated && fault.otherCode == 0)
            expectRecorded(got, 0, {0});
        else
            expectRecorded(got, tolerated ? fault.otherCode : fault.code,
                           {Result::callFailed, Result::serverUnavailable});
        awaitServerDeath();
        EXPECT_TRUE(tolerated || nothingWritten());
        EXPECT_TRUE(refused(sdk.findMachine(Machines::worker, nullptr), FindMachineFail, Result::serverUnavailable));
        startNextServer();
        EXPECT_TRUE(done(sdk.resetComComponent()));
        expectWorld();
    };
    forEachFault(*this, die, GetParam(), parts);
}

/// The operations behind the progress objects that the library waits for itself.
TEST_F(FaultMatrix, EveryAwaitedOperationFails)
{
    const std::vector<Fault> awaited = {
        {"cloneToMachine", Scene::registered, L"IMachine::CloneTo.progress", 121, Absence::nothing, clone},
        {"deleteMachine", Scene::registered, L"IMachine::DeleteConfig.progress", 121, Absence::nothing,
         [](Slots& s) { return s.box().deleteMachine(s.machine); }},
        {"getImportOvaVmName", Scene::registered, L"IAppliance::Read.progress", 121, Absence::nothing,
         [](Slots& s) { return s.box().getImportOvaVmName(s.appliance().wstring(), nullptr); }},
        {"importOva", Scene::registered, L"IAppliance::Read.progress", 121, Absence::nothing,
         [](Slots& s) { return s.box().importOva(s.appliance().wstring()); }},
        {"importOva", Scene::registered, L"IAppliance::ImportMachines.progress", 121, Absence::nothing,
         [](Slots& s) { return s.box().importOva(s.appliance().wstring()); }}};
    for (const Fault& fault : awaited) {
        SCOPED_TRACE(std::string(fault.operation) + ", " + utf8(fault.call));
        begin();
        stage(fault.scene);
        control().fail(fault.call, Result::vmError);
        milliseconds time;
        expectRecorded(timed(fault, time), fault.code, {Result::vmError});
        expectWorld();
    }
    begin();
}

// The creation of the root object itself: it counts as ready by contract, what needs the object answers 101.
TEST_F(FaultMatrix, TheCreationFailsAndWorksAgain)
{
    control().fail(L"VirtualBox::CreateInstance", Result::vmError);
    EXPECT_TRUE(done(sdk.initComComponent()));
    EXPECT_EQ(sdk.getVBoxError(), Result::vmError);
    control().fail(L"VirtualBox::CreateInstance", Result::vmError);
    EXPECT_EQ(sdk.findMachine(Machines::worker, nullptr), InitVboxComFail);
    EXPECT_EQ(sdk.getVBoxError(), Result::vmError);
    expectWorld();
}

TEST_F(FaultMatrix, TheServerDiesInTheCreationAndItsSuccessorIsFound)
{
    control().dieIn(L"VirtualBox::CreateInstance");
    const auto before = std::chrono::steady_clock::now();
    EXPECT_TRUE(done(sdk.initComComponent()));
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(60));
    EXPECT_NE(sdk.getVBoxError(), 0u);
    awaitServerDeath();
    startNextServer();
    EXPECT_TRUE(done(sdk.resetComComponent()));
    expectWorld();
}

} // namespace
} // namespace TravikTest
