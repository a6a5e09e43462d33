// What the call frame makes of a call, seen at a machine's object in this process.
#include <new>

#include "automation/com_string.h"
#include "com/machine_object.h"
#include "host_fixture.h"

namespace VBoxSim {

namespace {

class CallFrame : public HostTest
{
protected:
    HRESULT run(const std::function<void()>& body)
    {
        return serve(
            server, {L"ITest::Call", IID_IMachine}, [] { return std::wstring(L"1, 2"); }, [&](HostLock&) { body(); });
    }
    ComPtr<MachineObject> object(const MachinePtr& machine)
    {
        return make<MachineObject>(server, MachineView(host, machine));
    }

    Server server{host};
};

} // namespace

TEST_F(CallFrame, TurnsWhatIsThrownIntoAResult)
{
    EXPECT_EQ(run([] {}), S_OK);
    EXPECT_EQ(run([] { throw Failure(Result::objectInUse, L"x"); }), Result::objectInUse);
    EXPECT_EQ(run([] { throw std::bad_alloc(); }), E_OUTOFMEMORY);
    EXPECT_EQ(run([] { throw std::runtime_error("x"); }), E_FAIL);
}

TEST_F(CallFrame, LeavesTheReasonOfAFailure)
{
    SetErrorInfo(0, nullptr);
    EXPECT_EQ(run([] { throw Failure(Result::objectInUse, L"the disk is in use"); }), Result::objectInUse);
    ComPtr<IErrorInfo> reason;
    ASSERT_EQ(GetErrorInfo(0, &reason), S_OK);
    Travik::ComString text;
    ASSERT_EQ(reason->GetDescription(text.put()), S_OK);
    EXPECT_EQ(text.str(), L"the disk is in use");
    ASSERT_EQ(reason->GetSource(text.put()), S_OK);
    EXPECT_EQ(text.str(), L"TestWrap");
}

TEST_F(CallFrame, HoldsTheHostsMutexDuringTheCallOnly)
{
    std::function<void()> inside = [&] { EXPECT_EQ(run([] {}), S_OK); };
    EXPECT_EQ(serve(
                  server, {L"ITest::Call", IID_IMachine}, [] { return std::wstring(); },
                  [&](HostLock& lock) {
                      EXPECT_TRUE(lock.owns_lock());
                      lock.unlock();
                      inside();
                  }),
              S_OK);
}

TEST_F(CallFrame, LetsACallSufferItsFaults)
{
    host.faults().fail(L"ITest::Call", Result::vmError, 1, 0);
    bool called = false;
    EXPECT_EQ(run([&] { called = true; }), Result::vmError);
    host.faults().answerNull(L"ITest::Call", 1, 0);
    EXPECT_EQ(run([&] { called = true; }), S_OK);
    EXPECT_FALSE(called);
    EXPECT_EQ(run([&] { called = true; }), S_OK);
    EXPECT_TRUE(called);
}

TEST_F(CallFrame, IsSeenInTheTrace)
{
    server.trace.turn(true);
    run([] { throw Failure(Result::fail, L"x"); });
    const std::wstring text = server.trace.text();
    EXPECT_NE(text.find(L"ITest::Call(1, 2) = 0x80004005 in "), text.npos) << std::string(text.begin(), text.end());
}

TEST_F(CallFrame, AnObjectForwardsToItsView)
{
    const MachinePtr machine = registered(L"box");
    const ComPtr<MachineObject> shared = object(machine);
    Travik::ComString name;
    ASSERT_EQ(shared->get_Name(name.put()), S_OK);
    EXPECT_EQ(name.str(), L"box");
    EXPECT_EQ(shared->get_Name(nullptr), E_POINTER);
    EXPECT_EQ(shared->put_CPUCount(2), Result::invalidVmState); // nobody has locked it

    const MachineView own = lockedBy(session(L"own"), machine);
    const ComPtr<MachineObject> mutableOne = make<MachineObject>(server, own);
    EXPECT_EQ(mutableOne->put_CPUCount(2), S_OK);
    EXPECT_EQ(mutableOne->SaveSettings(), S_OK);
    ULONG count = 0;
    EXPECT_EQ(shared->get_CPUCount(&count), S_OK);
    EXPECT_EQ(count, 2u);
}

TEST_F(CallFrame, AnObjectOfAnInaccessibleMachineTellsWhy)
{
    const MachinePtr machine = registered(L"box");
    machine->accessError = Failure(Result::xmlError, L"damaged");
    std::filesystem::remove(machine->file);
    const ComPtr<MachineObject> broken = object(machine);
    ULONG count = 7;
    EXPECT_EQ(broken->get_CPUCount(&count), E_ACCESSDENIED);
    EXPECT_EQ(count, 0u);
    BOOL accessible = TRUE;
    EXPECT_EQ(broken->get_Accessible(&accessible), S_OK);
    EXPECT_EQ(accessible, FALSE);
}

} // namespace VBoxSim
