// COM objects of the server, called in this process.
#include <atomic>
#include <chrono>

#include "automation/com_string.h"
#include "com/console_object.h"
#include "com/event_objects.h"
#include "com/machine_object.h"
#include "com/network_objects.h"
#include "com/virtual_box_object.h"
#include "host/vm_life.h"
#include "host_fixture.h"

namespace VBoxSim {

namespace {

using Travik::ComString;

class ObjectTest : public HostTest
{
protected:
    ObjectTest() { CoInitializeEx(nullptr, COINIT_MULTITHREADED); }
    ~ObjectTest() override { CoUninitialize(); }

    Server server{host};
};

/// Answers every event with one result.
class Listener : public Defaults<IEventListener>
{
public:
    explicit Listener(HRESULT answer) : answer_(answer) {}
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** out) override
    {
        *out = id == IID_IUnknown || id == IID_IEventListener ? static_cast<IEventListener*>(this) : nullptr;
        return *out ? S_OK : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; } // the test's own
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    HRESULT STDMETHODCALLTYPE HandleEvent(IEvent*) override
    {
        ++heard;
        return answer_;
    }

    std::atomic<int> heard{0};

private:
    const HRESULT answer_;
};

template <class Question>
bool soon(Question&& question)
{
    for (int i = 0; i < 1000 && !question(); ++i)
        Sleep(10);
    return question();
}

} // namespace

TEST_F(ObjectTest, AreHeldFromTheFirstConnectionToTheLast)
{
    const ComPtr<VirtualBoxObject> object = make<VirtualBoxObject>(server);
    EXPECT_FALSE(server.clients.anyConnection());
    object->AddConnection(EXTCONN_STRONG, 0);
    object->AddConnection(EXTCONN_STRONG, 0);
    object->ReleaseConnection(EXTCONN_STRONG, 0, FALSE);
    EXPECT_TRUE(server.clients.anyConnection());
    object->ReleaseConnection(EXTCONN_STRONG, 0, FALSE);
    EXPECT_FALSE(server.clients.anyConnection());
}

TEST_F(ObjectTest, OfADeadMachineAnswerNothing)
{
    const MachinePtr machine = registered(L"box");
    const ComPtr<MachineObject> object = make<MachineObject>(server, MachineView(host, machine));
    host.reset();
    ULONG count = 7;
    EXPECT_EQ(object->get_CPUCount(&count), E_ACCESSDENIED);
    EXPECT_EQ(count, 0u);
}

TEST_F(ObjectTest, AnArgumentEndsAtItsFirstZero)
{
    const MachinePtr machine = registered(L"box");
    const ComPtr<MachineObject> own = make<MachineObject>(server, lockedBy(session(L"own"), machine));
    const ComString name(std::wstring(L"box\0and more", 12));
    EXPECT_EQ(own->put_Description(name.get()), S_OK);
    EXPECT_EQ(machine->working.description, L"box");
}

TEST_F(ObjectTest, OnlyASessionsMachineHasUnsavedChanges)
{
    const MachinePtr machine = registered(L"box");
    const MachineView view = lockedBy(session(L"own"), machine);
    view.setMemory(777);
    const ComPtr<MachineObject> own = make<MachineObject>(server, view);
    const ComPtr<MachineObject> others = make<MachineObject>(server, MachineView(host, machine));
    BOOL modified = FALSE;
    EXPECT_EQ(own->get_SettingsModified(&modified), S_OK);
    EXPECT_TRUE(modified);
    EXPECT_EQ(others->get_SettingsModified(&modified), S_OK);
    EXPECT_FALSE(modified);
}

TEST_F(ObjectTest, HardDisksAreThoseThatAreBasedOnNone)
{
    const MediumPtr base = newDisk(L"base.vdi"), child = newDisk(L"child.vdi");
    child->parent = base->id;
    Travik::ComArray disks;
    ASSERT_EQ(make<VirtualBoxObject>(server)->get_HardDisks(disks.put()), S_OK);
    EXPECT_EQ(disks.get()->rgsabound[0].cElements, 1u);
}

