#pragma once

#include <functional>
#include <vector>

#include "harness/running_machine.h"
#include "harness/settings_text.h"

namespace TravikTest {

namespace fs = std::filesystem;

inline constexpr const wchar_t* diskId = L"5d1f4b1e-0000-4000-8000-000000000001";
inline constexpr const wchar_t* looseId = L"5d1f4b1e-0000-4000-8000-000000000002";
inline constexpr const wchar_t* diskful = L"Diskful";
inline constexpr VBoxHandle untouched = 77'777;
inline constexpr milliseconds bounded(10'000);
inline constexpr std::uint32_t slowness = 250; // milliseconds

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
using Invoke = std::function<SdkErrorCode(FaultMatrix&)>;

/// One call in one operation.
struct Fault
{
    const char* operation;
    Scene scene;
    const wchar_t* call;
    std::uint32_t code;
    Absence absence;
    Invoke invoke;
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
        outputs = {};
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
        if (outputs.handle == untouched && outputs.text == L"as it was")
            return testing::AssertionSuccess();
        return testing::AssertionFailure()
               << "wrote the handle " << outputs.handle << ", the text \"" << utf8(outputs.text) << "\"";
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

    struct Outputs
    {
        VBoxHandle handle = untouched;
        std::uint32_t number = 0;
        std::int32_t signedNumber = 0;
        std::wstring text = L"as it was";
        std::list<std::wstring> rules;
        std::vector<VBoxHandle> machines;
    } outputs;
    VBoxHandle machine = 0, worker = 0, diskMachine = 0, medium = 0, host = 0, mutableMachine = 0, adapter = 0, nat = 0,
               audio = 0, console = 0, source = 0, listener = 0, event = 0, stateChanged = 0, runtimeError = 0,
               progress = 0;
};

using Slots = FaultMatrix;

/// A call that an operation makes, as in Fault.
struct FaultyCall
{
    const wchar_t* call;
    std::uint32_t code;
    Absence absence;
    std::uint32_t otherCode = 0;
    const wchar_t* unanswered = nullptr;
};

/// The faults of one operation, call by call.
inline void add(std::vector<Fault>& faults, const char* operation, Scene scene, const Invoke& invoke,
                const std::vector<FaultyCall>& calls)
{
    for (const FaultyCall& call : calls)
        faults.push_back(
            {operation, scene, call.call, call.code, call.absence, invoke, call.otherCode, call.unanswered});
}

SdkErrorCode clone(Slots& slots);

// The faults by subject.
std::vector<Fault> machineFaults();
std::vector<Fault> mediumFaults();
std::vector<Fault> deviceFaults();
std::vector<Fault> runningFaults();

} // namespace TravikTest
