#pragma once

#include "images/byte_source.h"
#include "images/sparse_reader.h"

namespace VBoxSim {

/// Whether the bytes are those of a VDI image.
bool isVdi(const ByteSource& source);

class VdiReader : public SparseReader
{
public:
    VdiReader(std::shared_ptr<ByteSource> source, std::wstring name, std::shared_ptr<ImageReader> parent, Check check);

    ImageRun runAt(std::uint64_t offset) override;

protected:
    void readChecked(std::uint64_t offset, std::uint8_t* buffer, std::size_t length) override;

private:
    void readHeader();
    void checkLayout(std::uint64_t allocated) const;
    void readMap();
    bool isStored(std::uint64_t block) const;
    [[noreturn]] void damaged(const wchar_t* what) const;

    std::shared_ptr<ByteSource> source_;
    std::wstring name_;
    std::uint64_t mapOffset_ = 0;
    std::uint64_t dataOffset_ = 0;
    std::uint64_t blockSize_ = 0;
    std::uint64_t blockCount_ = 0;
    std::vector<std::uint32_t> map_;
};

/// Writes a dynamic VDI, block by block.
class VdiWriter
{
public:
    static constexpr std::uint64_t blockSize = std::uint64_t(1) << 20;

    VdiWriter(const std::filesystem::path& target, std::uint64_t logicalSize, VdiIdentity identity);

    std::uint64_t blockCount() const { return map_.size(); }
    /// Stores a block: blockSize bytes. Each at most once.
    void writeBlock(std::uint64_t block, const std::uint8_t* data);
    /// Takes the room of all blocks, which are zero: a fixed image.
    void takeAll();
    /// Writes header and map and gives the file its name.
    void commit();

private:
    std::vector<std::uint8_t> header() const;

    NewFile file_;
    std::uint64_t logicalSize_;
    VdiIdentity identity_;
    std::uint64_t dataOffset_;
    std::uint32_t allocated_ = 0;
    bool fixed_ = false;
    std::vector<std::uint32_t> map_;
};

/// Changes the UUIDs in the header of a VDI.
void setVdiUuid(File& file, const std::wstring& uuid, const std::wstring* parentUuid);

} // namespace VBoxSim
