#include "host/medium_creation.h"

#include <utility>

#include "base/files.h"
#include "base/text.h"
#include "host/error_mapping.h"
#include "host/host.h"
#include "host/task.h"
#include "images/creation.h"

namespace VBoxSim {

namespace {

// VirtualBox's MediumVariant.
constexpr std::uint32_t fixed = 0x10000;
constexpr std::uint32_t diff = 0x20000;
constexpr std::uint32_t noCreateFolder = 0x40000000;

/// A format that media can be created in.
struct Format
{
    const wchar_t* name;
    const wchar_t* suffix;
    ImageFormat image;
};
constexpr Format formats[] = {
    {L"VDI", L".vdi", ImageFormat::Vdi}, {L"VMDK", L".vmdk", ImageFormat::Vmdk}, {L"VHD", L".vhd", ImageFormat::Vhd}};

/// Null for one that there is not.
const Format* findFormat(const std::wstring& name)
{
    for (const Format& format : formats)
        if (equalIgnoringCase(name, format.name))
            return &format;
    return nullptr;
}

/// VirtualBox knows these, but does not write them.
bool isReadOnlyFormat(const std::wstring& name)
{
    return equalIgnoringCase(name, L"VHDX") || equalIgnoringCase(name, L"DMG");
}

std::wstring locationOf(Host& host, const std::wstring& given, const std::wstring& suffix)
{
    if (given.empty())
        throw Failure(Result::fail, L"A medium needs a location");
    if (!Files::isAbsolute(given))
        throw Failure(Result::fileError, L"The location '" + given + L"' is not a full path");
    const bool isFolder = given.back() == L'\\' || given.back() == L'/';
    return Files::resolve(host.surroundings().home, isFolder ? given + braced(newUuid()) + suffix : given);
}

Event configChanged(const Medium& medium)
{
    Event event;
    event.type = EventType::OnMediumConfigChanged;
    event.mediumId = medium.id;
    return event;
}

/// IMedium::CreateBaseStorage.
class StorageCreation : public Task
{
public:
    StorageCreation(Host& host, MediumPtr medium, std::uint64_t bytes, std::uint32_t variant)
        : Task(host, {L"IMedium::CreateBaseStorage",
                      L"Creating storage unit '" + medium->location + L"'",
                      true,
                      {{L"Creating storage unit"}}}),
          medium_(std::move(medium)),
          location_(medium_->location),
          format_(findFormat(medium_->format)->image),
          bytes_(bytes),
          variant_(variant)
    {
        medium_->id = newUuid();
        medium_->state = MediumState::Creating;
    }

private:
    void work() override
    {
        if (!(variant_ & noCreateFolder))
            host().disk().createFolder(Files::folderOf(location_));
        host().disk().createImage(location_, format_, (variant_ & fixed) != 0, bytes_, medium_->id);
        made_ = true;
    }

    void finish() override
    {
        medium_->logicalSize = static_cast<std::int64_t>(bytes_);
        medium_->size = static_cast<std::int64_t>(probeImage(location_).physicalSize);
        medium_->state = MediumState::Created;
        host().fire(configChanged(*medium_));
        host().media().add(medium_);
    }

    void rollBack() override
    {
        if (made_) // a file that was there before stays
            host().disk().remove(location_);
        if (made_ && format_ == ImageFormat::Vmdk && variant_ & fixed)
            host().disk().remove(flatDataOf(location_).wstring());
        medium_->id.clear();
        medium_->state = MediumState::NotCreated;
    }

    const MediumPtr medium_;
    const std::wstring location_;
    const ImageFormat format_;
    const std::uint64_t bytes_;
    const std::uint32_t variant_;
    bool made_ = false;
};

} // namespace

MediumPtr createMedium(Host& host, const std::wstring& format, const std::wstring& location, std::uint32_t deviceType)
{
    if (deviceType < DeviceKind::floppy || deviceType > DeviceKind::hardDisk)
        throw Failure(Result::invalidArgument, L"Invalid device type " + std::to_wstring(deviceType));
    if (format.empty() && deviceType != DeviceKind::hardDisk)
        throw Failure(Result::invalidArgument, L"Only a hard disk has a usual format");
    if (deviceType != DeviceKind::hardDisk)
        throw Failure(Result::notSupported, L"Only hard disks are created here");
    const Format* known = findFormat(format.empty() ? L"VDI" : format);
    if (!known && !isReadOnlyFormat(format))
        throw Failure(Result::invalidArgument, L"There is no format '" + format + L"'");
    const auto medium = std::make_shared<Medium>();
    medium->format = known ? known->name : format;
    medium->location = locationOf(host, location, known ? known->suffix : L"." + toLower(format));
    if (known) {
        medium->state = MediumState::NotCreated;
    } else { // there is nothing to wait for: it is taken for one that exists
        medium->id = newUuid();
        host.media().add(medium);
    }
    return medium;
}

ProgressPtr createBaseStorage(Host& host, const MediumPtr& medium, std::int64_t bytes, std::uint32_t variant)
{
    if (bytes < 0)
        throw Failure(Result::invalidArgument, L"Invalid size " + std::to_wstring(bytes));
    if (variant & ~(fixed | diff | noCreateFolder))
        throw Failure(Result::notSupported, L"Only dynamic and fixed images are created here");
    if (medium->state != MediumState::NotCreated)
        throw Failure(Result::invalidObjectState, L"Storage of the medium '" + medium->location + L"' exists already");
    return startTask<StorageCreation>(host, medium, static_cast<std::uint64_t>(bytes), variant);
}

} // namespace VBoxSim
