#pragma once

#include "appliance/interpretation.h"
#include "appliance/manifest.h"
#include "appliance/tar.h"
#include "images/image.h"

namespace VBoxSim {

/// Disks that claim more are refused by an import.
constexpr std::uint64_t maxImportedDiskSize = std::uint64_t(2) << 40;

/// A disk that an import is to write.
struct DiskImport
{
    std::string diskId;                     ///< OvfDisk::id
    std::filesystem::path target;           ///< absolute; the suffix is made to fit the format
    ImageFormat format = ImageFormat::Vmdk; ///< Vdi: convert; Vmdk: copy a one-file VMDK as it is, convert others
    Poco::UUID uuid;                        ///< of the new image; null: a random one
};

/// A disk that an import has written.
struct ImportedDisk
{
    std::string diskId;
    std::filesystem::path file;
    ImageInfo info;
};

/// An appliance: an .ova archive, or an .ovf descriptor with its files beside it. All failures are StorageError.
class Appliance
{
public:
    /// Fault::BadName unless the file has the suffix .ova or .ovf. Touches no file.
    static void checkSuffix(const std::filesystem::path& file);

    /// Reads archive directory, descriptor and manifest. Every file that the descriptor refers to must be there.
    explicit Appliance(const std::filesystem::path& file);

    const std::filesystem::path& path() const { return path_; }
    const OvfDescriptor& descriptor() const { return descriptor_; }
    bool hasManifest() const { return !manifest_.empty(); }

    /// Compares every file with its digest in the manifest; does nothing without a manifest.
    void verifyDigests(const ProgressCallback& progress) const;

    /// Opens the image of a disk.
    std::unique_ptr<ImageReader> openDisk(const std::string& diskId) const;

    /// Writes the disks, making missing folders, and adds everything made to `created`, which the caller commits when
    /// the rest of the import has gone well too. Progress is in bytes over all disks. A failure or a cancel removes
    /// what this call made before it throws; a target that exists is Fault::Exists.
    std::vector<ImportedDisk> importDisks(const std::vector<DiskImport>& disks, CreatedFiles& created,
                                          const ProgressCallback& progress) const;

private:
    struct Work;

    std::shared_ptr<ByteSource> openFile(const std::string& name) const;
    bool hasFile(const std::string& name) const;
    std::string resolveName(const std::string& href) const;
    std::string descriptorName() const;
    void readManifest(const std::string& descriptorName);
    Work prepare(const DiskImport& disk) const;

    std::filesystem::path path_;
    std::unique_ptr<TarArchive> archive_; ///< null: the files stand beside the descriptor
    OvfDescriptor descriptor_;
    std::vector<ManifestEntry> manifest_;
};

} // namespace VBoxSim
