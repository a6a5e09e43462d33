// disk.

#include "ctl_test.h"

using namespace TravikTest;

namespace {

const wchar_t* const diskId = L"7d3f5b00-1111-4222-8333-444455556666";

} // namespace

class TravikctlDisk : public TravikctlTest
{
protected:
    std::wstring makeDisk(const std::wstring& name, const std::wstring& uuid = diskId)
    {
        const std::filesystem::path file = folder() / name;
        writeVdi(file, uuid);
        return file.wstring();
    }
};

TEST_F(TravikctlDisk, openDescribesAnImage)
{
    const std::wstring file = makeDisk(L"a 磁盘.vdi");
    const Outcome run = travikctlJson({L"disk", L"open", file});
    ASSERT_TRUE(succeeded(run));
    EXPECT_EQ(run.json()["disk"],
              (json{{"location", utf8(file)}, {"uuid", utf8(diskId)}, {"state", "Created"}, {"stateText", "created"}}));
    EXPECT_EQ(travikctl({L"disk", L"info", file}).out,
              "location: " + utf8(file) + "\nuuid:     " + utf8(diskId) + "\nstate:    created\n");
    EXPECT_EQ(travikctl({L"disk", L"open", file}).out,
              "location: " + utf8(file) + "\nuuid:     " + utf8(diskId) + "\nstate:    created\n");
    EXPECT_EQ(travikctlJson({L"disk", L"info", file}).json()["disk"]["uuid"], utf8(diskId));
}

TEST_F(TravikctlDisk, openTellsWhatIsNoImage)
{
    expectRefused({L"disk", L"info", (folder() / L"none.vdi").wstring()}, 3, "openMedium", "CheckFileExistsFail", "");
    makeDisk(L"first.vdi");
    makeDisk(L"second.vdi");
    ASSERT_TRUE(succeeded(travikctl({L"disk", L"attach", player(), L"SATA", (folder() / L"first.vdi").wstring()})));
    const std::wstring second = (folder() / L"second.vdi").wstring();
    expectRefused({L"disk", L"open", second}, 1, "openMedium", "OpenMediumFail", "E_INVALIDARG");
    const Outcome fresh = travikctlJson({L"disk", L"open", second, L"--new-uuid"});
    ASSERT_TRUE(succeeded(fresh));
    EXPECT_NE(fresh.json()["disk"]["uuid"], utf8(diskId));
}

