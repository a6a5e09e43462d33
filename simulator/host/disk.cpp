#include "host/disk.h"

#include "base/failure.h"
#include "base/files.h"
#include "images/creation.h"

namespace VBoxSim {

void Disk::admitChange(const std::wstring&) {}

bool Disk::admits(const std::wstring& path)
{
    try {
        admitChange(path);
        return true;
    } catch (const Failure&) {
        return false;
    }
}

void Disk::createFolder(const std::wstring& path)
{
    admitChange(path);
    Files::createFolder(path);
}

void Disk::writeAtomically(const std::wstring& path, std::string_view content, const std::wstring& previous)
{
    admitChange(path);
    Files::writeAtomically(path, content, previous);
}

bool Disk::remove(const std::wstring& path)
{
    return admits(path) && Files::remove(path);
}

bool Disk::removeEmptyFolder(const std::wstring& path)
{
    return admits(path) && Files::removeEmptyFolder(path);
}

bool Disk::move(const std::wstring& from, const std::wstring& to)
{
    return admits(from) && Files::move(from, to);
}

void Disk::cloneImage(const std::wstring& source, const std::wstring& target, const std::wstring& id,
                      const ProgressCallback& progress)
{
    admitChange(target);
    VBoxSim::cloneImage(source, target, id, progress);
}

void Disk::convertToVdi(ImageReader& source, const std::wstring& target, const std::wstring& id,
                        const ProgressCallback& progress)
{
    admitChange(target);
    VBoxSim::convertToVdi(source, target, id, progress);
}

void Disk::createImage(const std::wstring& target, ImageFormat format, bool fixed, std::uint64_t bytes,
                       const std::wstring& id)
{
    admitChange(target);
    VBoxSim::createImage(target, format, fixed, bytes, id);
}

void Disk::setImageUuid(const std::wstring& file, const std::wstring& id, const std::wstring* parent)
{
    admitChange(file);
    VBoxSim::setImageUuid(file, id, parent);
}

std::vector<ImportedDisk> Disk::importDisks(const Appliance& appliance, const std::vector<DiskImport>& disks,
                                            CreatedFiles& created, const ProgressCallback& progress)
{
    for (const DiskImport& disk : disks)
        admitChange(disk.target.wstring());
    return appliance.importDisks(disks, created, progress);
}

} // namespace VBoxSim
