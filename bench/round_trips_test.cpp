// The library makes the same calls of the server as a front end that is written against COM by hand, operation by
// operation: nothing is asked twice, nothing is asked needlessly, no reference goes back late.

#include <fstream>
#include <functional>
#include <map>
#include <set>
#include <sstream>

#include "appliance_writers.h"
#include "operation_list.h"
#include "raw_client.h"
#include "running_machine.h"
#include "scratch.h"

namespace TravikTest {
namespace {

using RawClient::ComPtr;
using RawClient::require;
using Text = Travik::ComString;
namespace fs = std::filesystem;

/// Counts everything that leaves this process through COM: calls of VirtualBox, and COM's own for references and
/// interfaces.
class MessageCounter : public IChannelHook
{
public:
    MessageCounter() { CoRegisterChannelHook(hookId, this); }

    /// Since the last time.
    unsigned take() { return std::exchange(count_, 0); }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override
    {
        const bool known = id == IID_IUnknown || id == IID_IChannelHook;
        *object = known ? this : nullptr;
        return known ? S_OK : E_NOINTERFACE;
    }
    // There is no way to take a hook back: it lives as long as the process.
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    void STDMETHODCALLTYPE ClientGetSize(REFGUID, REFIID, ULONG* size) override
    {
        *size = 0;
        ++count_;
    }
    void STDMETHODCALLTYPE ClientFillBuffer(REFGUID, REFIID, ULONG* size, void*) override { *size = 0; }
    void STDMETHODCALLTYPE ClientNotify(REFGUID, REFIID, ULONG, void*, DWORD, HRESULT) override {}
    void STDMETHODCALLTYPE ServerNotify(REFGUID, REFIID, ULONG, void*, DWORD) override {}
    void STDMETHODCALLTYPE ServerGetSize(REFGUID, REFIID, HRESULT, ULONG* size) override { *size = 0; }
    void STDMETHODCALLTYPE ServerFillBuffer(REFGUID, REFIID, ULONG* size, void*, HRESULT) override { *size = 0; }

private:
    static constexpr GUID hookId{0x6E0B7C54, 0x2D7A, 0x4F0C, {0x9A, 0x83, 0x5B, 0x1E, 0x4C, 0x2D, 0x9F, 0x20}};
    unsigned count_ = 0;
};

MessageCounter& messages()
{
    static MessageCounter* const counter = new MessageCounter;
    return *counter;
}

/// What one operation sent.
struct Sent
{
    std::vector<std::wstring> calls; // as the stand-in received them
    unsigned messages = 0;

    bool operator==(const Sent&) const = default;
};

std::ostream& operator<<(std::ostream& stream, const Sent& sent)
{
    for (const std::wstring& call : sent.calls)
        stream << utf8(call) << ' ';
    return stream << '(' << sent.messages << " messages)";
}

/// "1 process 7 thread 9 IMachine::put_Name("x") = ..." without all but the name.
std::vector<std::wstring> callsOf(const std::wstring& trace)
{
    std::vector<std::wstring> calls;
    std::wistringstream lines(trace);
    for (std::wstring line; std::getline(lines, line);) {
        std::wistringstream words(line);
        std::wstring word;
        for (int i = 0; i < 6; ++i)
            words >> word;
        calls.push_back(word.substr(0, word.find(L'(')));
    }
    return calls;
}

/// One operation in both arms. Without a name it is a step between the operations, and is not counted.
struct Step
{
    const char* operation;
    std::function<void()> library;
    std::function<void()> raw;
};

/// What the library's arm holds.
struct Handles
{
    VBoxHandle machine = 0, locked = 0, created = 0, clone = 0, opened = 0, progress = 0, console = 0, source = 0;
    VBoxHandle listener = 0, event = 0, typed = 0, audio = 0, nat = 0, adapter = 0, host = 0, medium = 0, current = 0;
    std::vector<VBoxHandle> machines;
};

/// What the raw arm holds.
struct Objects
{
    RawClient::Roots roots;
    ComPtr<IMachine> machine, locked, created, clone, opened;
    ComPtr<IProgress> progress;
    ComPtr<IConsole> console;
    ComPtr<IEventSource> source;
    ComPtr<IEventListener> listener;
    ComPtr<IEvent> event;
    ComPtr<IStateChangedEvent> stateChanged;
    ComPtr<IRuntimeErrorEvent> runtimeError;
    ComPtr<IAudioAdapter> audio;
    ComPtr<INATEngine> nat;
    ComPtr<INetworkAdapter> adapter;
    ComPtr<IHost> host;
    ComPtr<IMedium> medium, current;
    std::vector<ComPtr<IMachine>> machines;
};

/// The raw arm's part where the library does without VirtualBox.
void nothing() {}

constexpr const wchar_t* diskId = L"5d1f4b1e-0000-4000-8000-000000000001";

class RoundTrips : public RunningMachineTest
{
protected:
    void furnish() override
    {
        world().addUsualMachines();
        writeVdi(disk(), diskId);
        ApplianceWriters::OvfParts parts;
        parts.references.clear();
        parts.disks.clear();
        parts.id = "Imported";
        parts.items = ApplianceWriters::item({{"InstanceID", "1"}, {"ResourceType", "3"}, {"VirtualQuantity", "2"}});
        writeFile(appliance(), ApplianceWriters::makeOvf(parts));
    }

