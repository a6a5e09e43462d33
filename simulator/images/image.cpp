#include "images/image.h"

#include <algorithm>
#include <array>
#include <map>

#include "base/failure.h"
#include "base/files.h"
#include "base/safe_name.h"
#include "base/text.h"
#include "images/vdi.h"
#include "images/vhd.h"
#include "images/vmdk.h"

namespace VBoxSim {

namespace {

constexpr std::size_t copyPiece = std::size_t(8) << 20; // a call of the system costs 0.1 ms under Wine

class RawReader : public ImageReader
{
public:
    RawReader(std::shared_ptr<ByteSource> source, bool optical) : source_(std::move(source))
    {
        info_.variant = ImageVariant::Fixed;
        info_.logicalSize = source_->size();
        info_.physicalSize = source_->size();
        info_.optical = optical;
    }
    ImageRun runAt(std::uint64_t offset) override { return {info_.logicalSize - offset, false}; }

protected:
    void readChecked(std::uint64_t offset, std::uint8_t* buffer, std::size_t length) override
    {
        source_->readAt(offset, buffer, length);
    }

private:
    std::shared_ptr<ByteSource> source_;
};

bool hasIsoVolume(const ByteSource& source)
{
    constexpr std::uint64_t place = 0x8001;
    std::array<char, 5> identifier;
    if (source.size() < place + identifier.size())
        return false;
    source.readAt(place, identifier.data(), identifier.size());
    return std::string(identifier.data(), identifier.size()) == "CD001";
}

/// A raw image has no header; its suffix, or the volume on it, must tell that it is one.
std::unique_ptr<ImageReader> openRaw(std::shared_ptr<ByteSource> source, const std::wstring& name)
{
    const std::wstring suffix = Files::suffixOf(name);
    const bool optical = isOpticalSuffix(suffix) || hasIsoVolume(*source);
    if (source->size() == 0 || (!optical && formatOfSuffix(suffix) != ImageFormat::Raw))
        throw Failure(Result::fileError, L"The format of '" + name + L"' is not recognised");
    if (source->size() % sectorSize != 0)
        throw Failure(Result::fileError, L"The size of the raw image '" + name + L"' is no multiple of 512");
    if (source->size() > maxImageSize)
        throw Failure(Result::notSupported, L"The disk in '" + name + L"' is too large");
    return std::make_unique<RawReader>(std::move(source), optical);
}

std::unique_ptr<ImageReader> openAny(std::shared_ptr<ByteSource> source, const std::wstring& name,
                                     const ExtentOpener& openExtent, std::shared_ptr<ImageReader> parent, Check check)
{
    if (isVdi(*source))
        return std::make_unique<VdiReader>(std::move(source), name, std::move(parent), check);
    if (isVmdk(*source))
        return std::make_unique<VmdkReader>(std::move(source), name, openExtent, std::move(parent), check);
    // By its end, so that a fixed one is not taken for raw.
    if (isVhd(*source))
        return std::make_unique<VhdReader>(std::move(source), name, std::move(parent), check);
    return openRaw(std::move(source), name);
}

std::unique_ptr<ImageReader> openFile(const std::filesystem::path& file, std::shared_ptr<ImageReader> parent,
                                      Check check)
{
    const ExtentOpener beside = [&](const std::string& name) {
        return std::make_shared<FileSource>(file.parent_path() / fromUtf8(name));
    };
    return openAny(std::make_shared<FileSource>(file), file.wstring(), beside, std::move(parent), check);
}

/// Counts bytes and asks the callback whether to go on.
class Progress
{
public:
    Progress(const ProgressCallback& callback, std::uint64_t total) : callback_(callback), total_(total) { advance(0); }

    void advance(std::uint64_t bytes)
    {
        done_ += bytes;
        if (callback_ && !callback_(done_, total_))
            throw Canceled();
    }

private:
    const ProgressCallback& callback_;
    std::uint64_t total_;
    std::uint64_t done_ = 0;
};

/// In registers: comparing each byte with its neighbour would read it twice, and a disk is mostly zeros.
bool isZeroBlock(const std::uint8_t* data)
{
    std::uint64_t words[8];
    static_assert(VdiWriter::blockSize % sizeof words == 0);
    for (const std::uint8_t* end = data + VdiWriter::blockSize; data != end; data += sizeof words) {
        std::memcpy(words, data, sizeof words);
        if ((words[0] | words[1] | words[2] | words[3] | words[4] | words[5] | words[6] | words[7]) != 0)
            return false;
    }
    return true;
}

/// Hands out a disk in pieces of whole blocks, passing over what is not stored.
class BlockWalk
{
public:
    /// Blocks of one kind. Those that are not stored are any number, the others fit into copyPiece.
    struct Piece
    {
        std::uint64_t blocks;
        bool zero;
    };

