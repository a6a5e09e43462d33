#include <cwctype>

#include "host/cloning.h"
#include "host/vm_life.h"
#include "host_fixture.h"

namespace VBoxSim {

TEST_F(HostTest, AMediumIsKnownByItsPlaceAndItsUuid)
{
    const MediumPtr medium = newDisk(L"a.vdi");
    EXPECT_EQ(host.media().open(medium->location, DeviceKind::hardDisk, false), medium);
    EXPECT_EQ(host.media().find(medium->id), medium);
    std::filesystem::copy_file(medium->location, path(L"copy.vdi"));
    EXPECT_THROW(host.media().open(path(L"copy.vdi"), DeviceKind::hardDisk, false), Failure);
    const MediumPtr copy = host.media().open(path(L"copy.vdi"), DeviceKind::hardDisk, true);
    EXPECT_NE(copy->id, medium->id);
}

TEST_F(HostTest, AMediumInUseIsNeitherClosedNorDeleted)
{
    const MachinePtr machine = withDisk(L"box");
    const MediumPtr medium = host.media().find(machine->saved.media.at(0).id);
    EXPECT_THROW(host.media().close(medium), Failure);
    EXPECT_THROW(host.media().deleteStorage(medium), Failure);
    EXPECT_FALSE(medium->closed);
}

TEST_F(HostTest, ARunningMachineHoldsItsDisk)
{
    const MachinePtr machine = withDisk(L"box");
    const MediumPtr medium = host.media().find(machine->saved.media.at(0).id);
    launch(machine, session(L"own"));
    pass(host.scenario().times.spawn);
    pass(host.scenario().times.start);
    EXPECT_EQ(host.media().stateOf(*medium), static_cast<std::uint32_t>(MediumState::LockedWrite));
    crashMachine(host, *machine);
    EXPECT_EQ(host.media().stateOf(*medium), static_cast<std::uint32_t>(MediumState::Created));
}

TEST_F(HostTest, AMachineWhoseDiskIsGoneDoesNotStart)
{
    const MachinePtr machine = withDisk(L"box");
    std::filesystem::remove(machine->saved.media.at(0).location);
    const ProgressPtr progress = launch(machine, session(L"own"));
    pass(host.scenario().times.spawn);
    pass(host.scenario().times.start);
    EXPECT_EQ(progress->result(), Result::fileError);
    EXPECT_EQ(machine->state, static_cast<std::uint32_t>(MachineState::PoweredOff));
}

TEST_F(HostTest, AMachineIsFoundByItsSettingsFile)
{
    const MachinePtr machine = registered(L"box");
    EXPECT_EQ(host.machines().find(machine->file), machine);
    std::wstring other = machine->file;
    for (wchar_t& c : other)
        c = c == L'\\' ? L'/' : static_cast<wchar_t>(std::towupper(c));
    EXPECT_EQ(host.machines().find(other), machine) << "in any case, with either slash";
    EXPECT_THROW(host.machines().find(L"box.vbox"), Failure) << "only the full path";
}

TEST_F(HostTest, AMachineUsesAMediumOnceHoweverOftenItIsRegistered)
{
    const MachinePtr machine = withDisk(L"box");
    const std::wstring medium = machine->saved.media.at(0).id;
    for (int i = 0; i < 3; ++i) {
        host.machines().remove(machine);
        EXPECT_EQ(host.media().machinesUsing(medium).size(), 1u);
        host.machines().add(machine);
        EXPECT_EQ(host.media().machinesUsing(medium).size(), 1u);
    }
}

} // namespace VBoxSim