    fs::path disk() { return world().folder() / L"disk.vdi"; }
    fs::path appliance() { return world().folder() / L"appliance.ovf"; }

    /// The whole interface in one story, which leaves the world fit for the other arm.
    std::vector<Step> story();

    /// Plays one arm and tells what each operation sent.
    std::map<std::string, Sent> play(const std::vector<Step>& steps, std::function<void()> Step::*arm)
    {
        std::map<std::string, Sent> sent;
        for (const Step& step : steps) {
            const bool counted = step.operation != nullptr;
            if (counted) {
                control().trace(true);
                messages().take();
            }
            try {
                (step.*arm)();
            } catch (const std::exception& error) {
                throw std::runtime_error(std::string(counted ? step.operation : "between") + ": " + error.what());
            }
            if (!counted)
                continue;
            Sent& one = sent[step.operation];
            one.messages = messages().take();
            control().trace(false);
            one.calls = callsOf(control().traceText());
        }
        return sent;
    }

private:
    // The story, subject by subject; each goes on where the one before has ended.
    void withoutVirtualBox();
    void allConverters();
    void virtualBoxItself();
    void machineThatDoesNotRun();
    void settingsOfAMachine();
    void guestProperties();
    void adapters();
    void disks();
    void mediumQueries();
    void machinesThatComeAndGo();
    void appliances();
    void machineThatRuns();
    void consoleOfTheMachine();
    void stateEvents();
    void runtimeErrors();
    void ending();

    void add(const char* operation, std::function<void()> library, std::function<void()> raw)
    {
        steps_.push_back({operation, std::move(library), std::move(raw)});
    }
    void between(std::function<void()> library, std::function<void()> raw)
    {
        steps_.push_back({nullptr, std::move(library), std::move(raw)});
    }
    void between(const std::function<void()>& both) { between(both, both); }

    void sdkDone(SdkErrorCode code) { check(sdk, code); }
    void openAppliance(ComPtr<IAppliance>& opened)
    {
        require(o.roots.virtualBox->CreateAppliance(&opened));
        ComPtr<IProgress> progress;
        require(opened->Read(Text(file()).get(), &progress));
        RawClient::finish(*progress.Get());
        require(opened->Interpret());
    }
    /// Both arms look whether a task is done before they wait for it; a late answer makes it be done.
    void slow(std::uint32_t milliseconds) { control().delay(L"IProgress::get_Completed", milliseconds); }

    std::wstring folder() { return world().machineFolder().wstring(); }
    /// Of a machine that is not registered.
    std::wstring settings()
    {
        return world().writeMachine(L"Fresh", L"3e9c1b52-6f6a-4c0e-9d55-0a1b2c3d4eff").wstring();
    }
    std::wstring image() { return disk().wstring(); }
    std::wstring file() { return appliance().wstring(); }

