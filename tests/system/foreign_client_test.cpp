// What a client of VirtualBox that is not this library asks of it.

#include <comdef.h>
#include <wrl/client.h>

#include <functional>
#include <thread>

#include "harness/settings_text.h"
#include "harness/system_test.h"
#include "scratch.h"

namespace TravikTest {
namespace {

using Microsoft::WRL::ComPtr;

class ForeignClient : public SystemTest
{
protected:
    void SetUp() override
    {
        SystemTest::SetUp();
        if (HasFatalFailure())
            return;
        ASSERT_GE(CoInitialize(nullptr), 0);
        ASSERT_EQ(CoCreateInstance(CLSID_VirtualBox, nullptr, CLSCTX_LOCAL_SERVER, IID_PPV_ARGS(&virtualBox_)), S_OK);
    }

    void TearDown() override
    {
        virtualBox_.Reset();
        CoUninitialize();
        SystemTest::TearDown();
    }

    HRESULT findMachine(const std::wstring& text, ComPtr<IMachine>& machine)
    {
        return virtualBox_->FindMachine(_bstr_t(text.c_str()), machine.ReleaseAndGetAddressOf());
    }

    static ComPtr<ISession> newSession()
    {
        ComPtr<ISession> session;
        EXPECT_EQ(CoCreateInstance(CLSID_Session, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&session)), S_OK);
        return session;
    }

    /// The machine of a session that locks it for writing.
    ComPtr<IMachine> locked(const ComPtr<ISession>& session, const std::wstring& name)
    {
        ComPtr<IMachine> registered, machine;
        EXPECT_EQ(findMachine(name, registered), S_OK);
        EXPECT_EQ(registered->LockMachine(session.Get(), LockType::Write), S_OK);
        EXPECT_EQ(session->get_Machine(&machine), S_OK);
        return machine;
    }

    /// What an array of objects or texts is that lost its features on its way: numbers of a pointer's size.
    static SAFEARRAY* arrayOfUnknownKind()
    {
        SAFEARRAY* array = nullptr;
        EXPECT_EQ(SafeArrayAllocDescriptor(1, &array), S_OK);
        array->cbElements = sizeof(ULONG64);
        array->rgsabound[0].cElements = 2;
        EXPECT_EQ(SafeArrayAllocData(array), S_OK);
        auto* addresses = static_cast<ULONG64*>(array->pvData);
        addresses[0] = 0x10;
        addresses[1] = reinterpret_cast<ULONG_PTR>(array);
        return array;
    }

    /// Taken for empty, such an array would change what the call does; taken for pointers, it would end the server.
    void expectArraysOfUnknownKindToBeRefused()
    {
        SAFEARRAY* array = arrayOfUnknownKind();
        ComPtr<IMachine> machine, made;
        ASSERT_EQ(findMachine(Machines::worker, machine), S_OK);
        SAFEARRAY *states = nullptr, *none = nullptr;
        EXPECT_EQ(virtualBox_->GetMachineStates(array, &states), E_INVALIDARG);
        EXPECT_EQ(virtualBox_->CreateMachine(nullptr, _bstr_t(L"Grouped"), array, _bstr_t(L"Linux"), nullptr, &made),
                  E_INVALIDARG);
        ASSERT_EQ(machine->Unregister(1, &none), S_OK);
        SafeArrayDestroy(none);
        ComPtr<IProgress> progress;
        EXPECT_EQ(machine->DeleteConfig(array, &progress), E_INVALIDARG);
        SafeArrayDestroy(array);
        BSTR file = nullptr;
        ASSERT_EQ(machine->get_SettingsFilePath(&file), S_OK) << "the server ended";
        EXPECT_TRUE(std::filesystem::exists(taken(file)));
    }

    static std::wstring taken(BSTR text) { return std::wstring(_bstr_t(text, false)); }