TEST_F(TravikctlDisk, attachShowDetach)
{
    const std::wstring file = makeDisk(L"a.vdi");
    EXPECT_EQ(travikctl({L"disk", L"ports", player(), L"SATA"}).out, "4\n");
    EXPECT_EQ(travikctlJson({L"disk", L"ports", player(), L"SATA"}).facts(), (json{{"ports", 4}}));
    const Outcome attached = travikctl({L"disk", L"attach", player(), L"SATA", file, L"--port", L"1"});
    ASSERT_TRUE(succeeded(attached));
    EXPECT_EQ(attached.out, "Attached " + utf8(file) + " to Player.\n");
    EXPECT_THAT(settingsOf(player()), HasSubstr(utf8(diskId)));
    EXPECT_EQ(travikctlJson({L"disk", L"current", player(), L"SATA", L"--port", L"1"}).json()["disk"]["location"],
              utf8(file));
    EXPECT_THAT(travikctl({L"disk", L"current", player(), L"SATA", L"--port", L"1"}).out,
                StartsWith("location: " + utf8(file) + "\nuuid:     " + utf8(diskId)));
    expectRefused({L"disk", L"attach", player(), L"SATA", file, L"--port", L"2"}, 1, "attachMedium", "AttachDeviceFail",
                  "VBOX_E_OBJECT_IN_USE");
    expectRefused({L"disk", L"close", file}, 1, "closeMedium", "CloseMediumFail", "VBOX_E_OBJECT_IN_USE");
    expectRefused({L"disk", L"delete", file, L"--yes"}, 1, "closeMedium", "CloseMediumFail", "VBOX_E_OBJECT_IN_USE");
    EXPECT_TRUE(std::filesystem::exists(file)) << "the disk of a machine is not deleted";

    EXPECT_EQ(travikctlJson({L"disk", L"detach", player(), L"SATA", L"--port", L"1"}).json()["place"],
              (json{{"machine", "Player"}, {"controller", "SATA"}, {"port", 1}, {"device", 0}}));
    expectRefused({L"disk", L"current", player(), L"SATA", L"--port", L"1"}, 3, "getCurrentMedium",
                  "MachineGetMediumFail", "VBOX_E_OBJECT_NOT_FOUND");
    expectRefused({L"disk", L"detach", player(), L"SATA", L"--port", L"1"}, 3, "detachMedium", "DetachDeviceFail",
                  "VBOX_E_OBJECT_NOT_FOUND");
    expectRefused({L"disk", L"ports", player(), L"SCSI"}, 3, "getMachineStorageControllerPortCount",
                  "MachineGetStorageControllerByNameFail", "VBOX_E_OBJECT_NOT_FOUND");
    expectRefused({L"disk", L"attach", player(), L"SATA", file, L"--port", L"99"}, 1, "attachMedium",
                  "AttachDeviceFail", "E_INVALIDARG");
    EXPECT_EQ(travikctlJson({L"disk", L"attach", player(), L"SATA", file}).facts(),
              (json{{"file", utf8(file)},
                    {"place", {{"machine", "Player"}, {"controller", "SATA"}, {"port", 0}, {"device", 0}}}}));
    EXPECT_EQ(travikctl({L"disk", L"detach", player(), L"SATA"}).out, "Detached the disk.\n");
}

TEST_F(TravikctlDisk, closeForgetsAndDeleteRemoves)
{
    const std::wstring file = makeDisk(L"a.vdi");
    const Outcome closed = travikctl({L"disk", L"close", file});
    ASSERT_TRUE(succeeded(closed));
    EXPECT_EQ(closed.out, "VirtualBox has forgotten " + utf8(file) + ".\n");
    EXPECT_TRUE(std::filesystem::exists(file));
    EXPECT_TRUE(failed(travikctl({L"disk", L"delete", file}), 2, {"--yes is required"}));
    EXPECT_TRUE(std::filesystem::exists(file));
    EXPECT_EQ(travikctlJson({L"disk", L"delete", file, L"--yes"}).facts(), (json{{"file", utf8(file)}}));
    EXPECT_FALSE(std::filesystem::exists(file));
    const std::wstring second = makeDisk(L"b.vdi");
    EXPECT_EQ(travikctlJson({L"disk", L"close", second}).facts(), (json{{"file", utf8(second)}}));
    EXPECT_EQ(travikctl({L"disk", L"delete", second, L"--yes"}).out, "Deleted " + utf8(second) + ".\n");
    EXPECT_FALSE(std::filesystem::exists(second));
}

TEST_F(TravikctlDisk, renameMovesTheFileAndOverwritesNothing)
{
    const std::wstring from = makeDisk(L"a.vdi");
    const std::wstring to = (folder() / L"b 🎮.vdi").wstring();
    const Outcome renamed = travikctlJson({L"disk", L"rename", from, to});
    ASSERT_TRUE(succeeded(renamed));
    EXPECT_EQ(renamed.facts(), (json{{"file", utf8(from)}, {"target", utf8(to)}}));
    EXPECT_TRUE(std::filesystem::exists(to));
    EXPECT_FALSE(std::filesystem::exists(from));
    makeDisk(L"a.vdi");
    expectRefused({L"disk", L"rename", from, to}, 1, "renameVmDisk", "RenameFilePathFail", "");
    EXPECT_TRUE(std::filesystem::exists(from));
    const std::wstring third = (folder() / L"c.vdi").wstring();
    EXPECT_EQ(travikctl({L"disk", L"rename", from, third}).out, "Renamed " + utf8(from) + " to " + utf8(third) + ".\n");
}