    std::wstring text;
    std::uint32_t number = 0;
    Handles h;
    Objects o;
    std::vector<Step> steps_;
};

std::vector<Step> RoundTrips::story()
{
    steps_.clear();
    withoutVirtualBox();
    allConverters();
    virtualBoxItself();
    machineThatDoesNotRun();
    settingsOfAMachine();
    guestProperties();
    adapters();
    disks();
    mediumQueries();
    machinesThatComeAndGo();
    appliances();
    machineThatRuns();
    consoleOfTheMachine();
    stateEvents();
    runtimeErrors();
    ending();
    return std::move(steps_);
}

void RoundTrips::withoutVirtualBox()
{
    add(
        "setLogPath", [this] { sdkDone(sdk.setLogPath((scratchFolder() / L"story.txt").wstring())); }, nothing);
    add(
        "renameVmDisk", [this] { sdkDone(sdk.renameVmDisk(image(), image() + L"2")); },
        [this] { fs::rename(image(), image() + L"2"); });
    between([this] { fs::rename(image() + L"2", image()); });
    add(
        "getVBoxError", [this] { sdk.getVBoxError(); }, nothing);
    add(
        "getVBoxErrorMessage", [this] { sdk.getVBoxErrorMessage(); }, nothing);
}

void RoundTrips::allConverters()
{
    using Converter = std::uint32_t (VBoxInstanceImpl::*)(std::uint32_t);
    const std::pair<const char*, Converter> converters[] = {
#define CONVERTER(name) {#name, &VBoxInstanceImpl::name}
        CONVERTER(toSdkMachineState),
        CONVERTER(toVBoxMachineState),
        CONVERTER(toVBoxFlagA),
        CONVERTER(toSdkFlagA),
        CONVERTER(toVBoxKindA),
        CONVERTER(toSdkKindA),
        CONVERTER(toVBoxFlagB),
        CONVERTER(toSdkFlagB),
        CONVERTER(toVBoxParavirtProvider),
        CONVERTER(toSdkParavirtProvider),
        CONVERTER(toVBoxEventType),
        CONVERTER(toSdkEventType),
        CONVERTER(toVBoxKindB),
        CONVERTER(toSdkKindB),
        CONVERTER(toVBoxFlagC),
        CONVERTER(toSdkFlagC),
        CONVERTER(toVBoxSwitch),
        CONVERTER(toSdkSwitch),
        CONVERTER(toHResult),
        CONVERTER(toVBoxResultCode),
        CONVERTER(toVBoxKindC),
        CONVERTER(toSdkKindC)
#undef CONVERTER
    };
    for (const auto& [name, converter] : converters)
        add(
            name, [this, converter = converter] { (sdk.*converter)(1); }, nothing);
}

void RoundTrips::virtualBoxItself()
{
    add(
        "initComComponent", [this] { sdkDone(sdk.initComComponent()); }, [this] { o.roots.create(); });
    add(
        "resetComComponent", [this] { sdkDone(sdk.resetComComponent()); },
        [this] {
            o.roots.release();
            o.roots.create();
        });
    add(
        "createVmName", [this] { sdkDone(sdk.createVmName(L"Free", &text)); },
        [this] {
            for (int i = 1; i < 100; ++i) {
                Text path;
                require(o.roots.virtualBox->ComposeMachineFilename(Text(L"Free_" + std::to_wstring(i)).get(), nullptr,
                                                                   nullptr, nullptr, path.put()));
                if (!fs::exists(path.str()))
                    break;
            }
        });
    add(
        "composeMachineFilename", [this] { sdkDone(sdk.composeMachineFilename(L"New", &text)); },
        [this] {
            Text path;
            require(
                o.roots.virtualBox->ComposeMachineFilename(Text(L"New").get(), nullptr, nullptr, nullptr, path.put()));
        });
    add(
        "getDefaultMachineFolder", [this] { sdkDone(sdk.getDefaultMachineFolder(&text)); },
        [this] {
            ComPtr<ISystemProperties> properties;
            require(o.roots.virtualBox->get_SystemProperties(&properties));
            Text path;
            require(properties->get_DefaultMachineFolder(path.put()));
        });
    add(
        "setDefaultMachineFolder", [this] { sdkDone(sdk.setDefaultMachineFolder(folder())); },
        [this] {
            ComPtr<ISystemProperties> properties;
            require(o.roots.virtualBox->get_SystemProperties(&properties));
            require(properties->put_DefaultMachineFolder(Text(folder()).get()));
        });
    add(
        "getHost", [this] { sdkDone(sdk.getHost(&h.host)); },
        [this] { require(o.roots.virtualBox->get_Host(&o.host)); });
    add(
        "hostGetProcessorFeature", [this] { sdkDone(sdk.hostGetProcessorFeature(h.host, 0, &number)); },
        [this] {
            BOOL supported = FALSE;
            require(o.host->GetProcessorFeature(0, &supported));
        });
    add(
        "releaseHost", [this] { sdkDone(sdk.releaseHost(h.host)); }, [this] { o.host.Reset(); });
    add(
        "listVms", [this] { sdkDone(sdk.listVms(&h.machines)); },
        [this] { o.machines = RawClient::machinesOf(*o.roots.virtualBox.Get()); });
    between([this] {
        for (VBoxHandle machine : h.machines)
            sdk.releaseMachine(machine);
        o.machines.clear();
    });
}

void RoundTrips::machineThatDoesNotRun()
{
    add(
        "openMachine", [this] { sdkDone(sdk.openMachine(settings(), &h.opened)); },
        [this] { require(o.roots.virtualBox->OpenMachine(Text(settings()).get(), &o.opened)); });
    add(
        "releaseMachine", [this] { sdkDone(sdk.releaseMachine(h.opened)); }, [this] { o.opened.Reset(); });
    add(
        "findMachine", [this] { sdkDone(sdk.findMachine(Machines::player, &h.machine)); },
        [this] { require(o.roots.virtualBox->FindMachine(Text(Machines::player).get(), &o.machine)); });
    add(
        "getVmName", [this] { sdkDone(sdk.getVmName(h.machine, &text)); },
        [this] {
            Text name;
            require(o.machine->get_Name(name.put()));
        });
    add(
        "getVmUUID", [this] { sdkDone(sdk.getVmUUID(h.machine, &text)); },
        [this] {
            Text id;
            require(o.machine->get_Id(id.put()));
        });
    add(
        "machineGetState", [this] { sdkDone(sdk.machineGetState(h.machine, &number)); },
        [this] {
            ULONG state = 0;
            require(o.machine->get_State(&state));
        });
    add(
        "setMachineExtraData", [this] { sdkDone(sdk.setMachineExtraData(h.machine, L"key", L"value")); },
        [this] { require(o.machine->SetExtraData(Text(L"key").get(), Text(L"value").get())); });
    add(
        "getMachineExtraData", [this] { sdkDone(sdk.getMachineExtraData(h.machine, L"key", &text)); },
        [this] {
            Text value;
            require(o.machine->GetExtraData(Text(L"key").get(), value.put()));
        });
}

void RoundTrips::settingsOfAMachine()
{
    add(
        "lockMachine", [this] { sdkDone(sdk.lockMachine(h.machine, LockType::Write)); },
        [this] { require(o.machine->LockMachine(o.roots.session.Get(), LockType::Write)); });
    add(
        "createMutableMachine", [this] { sdkDone(sdk.createMutableMachine(h.machine, &h.locked)); },
        [this] { require(o.roots.session->get_Machine(&o.locked)); });
    add(
        "setMachineCPUCount", [this] { sdkDone(sdk.setMachineCPUCount(h.locked, 2)); },
        [this] { require(o.locked->put_CPUCount(2)); });
    add(
        "setMachineMemory", [this] { sdkDone(sdk.setMachineMemory(h.locked, 512)); },
        [this] { require(o.locked->put_MemorySize(512)); });
    add(
        "setMachineParavirtProvider", [this] { sdkDone(sdk.setMachineParavirtProvider(h.locked, 1)); },
        [this] { require(o.locked->put_ParavirtProvider(1)); });
    add(
        "setVmName", [this] { sdkDone(sdk.setVmName(h.locked, Machines::player)); },
        [this] { require(o.locked->put_Name(Text(Machines::player).get())); });
    add(
        "machineCreateSharedFolder", [this] { sdkDone(sdk.machineCreateSharedFolder(h.locked, L"s", folder(), 1, 0)); },
        [this] {
            require(o.locked->CreateSharedFolder(Text(L"s").get(), Text(folder()).get(), TRUE, FALSE, nullptr));
        });
    add(
        "machineRemoveSharedFolder", [this] { sdkDone(sdk.machineRemoveSharedFolder(h.locked, L"s")); },
        [this] { require(o.locked->RemoveSharedFolder(Text(L"s").get())); });
}

void RoundTrips::guestProperties()
{
    add(
        "setGuestProperty", [this] { sdkDone(sdk.setGuestProperty(h.locked, L"/p", L"v", L"")); },
        [this] { require(o.locked->SetGuestProperty(Text(L"/p").get(), Text(L"v").get(), Text(L"").get())); });
    add(
        "getGuestProperty",
        [this] {
            std::int64_t time = 0;
            std::wstring flags;
            sdkDone(sdk.getGuestProperty(h.locked, L"/p", &text, &time, &flags));
        },
        [this] {
            Text value, flags;
            LONG64 time = 0;
            require(o.locked->GetGuestProperty(Text(L"/p").get(), value.put(), &time, flags.put()));
        });
    add(
        "deleteGuestProperty", [this] { sdkDone(sdk.deleteGuestProperty(h.locked, L"/p")); },
        [this] { require(o.locked->DeleteGuestProperty(Text(L"/p").get())); });
}

void RoundTrips::adapters()
{
    add(
        "getNetworkAdapter", [this] { sdkDone(sdk.getNetworkAdapter(h.locked, 0, &h.adapter)); },
        [this] { require(o.locked->GetNetworkAdapter(0, &o.adapter)); });
    add(
        "getNATEngine", [this] { sdkDone(sdk.getNATEngine(h.adapter, &h.nat)); },
        [this] { require(o.adapter->get_NATEngine(&o.nat)); });
    add(
        "addRedirect", [this] { sdkDone(sdk.addRedirect(h.nat, L"r", NATProtocol::TCP, L"", 5000, L"", 22)); },
        [this] {
            require(o.nat->AddRedirect(Text(L"r").get(), NATProtocol::TCP, Text(L"").get(), 5000, Text(L"").get(), 22));
        });
    add(
        "getRedirects",
        [this] {
            std::list<std::wstring> rules;
            sdkDone(sdk.getRedirects(h.nat, &rules));
        },
        [this] {
            Travik::ComArray rules;
            require(o.nat->get_Redirects(rules.put()));
        });
    add(
        "removeRedirect", [this] { sdkDone(sdk.removeRedirect(h.nat, L"r")); },
        [this] { require(o.nat->RemoveRedirect(Text(L"r").get())); });
    add(
        "releaseNATEngine", [this] { sdkDone(sdk.releaseNATEngine(h.nat)); }, [this] { o.nat.Reset(); });
    add(
        "releaseNetworkAdapter", [this] { sdkDone(sdk.releaseNetworkAdapter(h.adapter)); },
        [this] { o.adapter.Reset(); });
    add(
        "getAudioAdapter", [this] { sdkDone(sdk.getAudioAdapter(h.locked, &h.audio)); },
        [this] { require(o.locked->get_AudioAdapter(&o.audio)); });
    add(
        "setAudioAdapterEnabled", [this] { sdkDone(sdk.setAudioAdapterEnabled(h.audio, 1)); },
        [this] { require(o.audio->put_Enabled(TRUE)); });
    add(
        "releaseAudioAdapter", [this] { sdkDone(sdk.releaseAudioAdapter(h.audio)); }, [this] { o.audio.Reset(); });
}

void RoundTrips::disks()
{
    add(
        "openMedium", [this] { sdkDone(sdk.openMedium(image(), false, &h.medium)); },
        [this] {
            require(o.roots.virtualBox->OpenMedium(Text(image()).get(), Travik::DeviceType::HardDisk,
                                                   Travik::AccessMode::ReadWrite, FALSE, &o.medium));
        });
    add(
        "getMachineStorageControllerPortCount",
        [this] { sdkDone(sdk.getMachineStorageControllerPortCount(h.locked, L"SATA", &number)); },
        [this] {
            ComPtr<IStorageController> controller;
            require(o.locked->GetStorageControllerByName(Text(L"SATA").get(), &controller));
            ULONG count = 0;
            require(controller->get_PortCount(&count));
        });
    add(
        "attachMedium", [this] { sdkDone(sdk.attachMedium(h.locked, h.medium, L"SATA", 0, 0)); },
        [this] {
            const Text name(L"SATA");
            require(o.locked->AttachDevice(name.get(), 0, 0, Travik::DeviceType::HardDisk, o.medium.Get()));
            require(o.locked->SetAutoDiscardForDevice(name.get(), 0, 0, TRUE));
            require(o.locked->NonRotationalDevice(name.get(), 0, 0, TRUE));
        });
    add(
        "getCurrentMedium", [this] { sdkDone(sdk.getCurrentMedium(h.locked, L"SATA", 0, 0, &h.current)); },
        [this] { require(o.locked->GetMedium(Text(L"SATA").get(), 0, 0, &o.current)); });
    add(
        "releaseMedium", [this] { sdkDone(sdk.releaseMedium(h.current)); }, [this] { o.current.Reset(); });
    add(
        "detachMedium", [this] { sdkDone(sdk.detachMedium(h.locked, L"SATA", 0, 0)); },
        [this] { require(o.locked->DetachDevice(Text(L"SATA").get(), 0, 0)); });
    add(
        "saveSettings", [this] { sdkDone(sdk.saveSettings(h.locked)); }, [this] { require(o.locked->SaveSettings()); });
}

void RoundTrips::mediumQueries()
{
    add(
        "getMediumLocation", [this] { sdkDone(sdk.getMediumLocation(h.medium, &text)); },
        [this] {
            Text path;
            require(o.medium->get_Location(path.put()));
        });
    add(
        "getMediumState", [this] { sdkDone(sdk.getMediumState(h.medium, &number)); },
        [this] {
            ULONG state = 0;
            require(o.medium->RefreshState(&state));
        });
    add(
        "getMediumUUID", [this] { sdkDone(sdk.getMediumUUID(h.medium, &text)); },
        [this] {
            Text id;
            require(o.medium->get_Id(id.put()));
        });
    add(
        "getMediumLastAccessError", [this] { sdkDone(sdk.getMediumLastAccessError(h.medium, &text)); },
        [this] {
            Text error;
            require(o.medium->get_LastAccessError(error.put()));
        });
    add(
        "deleteMedium", [this] { sdkDone(sdk.deleteMedium(h.medium)); },
        [this] {
            Text path;
            require(o.medium->get_Location(path.put()));
            fs::remove(path.str());
        });
    add(
        "closeMedium", [this] { sdkDone(sdk.closeMedium(h.medium)); }, [this] { require(o.medium->Close()); });
    add(
        "unlockMachine", [this] { sdkDone(sdk.unlockMachine()); },
        [this] { require(o.roots.session->UnlockMachine()); });
    between([this] {
        sdk.releaseMachine(h.locked);
        sdk.releaseMedium(h.medium);
        o.locked.Reset();
        o.medium.Reset();
    });
}

void RoundTrips::machinesThatComeAndGo()
{
    add(
        "createMachine", [this] { sdkDone(sdk.createMachine(L"", L"Created", &h.created)); },
        [this] {
            require(o.roots.virtualBox->CreateMachine(Text(L"").get(), Text(L"Created").get(), nullptr, nullptr,
                                                      nullptr, &o.created));
        });
    between([this] { slow(1'500); });
    add(
        "cloneToMachine", [this] { sdkDone(sdk.cloneToMachine(h.machine, h.created)); },
        [this] {
            ComPtr<IProgress> progress;
            require(o.machine->CloneTo(o.created.Get(), Travik::CloneMode::AllStates, nullptr, &progress));
            RawClient::finish(*progress.Get());
        });
    add(
        "registerMachine", [this] { sdkDone(sdk.registerMachine(h.created)); },
        [this] { require(o.roots.virtualBox->RegisterMachine(o.created.Get())); });
    add(
        "deleteMachine", [this] { sdkDone(sdk.deleteMachine(h.created)); },
        [this] {
            Travik::ComArray media;
            require(o.created->Unregister(Travik::CleanupMode::DetachAllReturnHardDisksOnly, media.put()));
            ComPtr<IProgress> progress;
            require(o.created->DeleteConfig(media.get(), &progress));
            RawClient::finish(*progress.Get());
        });
}

void RoundTrips::appliances()
{
    add(
        "getImportOvaVmName", [this] { sdkDone(sdk.getImportOvaVmName(file(), &text)); },
        [this] {
            ComPtr<IAppliance> opened;
            openAppliance(opened);
            Travik::ComArray systems;
            require(opened->get_VirtualSystemDescriptions(systems.put()));
            const auto all = Travik::toObjects<IVirtualSystemDescription>(systems.get());
            Travik::ComArray values;
            require(all.at(0)->GetValuesByType(Travik::VirtualSystemDescriptionType::Name,
                                               Travik::VirtualSystemDescriptionValueType::Auto, values.put()));
        });
    add(
        "importOva", [this] { sdkDone(sdk.importOva(file())); },
        [this] {
            ComPtr<IAppliance> opened;
            openAppliance(opened);
            const Travik::ComArray options(Travik::toNumberArray({Travik::ImportOptions::ImportToVDI}));
            ComPtr<IProgress> progress;
            require(opened->ImportMachines(options.get(), &progress));
            RawClient::finish(*progress.Get());
        });
    between([this] { slow(0); });
}

void RoundTrips::machineThatRuns()
{
    add(
        "launchVMProcess", [this] { sdkDone(sdk.launchVMProcess(h.machine, L"headless", {L"A=b"}, &h.progress)); },
        [this] {
            const Travik::ComArray environment(Travik::toTextArray({L"A=b"}));
            require(o.machine->LaunchVMProcess(o.roots.session.Get(), Text(L"headless").get(), environment.get(),
                                               &o.progress));
        });
    add(
        "progressWaitForCompletion", [this] { sdkDone(sdk.progressWaitForCompletion(h.progress, -1)); },
        [this] { require(o.progress->WaitForCompletion(-1)); });
    add(
        "getProgressCompleted", [this] { sdkDone(sdk.getProgressCompleted(h.progress, &number)); },
        [this] {
            BOOL completed = FALSE;
            require(o.progress->get_Completed(&completed));
        });
    add(
        "getProgressResultCode",
        [this] {
            std::int32_t result = 0;
            sdkDone(sdk.getProgressResultCode(h.progress, &result));
        },
        [this] {
            LONG result = 0;
            require(o.progress->get_ResultCode(&result));
        });
    add(
        "getProgressErrorInfo", [this] { sdkDone(sdk.getProgressErrorInfo(h.progress, &text)); },
        [this] {
            ComPtr<IVirtualBoxErrorInfo> info;
            require(o.progress->get_ErrorInfo(&info));
            if (info) {
                Text description;
                require(info->get_Text(description.put()));
            }
        });
    add(
        "releaseProgress", [this] { sdkDone(sdk.releaseProgress(h.progress)); }, [this] { o.progress.Reset(); });
}

void RoundTrips::consoleOfTheMachine()
{
    add(
        "getConsole", [this] { sdkDone(sdk.getConsole(&h.console)); },
        [this] { require(o.roots.session->get_Console(&o.console)); });
    add(
        "consoleGetState", [this] { sdkDone(sdk.consoleGetState(h.console, &number)); },
        [this] {
            ULONG state = 0;
            require(o.console->get_State(&state));
        });
    add(
        "consoleCreateSharedFolder",
        [this] { sdkDone(sdk.consoleCreateSharedFolder(h.console, L"t", folder(), 0, 0)); },
        [this] {
            require(o.console->CreateSharedFolder(Text(L"t").get(), Text(folder()).get(), FALSE, FALSE, nullptr));
        });
    add(
        "consoleRemoveSharedFolder", [this] { sdkDone(sdk.consoleRemoveSharedFolder(h.console, L"t")); },
        [this] { require(o.console->RemoveSharedFolder(Text(L"t").get())); });
}

void RoundTrips::stateEvents()
{
    add(
        "getEventSource", [this] { sdkDone(sdk.getEventSource(h.console, &h.source)); },
        [this] { require(o.console->get_EventSource(&o.source)); });
    add(
        "eventSourceCreateListener", [this] { sdkDone(sdk.eventSourceCreateListener(h.source, &h.listener)); },
        [this] { require(o.source->CreateListener(&o.listener)); });
    add(
        "eventSourceRegisterListener",
        [this] {
            sdkDone(sdk.eventSourceRegisterListener(h.source, h.listener,
                                                    {VBoxEventType::OnStateChanged, VBoxEventType::OnRuntimeError}, 0));
        },
        [this] {
            const Travik::ComArray types(
                Travik::toNumberArray({VBoxEventType::OnStateChanged, VBoxEventType::OnRuntimeError}));
            require(o.source->RegisterListener(o.listener.Get(), types.get(), FALSE));
        });
    between([this] { control().pause(Machines::player); });
    add(
        "eventSourceGetEvent", [this] { sdkDone(sdk.eventSourceGetEvent(h.source, h.listener, 5'000, &h.event)); },
        [this] { require(o.source->GetEvent(o.listener.Get(), 5'000, &o.event)); });
    add(
        "eventSourceEventGetType", [this] { sdkDone(sdk.eventSourceEventGetType(h.event, &number)); },
        [this] {
            ULONG type = 0;
            require(o.event->get_Type(&type));
        });
    add(
        "getEventSourceStateChangedEvent", [this] { sdkDone(sdk.getEventSourceStateChangedEvent(h.event, &h.typed)); },
        [this] { require(o.event.As(&o.stateChanged)); });
    add(
        "eventSourceStateChangedEventGetState",
        [this] { sdkDone(sdk.eventSourceStateChangedEventGetState(h.typed, &number)); },
        [this] {
            ULONG state = 0;
            require(o.stateChanged->get_State(&state));
        });
    add(
        "releaseStateChangedEvent", [this] { sdkDone(sdk.releaseStateChangedEvent(h.typed)); },
        [this] { o.stateChanged.Reset(); });
    add(
        "eventSourceEventProcessed", [this] { sdkDone(sdk.eventSourceEventProcessed(h.source, h.listener, h.event)); },
        [this] { require(o.source->EventProcessed(o.listener.Get(), o.event.Get())); });
    add(
        "eventSourceReleaseEvent", [this] { sdkDone(sdk.eventSourceReleaseEvent(h.event)); },
        [this] { o.event.Reset(); });
    add(
        "consoleResume", [this] { sdkDone(sdk.consoleResume(h.console)); }, [this] { require(o.console->Resume()); });
}

void RoundTrips::runtimeErrors()
{
    between([this] { control().runtimeError(Machines::player, false, L"HostMemoryLow", L"low"); });
    // The resumed machine's event comes first.
    between(
        [this] {
            sdkDone(sdk.eventSourceGetEvent(h.source, h.listener, 5'000, &h.event));
            sdkDone(sdk.eventSourceEventProcessed(h.source, h.listener, h.event));
            sdkDone(sdk.eventSourceReleaseEvent(h.event));
            sdkDone(sdk.eventSourceGetEvent(h.source, h.listener, 5'000, &h.event));
        },
        [this] {
            require(o.source->GetEvent(o.listener.Get(), 5'000, &o.event));
            require(o.source->EventProcessed(o.listener.Get(), o.event.Get()));
            require(o.source->GetEvent(o.listener.Get(), 5'000, o.event.ReleaseAndGetAddressOf()));
        });
    add(
        "getEventSourceRuntimeErrorEvent", [this] { sdkDone(sdk.getEventSourceRuntimeErrorEvent(h.event, &h.typed)); },
        [this] { require(o.event.As(&o.runtimeError)); });
    add(
        "eventSourceRuntimeErrorEventGetFatal",
        [this] {
            std::int32_t fatal = 0;
            sdkDone(sdk.eventSourceRuntimeErrorEventGetFatal(h.typed, &fatal));
        },
        [this] {
            BOOL fatal = FALSE;
            require(o.runtimeError->get_Fatal(&fatal));
        });
    add(
        "eventSourceRuntimeErrorEventGetId", [this] { sdkDone(sdk.eventSourceRuntimeErrorEventGetId(h.typed, &text)); },
        [this] {
            Text id;
            require(o.runtimeError->get_Id(id.put()));
        });
    add(
        "eventSourceRuntimeErrorEventGetMessage",
        [this] { sdkDone(sdk.eventSourceRuntimeErrorEventGetMessage(h.typed, &text)); },
        [this] {
            Text message;
            require(o.runtimeError->get_Message(message.put()));
        });
    add(
        "releaseRuntimeErrorEvent", [this] { sdkDone(sdk.releaseRuntimeErrorEvent(h.typed)); },
        [this] { o.runtimeError.Reset(); });
    add(
        "releaseEvent", [this] { sdkDone(sdk.releaseEvent(h.event)); }, [this] { o.event.Reset(); });
}

void RoundTrips::ending()
{
    add(
        "eventSourceUnregisterListener", [this] { sdkDone(sdk.eventSourceUnregisterListener(h.source, h.listener)); },
        [this] {
            require(o.source->UnregisterListener(o.listener.Get()));
            o.source.Reset();
            o.listener.Reset();
        });
    between(
        [this] {
            sdkDone(sdk.getEventSource(h.console, &h.source));
            sdkDone(sdk.eventSourceCreateListener(h.source, &h.listener));
        },
        [this] {
            require(o.console->get_EventSource(&o.source));
            require(o.source->CreateListener(&o.listener));
        });
    add(
        "releaseEventListener", [this] { sdkDone(sdk.releaseEventListener(h.listener)); },
        [this] { o.listener.Reset(); });
    add(
        "releaseEventSource", [this] { sdkDone(sdk.releaseEventSource(h.source)); }, [this] { o.source.Reset(); });
    add(
        "powerDown", [this] { sdkDone(sdk.powerDown(h.console, &h.progress)); },
        [this] { require(o.console->PowerDown(&o.progress)); });
    between([this] { sdkDone(sdk.progressWaitForCompletion(h.progress, -1)); },
            [this] { require(o.progress->WaitForCompletion(-1)); });
    add(
        "releaseConsole", [this] { sdkDone(sdk.releaseConsole(h.console)); }, [this] { o.console.Reset(); });
    add(
        "releaseRC", [this] { sdkDone(sdk.releaseRC()); },
        [this] {
            o.machine.Reset();
            o.created.Reset();
            o.progress.Reset();
            o.roots.release();
        });
}

/// For the document of what the library costs.
void writeTable(const std::map<std::string, Sent>& library, const std::map<std::string, Sent>& raw)
{
    std::ofstream json(scratchFolder() / L"round_trips.json", std::ios::binary);
    const char* separator = "[\n";
    for (const auto& [operation, sent] : library) {
        const Sent& other = raw.at(operation);
        json << separator << R"({"operation": ")" << operation << R"(", "calls": )" << sent.calls.size()
             << R"(, "raw_calls": )" << other.calls.size() << R"(, "messages": )" << sent.messages
             << R"(, "raw_messages": )" << other.messages << '}';
        separator = ",\n";
    }
    json << "\n]\n";
}

TEST_F(RoundTrips, AreThoseOfAClientWrittenAgainstComByHand)
{
    const std::map<std::string, Sent> library = play(story(), &Step::library);
    restartServer();
    writeVdi(disk(), diskId); // the story deletes it
    const std::map<std::string, Sent> raw = play(story(), &Step::raw);
    sdk.setLogPath((scratchFolder() / L"log.txt").wstring());

    const std::set<std::string> all = {
#define OPERATION(name) #name,
        FOR_EACH_OPERATION(OPERATION)
#undef OPERATION
    };
    for (const std::string& operation : all) {
        ASSERT_TRUE(library.count(operation) == 1)
            << operation << " is missing in the story: bench/round_trips_test.cpp";
        EXPECT_EQ(library.at(operation), raw.at(operation)) << operation;
    }
    EXPECT_EQ(library.size(), all.size());
    EXPECT_EQ(library.at("machineGetState").calls, std::vector<std::wstring>{L"IMachine::get_State"});
    EXPECT_EQ(library.at("machineGetState").messages, 1u);
    writeTable(library, raw);
}

} // namespace
} // namespace TravikTest