    ComPtr<IVirtualBox> virtualBox_;
};

TEST_F(ForeignClient, LearnsWhichReleaseItMet)
{
    control().scenario(LR"({"version": "6.1.40"})");
    LONG64 revision = 0;
    EXPECT_EQ(virtualBox_->get_APIRevision(&revision), S_OK);
    EXPECT_EQ(revision, 0x0601280000000001);
    ULONG sources = 0;
    EXPECT_EQ(virtualBox_->get_Revision(&sources), S_OK);
    EXPECT_EQ(sources, 154048u);
}

TEST_F(ForeignClient, FindsAMachineByItsSettingsFile)
{
    std::wstring path = world().machineFile(Machines::player).wstring();
    ComPtr<IMachine> machine;
    ASSERT_EQ(findMachine(path, machine), S_OK);
    BSTR id = nullptr;
    EXPECT_EQ(machine->get_Id(&id), S_OK);
    EXPECT_EQ(taken(id), Machines::playerId);
    for (wchar_t& c : path)
        c = c == L'\\' ? L'/' : static_cast<wchar_t>(towupper(c));
    EXPECT_EQ(findMachine(path, machine), S_OK) << "in any case, with either slash";
    EXPECT_EQ(static_cast<std::uint32_t>(findMachine(L"Player.vbox", machine)), Result::ObjectNotFound)
        << "only the whole path";
    EXPECT_FALSE(machine);
}

TEST_F(ForeignClient, MeetsAllGuestOsTypes)
{
    SAFEARRAY* types = nullptr;
    ASSERT_EQ(virtualBox_->get_GuestOSTypes(&types), S_OK);
    EXPECT_EQ(types->rgsabound[0].cElements, 97u);
    SafeArrayDestroy(types);

    ComPtr<IGuestOSType> type;
    ASSERT_EQ(virtualBox_->GetGuestOSType(_bstr_t(L"windows7_64"), &type), S_OK) << "in any case";
    BSTR id = nullptr;
    EXPECT_EQ(type->get_Id(&id), S_OK);
    EXPECT_EQ(taken(id), L"Windows7_64");
    ULONG video = 0, bus = 0;
    EXPECT_EQ(type->get_RecommendedVRAM(&video), S_OK);
    EXPECT_EQ(type->get_RecommendedHDStorageBus(&bus), S_OK);
    EXPECT_EQ(video, 16u);
    EXPECT_EQ(bus, 2u) << "SATA";
}

// A place that keeps what stood there before would be released or freed by the caller.
TEST_F(ForeignClient, GetsNothingFromWhatIsNotImplemented)
{
    auto* rubbish = reinterpret_cast<IDispatch*>(0x1234);
    IDispatch* collector = rubbish;
    EXPECT_EQ(virtualBox_->get_PerformanceCollector(&collector), E_NOTIMPL);
    EXPECT_EQ(collector, nullptr);
    SAFEARRAY* groups = reinterpret_cast<SAFEARRAY*>(rubbish);
    EXPECT_EQ(virtualBox_->get_CloudNetworks(&groups), E_NOTIMPL);
    EXPECT_EQ(groups, nullptr);
}

TEST_F(ForeignClient, IsToldWhichInterfacesExplainTheirErrors)
{
    const ComPtr<ISession> session = newSession();
    ComPtr<ISupportErrorInfo> errors;
    ASSERT_EQ(session.As(&errors), S_OK);
    EXPECT_EQ(errors->InterfaceSupportsErrorInfo(__uuidof(ISession)), S_OK);
    EXPECT_EQ(errors->InterfaceSupportsErrorInfo(IID_IDispatch), S_OK);
    EXPECT_EQ(errors->InterfaceSupportsErrorInfo(IID_IUnknown), S_FALSE);
    EXPECT_EQ(errors->InterfaceSupportsErrorInfo(__uuidof(IMachine)), S_FALSE);
    ASSERT_EQ(virtualBox_.As(&errors), S_OK);
    EXPECT_EQ(errors->InterfaceSupportsErrorInfo(__uuidof(IVirtualBox)), S_OK);
    EXPECT_EQ(errors->InterfaceSupportsErrorInfo(__uuidof(ISession)), S_FALSE);
}

/// What a passive listener meets.
class ForeignListener : public ForeignClient
{
protected:
    void SetUp() override
    {
        ForeignClient::SetUp();
        if (HasFatalFailure())
            return;
        ComPtr<IEventSource> source;
        ASSERT_EQ(virtualBox_->get_EventSource(&source), S_OK);
        listenTo(source, {VBoxEventType::Any});
    }

