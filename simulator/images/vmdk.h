#pragma once

#include "images/byte_source.h"
#include "images/sparse_reader.h"
#include "images/vmdk_descriptor.h"

namespace VBoxSim {

/// Whether the bytes are those of a VMDK image: a sparse file, or a descriptor.
bool isVmdk(const ByteSource& source);

/// Whether a VMDK image has its data in the same file.
bool isMonolithicSparse(const ByteSource& source);

/// The descriptor of a VMDK image, wherever it stands.
VmdkDescriptor readVmdkDescriptor(const ByteSource& source, const std::wstring& name);

/// Data of a VMDK image, or of a part of it.
class VmdkExtentData
{
public:
    virtual ~VmdkExtentData() = default;
    /// A run at most `limit` long; without a value: not stored here.
    struct Run
    {
        std::uint64_t length;
        enum Kind
        {
            Absent,
            Zero,
            Stored
        } kind;
    };
    virtual Run runAt(std::uint64_t offset, std::uint64_t limit) = 0;
    /// Reads a stretch that lies in a stored run, or in several that follow each other.
    virtual void read(std::uint64_t offset, std::uint8_t* buffer, std::size_t length) = 0;
};

class VmdkReader : public SparseReader
{
public:
    VmdkReader(const std::shared_ptr<ByteSource>& source, const std::wstring& name, const ExtentOpener& openExtent,
               std::shared_ptr<ImageReader> parent, Check check);

    ImageRun runAt(std::uint64_t offset) override;

protected:
    void readChecked(std::uint64_t offset, std::uint8_t* buffer, std::size_t length) override;

private:
    struct Extent
    {
        std::uint64_t start;
        std::uint64_t length;
        std::unique_ptr<VmdkExtentData> data;
    };

    void addExtent(std::uint64_t length, std::unique_ptr<VmdkExtentData> data);
    void openExtents(const VmdkDescriptor& descriptor, const ExtentOpener& openExtent, Check check);
    Extent& extentAt(std::uint64_t offset);
    VmdkExtentData::Run storedRunAt(std::uint64_t offset);

    std::wstring name_;
    std::vector<Extent> extents_;
};

/// Changes the UUIDs in the descriptor of a VMDK.
void setVmdkUuid(File& file, const ByteSource& source, const std::wstring& name, const std::wstring& uuid,
                 const std::wstring* parentUuid);

} // namespace VBoxSim
