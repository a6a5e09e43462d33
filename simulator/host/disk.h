#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "appliance/appliance.h"
#include "images/image.h"

namespace VBoxSim {

/// Everything that the host changes on disk is changed through this. A test derives from it to refuse a change.
class Disk
{
public:
    virtual ~Disk() = default;

    /// Both throw Failure(fileError); see Files.
    void createFolder(const std::wstring& path);
    void writeAtomically(const std::wstring& path, std::string_view content, const std::wstring& previous = {});

    /// All three answer whether it worked; a missing file counts as removed.
    bool remove(const std::wstring& path);
    bool removeEmptyFolder(const std::wstring& path);
    bool move(const std::wstring& from, const std::wstring& to);

    // Images; see images/image.h and images/creation.h.
    void cloneImage(const std::wstring& source, const std::wstring& target, const std::wstring& id,
                    const ProgressCallback& progress);
    void convertToVdi(ImageReader& source, const std::wstring& target, const std::wstring& id,
                      const ProgressCallback& progress);
    void createImage(const std::wstring& target, ImageFormat format, bool fixed, std::uint64_t bytes,
                     const std::wstring& id);
    void setImageUuid(const std::wstring& file, const std::wstring& id, const std::wstring* parent = nullptr);
    std::vector<ImportedDisk> importDisks(const Appliance& appliance, const std::vector<DiskImport>& disks,
                                          CreatedFiles& created, const ProgressCallback& progress);

private:
    /// Called before each change; throws to refuse it.
    virtual void admitChange(const std::wstring& path);
    bool admits(const std::wstring& path);
};

} // namespace VBoxSim