    void TearDown() override
    {
        if (source_) {
            EXPECT_EQ(source_->UnregisterListener(listener_.Get()), S_OK);
        }
        listener_.Reset();
        source_.Reset();
        ForeignClient::TearDown();
    }

    void listenTo(const ComPtr<IEventSource>& source, const std::vector<LONG>& types)
    {
        if (source_) {
            ASSERT_EQ(source_->UnregisterListener(listener_.Get()), S_OK);
        }
        source_ = source;
        ASSERT_EQ(source_->CreateListener(listener_.ReleaseAndGetAddressOf()), S_OK);
        SAFEARRAY* array = SafeArrayCreateVector(VT_I4, 0, static_cast<ULONG>(types.size()));
        std::copy(types.begin(), types.end(), static_cast<LONG*>(array->pvData));
        ASSERT_EQ(source_->RegisterListener(listener_.Get(), array, FALSE), S_OK);
        SafeArrayDestroy(array);
    }

    /// The next event that has this interface.
    template <class Interface>
    ComPtr<Interface> next(const std::function<void(Interface&)>& answer = [](Interface&) {})
    {
        ComPtr<Interface> wanted;
        ComPtr<IEvent> event;
        while (!wanted && source_->GetEvent(listener_.Get(), 5000, &event) == S_OK && event) {
            event.As(&wanted);
            if (wanted)
                answer(*wanted.Get());
            source_->EventProcessed(listener_.Get(), event.Get());
        }
        return wanted;
    }

    template <class Interface, class Declaring>
    static std::wstring text(const ComPtr<Interface>& event, HRESULT (STDMETHODCALLTYPE Declaring::*method)(BSTR*))
    {
        BSTR value = nullptr;
        EXPECT_EQ((event.Get()->*method)(&value), S_OK);
        return taken(value);
    }