    explicit BlockWalk(ImageReader& source) : source_(source), size_(source.info().logicalSize) {}

    Piece pieceAt(std::uint64_t block)
    {
        const std::uint64_t start = block * VdiWriter::blockSize;
        const ImageRun run = runAt(start);
        std::uint64_t blocks = run.length / VdiWriter::blockSize;
        if (start + run.length == size_ && run.length % VdiWriter::blockSize != 0)
            ++blocks; // the last block may be shorter
        if (run.zero && blocks > 0)
            return {blocks, true};
        return {std::clamp<std::uint64_t>(blocks, 1, copyPiece / VdiWriter::blockSize), false};
    }

    /// Fills a buffer of whole blocks; behind the end of the disk is zero.
    void read(std::uint64_t block, std::uint64_t blocks, std::uint8_t* buffer)
    {
        const std::uint64_t start = block * VdiWriter::blockSize;
        const std::uint64_t length = blocks * VdiWriter::blockSize;
        const auto stored = static_cast<std::size_t>(std::min(length, size_ - start));
        source_.read(start, buffer, stored);
        std::memset(buffer + stored, 0, static_cast<std::size_t>(length - stored));
    }

private:
    /// Keeps the last run, so that a long one is looked up once.
    ImageRun runAt(std::uint64_t offset)
    {
        if (offset < runStart_ || offset >= runStart_ + run_.length) {
            run_ = source_.runAt(offset);
            runStart_ = offset;
        }
        return {runStart_ + run_.length - offset, run_.zero};
    }

