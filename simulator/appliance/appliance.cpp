#include "appliance/appliance.h"

#include <algorithm>

#include "appliance/gzip.h"
#include "base/failure.h"
#include "base/files.h"
#include "base/safe_name.h"
#include "base/text.h"
#include "images/byte_source.h"
#include "images/vmdk.h"

namespace VBoxSim {

namespace {

constexpr std::uint64_t largestDescriptor = std::uint64_t(64) << 20;
constexpr std::uint64_t largestManifest = std::uint64_t(8) << 20;
constexpr std::uint64_t largestOpticalDisk = std::uint64_t(128) << 30;

bool hasSuffix(const std::string& name, const wchar_t* suffix)
{
    return Files::suffixOf(fromUtf8(name)) == suffix;
}

std::string withoutSuffix(const std::string& name)
{
    return name.substr(0, name.rfind('.'));
}

void checkName(const std::string& href)
{
    if (leavesFolder(href))
        throw Failure(Result::fileError, L"The file name '" + fromUtf8(href) + L"' leads out of the appliance");
}

/// The bound for the unpacked file of a disk: no format needs more than its disk's size and a little for each part of
/// it.
std::uint64_t mostUnpackedBytes(std::uint64_t capacity)
{
    constexpr std::uint64_t headers = std::uint64_t(16) << 20;
    return std::min(capacity, maxImportedDiskSize) / 8 * 9 + headers;
}

} // namespace

/// Writes one disk.
class Appliance::DiskWriter
{
public:
    DiskWriter(const Appliance& appliance, const DiskImport& request, CreatedFiles& made,
               const ProgressCallback& progress)
        : appliance_(appliance),
          request_(request),
          disk_(appliance.demandDisk(request.diskId)),
          target_(request.target),
          made_(made),
          progress_(progress)
    {}

    ImportedDisk write()
    {
        if (!target_.is_absolute() || !isPlainFileName(target_.filename().wstring()))
            throw Failure(Result::fileError, L"'" + target_.wstring() + L"' cannot be the name of a disk");
        made_.makeFolders(target_.parent_path());
        try {
            writeAny();
        } catch (const Failure& failure) {
            // An image with something that is not handled here is one that cannot be read.
            if (failure.code() != Result::notSupported)
                throw;
            throw Failure(Result::fileError, failure.text());
        }
        made_.add(target_);
        return {request_.diskId, target_, probeImage(target_)};
    }

private:
    [[noreturn]] void refuse(const wchar_t* what) const
    {
        throw Failure(Result::fileError, L"The disk '" + fromUtf8(disk_.id) + L"' " + what);
    }

    void writeAny()
    {
        if (disk_.href.empty())
            writeBlank();
        else if (importFormat(disk_) == ImageFormat::Raw)
            writeOptical(*appliance_.openFile(disk_.href));
        else
            writeFrom(appliance_.openFile(disk_.href));
    }

    void writeBlank()
    {
        if (disk_.capacity > maxImportedDiskSize)
            refuse(L"is too large");
        target_.replace_extension(L".vdi");
        createVdi(target_, disk_.capacity, {request_.uuid, {}, {}});
    }

    void writeFrom(const std::shared_ptr<ByteSource>& file)
    {
        if (!isGzipped(disk_)) {
            writeImage(file, progress_);
            return;
        }
        // Removed again when this scope is left, however.
        NewFile unpacked(target_.parent_path() / (L"temp_" + target_.filename().wstring()));
        unpackTo(unpacked.file(), *file);
        writeImage(std::make_shared<OpenFileSource>(unpacked.file()), [this](std::uint64_t done, std::uint64_t all) {
            return !progress_ || progress_(all + done, 2 * all);
        });
    }

    void unpackTo(File& unpacked, const ByteSource& file)
    {
        std::uint64_t size = 0;
        std::uint64_t most = mostUnpackedBytes(disk_.capacity);
        gunzip(file, [&](const std::uint8_t* data, std::size_t length, std::uint64_t packed) {
            unpacked.writeAt(size, data, length);
            // What is no image is not unpacked to its end.
            if (size == 0 && !isVmdk(OpenFileSource(unpacked)))
                refuse(L"is no VMDK image");
            size += length;
            if (size > most)
                refuse(L"unpacks to more than a disk of its capacity can take");
            if (progress_ && !progress_(packed, 2 * file.size())) // the image is the other half
                throw Canceled();
        });
        if (size == 0)
            refuse(L"is empty");
    }

