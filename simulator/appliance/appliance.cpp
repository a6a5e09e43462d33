#include "appliance/appliance.h"

#include <Poco/Exception.h>
#include <Poco/URI.h>

#include <algorithm>
#include <cwctype>

#include "base/safe_name.h"
#include "images/byte_source.h"

namespace VBoxSim {

namespace {

constexpr std::uint64_t largestDescriptor = std::uint64_t(8) << 20;
constexpr std::uint64_t largestManifest = std::uint64_t(1) << 20;

std::wstring lowerSuffix(const std::filesystem::path& file)
{
    std::wstring suffix = file.extension().wstring();
    std::transform(suffix.begin(), suffix.end(), suffix.begin(), [](wchar_t c) { return std::towlower(c); });
    return suffix;
}

bool hasSuffix(const std::string& name, const wchar_t* suffix)
{
    return lowerSuffix(fromUtf8(name)) == suffix;
}

std::string percentDecoded(const std::string& name)
{
    std::string decoded;
    try {
        Poco::URI::decode(name, decoded);
    } catch (const Poco::SyntaxException&) {
        return name;
    }
    return decoded;
}

} // namespace

/// A disk on its way: opened, and where it goes.
struct Appliance::Work
{
    const DiskImport* disk = nullptr;
    std::filesystem::path target;
    std::uint64_t bytes = 0;
    std::shared_ptr<ByteSource> copySource; ///< not null: the file is copied as it is
    std::unique_ptr<ImageReader> reader;    ///< not null: converted; neither: a blank disk
};

void Appliance::checkSuffix(const std::filesystem::path& file)
{
    const std::wstring suffix = lowerSuffix(file);
    if (suffix != L".ova" && suffix != L".ovf")
        throw StorageError(Fault::BadName, L"'" + file.wstring() + L"' is no appliance: its suffix must be ova or ovf");
}

Appliance::Appliance(const std::filesystem::path& file) : path_(file)
{
    checkSuffix(file);
    if (lowerSuffix(file) == L".ova")
        archive_ = std::make_unique<TarArchive>(std::make_shared<FileSource>(file));
    const std::string name = descriptorName();
    descriptor_ = parseOvf(readAll(*openFile(name), largestDescriptor, fromUtf8(name)));
    readManifest(name);
    for (const OvfFile& reference : descriptor_.files)
        resolveName(reference.href);
}

std::string Appliance::descriptorName() const
{
    if (!archive_)
        return toUtf8(path_.filename().wstring());
    const auto& members = archive_->members();
    const auto found = std::find_if(members.begin(), members.end(),
                                    [](const TarMember& member) { return hasSuffix(member.name, L".ovf"); });
    if (found == members.end())
        throw StorageError(Fault::BadArchive, L"The archive '" + path_.wstring() + L"' has no OVF descriptor");
    return found->name;
}

bool Appliance::hasFile(const std::string& name) const
{
    if (archive_)
        return archive_->find(name) != nullptr;
    std::error_code ignored;
    return isPlainFileName(fromUtf8(name)) &&
           std::filesystem::is_regular_file(systemPath(path_.parent_path() / fromUtf8(name)), ignored);
}

std::shared_ptr<ByteSource> Appliance::openFile(const std::string& name) const
{
    if (!archive_)
        return std::make_shared<FileSource>(path_.parent_path() / fromUtf8(name));
    const TarMember* member = archive_->find(name);
    if (!member)
        throw StorageError(Fault::NotFound, L"'" + fromUtf8(name) + L"' is missing in '" + path_.wstring() + L"'");
    return archive_->open(*member);
}

std::string Appliance::resolveName(const std::string& href) const
{
    // A reference is a URL by the letter, but many programs write names as they are.
    for (std::string name : {href, percentDecoded(href)}) {
        if (name.rfind("./", 0) == 0)
            name.erase(0, 2);
        if (leavesFolder(name))
            throw StorageError(Fault::BadName, L"The file name '" + fromUtf8(href) + L"' leads out of the appliance");
        if (hasFile(name))
            return name;
    }
    throw StorageError(Fault::NotFound, L"'" + fromUtf8(href) + L"' is missing in '" + path_.wstring() + L"'");
}

void Appliance::readManifest(const std::string& descriptor)
{
    const std::string name = descriptor.substr(0, descriptor.rfind('.')) + ".mf";
    if (!hasFile(name))
        return;
    manifest_ = parseManifest(readAll(*openFile(name), largestManifest, fromUtf8(name)));
    for (const ManifestEntry& entry : manifest_)
        resolveName(entry.file);
}

void Appliance::verifyDigests(const ProgressCallback& progress) const
{
    std::vector<std::shared_ptr<ByteSource>> sources;
    std::uint64_t total = 0;
    for (const ManifestEntry& entry : manifest_) {
        sources.push_back(openFile(resolveName(entry.file)));
        total += sources.back()->size();
    }
    std::uint64_t done = 0;
    const auto onBytes = [&](std::uint64_t bytes) {
        done += bytes;
        return !progress || progress(done, total);
    };
    for (std::size_t i = 0; i < manifest_.size(); ++i)
        checkDigest(manifest_[i], *sources[i], onBytes);
}

std::unique_ptr<ImageReader> Appliance::openDisk(const std::string& diskId) const
{
    const OvfDisk* disk = descriptor_.findDisk(diskId);
    const OvfFile* file = disk ? descriptor_.findFile(disk->fileRef) : nullptr;
    if (!file)
        throw StorageError(Fault::InvalidArgument, L"There is no image of a disk '" + fromUtf8(diskId) + L"'");
    const ExtentOpener openExtent = [this](const std::string& name) { return openFile(resolveName(name)); };
    return openImage(openFile(resolveName(file->href)), fromUtf8(file->href), openExtent);
}

Appliance::Work Appliance::prepare(const DiskImport& import) const
{
    const OvfDisk* disk = descriptor_.findDisk(import.diskId);
    if (!disk)
        throw StorageError(Fault::InvalidArgument, L"There is no disk '" + fromUtf8(import.diskId) + L"'");
    if (!import.target.is_absolute() || !isPlainFileName(import.target.filename().wstring()))
        throw StorageError(Fault::BadName, L"'" + import.target.wstring() + L"' cannot be the name of a disk");

    Work work;
    work.disk = &import;
    work.target = import.target;
    work.bytes = disk->capacity;
    ImageFormat format = ImageFormat::Vdi;
    if (const OvfFile* file = descriptor_.findFile(disk->fileRef)) {
        work.reader = openDisk(import.diskId);
        work.bytes = work.reader->info().logicalSize;
        std::shared_ptr<ByteSource> source = openFile(resolveName(file->href));
        if (import.format == ImageFormat::Vmdk && work.reader->info().format == ImageFormat::Vmdk &&
            isOneFile(*source)) {
            format = ImageFormat::Vmdk;
            work.copySource = std::move(source);
        }
        if (work.reader->info().optical)
            throw StorageError(Fault::Unsupported, L"'" + fromUtf8(file->href) + L"' is no image of a hard disk");
    }
    if (work.bytes > maxImportedDiskSize)
        throw StorageError(Fault::Unsupported, L"The disk '" + fromUtf8(disk->id) + L"' is too large");
    if (work.copySource)
        work.bytes = work.copySource->size();
    work.target.replace_extension(format == ImageFormat::Vmdk ? L".vmdk" : L".vdi");
    return work;
}

std::vector<ImportedDisk> Appliance::importDisks(const std::vector<DiskImport>& disks, CreatedFiles& created,
                                                 const ProgressCallback& progress) const
{
    // All sources are opened and checked before anything is written.
    std::vector<Work> works;
    std::uint64_t total = 0;
    for (const DiskImport& disk : disks) {
        works.push_back(prepare(disk));
        total += works.back().bytes;
    }
    CreatedFiles made;
    std::vector<ImportedDisk> imported;
    std::uint64_t finished = 0;
    const ProgressCallback onDisk = [&](std::uint64_t done, std::uint64_t) {
        return !progress || progress(finished + done, total);
    };
    for (Work& work : works) {
        made.makeFolders(work.target.parent_path());
        if (work.copySource)
            cloneImage(*work.copySource, work.target.wstring(), work.target, work.disk->uuid, onDisk);
        else if (work.reader)
            convertToVdi(*work.reader, work.target, work.disk->uuid, onDisk);
        else
            createVdi(work.target, work.bytes, {work.disk->uuid, {}, {}});
        made.add(work.target);
        finished += work.bytes;
        imported.push_back({work.disk->diskId, work.target, probeImage(work.target)});
        work.reader.reset();
    }
    if (progress && !progress(finished, total))
        throw StorageError(Fault::Canceled, L"The import was canceled");
    created.append(std::move(made));
    return imported;
}

} // namespace VBoxSim
