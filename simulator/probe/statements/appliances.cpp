// Appliances: reading, interpreting, importing.
#include "files.h"
#include "lab.h"

namespace Probe {
namespace {

using enum Ground;

ComPtr<IAppliance> newAppliance(Lab& lab)
{
    ComPtr<IAppliance> appliance;
    must(lab.box->CreateAppliance(&appliance));
    return appliance;
}

HRESULT readFile(const ComPtr<IAppliance>& appliance, const std::filesystem::path& file)
{
    ComPtr<IProgress> progress;
    const HRESULT result = appliance->Read(Text(file.wstring()), &progress);
    return FAILED(result) ? result : finish(progress).result;
}

/// Writes a descriptor, and its disk beside it when it names one.
std::filesystem::path writeOvf(Lab& lab, ApplianceText what)
{
    const std::filesystem::path file = lab.newFile(L".ovf");
    if (!what.disk.empty()) {
        const std::filesystem::path disk = file.parent_path() / what.disk;
        writeVmdk(disk);
        what.diskBytes = std::filesystem::file_size(disk);
    }
    writeText(file, ovfText(what));
    return file;
}

ComPtr<IAppliance> opened(Lab& lab, const ApplianceText& what)
{
    const ComPtr<IAppliance> appliance = newAppliance(lab);
    must(readFile(appliance, writeOvf(lab, what)));
    return appliance;
}

/// One that is interpreted while new machines go to the folder of the probe.
ComPtr<IAppliance> interpreted(Lab& lab, const ApplianceText& what)
{
    lab.redirectMachineFolder();
    const ComPtr<IAppliance> appliance = opened(lab, what);
    must(appliance->Interpret());
    return appliance;
}

ComPtr<IVirtualSystemDescription> description(const ComPtr<IAppliance>& appliance)
{
    const auto found =
        array(appliance, &IAppliance::get_VirtualSystemDescriptions).objects<IVirtualSystemDescription>();
    if (found.size() != 1)
        throw std::runtime_error("there are " + std::to_string(found.size()) + " descriptions");
    return found[0];
}

std::vector<std::wstring> values(const ComPtr<IAppliance>& appliance, ULONG type, ULONG which)
{
    Array found;
    must(description(appliance)->GetValuesByType(type, which, found.put()));
    return found.texts();
}

std::wstring value(const ComPtr<IAppliance>& appliance, ULONG type, ULONG which)
{
    const std::vector<std::wstring> found = values(appliance, type, which);
    return found.size() == 1 ? found[0] : L"another number of values";
}

HRESULT import(const ComPtr<IAppliance>& appliance, const std::vector<LONG>& options)
{
    ComPtr<IProgress> progress;
    const HRESULT result = appliance->ImportMachines(Array::ofNumbers(options), &progress);
    return FAILED(result) ? result : finish(progress).result;
}

ComPtr<IMachine> importedMachine(Lab& lab, const ComPtr<IAppliance>& appliance)
{
    const std::vector<std::wstring> ids = array(appliance, &IAppliance::get_Machines).texts();
    if (ids.size() != 1)
        throw std::runtime_error("there are " + std::to_string(ids.size()) + " imported machines");
    return lab.find(ids[0]);
}

ApplianceText named(Lab& lab)
{
    ApplianceText what;
    what.name = utf8(lab.newName());
    return what;
}

ApplianceText withDisk(Lab& lab)
{
    ApplianceText what = named(lab);
    what.disk = "probe-disk.vmdk";
    return what;
}

// ---- reading

Finding otherSuffix(Lab& lab)
{
    ComPtr<IProgress> progress;
    const HRESULT result = newAppliance(lab)->Read(Text(lab.newFile(L".zip").wstring()), &progress);
    return all({answers(Result::FileError, result), yes(!progress)});
}

Finding missing(Lab& lab)
{
    ComPtr<IProgress> progress;
    const HRESULT result = newAppliance(lab)->Read(Text(lab.newFile(L".ovf").wstring()), &progress);
    if (FAILED(result))
        return answers(Result::Ok, result);
    return all({answers(Result::Ok, result),
                answersOneOf({Result::FileError, Result::ObjectNotFound}, finish(progress).result)});
}

Finding damaged(Lab& lab)
{
    const std::filesystem::path file = lab.newFile(L".ovf");
    writeText(file, ovfText({}).substr(0, 500));
    return answers(Result::FileError, readFile(newAppliance(lab), file));
}

Finding noEnvelope(Lab& lab)
{
    const std::filesystem::path file = lab.newFile(L".ovf");
    writeText(file, "<?xml version=\"1.0\"?>\n<Letter/>\n");
    return answers(Result::FileError, readFile(newAppliance(lab), file));
}

Finding memoryUnits(Lab& lab)
{
    ApplianceText what = named(lab);
    what.memoryUnits = "byte * 2^30";
    return answers(Result::FileError, readFile(newAppliance(lab), writeOvf(lab, what)));
}

Finding archive(Lab& lab)
{
    const ApplianceText what = named(lab);
    const std::filesystem::path file = lab.newFile(L".ova");
    writeTar(file, {{"probe.ovf", ovfText(what)}});
    const ComPtr<IAppliance> appliance = newAppliance(lab);
    must(readFile(appliance, file));
    must(appliance->Interpret());
    return equal(wide(what.name), value(appliance, DescriptionType::Name, DescriptionValue::Original));
}

Finding archiveWithoutDescriptor(Lab& lab)
{
    const std::filesystem::path file = lab.newFile(L".ova");
    writeTar(file, {{"readme.txt", "no appliance"}});
    return answers(Result::FileError, readFile(newAppliance(lab), file));
}

// ---- the order of calls

Finding nothingBefore(Lab& lab)
{
    const ComPtr<IAppliance> appliance = opened(lab, named(lab));
    return equal(0, static_cast<std::int64_t>(array(appliance, &IAppliance::get_VirtualSystemDescriptions).size()));
}

Finding interpretTooEarly(Lab& lab)
{
    return answers(Result::Fail, newAppliance(lab)->Interpret());
}

Finding importTooEarly(Lab& lab)
{
    return answers(Result::Fail, import(newAppliance(lab), {}));
}

Finding noMachinesBefore(Lab& lab)
{
    const ComPtr<IAppliance> appliance = interpreted(lab, named(lab));
    return equal(0, static_cast<std::int64_t>(array(appliance, &IAppliance::get_Machines).size()));
}

// ---- descriptions

Finding nameValues(Lab& lab)
{
    const ApplianceText what = named(lab);
    const ComPtr<IAppliance> appliance = interpreted(lab, what);
    return all({equal(wide(what.name), value(appliance, DescriptionType::Name, DescriptionValue::Original)),
                equal(wide(what.name), value(appliance, DescriptionType::Name, DescriptionValue::Auto))});
}

Finding takenName(Lab& lab)
{
    ApplianceText what;
    what.name = utf8(text(lab.machine(), &IMachine::get_Name));
    const ComPtr<IAppliance> appliance = interpreted(lab, what);
    const std::wstring name = value(appliance, DescriptionType::Name, DescriptionValue::Auto);
    const std::wstring taken = wide(what.name);
    return all({equal(taken, value(appliance, DescriptionType::Name, DescriptionValue::Original)),
                says(name == taken + L" 1" || name == taken + L"_1", "'" + what.name + " 1' or '..._1'", utf8(name))});
}

Finding noSuchEntry(Lab& lab)
{
    const ComPtr<IAppliance> appliance = interpreted(lab, named(lab));
    return equal(
        0, static_cast<std::int64_t>(values(appliance, DescriptionType::HardDiskImage, DescriptionValue::Auto).size()));
}

Finding hardwareValues(Lab& lab)
{
    const ComPtr<IAppliance> appliance = interpreted(lab, withDisk(lab));
    return all(
        {equal(L"2", value(appliance, DescriptionType::CPU, DescriptionValue::Auto)),
         equal(1, static_cast<std::int64_t>(
                      values(appliance, DescriptionType::HardDiskImage, DescriptionValue::Original).size())),
         equal(1, static_cast<std::int64_t>(
                      values(appliance, DescriptionType::HardDiskControllerSATA, DescriptionValue::Auto).size()))});
}

Finding memoryInMegabytes(Lab& lab)
{
    return equal(L"96", value(interpreted(lab, named(lab)), DescriptionType::Memory, DescriptionValue::Auto));
}

/// All entries of a description.
struct Entries
{
    explicit Entries(const ComPtr<IVirtualSystemDescription>& description)
    {
        Array types, references, originals, suggested, extras;
        must(
            description->GetDescription(types.put(), references.put(), originals.put(), suggested.put(), extras.put()));
        kinds = types.numbers();
        values = suggested.texts();
        this->extras = extras.texts();
    }
    std::vector<LONG> kinds;
    std::vector<std::wstring> values, extras;
};

Finding finalValues(Lab& lab)
{
    const ComPtr<IAppliance> appliance = interpreted(lab, named(lab));
    Entries entries(description(appliance));
    const std::wstring name = lab.newName();
    for (std::size_t i = 0; i < entries.kinds.size(); ++i)
        if (entries.kinds[i] == DescriptionType::Name)
            entries.values[i] = name;
    must(description(appliance)->SetFinalValues(Array::ofNumbers(std::vector<LONG>(entries.kinds.size(), TRUE)),
                                                Array::ofTexts(entries.values), Array::ofTexts(entries.extras)));
    must(import(appliance, {}));
    return equal(name, text(importedMachine(lab, appliance), &IMachine::get_Name));
}

Finding finalValuesTooFew(Lab& lab)
{
    const ComPtr<IAppliance> appliance = interpreted(lab, named(lab));
    return answers(Result::InvalidArg, description(appliance)->SetFinalValues(
                                           Array::ofNumbers({TRUE}), Array::ofTexts({L"x"}), Array::ofTexts({L"x"})));
}

// ---- importing

Finding imported(Lab& lab)
{
    const ApplianceText what = named(lab);
    const ComPtr<IAppliance> appliance = interpreted(lab, what);
    must(import(appliance, {}));
    const ComPtr<IMachine> machine = importedMachine(lab, appliance);
    return all({equal(wide(what.name), text(machine, &IMachine::get_Name)),
                equal(2, read(machine, &IMachine::get_CPUCount)), equal(96, read(machine, &IMachine::get_MemorySize))});
}

std::wstring importedDisk(Lab& lab, const std::vector<LONG>& options)
{
    const ComPtr<IAppliance> appliance = interpreted(lab, withDisk(lab));
    must(import(appliance, options));
    const auto attachments =
        array(importedMachine(lab, appliance), &IMachine::get_MediumAttachments).objects<IMediumAttachment>();
    for (const ComPtr<IMediumAttachment>& attachment : attachments)
        if (read(attachment, &IMediumAttachment::get_Type) == DeviceType::HardDisk)
            return text(object(attachment, &IMediumAttachment::get_Medium), &IMedium::get_Format);
    return L"no disk";
}

Finding archiveDisk(Lab& lab)
{
    return equal(L"VMDK", importedDisk(lab, {}));
}

Finding vdiDisk(Lab& lab)
{
    return equal(L"VDI", importedDisk(lab, {ImportOptions::ImportToVDI}));
}

Finding bothMacOptions(Lab& lab)
{
    const ComPtr<IAppliance> appliance = interpreted(lab, named(lab));
    return answers(Result::InvalidArg, import(appliance, {ImportOptions::KeepAllMACs, ImportOptions::KeepNATMACs}));
}

Finding damagedDisk(Lab& lab)
{
    const ApplianceText what = withDisk(lab);
    const ComPtr<IAppliance> appliance = interpreted(lab, what);
    const std::filesystem::path descriptor = text(appliance, &IAppliance::get_Path);
    writeText(descriptor.parent_path() / what.disk, "no disk at all");
    const HRESULT result = import(appliance, {});
    ComPtr<IMachine> found;
    return all({fails(result), answers(Result::ObjectNotFound, lab.box->FindMachine(Text(wide(what.name)), &found)),
                no(std::filesystem::exists(lab.folder() / wide(what.name)))});
}

Finding wrongDigest(Lab& lab)
{
    ApplianceText what = withDisk(lab);
    lab.redirectMachineFolder();
    const std::filesystem::path file = writeOvf(lab, what);
    std::filesystem::path manifest = file;
    writeText(manifest.replace_extension(L".mf"), "SHA256(" + what.disk + ")= " + std::string(64, '0') + "\n");
    const ComPtr<IAppliance> appliance = newAppliance(lab);
    must(readFile(appliance, file));
    must(appliance->Interpret());
    const HRESULT result = import(appliance, {});
    ComPtr<IMachine> found;
    return all({answers(Result::FileError, result),
                answers(Result::ObjectNotFound, lab.box->FindMachine(Text(wide(what.name)), &found))});
}

Finding existingFile(Lab& lab)
{
    const ApplianceText what = named(lab);
    lab.redirectMachineFolder();
    const ComPtr<IAppliance> appliance = opened(lab, what);
    must(appliance->Interpret());
    const std::filesystem::path taken = lab.fileFor(wide(what.name));
    std::filesystem::create_directories(taken.parent_path());
    writeText(taken, "somebody else's");
    const HRESULT result = import(appliance, {});
    return all({answers(Result::FileError, result), yes(readText(taken) == "somebody else's")});
}

} // namespace

Subject applianceStatements()
{
    return {
        "appliances",
        "Appliances",
        {
            {"appliances.suffix", "Only `.ovf` and `.ova` are read; else `VBOX_E_FILE_ERROR` at once.", Documented,
             otherSuffix},
            {"appliances.missing",
             "A missing file fails in the progress: `VBOX_E_FILE_ERROR` by field reports, `VBOX_E_OBJECT_NOT_FOUND` by "
             "the sources.",
             Documented, missing},
            {"appliances.damaged", "So does a descriptor that is cut off, with `VBOX_E_FILE_ERROR`.", Documented,
             damaged},
            {"appliances.no-envelope", "And one that is no envelope.", Documented, noEnvelope},
            {"appliances.memory-units", "Memory in other units than megabytes is refused, with `VBOX_E_FILE_ERROR`.",
             Documented, memoryUnits},
            {"appliances.archive", "An archive's first `.ovf` is its descriptor.", Documented, archive},
            {"appliances.no-descriptor", "An archive without one gives `VBOX_E_FILE_ERROR`.", Documented,
             archiveWithoutDescriptor},
            {"appliances.nothing-before", "There are no descriptions before `Interpret`.", Documented, nothingBefore},
            {"appliances.early-interpret", "`Interpret` before `Read` gives `E_FAIL`.", Documented, interpretTooEarly},
            {"appliances.early-import", "So does `ImportMachines`.", Documented, importTooEarly},
            {"appliances.name", "A description's values are what the file says, and what will be done.", Documented,
             nameValues},
            {"appliances.taken-name",
             "A name that is taken gets a number: after a blank by the sources, after `_` by older notes.", Documented,
             takenName},
            {"appliances.no-entry", "What the file does not have has no values.", Documented, noSuchEntry},
            {"appliances.hardware", "Processors, disks and controllers are entries of their own.", Documented,
             hardwareValues},
            {"appliances.memory", "The memory that will be is told in megabytes.", Documented, memoryInMegabytes},
            {"appliances.final-values", "`SetFinalValues` changes what will be done.", Documented, finalValues},
            {"appliances.final-values-count", "It wants as many values as there are entries; else `E_INVALIDARG`.",
             Documented, finalValuesTooFew},
            {"appliances.no-machines", "There are no machines before the import.", Documented, noMachinesBefore},
            {"appliances.import", "The import registers the machine as described, and tells its UUID.", Documented,
             imported},
            {"appliances.vmdk", "A VMDK stays one.", Documented, archiveDisk},
            {"appliances.vdi", "`ImportToVDI` makes it a VDI.", Documented, vdiDisk},
            {"appliances.mac-options", "`KeepAllMACs` together with `KeepNATMACs` gives `E_INVALIDARG`.", Documented,
             bothMacOptions},
            {"appliances.damaged-disk", "An image that cannot be read fails the import, and nothing is left of it.",
             Documented, damagedDisk},
            {"appliances.manifest", "A digest that differs from the manifest's fails the import, too.", Documented,
             wrongDigest},
            {"appliances.existing", "A settings file that exists ends it with `VBOX_E_FILE_ERROR`, and stays.",
             Documented, existingFile},
        }};
}

} // namespace Probe