    void writeImage(const std::shared_ptr<ByteSource>& bytes, const ProgressCallback& progress)
    {
        if (!isVmdk(*bytes))
            refuse(L"is no VMDK image");
        const auto reader = openImage(bytes, fromUtf8(disk_.href),
                                      [this](const std::string& name) { return appliance_.openFile(name); });
        if (reader->info().logicalSize > maxImportedDiskSize)
            refuse(L"is too large");
        const bool copied = request_.format == ImageFormat::Vmdk && isOneFile(*bytes);
        target_.replace_extension(copied ? L".vmdk" : L".vdi");
        if (copied)
            cloneImage(*bytes, target_.wstring(), target_, request_.uuid, progress);
        else
            convertToVdi(*reader, target_, request_.uuid, progress);
    }

    /// The image of an optical disk is copied as it is.
    void writeOptical(const ByteSource& file)
    {
        if (!isOpticalSuffix(Files::suffixOf(target_.wstring())))
            refuse(L"is no image of a hard disk");
        if (!isGzipped(disk_)) {
            cloneImage(file, target_.wstring(), target_, {}, progress_);
            return;
        }
        NewFile copy(target_);
        std::uint64_t size = 0;
        gunzip(file, [&](const std::uint8_t* data, std::size_t length, std::uint64_t packed) {
            copy.file().writeAt(size, data, length);
            size += length;
            if (size > largestOpticalDisk || (disk_.capacity != 0 && size > mostUnpackedBytes(disk_.capacity)))
                refuse(L"unpacks to more than a disk of its capacity can take");
            if (progress_ && !progress_(packed, file.size()))
                throw Canceled();
        });
        copy.commit();
    }

