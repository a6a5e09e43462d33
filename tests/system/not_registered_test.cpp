// A machine on which no VirtualBox is registered.

#include "harness/system_test.h"
#include "scratch.h"

namespace TravikTest {
namespace {

class NotRegistered : public testing::Test
{
protected:
    void SetUp() override
    {
        registerStandIn(); // or a server that lingers could not be asked to end
        ASSERT_TRUE(stopServer()) << "a server of another world runs and does not end";
        unregisterStandIn();
    }
    void TearDown() override { sdk.releaseRC(); }

    VBoxInstanceImpl& sdk = library();
};

TEST_F(NotRegistered, StartTellsOnlyThroughTheErrorThatItFailed)
{
    EXPECT_EQ(sdk.initComComponent(), 0u);
    EXPECT_EQ(sdk.getVBoxError(), Result::ClassNotRegistered);
    EXPECT_EQ(withoutLine(sdk.getVBoxErrorMessage()),
              L"vbox sdk failure in Travik::VBox::_initVBox(): with rc=0x80040154 rcDesc=Unknow "
              L"errorDesc=VBoxCoCreateInstanceVBoxFail");
}

TEST_F(NotRegistered, ResetTellsTheSame)
{
    EXPECT_EQ(sdk.resetComComponent(), 0u);
    EXPECT_EQ(sdk.getVBoxError(), Result::ClassNotRegistered);
    EXPECT_TRUE(sdk.getVBoxErrorMessage().ends_with(L" errorDesc=VBoxCoCreateInstanceVBoxFail"));
}

TEST_F(NotRegistered, OperationsThatNeedVirtualBoxFailAndLeaveTheReasonReadable)
{
    VBoxHandle machine = 77;
    EXPECT_EQ(sdk.findMachine(L"vm1", &machine), InitVboxComFail);
    EXPECT_EQ(machine, 77u);
    EXPECT_EQ(sdk.getVBoxError(), Result::ClassNotRegistered);
    EXPECT_EQ(withoutLine(sdk.getVBoxErrorMessage()),
              L"vbox sdk failure in Travik::VBox::_initVBox(vm1): with rc=0x80040154 rcDesc=Unknow "
              L"errorDesc=VBoxCoCreateInstanceVBoxFail");

    std::vector<VBoxHandle> machines;
    std::wstring text = L"as it was";
    VBoxHandle handle = 77;
    EXPECT_EQ(sdk.openMachine(L"C:\\nowhere\\vm1.vbox", &machine), InitVboxComFail);
    EXPECT_EQ(sdk.listVms(&machines), InitVboxComFail);
    EXPECT_EQ(sdk.composeMachineFilename(L"vm1", &text), InitVboxComFail);
    EXPECT_EQ(sdk.getDefaultMachineFolder(&text), InitVboxComFail);
    EXPECT_EQ(sdk.createMachine(L"", L"vm1", &machine), InitVboxComFail);
    EXPECT_EQ(sdk.createMutableMachine(1, &machine), InitVboxComFail);
    EXPECT_EQ(sdk.unlockMachine(), InitVboxComFail);
    EXPECT_EQ(sdk.getConsole(&handle), InitVboxComFail);
    EXPECT_EQ(sdk.getHost(&handle), InitVboxComFail);
    EXPECT_EQ(sdk.setDefaultMachineFolder(scratchFolder().wstring()), InitVboxComFail);
    EXPECT_EQ(sdk.registerMachine(1), InitVboxComFail);
    EXPECT_TRUE(machines.empty());
    EXPECT_EQ(text, L"as it was");
    EXPECT_EQ(machine, 77u);
    EXPECT_EQ(handle, 77u);
}

TEST_F(NotRegistered, FilesAreCheckedBeforeVirtualBoxIsNeeded)
{
    const std::wstring missing = (scratchFolder() / L"missing.vdi").wstring();
    VBoxHandle medium = 77;
    EXPECT_TRUE(failedUnasked(sdk.openMedium(missing, false, &medium), CheckFileExistsFail));
    EXPECT_TRUE(failedUnasked(sdk.setDefaultMachineFolder(missing), CheckFileExistsFail));
    EXPECT_TRUE(failedUnasked(sdk.importOva(missing), CheckFileExistsFail));
    EXPECT_EQ(medium, 77u);

    const std::filesystem::path disk = scratchFolder() / L"disk.vdi";
    writeVdi(disk, L"5d1f4b1e-0000-4000-8000-000000000001");
    EXPECT_EQ(sdk.openMedium(disk.wstring(), false, &medium), InitVboxComFail);
}

TEST_F(NotRegistered, ANewNameIsStillMade)
{
    std::wstring name;
    EXPECT_EQ(sdk.createVmName(L"a", &name), InitVboxComFail);
    EXPECT_EQ(name, L"a_1");
    EXPECT_EQ(sdk.createVmName(L"", &name), InitVboxComFail);
    EXPECT_EQ(name, L"kolbrenix_vbox86_1");
}

TEST_F(NotRegistered, HandlesAreUnknownAndFilesCanBeMoved)
{
    std::wstring name;
    EXPECT_TRUE(failedUnasked(sdk.getVmName(1, &name), COM_Get_MachineFail));
    EXPECT_TRUE(failedUnasked(sdk.lockMachine(1, LockType::Write), COM_Get_MachineFail));
    EXPECT_TRUE(failedUnasked(sdk.progressWaitForCompletion(1, 0), COM_Get_ProgressFail));

    const std::filesystem::path from = scratchFolder() / L"from.vdi";
    const std::filesystem::path to = scratchFolder() / L"to.vdi";
    writeFile(from, "a disk");
    EXPECT_EQ(sdk.renameVmDisk(from.wstring(), to.wstring()), 0u);
    EXPECT_EQ(readFile(to), "a disk");
    EXPECT_FALSE(std::filesystem::exists(from));
}

TEST_F(NotRegistered, ReleasingTwiceIsNothingSpecial)
{
    EXPECT_EQ(sdk.initComComponent(), 0u);
    EXPECT_EQ(sdk.releaseRC(), 0u);
    EXPECT_EQ(sdk.releaseRC(), 0u);
    EXPECT_EQ(sdk.getVBoxError(), Result::ClassNotRegistered); // not cleared by the release
}

// VirtualBox appears while the front end runs.
TEST_F(NotRegistered, LaterRegistrationIsFoundByTheNextOperation)
{
    World world(scratchFolder() / L"world");
    world.addUsualMachines();
    setWorld(world.home());
    EXPECT_EQ(sdk.initComComponent(), 0u);
    EXPECT_EQ(sdk.getVBoxError(), Result::ClassNotRegistered);

    registerStandIn();
    VBoxHandle machine = 0;
    EXPECT_TRUE(done(sdk.findMachine(Machines::player, &machine)));
    EXPECT_NE(machine, 0u);

    sdk.releaseRC();
    EXPECT_TRUE(stopServer());
}

} // namespace
} // namespace TravikTest
