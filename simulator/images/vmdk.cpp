#include "images/vmdk.h"

#include <algorithm>

#include "base/failure.h"
#include "base/safe_name.h"
#include "base/text.h"
#include "images/vmdk_sparse.h"

namespace VBoxSim {

namespace {

constexpr std::size_t descriptorStart = 32;
constexpr char imageUuidKey[] = "ddb.uuid.image";
constexpr char modificationUuidKey[] = "ddb.uuid.modification";
constexpr char parentUuidKey[] = "ddb.uuid.parent";

class ZeroData : public VmdkExtentData
{
public:
    Run runAt(std::uint64_t, std::uint64_t limit) override { return {limit, Run::Zero}; }
    void read(std::uint64_t, std::uint8_t* buffer, std::size_t length) override { std::memset(buffer, 0, length); }
};

class FlatData : public VmdkExtentData
{
public:
    FlatData(std::shared_ptr<ByteSource> source, std::uint64_t start) : source_(std::move(source)), start_(start) {}
    Run runAt(std::uint64_t, std::uint64_t limit) override { return {limit, Run::Stored}; }
    void read(std::uint64_t offset, std::uint8_t* buffer, std::size_t length) override
    {
        source_->readAt(start_ + offset, buffer, length);
    }

private:
    std::shared_ptr<ByteSource> source_;
    std::uint64_t start_;
};

bool isDescriptorFile(const ByteSource& source)
{
    std::string start(static_cast<std::size_t>(std::min<std::uint64_t>(source.size(), descriptorStart)), '\0');
    source.readAt(0, start.data(), start.size());
    return VmdkDescriptor::isDescriptor(start);
}

std::uint32_t variantOf(const VmdkDescriptor& descriptor)
{
    const std::string type = descriptor.value("createType");
    std::uint32_t variant = ImageVariant::Standard;
    if (type == "streamOptimized")
        variant |= ImageVariant::VmdkStreamOptimized;
    if (type.rfind("twoGbMaxExtent", 0) == 0)
        variant |= ImageVariant::VmdkSplit2G;
    if (type.rfind("vmfs", 0) == 0)
        variant |= ImageVariant::VmdkEsx;
    const std::vector<VmdkExtent>& extents = descriptor.extents();
    if (!extents.empty() && std::all_of(extents.begin(), extents.end(),
                                        [](const VmdkExtent& extent) { return extent.type == VmdkExtentType::Flat; }))
        variant |= ImageVariant::Fixed;
    const std::string parent = descriptor.value("parentCID");
    if (!parent.empty() && parent != "ffffffff" && parent != "FFFFFFFF")
        variant |= ImageVariant::Diff;
    return variant;
}

} // namespace

bool isVmdk(const ByteSource& source)
{
    return isVmdkSparse(source) || isDescriptorFile(source);
}

bool isMonolithicSparse(const ByteSource& source)
{
    return isVmdkSparse(source);
}

VmdkDescriptor readVmdkDescriptor(const ByteSource& source, const std::wstring& name)
{
    if (!isVmdkSparse(source))
        return {readAll(source, largestVmdkDescriptor, name), name};
    const VmdkSparseHeader header = readVmdkSparseHeader(source, name);
    std::string text(static_cast<std::size_t>(header.descriptorSize), '\0');
    source.readAt(header.descriptorOffset, text.data(), text.size());
    return {text, name};
}

VmdkReader::VmdkReader(const std::shared_ptr<ByteSource>& source, const std::wstring& name,
                       const ExtentOpener& openExtent, std::shared_ptr<ImageReader> parent, Check check)
    : SparseReader(std::move(parent)), name_(name)
{
    const VmdkDescriptor descriptor = readVmdkDescriptor(*source, name);
    info_.format = ImageFormat::Vmdk;
    info_.variant = variantOf(descriptor);
    info_.physicalSize = source->size();
    info_.uuid = descriptor.uuid(imageUuidKey);
    info_.modificationUuid = descriptor.uuid(modificationUuidKey);
    info_.parentUuid = descriptor.uuid(parentUuidKey);
    if (isVmdkSparse(*source)) {
        auto data = std::make_unique<VmdkSparseData>(source, name, check);
        const std::uint64_t capacity = data->capacity();
        addExtent(capacity, std::move(data));
    } else {
        openExtents(descriptor, openExtent, check);
    }
}

void VmdkReader::addExtent(std::uint64_t length, std::unique_ptr<VmdkExtentData> data)
{
    if (length > maxImageSize - info_.logicalSize)
        throw Failure(Result::notSupported, L"The disk in '" + name_ + L"' is too large");
    extents_.push_back({info_.logicalSize, length, std::move(data)});
    info_.logicalSize += length;
}

void VmdkReader::openExtents(const VmdkDescriptor& descriptor, const ExtentOpener& openExtent, Check check)
{
    const auto damaged = [&](const wchar_t* what) {
        return Failure(Result::fileError, L"The VMDK image '" + name_ + L"' is damaged: " + what);
    };
    if (descriptor.extents().empty())
        throw damaged(L"it has no extent");
    for (const VmdkExtent& extent : descriptor.extents()) {
        if (extent.sectors == 0 || extent.sectors > maxImageSize / sectorSize)
            throw damaged(L"an extent has a wrong size");
        const std::uint64_t length = extent.sectors * sectorSize;
        if (extent.type == VmdkExtentType::Zero) {
            addExtent(length, std::make_unique<ZeroData>());
            continue;
        }
        if (!isPlainFileName(fromUtf8(extent.file)))
            throw Failure(Result::fileError,
                          L"'" + name_ + L"' has an extent outside its folder: '" + fromUtf8(extent.file) + L"'");
        std::shared_ptr<ByteSource> file = openExtent(extent.file);
        info_.physicalSize += file->size();
        if (extent.type == VmdkExtentType::Flat) {
            if (extent.offsetSectors > maxImageSize / sectorSize ||
                extent.offsetSectors * sectorSize + length > file->size())
                throw damaged(L"an extent is longer than its file");
            addExtent(length, std::make_unique<FlatData>(std::move(file), extent.offsetSectors * sectorSize));
            continue;
        }
        auto data = std::make_unique<VmdkSparseData>(file, fromUtf8(extent.file), check);
        if (data->capacity() < length)
            throw damaged(L"an extent is longer than its file says");
        addExtent(length, std::move(data));
    }
}

VmdkReader::Extent& VmdkReader::extentAt(std::uint64_t offset)
{
    const auto next = std::upper_bound(extents_.begin(), extents_.end(), offset,
                                       [](std::uint64_t place, const Extent& extent) { return place < extent.start; });
    return *std::prev(next);
}

VmdkExtentData::Run VmdkReader::storedRunAt(std::uint64_t offset)
{
    Extent& extent = extentAt(offset);
    const std::uint64_t inExtent = offset - extent.start;
    return extent.data->runAt(inExtent, extent.length - inExtent);
}

ImageRun VmdkReader::runAt(std::uint64_t offset)
{
    const VmdkExtentData::Run run = storedRunAt(offset);
    if (run.kind == VmdkExtentData::Run::Absent)
        return absentRun(offset, run.length);
    return {run.length, run.kind == VmdkExtentData::Run::Zero};
}

void VmdkReader::readChecked(std::uint64_t offset, std::uint8_t* buffer, std::size_t length)
{
    while (length > 0) {
        Extent& extent = extentAt(offset);
        const std::uint64_t inExtent = offset - extent.start;
        const std::uint64_t limit = std::min<std::uint64_t>(length, extent.length - inExtent);
        const VmdkExtentData::Run run = extent.data->runAt(inExtent, limit);
        const auto piece = static_cast<std::size_t>(run.length);
        if (run.kind == VmdkExtentData::Run::Stored)
            extent.data->read(inExtent, buffer, piece);
        else if (run.kind == VmdkExtentData::Run::Zero)
            std::memset(buffer, 0, piece);
        else
            readAbsent(offset, buffer, piece);
        offset += piece;
        buffer += piece;
        length -= piece;
    }
}

void setVmdkUuid(File& file, const ByteSource& source, const std::wstring& name, const std::wstring& uuid,
                 const std::wstring* parentUuid)
{
    std::uint64_t place = 0;
    std::uint64_t room = largestVmdkDescriptor;
    std::uint64_t oldSize = source.size();
    char padding = '\n';
    if (isVmdkSparse(source)) {
        const VmdkSparseHeader header = readVmdkSparseHeader(source, name);
        place = header.descriptorOffset;
        room = oldSize = header.descriptorSize;
        padding = '\0';
    }
    VmdkDescriptor descriptor = readVmdkDescriptor(source, name);
    descriptor.setValue(imageUuidKey, toUtf8(uuid));
    if (parentUuid)
        descriptor.setValue(parentUuidKey, toUtf8(*parentUuid));
    std::string text = descriptor.text();
    if (text.size() > room)
        throw Failure(Result::notSupported, L"The descriptor of '" + name + L"' has no room for a UUID");
    if (text.size() < oldSize)
        text.resize(static_cast<std::size_t>(oldSize), padding);
    file.writeAt(place, text.data(), text.size());
}

} // namespace VBoxSim