TEST_F(ObjectTest, ARuleKeepsItsPortsApart)
{
    const MachineView view = lockedBy(session(L"own"), registered(L"box"));
    const ComPtr<NatEngineObject> engine = make<NatEngineObject>(server, NetworkAdapterView(view, 0));
    const ComString name(L"adb"), host(L"127.0.0.1"), guest(L"10.0.2.15");
    ASSERT_EQ(engine->AddRedirect(name.get(), Travik::NATProtocol::TCP, host.get(), 5555, guest.get(), 22), S_OK);
    const NatRule& rule = view.settings().adapters.at(0).rules.at(0);
    EXPECT_EQ(rule.hostPort, 5555u);
    EXPECT_EQ(rule.guestPort, 22u);
}

TEST_F(ObjectTest, AFolderOfTheConsoleKeepsItsFlagsApart)
{
    const MachinePtr machine = running(L"box", session(L"own"));
    const ComPtr<ConsoleObject> console = make<ConsoleObject>(server, ConsoleView(host, machine, machine->lock));
    const ComString name(L"x"), place(path(L"home")), none(L"");
    ASSERT_EQ(console->CreateSharedFolder(name.get(), place.get(), TRUE, FALSE, none.get()), S_OK);
    const SharedFolderSettings& folder = machine->vm()->sharedFolders.at(0);
    EXPECT_TRUE(folder.writable);
    EXPECT_FALSE(folder.autoMount);
}

TEST_F(ObjectTest, AnOrderedDelayIsWaitedFor)
{
    host.faults().delay(L"IVirtualBox::get_HomeFolder", 60);
    const auto begin = std::chrono::steady_clock::now();
    ComString folder;
    EXPECT_EQ(make<VirtualBoxObject>(server)->get_HomeFolder(folder.put()), S_OK);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(60));
}

TEST_F(ObjectTest, AnActiveListenerThatIsGoneIsDropped)
{
    const ComPtr<EventSourceObject> source = make<EventSourceObject>(server, host.events());
    Listener gone(RPC_E_DISCONNECTED), deaf(E_FAIL);
    const Travik::ComArray types(Travik::toNumberArray({EventType::OnExtraDataChanged}));
    ASSERT_EQ(source->RegisterListener(&gone, types.get(), TRUE), S_OK);
    ASSERT_EQ(source->RegisterListener(&deaf, types.get(), TRUE), S_OK);
    {
        const HostLock lock = host.lock();
        host.fire({EventType::OnExtraDataChanged});
    }
    EXPECT_TRUE(soon([&] { return gone.heard == 1 && deaf.heard == 1; }));
    Sleep(50); // for what the server makes of the answer
    EXPECT_EQ(source->UnregisterListener(&gone), Result::objectNotFound);
    EXPECT_EQ(source->UnregisterListener(&deaf), S_OK) << "a failure of its own is no reason";
    Sleep(50); // for its thread, which leaves
}

TEST_F(ObjectTest, AnActiveListenerHasProcessedWhatItHandled)
{
    const ComPtr<EventSourceObject> source = make<EventSourceObject>(server, host.events());
    Listener active(S_OK);
    const auto passive = std::make_shared<int>();
    const Travik::ComArray types(Travik::toNumberArray({EventType::OnShowWindow}));
    ASSERT_EQ(source->RegisterListener(&active, types.get(), TRUE), S_OK);
    HostLock lock = host.lock();
    host.events()->add(passive, 1, {EventType::OnShowWindow}, false);
    host.fire({EventType::OnShowWindow});
    const EventPtr event = host.events()->next(lock, passive.get(), 0);
    host.events()->markProcessed(passive.get(), *event);
    EXPECT_TRUE(host.events()->waitProcessed(lock, *event, 10'000));
    lock.unlock();
    EXPECT_EQ(source->UnregisterListener(&active), S_OK);
    Sleep(50); // for its thread, which leaves
}

} // namespace VBoxSim
