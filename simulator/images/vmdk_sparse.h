#pragma once

#include <zlib.h>

#include "images/vmdk.h"

namespace VBoxSim {

/// Header of a VMDK sparse file, with its numbers in bytes.
struct VmdkSparseHeader
{
    std::uint32_t flags = 0;
    std::uint64_t capacity = 0;
    std::uint64_t grainSize = 0;
    std::uint64_t descriptorOffset = 0;
    std::uint64_t descriptorSize = 0;
    std::uint64_t directoryOffset = 0;
    std::uint64_t directoryEntries = 0;
    bool compressed = false;

    bool hasZeroGrains() const;
};

/// Whether the bytes start like such a file.
bool isVmdkSparse(const ByteSource& source);
VmdkSparseHeader readVmdkSparseHeader(const ByteSource& source, const std::wstring& name);

/// Inflates the compressed grains.
class Inflater
{
public:
    Inflater();
    ~Inflater();
    Inflater(const Inflater&) = delete;
    Inflater& operator=(const Inflater&) = delete;

    /// Whether the data are one whole stream that gives `least` to `room` bytes.
    bool inflate(const std::uint8_t* data, std::size_t length, std::uint8_t* out, std::size_t least, std::size_t room);

private:
    z_stream stream_{};
};

/// A file of grains.
class VmdkSparseData : public VmdkExtentData
{
public:
    VmdkSparseData(const std::shared_ptr<ByteSource>& source, std::wstring name, Check check);

    std::uint64_t capacity() const { return header_.capacity; }
    Run runAt(std::uint64_t offset, std::uint64_t limit) override;
    void read(std::uint64_t offset, std::uint8_t* buffer, std::size_t length) override;

private:
    void readDirectory();
    void checkTables();
    std::uint64_t grainEntry(std::uint64_t grain);
    std::size_t contiguousLength(std::uint64_t offset, std::size_t length);
    void readCompressed(std::uint64_t grain, std::uint64_t inGrain, std::uint8_t* buffer, std::size_t length);
    void inflateGrain(std::uint64_t grain, std::uint8_t* buffer);
    [[noreturn]] void damaged(const wchar_t* what) const;

    std::wstring name_;
    VmdkSparseHeader header_;
    ReadAhead grains_;
    ReadAhead tables_;
    std::vector<std::uint32_t> directory_;
    Inflater inflater_;
    std::vector<std::uint8_t> grain_; ///< the last grain that was read in part
    std::uint64_t grainNumber_ = UINT64_MAX;
};

} // namespace VBoxSim
