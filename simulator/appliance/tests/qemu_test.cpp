#include <cstdlib>

#include "appliance/appliance.h"
#include "images/byte_source.h"
#include "test_support.h"

// Imports the appliances that qemu_ovas.py made; the script then compares the disks.

using namespace ImageTests;
using namespace VBoxSim;

TEST(QemuAppliances, AreImported)
{
    const wchar_t* folder = _wgetenv(L"TRAVIK_QEMU_OVAS");
    ASSERT_NE(folder, nullptr);
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.path().extension() != L".ova")
            continue;
        const std::wstring name = entry.path().stem().wstring();
        ++count;
        const Appliance appliance(entry.path());
        EXPECT_EQ(appliance.hasManifest(), name != L"named");
        appliance.verifyDigests(nullptr);

        ImportSurroundings server;
        server.isNameTaken = [](const std::wstring&) { return false; };
        server.readMachine = [](const std::string&) { return ImportMachine(); };
        server.settingsFile = [](const std::wstring& machine) {
            return TravikTest::scratchFolder() / machine / (machine + L".vbox");
        };
        server.findOsType = [](const std::wstring&) { return std::optional(ImportOsType{512, 2}); };
        server.isFileTaken = [](const std::filesystem::path&) { return false; };
        const Interpretation result = interpret(appliance.descriptor(), server);
        ASSERT_EQ(result.systems.size(), 1u);
        for (const DescriptionEntry& line : result.systems[0].entries) {
            if (line.type != DescriptionType::HardDiskImage)
                continue;
            CreatedFiles created;
            const auto imported = appliance.importDisks(
                {{toUtf8(line.reference), TravikTest::scratchFolder() / name / line.suggested, ImageFormat::Vdi, {}}},
                created, nullptr);
            created.commit();
            EXPECT_EQ(imported.at(0).info.logicalSize, 12 * megabyte + 700 * sector);
            EXPECT_EQ(imported.at(0).file.parent_path(), TravikTest::scratchFolder() / name);
        }
    }
    EXPECT_EQ(count, 5u);
}
