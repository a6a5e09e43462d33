#pragma once

#include "images/byte_source.h"
#include "images/sparse_reader.h"

namespace VBoxSim {

/// Whether the bytes are those of a VHD image: their last 512 tell.
bool isVhd(const ByteSource& source);

/// A fixed, dynamic or differencing VHD. Its checksums are not verified, as VirtualBox does not.
class VhdReader : public SparseReader
{
public:
    VhdReader(std::shared_ptr<ByteSource> source, std::wstring name, std::shared_ptr<ImageReader> parent, Check check);

    ImageRun runAt(std::uint64_t offset) override;

protected:
    void readChecked(std::uint64_t offset, std::uint8_t* buffer, std::size_t length) override;

private:
    void readFooter();
    void readHeader(std::uint64_t place);
    void readMap();
    bool isFixed() const { return (info_.variant & ImageVariant::Fixed) != 0; }
    bool isStored(std::uint64_t sector);
    [[noreturn]] void damaged(const wchar_t* what) const;

    std::shared_ptr<ByteSource> source_;
    std::wstring name_;
    std::uint64_t mapOffset_ = 0;
    std::uint64_t blockSize_ = 0;
    std::uint64_t bitmapSize_ = 0;
    std::uint64_t blockCount_ = 0;
    std::vector<std::uint32_t> map_;
    std::vector<std::uint8_t> bitmap_; ///< of the block below
    std::uint64_t bitmapBlock_ = UINT64_MAX;
};

/// Changes the UUIDs of a VHD.
void setVhdUuid(File& file, const ByteSource& source, const std::wstring& uuid, const std::wstring* parentUuid);

} // namespace VBoxSim
