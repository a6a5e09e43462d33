// What reads foreign bytes, one target a format. A Failure is an answer; everything else that leaves a target, and
// every check that does not hold, is a finding.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>

#include "appliance/gzip.h"
#include "appliance/interpretation.h"
#include "appliance/manifest.h"
#include "appliance/tar.h"
#include "base/failure.h"
#include "base/files.h"
#include "base/text.h"
#include "host/fault_table.h"
#include "host/scenario.h"
#include "images/image.h"
#include "settings/global_settings.h"
#include "settings/machine_settings.h"

using namespace VBoxSim;

namespace {

const std::wstring settingsFile = L"/nowhere/machine/machine.vbox";

/// What is accepted has to keep a promise.
void demand(bool holds, const char* promise)
{
    if (holds)
        return;
    std::fprintf(stderr, "broken promise: %s\n", promise);
    std::abort();
}

class MemorySource : public ByteSource
{
public:
    MemorySource(const std::uint8_t* data, std::size_t size) : bytes_(data, data + size) {}
    std::uint64_t size() const override { return bytes_.size(); }
    void readAt(std::uint64_t offset, void* buffer, std::size_t length) const override
    {
        if (offset > bytes_.size() || length > bytes_.size() - offset)
            throw Failure(Result::fileError, L"beyond the end");
        if (length > 0)
            std::memcpy(buffer, bytes_.data() + offset, length);
    }

private:
    std::vector<std::uint8_t> bytes_;
};

std::string textOf(const std::uint8_t* data, std::size_t size)
{
    return {reinterpret_cast<const char*>(data), size};
}

void readTar(const std::uint8_t* data, std::size_t size)
{
    const TarArchive archive(std::make_shared<MemorySource>(data, size));
    for (const TarMember& member : archive.members()) {
        demand(!member.name.empty() && archive.find(member.name), "a member is found by its name");
        const auto source = archive.open(member);
        std::vector<char> bytes(static_cast<std::size_t>(std::min<std::uint64_t>(source->size(), 4096)));
        source->readAt(0, bytes.data(), bytes.size());
    }
}

void unpackGzip(const std::uint8_t* data, std::size_t size)
{
    std::uint64_t unpacked = 0;
    gunzip(MemorySource(data, size), [&](const std::uint8_t*, std::size_t length, std::uint64_t packed) {
        demand(packed <= size, "no more is read than there is");
        unpacked += length;
        if (unpacked > std::uint64_t(16) << 20)
            throw Canceled();
    });
}

void readOvf(const std::uint8_t* data, std::size_t size)
{
    ImportSurroundings server;
    server.isNameTaken = [](const std::wstring& name) { return name == L"vm"; };
    server.settingsFile = [](const std::wstring&) { return std::filesystem::path("/nowhere/vm/vm.vbox"); };
    server.isFileTaken = [](const std::filesystem::path&) { return false; };
    server.readMachine = [](const std::string& text) {
        const MachineSettings settings = parseMachineSettings(text, settingsFile);
        return ImportMachine{settings.name, settings.osType, settings.cpuCount, settings.memoryMegabytes, {}, {}};
    };
    server.findOsType = [](const std::wstring&) { return std::optional(ImportOsType{512, 3}); };
    const OvfDescriptor descriptor = parseOvf(textOf(data, size));
    const Interpretation result = interpret(descriptor, server);
    demand(result.systems.size() == descriptor.systems.size(), "every system is described");
    for (const SystemDescription& system : result.systems)
        for (const DescriptionEntry& entry : system.entries)
            if (entry.type == DescriptionType::HardDiskImage)
                demand(parseDrivePlace(entry.extra).has_value(), "every disk has a place");
}

void readSettings(const std::uint8_t* data, std::size_t size)
{
    const MachineSettings settings = parseMachineSettings(textOf(data, size), settingsFile);
    const std::string text = renderMachineSettings(settings, settingsFile);
    const MachineSettings again = parseMachineSettings(text, settingsFile);
    demand(again.id == settings.id && again.name == settings.name, "the machine is the same after it was saved");
    demand(again.cpuCount == settings.cpuCount && again.memoryMegabytes == settings.memoryMegabytes, "so is its size");
    demand(again.audio == settings.audio && again.paravirt == settings.paravirt, "so are its devices");
    demand(again.media.size() == settings.media.size(), "so are its media");
    demand(again.controllers.size() == settings.controllers.size(), "so are its controllers");
    demand(renderMachineSettings(again, settingsFile) == text, "saving again changes nothing");
}

void readImage(const std::uint8_t* data, std::size_t size)
{
    const auto openExtent = [](const std::string&) {
        static const std::vector<std::uint8_t> extent(4096, 1);
        return std::make_shared<MemorySource>(extent.data(), extent.size());
    };
    const auto reader = openImage(std::make_shared<MemorySource>(data, size), L"image.vmdk", openExtent);
    const std::uint64_t end = std::min<std::uint64_t>(reader->info().logicalSize, std::uint64_t(2) << 20);
    std::vector<std::uint8_t> buffer(std::size_t(64) << 10);
    for (std::uint64_t place = 0; place < end;) {
        const ImageRun run = reader->runAt(place);
        demand(run.length > 0 && run.length <= reader->info().logicalSize - place, "runs lie inside the disk");
        const auto length = static_cast<std::size_t>(std::min<std::uint64_t>({run.length, buffer.size(), end - place}));
        reader->read(place, buffer.data(), length);
        if (run.zero)
            demand(std::all_of(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(length),
                               [](std::uint8_t byte) { return byte == 0; }),
                   "what is said to be zero is zero");
        place += length;
    }
}

void readManifest(const std::uint8_t* data, std::size_t size)
{
    for (const ManifestEntry& entry : parseManifest(textOf(data, size)))
        demand(!entry.file.empty(), "every entry names a file");
}

void readRegistry(const std::uint8_t* data, std::size_t size)
{
    parseGlobalSettings(textOf(data, size), L"/nowhere/VirtualBox.xml");
}

void readScenario(const std::uint8_t* data, std::size_t size)
{
    FaultTable faults;
    Scenario scenario;
    applyScenario(fromUtf8(textOf(data, size)), scenario, faults);
}

using Target = void (*)(const std::uint8_t*, std::size_t);
Target target = nullptr;

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char*** arguments)
{
    const std::map<std::string, Target> targets = {{"fuzz_tar", readTar},           {"fuzz_gzip", unpackGzip},
                                                   {"fuzz_ovf", readOvf},           {"fuzz_settings", readSettings},
                                                   {"fuzz_vmdk", readImage},        {"fuzz_vdi", readImage},
                                                   {"fuzz_vhd", readImage},         {"fuzz_manifest", readManifest},
                                                   {"fuzz_registry", readRegistry}, {"fuzz_scenario", readScenario}};
    const auto found = targets.find(std::filesystem::path((*arguments)[0]).filename().string());
    if (found == targets.end()) {
        std::fprintf(stderr, "start this program as fuzz_tar, fuzz_ovf...\n");
        std::exit(2);
    }
    target = found->second;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    try {
        target(data, size);
    } catch (const Failure&) {
        // refused
    } catch (const std::filesystem::filesystem_error&) {
        // Here, not on Windows, the standard library cannot make every text a file name.
    }
    return 0;
}