    const Appliance& appliance_;
    const DiskImport& request_;
    const OvfDisk& disk_;
    std::filesystem::path target_;
    CreatedFiles& made_;
    const ProgressCallback& progress_;
};

void Appliance::checkSuffix(const std::filesystem::path& file)
{
    const std::wstring suffix = Files::suffixOf(file.wstring());
    if (suffix != L".ova" && suffix != L".ovf")
        throw Failure(Result::fileError, L"'" + file.wstring() + L"' is no appliance: its suffix must be ova or ovf");
}

Appliance::Appliance(const std::filesystem::path& file) : path_(file)
{
    checkSuffix(file);
    if (Files::suffixOf(file.wstring()) == L".ova")
        archive_ = std::make_unique<TarArchive>(std::make_shared<FileSource>(file));
    findParts();
    descriptor_ = parseOvf(readAll(*openFile(descriptorName_), largestDescriptor, fromUtf8(descriptorName_)));
    readManifest();
    for (const auto& disk : descriptor_.disks)
        if (!disk.second.href.empty())
            checkName(disk.second.href);
}

void Appliance::findParts()
{
    if (archive_) {
        findPartsOfArchive();
        return;
    }
    descriptorName_ = toUtf8(path_.filename().wstring());
    const std::string manifest = withoutSuffix(descriptorName_) + ".mf";
    if (Files::exists((path_.parent_path() / fromUtf8(manifest)).wstring()))
        manifestName_ = manifest;
}

/// The first descriptor counts, and the manifest and certificate of its name; those in front of it, of any name.
void Appliance::findPartsOfArchive()
{
    bool certificate = false;
    for (const TarMember& member : archive_->members()) {
        const bool fits = descriptorName_.empty() || equalIgnoringCase(fromUtf8(withoutSuffix(member.name)),
                                                                       fromUtf8(withoutSuffix(descriptorName_)));
        if (descriptorName_.empty() && hasSuffix(member.name, L".ovf"))
            descriptorName_ = member.name;
        else if (fits && manifestName_.empty() && hasSuffix(member.name, L".mf"))
            manifestName_ = member.name;
        else if (fits && hasSuffix(member.name, L".cert"))
            certificate = true;
    }
    if (descriptorName_.empty())
        throw Failure(Result::fileError, L"The archive '" + path_.wstring() + L"' has no OVF descriptor");
    if (certificate && manifestName_.empty())
        throw Failure(Result::fileError, L"The archive '" + path_.wstring() + L"' has a certificate but no manifest");
}

void Appliance::readManifest()
{
    if (!manifestName_.empty())
        manifest_ = parseManifest(readAll(*openFile(manifestName_), largestManifest, fromUtf8(manifestName_)));
}

std::shared_ptr<ByteSource> Appliance::openFile(const std::string& href) const
{
    checkName(href);
    const std::wstring name = fromUtf8(withoutLeadingDot(href));
    if (!archive_) {
        const std::filesystem::path relative(name);
        if (!std::all_of(relative.begin(), relative.end(),
                         [](const std::filesystem::path& part) { return isPlainFileName(part.wstring()); }))
            throw Failure(Result::objectNotFound, L"There can be no file '" + name + L"'");
        return std::make_shared<FileSource>(path_.parent_path() / relative);
    }
    const TarMember* member = archive_->find(withoutLeadingDot(href));
    if (!member)
        throw Failure(Result::fileError, L"'" + name + L"' is missing in '" + path_.wstring() + L"'");
    return archive_->open(*member);
}

const OvfDisk& Appliance::demandDisk(const std::string& diskId) const
{
    const OvfDisk* disk = descriptor_.findDisk(diskId);
    if (!disk)
        throw Failure(Result::invalidArgument, L"There is no disk '" + fromUtf8(diskId) + L"'");
    return *disk;
}

void Appliance::verifyDigests(const ProgressCallback& progress) const
{
    std::map<std::string, const ManifestEntry*> entries;
    for (const ManifestEntry& entry : manifest_)
        if (isComputed(entry))
            entries[entry.file] = &entry;
    // The digest of a file that is packed is that of the packed bytes. What no disk refers to is not read.
    std::vector<std::pair<const ManifestEntry*, std::shared_ptr<ByteSource>>> checks;
    std::uint64_t total = 0;
    const auto add = [&](const std::string& file) {
        const auto entry = entries.find(file);
        if (entry == entries.end())
            return;
        checks.emplace_back(entry->second, openFile(file));
        total += checks.back().second->size();
        entries.erase(entry);
    };
    add(descriptorName_);
    for (const auto& disk : descriptor_.disks)
        add(disk.second.href);
    std::uint64_t done = 0;
    const auto onBytes = [&](std::uint64_t bytes) {
        done += bytes;
        return !progress || progress(done, total);
    };
    for (const auto& [entry, source] : checks)
        checkDigest(*entry, *source, onBytes);
}

std::unique_ptr<ImageReader> Appliance::openDisk(const std::string& diskId) const
{
    const OvfDisk& disk = demandDisk(diskId);
    return openImage(openFile(disk.href), fromUtf8(disk.href),
                     [this](const std::string& name) { return openFile(name); });
}

std::vector<ImportedDisk> Appliance::importDisks(const std::vector<DiskImport>& disks, CreatedFiles& created,
                                                 const ProgressCallback& progress) const
{
    std::uint64_t total = 0;
    for (const DiskImport& disk : disks)
        total += std::min(demandDisk(disk.diskId).capacity, maxImportedDiskSize);
    CreatedFiles made;
    std::vector<ImportedDisk> imported;
    std::uint64_t finished = 0;
    for (const DiskImport& request : disks) {
        const std::uint64_t share = std::min(demandDisk(request.diskId).capacity, maxImportedDiskSize);
        // What an image really holds may differ from what the descriptor says of it.
        const ProgressCallback onDisk = [&](std::uint64_t done, std::uint64_t all) {
            const double part = all == 0 ? 1 : static_cast<double>(done) / static_cast<double>(all);
            return !progress ||
                   progress(finished + static_cast<std::uint64_t>(part * static_cast<double>(share)), total);
        };
        imported.push_back(DiskWriter(*this, request, made, onDisk).write());
        finished += share;
    }
    if (progress && !progress(finished, total))
        throw Canceled();
    created.append(std::move(made));
    return imported;
}

} // namespace VBoxSim