    ImageReader& source_;
    std::uint64_t size_;
    ImageRun run_;
    std::uint64_t runStart_ = 0;
};

std::wstring orRandom(const std::wstring& uuid)
{
    return uuid.empty() ? newUuid() : uuid;
}

void copyBytes(const ByteSource& source, File& target, Progress& progress)
{
    std::vector<std::uint8_t> buffer(copyPiece);
    for (std::uint64_t offset = 0; offset < source.size();) {
        const auto piece = static_cast<std::size_t>(std::min<std::uint64_t>(copyPiece, source.size() - offset));
        source.readAt(offset, buffer.data(), piece);
        target.writeAt(offset, buffer.data(), piece);
        offset += piece;
        progress.advance(piece);
    }
}

/// The name of an extent's copy: the part that comes from the descriptor's own name is changed.
std::string copiedExtentName(const std::string& extent, const std::filesystem::path& source,
                             const std::filesystem::path& target, std::size_t number)
{
    const std::string oldStem = toUtf8(Files::stemOf(source.wstring()));
    const std::string newStem = toUtf8(Files::stemOf(target.wstring()));
    if (extent.rfind(oldStem, 0) == 0 && extent != oldStem)
        return newStem + extent.substr(oldStem.size());
    return newStem + "-f" + std::to_string(number + 1) + ".vmdk";
}

/// Copies a VMDK whose descriptor and data are different files.
void cloneVmdkFiles(const FileSource& source, const std::filesystem::path& from, const std::filesystem::path& target,
                    const std::wstring& uuid, std::uint64_t total, const ProgressCallback& callback)
{
    Progress progress(callback, total);
    CreatedFiles created;
    VmdkDescriptor descriptor = readVmdkDescriptor(source, from.wstring());
    NewFile file(target);
    for (std::size_t i = 0; i < descriptor.extents().size(); ++i) {
        const VmdkExtent extent = descriptor.extents()[i];
        if (extent.type == VmdkExtentType::Zero)
            continue;
        const std::string name = copiedExtentName(extent.file, from, target, i);
        NewFile copy(target.parent_path() / fromUtf8(name));
        copyBytes(FileSource(from.parent_path() / fromUtf8(extent.file)), copy.file(), progress);
        copy.commit();
        created.add(target.parent_path() / fromUtf8(name));
        descriptor.setExtentFile(i, name);
    }
    descriptor.setValue("ddb.uuid.image", toUtf8(uuid));
    const std::string text = descriptor.text();
    file.file().writeAt(0, text.data(), text.size());
    progress.advance(source.size());
    file.commit();
    created.commit();
}

} // namespace

const wchar_t* formatName(ImageFormat format)
{
    switch (format) {
    case ImageFormat::Vdi:
        return L"VDI";
    case ImageFormat::Vmdk:
        return L"VMDK";
    case ImageFormat::Vhd:
        return L"VHD";
    case ImageFormat::Raw:
        break;
    }
    return L"RAW";
}

std::optional<ImageFormat> formatOfSuffix(const std::wstring& suffix)
{
    static const std::map<std::wstring, ImageFormat> formats = {
        {L".vdi", ImageFormat::Vdi}, {L".vmdk", ImageFormat::Vmdk}, {L".vhd", ImageFormat::Vhd},
        {L".iso", ImageFormat::Raw}, {L".cdr", ImageFormat::Raw},   {L".img", ImageFormat::Raw},
        {L".ima", ImageFormat::Raw}, {L".dsk", ImageFormat::Raw},   {L".flp", ImageFormat::Raw},
        {L".vfd", ImageFormat::Raw}};
    const auto format = formats.find(suffix);
    return format == formats.end() ? std::nullopt : std::optional<ImageFormat>(format->second);
}

bool isOpticalSuffix(const std::wstring& suffix)
{
    return suffix == L".iso" || suffix == L".cdr";
}

void ImageReader::read(std::uint64_t offset, void* buffer, std::size_t length)
{
    if (offset > info_.logicalSize || length > info_.logicalSize - offset)
        throw Failure(Result::invalidArgument, L"The disk ends before the place to be read");
    readChecked(offset, static_cast<std::uint8_t*>(buffer), length);
}

ImageInfo probeImage(const std::filesystem::path& file)
{
    return openFile(file, nullptr, Check::Header)->info();
}

std::unique_ptr<ImageReader> openImage(const std::filesystem::path& file, std::shared_ptr<ImageReader> parent)
{
    return openFile(file, std::move(parent), Check::Everything);
}

std::unique_ptr<ImageReader> openImage(std::shared_ptr<ByteSource> source, const std::wstring& name,
                                       const ExtentOpener& openExtent, std::shared_ptr<ImageReader> parent)
{
    return openAny(std::move(source), name, openExtent, std::move(parent), Check::Everything);
}

void createVdi(const std::filesystem::path& target, std::uint64_t logicalSize, const VdiIdentity& identity, bool fixed)
{
    VdiWriter writer(target, logicalSize, identity);
    if (fixed)
        writer.takeAll();
    writer.commit();
}

void convertToVdi(ImageReader& source, const std::filesystem::path& target, const std::wstring& uuid,
                  const ProgressCallback& callback)
{
    const std::uint64_t size = source.info().logicalSize;
    Progress progress(callback, size);
    VdiWriter writer(target, size, {uuid, {}, {}});
    BlockWalk walk(source);
    std::vector<std::uint8_t> buffer(copyPiece);
    const auto advance = [&](std::uint64_t block, std::uint64_t blocks) {
        progress.advance(std::min(blocks * VdiWriter::blockSize, size - block * VdiWriter::blockSize));
    };
    for (std::uint64_t block = 0; block < writer.blockCount();) {
        const BlockWalk::Piece piece = walk.pieceAt(block);
        const std::uint64_t end = block + piece.blocks;
        if (piece.zero) {
            advance(block, piece.blocks);
            block = end;
            continue;
        }
        walk.read(block, piece.blocks, buffer.data());
        for (const std::uint8_t* data = buffer.data(); block < end; ++block, data += VdiWriter::blockSize) {
            if (!isZeroBlock(data))
                writer.writeBlock(block, data);
            advance(block, 1);
        }
    }
    writer.commit();
}

void cloneImage(const std::filesystem::path& source, const std::filesystem::path& target, const std::wstring& uuid,
                const ProgressCallback& progress)
{
    const ImageInfo info = probeImage(source);
    const FileSource bytes(source);
    if (isOneFile(bytes))
        cloneImage(bytes, source.wstring(), target, uuid, progress);
    else
        cloneVmdkFiles(bytes, source, target, orRandom(uuid), info.physicalSize, progress);
}

void cloneImage(const ByteSource& source, const std::wstring& name, const std::filesystem::path& target,
                const std::wstring& uuid, const ProgressCallback& callback)
{
    Progress progress(callback, source.size());
    NewFile file(target);
    copyBytes(source, file.file(), progress);
    if (isVdi(source))
        setVdiUuid(file.file(), orRandom(uuid), nullptr);
    else if (isVmdk(source))
        setVmdkUuid(file.file(), source, name, orRandom(uuid), nullptr);
    else if (isVhd(source))
        setVhdUuid(file.file(), source, orRandom(uuid), nullptr);
    file.commit();
}

bool isOneFile(const ByteSource& source)
{
    return isMonolithicSparse(source) || !isVmdk(source);
}

void setImageUuid(const std::filesystem::path& file, const std::wstring& uuid, const std::wstring* parentUuid)
{
    const ImageFormat format = probeImage(file).format;
    if (format == ImageFormat::Raw)
        throw Failure(Result::notSupported, L"The raw image '" + file.wstring() + L"' has no place for a UUID");
    File update = File::openForUpdate(file);
    if (format == ImageFormat::Vdi)
        setVdiUuid(update, uuid, parentUuid);
    else if (format == ImageFormat::Vhd)
        setVhdUuid(update, OpenFileSource(update), uuid, parentUuid);
    else
        setVmdkUuid(update, OpenFileSource(update), file.wstring(), uuid, parentUuid);
}

} // namespace VBoxSim
