// The client class of the VirtualBox that anyone can download: how programs other than this library connect to it.

#include <comdef.h>
#include <wrl/client.h>

#include "automation/safe_array.h"
#include "harness/system_test.h"

namespace TravikTest {
namespace {

using Microsoft::WRL::ComPtr;

class ClientClass : public SystemTest
{
protected:
    void SetUp() override
    {
        SystemTest::SetUp();
        ASSERT_GE(CoInitialize(nullptr), 0);
        ASSERT_EQ(CoCreateInstance(CLSID_VirtualBoxClient, nullptr, CLSCTX_INPROC_SERVER, IID_PPV_ARGS(&client_)),
                  S_OK);
        ASSERT_EQ(client_->get_VirtualBox(&virtualBox_), S_OK);
    }

    void TearDown() override
    {
        virtualBox_.Reset();
        client_.Reset();
        CoUninitialize();
        SystemTest::TearDown();
    }

    ComPtr<ISession> newSession()
    {
        ComPtr<ISession> session;
        EXPECT_EQ(client_->get_Session(&session), S_OK);
        return session;
    }

    ComPtr<IMachine> machine(const wchar_t* nameOrId)
    {
        ComPtr<IMachine> found;
        EXPECT_EQ(virtualBox_->FindMachine(_bstr_t(nameOrId), &found), S_OK);
        return found;
    }

    static ULONG stateOfSession(const ComPtr<ISession>& session)
    {
        ULONG state = 0;
        EXPECT_EQ(session->get_State(&state), S_OK);
        return state;
    }

    ComPtr<IVirtualBoxClient> client_;
    ComPtr<IVirtualBox> virtualBox_;
};

TEST_F(ClientClass, LocksChangesAndSavesAMachine)
{
    const ComPtr<ISession> session = newSession();
    EXPECT_EQ(stateOfSession(session), Travik::SessionState::Unlocked);
    ASSERT_EQ(machine(Machines::player)->LockMachine(session.Get(), LockType::Write), S_OK);
    EXPECT_EQ(stateOfSession(session), Travik::SessionState::Locked);
    ComPtr<IMachine> own;
    ASSERT_EQ(session->get_Machine(&own), S_OK);
    EXPECT_EQ(own->put_MemorySize(768), S_OK);
    EXPECT_EQ(own->SaveSettings(), S_OK);
    EXPECT_EQ(session->UnlockMachine(), S_OK);
    EXPECT_EQ(stateOfSession(session), Travik::SessionState::Unlocked);
    EXPECT_THAT(readFile(world().machineFile(Machines::player)), testing::HasSubstr("RAMSize=\"768\""));
}

TEST_F(ClientClass, HandsOutANewSessionEachTime)
{
    const ComPtr<ISession> first = newSession();
    const ComPtr<ISession> second = newSession();
    ASSERT_EQ(machine(Machines::player)->LockMachine(first.Get(), LockType::Write), S_OK);
    EXPECT_EQ(stateOfSession(second), Travik::SessionState::Unlocked);
    EXPECT_EQ(static_cast<std::uint32_t>(machine(Machines::player)->LockMachine(second.Get(), LockType::Write)),
              Result::InvalidObjectState);
    EXPECT_EQ(machine(Machines::worker)->LockMachine(second.Get(), LockType::Write), S_OK);
    EXPECT_EQ(second->UnlockMachine(), S_OK);
    EXPECT_EQ(first->UnlockMachine(), S_OK);
}

// The library does not use the class, and meets it in the same VirtualBox.
TEST_F(ClientClass, ItsLockIsOneForTheLibraryToo)
{
    const ComPtr<ISession> session = newSession();
    const VBoxHandle player = find(Machines::player);
    ASSERT_EQ(machine(Machines::player)->LockMachine(session.Get(), LockType::Write), S_OK);
    EXPECT_TRUE(refused(sdk.lockMachine(player, LockType::Write), LockMachineFail, Result::InvalidObjectState));
    ASSERT_EQ(session->UnlockMachine(), S_OK);
    EXPECT_TRUE(done(sdk.lockMachine(player, LockType::Write)));
    EXPECT_TRUE(done(sdk.unlockMachine()));
}

TEST_F(ClientClass, TellsWhyAMachineCannotBeRead)
{
    EXPECT_EQ(client_->CheckMachineError(machine(Machines::player).Get()), S_OK);
    EXPECT_EQ(static_cast<std::uint32_t>(client_->CheckMachineError(machine(Machines::damagedId).Get())), Result::Fail);
    EXPECT_EQ(static_cast<std::uint32_t>(client_->CheckMachineError(nullptr)), Result::InvalidArg);
}

// Each event is asked for: this client has no thread that could be called.
TEST_F(ClientClass, TellsThatTheServerIsGoneAndThatAnotherOneAnswers)
{
    ComPtr<IEventSource> source;
    ComPtr<IEventListener> listener;
    ASSERT_EQ(client_->get_EventSource(&source), S_OK);
    ASSERT_EQ(source->CreateListener(&listener), S_OK);
    const ComArray types(toNumberArray({VBoxEventType::OnVBoxSVCAvailabilityChanged}));
    ASSERT_EQ(source->RegisterListener(listener.Get(), types.get(), FALSE), S_OK);
    const auto next = [&](LONG milliseconds) {
        ComPtr<IEvent> event;
        ComPtr<IVBoxSVCAvailabilityChangedEvent> availability;
        EXPECT_EQ(source->GetEvent(listener.Get(), milliseconds, &event), S_OK);
        if (event) {
            EXPECT_EQ(event.As(&availability), S_OK);
        }
        return availability;
    };
    EXPECT_FALSE(next(0)) << "nothing has happened yet";
    crashServer();
    ComPtr<IVBoxSVCAvailabilityChangedEvent> event = next(10'000);
    ASSERT_TRUE(event);
    BOOL available = TRUE;
    EXPECT_EQ(event->get_Available(&available), S_OK);
    EXPECT_FALSE(available);
    startNextServer();
    ASSERT_EQ(client_->get_VirtualBox(virtualBox_.ReleaseAndGetAddressOf()), S_OK);
    event = next(10'000);
    ASSERT_TRUE(event);
    EXPECT_EQ(event->get_Available(&available), S_OK);
    EXPECT_TRUE(available);
    EXPECT_EQ(source->UnregisterListener(listener.Get()), S_OK);
}

} // namespace
} // namespace TravikTest