    ComPtr<IEventSource> source_;
    ComPtr<IEventListener> listener_;
};

TEST_F(ForeignListener, LearnsWhichExtraDataChanged)
{
    ComPtr<IMachine> machine;
    ASSERT_EQ(findMachine(Machines::player, machine), S_OK);
    ASSERT_EQ(machine->SetExtraData(_bstr_t(L"Key"), _bstr_t(L"value")), S_OK);
    auto event = next<IExtraDataChangedEvent>();
    ASSERT_TRUE(event);
    EXPECT_EQ(text(event, &IExtraDataChangedEvent::get_MachineId), Machines::playerId);
    EXPECT_EQ(text(event, &IExtraDataChangedEvent::get_Key), L"Key");
    EXPECT_EQ(text(event, &IExtraDataChangedEvent::get_Value), L"value");
    ComPtr<IMachineEvent> aboutAMachine;
    EXPECT_EQ(event.As(&aboutAMachine), E_NOINTERFACE);

    ASSERT_EQ(virtualBox_->SetExtraData(_bstr_t(L"Global"), _bstr_t(L"1")), S_OK);
    event = next<IExtraDataChangedEvent>();
    ASSERT_TRUE(event);
    EXPECT_EQ(text(event, &IExtraDataChangedEvent::get_MachineId), L"00000000-0000-0000-0000-000000000000");
}

TEST_F(ForeignListener, LearnsWhichGuestPropertyAndWhichRuleChanged)
{
    const VBoxHandle machine = lockForWriting(find(Machines::player));
    ASSERT_TRUE(done(sdk.setGuestProperty(machine, L"/Prop", L"x", L"")));
    const auto property = next<IGuestPropertyChangedEvent>();
    ASSERT_TRUE(property);
    EXPECT_EQ(text(property, &IGuestPropertyChangedEvent::get_Name), L"/Prop");
    EXPECT_EQ(text(property, &IGuestPropertyChangedEvent::get_Value), L"x");
    ComPtr<IMachineEvent> aboutAMachine;
    EXPECT_EQ(property.As(&aboutAMachine), S_OK);

    const auto adapter = ask<VBoxHandle>(sdk, &VBoxInstanceImpl::getNetworkAdapter, machine, 1u);
    const auto nat = ask<VBoxHandle>(sdk, &VBoxInstanceImpl::getNATEngine, adapter);
    ASSERT_TRUE(done(sdk.addRedirect(nat, L"adb", NATProtocol::UDP, L"127.0.0.1", 5555, L"10.0.2.15", 5556)));
    const auto rule = next<INATRedirectEvent>();
    ASSERT_TRUE(rule);
    EXPECT_EQ(text(rule, &INATRedirectEvent::get_Name), L"adb");
    EXPECT_EQ(text(rule, &INATRedirectEvent::get_HostIP), L"127.0.0.1");
    EXPECT_EQ(text(rule, &INATRedirectEvent::get_GuestIP), L"10.0.2.15");
    ULONG slot = 77;
    BOOL removed = TRUE;
    LONG hostPort = 0, guestPort = 0;
    EXPECT_EQ(rule->get_Slot(&slot), S_OK);
    EXPECT_EQ(rule->get_Remove(&removed), S_OK);
    EXPECT_EQ(rule->get_HostPort(&hostPort), S_OK);
    EXPECT_EQ(rule->get_GuestPort(&guestPort), S_OK);
    EXPECT_EQ(slot, 1u);
    EXPECT_FALSE(removed);
    EXPECT_EQ(hostPort, 5555);
    EXPECT_EQ(guestPort, 5556);
    ASSERT_TRUE(done(sdk.unlockMachine()));
}

TEST_F(ForeignListener, FollowsAnOperation)
{
    control().scenario(LR"({"times": {"spawn": 300, "start": 300}})");
    ComPtr<IMachine> machine;
    ASSERT_EQ(findMachine(Machines::player, machine), S_OK);
    const ComPtr<ISession> session = newSession();
    ComPtr<IProgress> progress;
    ASSERT_EQ(machine->LaunchVMProcess(session.Get(), _bstr_t(L"headless"), nullptr, &progress), S_OK);
    ComPtr<IEventSource> source;
    ASSERT_EQ(progress->get_EventSource(&source), S_OK);
    listenTo(source, {VBoxEventType::Any});
    const auto percent = next<IProgressPercentageChangedEvent>();
    ASSERT_TRUE(percent);
    BSTR id = nullptr;
    EXPECT_EQ(progress->get_Id(&id), S_OK);
    EXPECT_EQ(text(percent, &IProgressPercentageChangedEvent::get_ProgressId), taken(id));
    LONG done = 0;
    EXPECT_EQ(percent->get_Percent(&done), S_OK);
    EXPECT_EQ(done, 25);
    EXPECT_TRUE(next<IProgressTaskCompletedEvent>());
    ComPtr<IConsole> console;
    ASSERT_EQ(session->get_Console(&console), S_OK);
    ASSERT_EQ(console->PowerDown(progress.ReleaseAndGetAddressOf()), S_OK);
    EXPECT_EQ(progress->WaitForCompletion(-1), S_OK);
}

// The question is answered on another thread, as by another client, while the one who changes waits.
TEST_F(ForeignListener, CanForbidThatExtraDataChange)
{
    ComPtr<IEventSource> source = source_;
    listenTo(source, {VBoxEventType::OnExtraDataCanChange});
    std::thread another([] {
        ASSERT_GE(CoInitializeEx(nullptr, COINIT_MULTITHREADED), 0);
        {
            ComPtr<IVirtualBox> virtualBox;
            ASSERT_EQ(CoCreateInstance(CLSID_VirtualBox, nullptr, CLSCTX_LOCAL_SERVER, IID_PPV_ARGS(&virtualBox)),
                      S_OK);
            const HRESULT result = virtualBox->SetExtraData(_bstr_t(L"Key"), _bstr_t(L"new"));
            EXPECT_EQ(static_cast<std::uint32_t>(result), Result::AccessDenied);
        }
        CoUninitialize();
    });
    const auto question = next<IExtraDataCanChangeEvent>(
        [](IExtraDataCanChangeEvent& asked) { EXPECT_EQ(asked.AddVeto(_bstr_t(L"because")), S_OK); });
    ASSERT_TRUE(question);
    EXPECT_EQ(text(question, &IExtraDataCanChangeEvent::get_Key), L"Key");
    EXPECT_EQ(text(question, &IExtraDataCanChangeEvent::get_Value), L"new");
    another.join();
    BOOL vetoed = FALSE;
    EXPECT_EQ(question->IsVetoed(&vetoed), S_OK);
    EXPECT_TRUE(vetoed);
    BSTR value = nullptr;
    EXPECT_EQ(virtualBox_->GetExtraData(_bstr_t(L"Key"), &value), S_OK);
    EXPECT_EQ(taken(value), L"");
}

TEST_F(ForeignListener, SeesWhatLiesInADriveNow)
{
    ComPtr<ISession> session = newSession();
    const ComPtr<IMachine> machine = locked(session, Machines::player);
    ASSERT_TRUE(machine);
    const std::filesystem::path image = world().folder() / L"disc.iso";
    writeFile(image, std::string(4096, '\0'));
    ComPtr<IMedium> disc;
    ASSERT_EQ(virtualBox_->OpenMedium(_bstr_t(image.c_str()), 2, 1, FALSE, &disc), S_OK);
    ComPtr<IStorageController> made;
    ASSERT_EQ(machine->AddStorageController(_bstr_t(L"Drives"), Travik::StorageBus::SAS, &made), S_OK);
    const auto controller = next<IStorageControllerChangedEvent>();
    ASSERT_TRUE(controller);
    EXPECT_EQ(text(controller, &IStorageControllerChangedEvent::get_MachinId), Machines::playerId);
    EXPECT_EQ(text(controller, &IStorageControllerChangedEvent::get_ControllerName), L"Drives");
    ASSERT_EQ(machine->AttachDeviceWithoutMedium(_bstr_t(L"Drives"), 2, 0, 2), S_OK);
    ASSERT_EQ(machine->MountMedium(_bstr_t(L"Drives"), 2, 0, disc.Get(), FALSE), S_OK);
    const auto mounted = next<IMediumChangedEvent>();
    ASSERT_TRUE(mounted);
    ComPtr<IMediumAttachment> attachment;
    ASSERT_EQ(mounted->get_MediumAttachment(&attachment), S_OK);
    LONG port = 0;
    EXPECT_EQ(attachment->get_Port(&port), S_OK);
    EXPECT_EQ(port, 2);
    ComPtr<IMedium> inside;
    ASSERT_EQ(attachment->get_Medium(&inside), S_OK);
    ASSERT_TRUE(inside);
    EXPECT_EQ(text(inside, &IMedium::get_Name), L"disc.iso");
    ASSERT_EQ(machine->RemoveStorageController(_bstr_t(L"Drives")), S_OK);
    const auto removed = next<IStorageDeviceChangedEvent>();
    ASSERT_TRUE(removed);
    BOOL gone = FALSE;
    EXPECT_EQ(removed->get_Removed(&gone), S_OK);
    EXPECT_TRUE(gone);
    ASSERT_EQ(session->UnlockMachine(), S_OK);
}

TEST_F(ForeignListener, GetsAnEventAgainThatIsFiredAgain)
{
    ASSERT_EQ(virtualBox_->SetExtraData(_bstr_t(L"Global"), _bstr_t(L"1")), S_OK);
    const auto event = next<IExtraDataChangedEvent>();
    ASSERT_TRUE(event);
    BOOL processed = FALSE;
    ASSERT_EQ(source_->FireEvent(event.Get(), 0, &processed), S_OK);
    EXPECT_TRUE(processed) << "it is not waitable";
    const auto again = next<IExtraDataChangedEvent>();
    ASSERT_TRUE(again);
    EXPECT_EQ(text(again, &IExtraDataChangedEvent::get_Key), L"Global");
    EXPECT_EQ(source_->FireEvent(nullptr, 0, &processed), E_INVALIDARG);
}

// Wine's COM leaves error objects behind; the stand-in's proxies bring them.
TEST_F(ForeignClient, GetsTheErrorObjectOfAFailedCall)
{
    ComPtr<IMachine> machine;
    ASSERT_EQ(static_cast<std::uint32_t>(findMachine(L"No such machine", machine)), Result::ObjectNotFound);
    ComPtr<IErrorInfo> error;
    ASSERT_EQ(GetErrorInfo(0, &error), S_OK);
    BSTR value = nullptr;
    EXPECT_EQ(error->GetDescription(&value), S_OK);
    EXPECT_THAT(taken(value), testing::HasSubstr(L"No such machine"));
    EXPECT_EQ(error->GetSource(&value), S_OK);
    EXPECT_EQ(taken(value), L"VirtualBoxWrap");
    GUID id{};
    EXPECT_EQ(error->GetGUID(&id), S_OK);
    EXPECT_EQ(id, __uuidof(IVirtualBox));
    ComPtr<IVirtualBoxErrorInfo> whole;
    ASSERT_EQ(error.As(&whole), S_OK);
    LONG code = 0;
    EXPECT_EQ(whole->get_ResultCode(&code), S_OK);
    EXPECT_EQ(static_cast<std::uint32_t>(code), Result::ObjectNotFound);
    EXPECT_EQ(whole->get_InterfaceID(&value), S_OK);
    const std::wstring interfaceId = taken(value);
    EXPECT_EQ(interfaceId.size(), 36u);
    EXPECT_EQ(interfaceId.find_first_not_of(L"0123456789abcdef-"), interfaceId.npos) << "lower case, no braces";
    error.Reset();
    EXPECT_EQ(GetErrorInfo(0, &error), S_FALSE) << "it was taken";
}

TEST_F(ForeignClient, LearnsAboutTheHost)
{
    ComPtr<IHost> host;
    ASSERT_EQ(virtualBox_->get_Host(&host), S_OK);
    ULONG processors = 0, cores = 0, online = 0, megahertz = 1;
    EXPECT_EQ(host->get_ProcessorCount(&processors), S_OK);
    EXPECT_EQ(host->get_ProcessorCoreCount(&cores), S_OK);
    EXPECT_EQ(host->get_ProcessorOnlineCoreCount(&online), S_OK);
    EXPECT_GE(cores, 1u);
    EXPECT_LE(cores, processors);
    EXPECT_EQ(online, cores);
    BSTR value = nullptr;
    EXPECT_EQ(host->GetProcessorDescription(0, &value), S_OK);
    EXPECT_NE(taken(value), L"");
    EXPECT_EQ(host->GetProcessorDescription(processors, &value), S_OK) << "one that is not there has no description";
    EXPECT_EQ(taken(value), L"");
    EXPECT_EQ(host->GetProcessorSpeed(processors, &megahertz), S_OK);
    EXPECT_EQ(megahertz, 0u);
    EXPECT_EQ(host->get_OSVersion(&value), S_OK);
    EXPECT_THAT(utf8(taken(value)), testing::MatchesRegex("\\d+\\.\\d+\\.\\d+"));
}

TEST_F(ForeignClient, SetsUpANatEngine)
{
    ComPtr<IMachine> registered;
    ASSERT_EQ(findMachine(Machines::player, registered), S_OK);
    const ComPtr<ISession> session = newSession();
    const ComPtr<IMachine> machine = locked(session, Machines::player);
    const auto engineOf = [](const ComPtr<IMachine>& owner) {
        ComPtr<INetworkAdapter> adapter;
        ComPtr<INATEngine> engine;
        EXPECT_EQ(owner->GetNetworkAdapter(0, &adapter), S_OK);
        EXPECT_EQ(adapter->get_NATEngine(&engine), S_OK);
        return engine;
    };
    const ComPtr<INATEngine> engine = engineOf(machine);
    EXPECT_EQ(engine->put_Network(_bstr_t(L"10.9/16")), S_OK);
    EXPECT_EQ(engine->put_DNSProxy(TRUE), S_OK);
    EXPECT_EQ(engine->put_AliasMode(2), S_OK);
    EXPECT_EQ(engine->put_AliasMode(8), E_INVALIDARG);
    EXPECT_EQ(engine->SetNetworkSettings(1400, 1, 2, 3, 4), S_OK);
    ASSERT_EQ(machine->SaveSettings(), S_OK);
    ASSERT_EQ(session->UnlockMachine(), S_OK);

    const ComPtr<INATEngine> saved = engineOf(registered);
    BSTR value = nullptr;
    EXPECT_EQ(saved->get_Network(&value), S_OK);
    EXPECT_EQ(taken(value), L"10.9/16");
    BOOL proxy = FALSE;
    EXPECT_EQ(saved->get_DNSProxy(&proxy), S_OK);
    EXPECT_TRUE(proxy);
    ULONG mtu = 0, a = 0, b = 0, c = 0, d = 0;
    EXPECT_EQ(saved->GetNetworkSettings(&mtu, &a, &b, &c, &d), S_OK);
    EXPECT_EQ((std::vector<ULONG>{mtu, a, b, c, d}), (std::vector<ULONG>{1400, 1, 2, 3, 4}));
    EXPECT_EQ(static_cast<std::uint32_t>(saved->put_DNSProxy(FALSE)), Result::InvalidVMState) << "without a lock";
}

TEST_F(ForeignClient, ChangesASharedFolder)
{
    const ComPtr<ISession> session = newSession();
    const ComPtr<IMachine> machine = locked(session, Machines::player);
    const std::wstring path = world().folder().wstring();
    ASSERT_EQ(machine->CreateSharedFolder(_bstr_t(L"mine"), _bstr_t(path.c_str()), FALSE, FALSE, nullptr), S_OK);
    const auto folder = [](const ComPtr<IMachine>& owner) {
        SAFEARRAY* folders = nullptr;
        EXPECT_EQ(owner->get_SharedFolders(&folders), S_OK);
        const ULONG last = folders->rgsabound[0].cElements - 1;
        ComPtr<ISharedFolder> found = static_cast<ISharedFolder**>(folders->pvData)[last];
        SafeArrayDestroy(folders);
        return found;
    };
    ASSERT_EQ(folder(machine)->put_Writable(TRUE), S_OK);
    ASSERT_EQ(folder(machine)->put_AutoMount(TRUE), S_OK);
    ASSERT_EQ(folder(machine)->put_AutoMountPoint(_bstr_t(L"X:")), S_OK);
    ASSERT_EQ(machine->SaveSettings(), S_OK);
    ASSERT_EQ(session->UnlockMachine(), S_OK);
    ComPtr<IMachine> registered;
    ASSERT_EQ(findMachine(Machines::player, registered), S_OK);
    const ComPtr<ISharedFolder> saved = folder(registered);
    BOOL writable = FALSE, autoMount = FALSE;
    EXPECT_EQ(saved->get_Writable(&writable), S_OK);
    EXPECT_EQ(saved->get_AutoMount(&autoMount), S_OK);
    EXPECT_TRUE(writable && autoMount);
    BSTR point = nullptr;
    EXPECT_EQ(saved->get_AutoMountPoint(&point), S_OK);
    EXPECT_EQ(taken(point), L"X:");
    EXPECT_EQ(static_cast<std::uint32_t>(saved->put_Writable(FALSE)), Result::InvalidVMState) << "without a lock";
}

TEST_F(ForeignClient, AnArrayOfUnknownKindIsRefused)
{
    expectArraysOfUnknownKindToBeRefused();
}

/// Clients that bring VirtualBox's own type library cross on the system's marshaller.
class AutomationMarshaller : public ForeignClient
{
protected:
    void SetUp() override
    {
        registerWith({L"register", L"--automation-marshaller"});
        ForeignClient::SetUp();
    }
    void TearDown() override
    {
        ForeignClient::TearDown();
        registerWith({L"register"});
    }

private:
    static void registerWith(const std::vector<std::wstring>& arguments)
    {
        ChildProcess program(productFolder() / L"vboxsim.exe", arguments);
        EXPECT_EQ(program.wait(), DWORD(0)) << program.restOfOutput();
    }
};

// Under Wine the array arrives without the type of its elements. Taken for empty, it would leave the disks behind.
TEST_F(AutomationMarshaller, AMachinesDisksGoWithIt)
{
    const std::filesystem::path disk = world().folder() / L"gone.vdi";
    writeVdi(disk, L"5a1b2c3d-0000-4000-8000-000000000001");
    ComPtr<IMedium> medium;
    ASSERT_EQ(virtualBox_->OpenMedium(_bstr_t(disk.c_str()), 3, 2, FALSE, &medium), S_OK);
    ComPtr<IMachine> machine;
    ASSERT_EQ(findMachine(Machines::worker, machine), S_OK);
    SAFEARRAY* attached = nullptr;
    ASSERT_EQ(machine->Unregister(4, &attached), S_OK);
    SafeArrayDestroy(attached);
    IID id = IID_IDispatch;
    SAFEARRAY* media = SafeArrayCreateVectorEx(VT_DISPATCH, 0, 1, &id);
    LONG place = 0;
    ASSERT_EQ(SafeArrayPutElement(media, &place, medium.Get()), S_OK);
    ComPtr<IProgress> progress;
    ASSERT_EQ(machine->DeleteConfig(media, &progress), S_OK);
    SafeArrayDestroy(media);
    ASSERT_EQ(progress->WaitForCompletion(-1), S_OK);
    LONG result = E_FAIL;
    EXPECT_EQ(progress->get_ResultCode(&result), S_OK);
    EXPECT_EQ(result, S_OK);
    EXPECT_FALSE(std::filesystem::exists(disk));
}

TEST_F(AutomationMarshaller, AnArrayOfUnknownKindIsRefused)
{
    expectArraysOfUnknownKindToBeRefused();
}

TEST_F(AutomationMarshaller, TextsAndNumbersArriveWhole)
{
    SAFEARRAY* groups = SafeArrayCreateVector(VT_BSTR, 0, 1);
    LONG place = 0;
    ASSERT_EQ(SafeArrayPutElement(groups, &place, _bstr_t(L"/Group").GetBSTR()), S_OK);
    ComPtr<IMachine> machine;
    ASSERT_EQ(virtualBox_->CreateMachine(nullptr, _bstr_t(L"Grouped"), groups, _bstr_t(L"Linux"), nullptr, &machine),
              S_OK);
    SafeArrayDestroy(groups);
    BSTR path = nullptr;
    ASSERT_EQ(machine->get_SettingsFilePath(&path), S_OK);
    EXPECT_THAT(taken(path), testing::HasSubstr(L"\\Group\\Grouped\\Grouped.vbox"));
}

} // namespace
} // namespace TravikTest
