#include "base/file.h"

#include <atomic>
#include <utility>

#include "base/failure.h"
#include "base/files.h"

namespace VBoxSim {

File::File(const std::filesystem::path& path, Platform::Open how) : handle_(Platform::open(path, how)), path_(path) {}

File::File(File&& other) noexcept
    : handle_(std::exchange(other.handle_, Platform::noFile)), path_(std::move(other.path_))
{}

File& File::operator=(File&& other) noexcept
{
    std::swap(handle_, other.handle_);
    std::swap(path_, other.path_);
    return *this;
}

File::~File()
{
    close();
}

File File::openForReading(const std::filesystem::path& path)
{
    return {path, Platform::Open::Read};
}

File File::openForUpdate(const std::filesystem::path& path)
{
    return {path, Platform::Open::Update};
}

File File::create(const std::filesystem::path& path)
{
    return {path, Platform::Open::Replace};
}

std::uint64_t File::size() const
{
    return Platform::size(handle_, path_);
}

void File::readAt(std::uint64_t offset, void* buffer, std::size_t length) const
{
    auto* bytes = static_cast<std::uint8_t*>(buffer);
    while (length > 0) {
        const std::size_t count = Platform::read(handle_, offset, bytes, length, path_);
        if (count == 0)
            throw Failure(Result::fileError, L"'" + path_.wstring() + L"' ends too early");
        offset += count;
        bytes += count;
        length -= count;
    }
}

void File::writeAt(std::uint64_t offset, const void* buffer, std::size_t length)
{
    const auto* bytes = static_cast<const std::uint8_t*>(buffer);
    while (length > 0) {
        const std::size_t count = Platform::write(handle_, offset, bytes, length, path_);
        offset += count;
        bytes += count;
        length -= count;
    }
}

void File::flush()
{
    Platform::flush(handle_, path_);
}

void File::close() noexcept
{
    if (handle_ != Platform::noFile)
        Platform::close(std::exchange(handle_, Platform::noFile));
}

std::filesystem::path NewFile::nameBeside(const std::filesystem::path& target)
{
    static std::atomic<unsigned> counter{0};
    if (Files::exists(target.wstring()))
        throw Failure(Result::fileError, L"'" + target.wstring() + L"' exists already");
    std::filesystem::path name;
    do {
        name = target.parent_path() /
               (L"~" + std::to_wstring(Platform::processNumber()) + L"-" + std::to_wstring(++counter) + L".tmp");
    } while (Files::exists(name.wstring()));
    return name;
}

NewFile::NewFile(std::filesystem::path target)
    : target_(std::move(target)), temporary_(nameBeside(target_)), file_(temporary_, Platform::Open::Temporary)
{}

NewFile::~NewFile()
{
    if (committed_)
        return;
    file_.close();
    Files::remove(temporary_.wstring());
}

void NewFile::commit()
{
    Platform::keep(file_.handle_);
    file_.close();
    Platform::move(temporary_, target_, false);
    committed_ = true;
}

CreatedFiles::CreatedFiles(CreatedFiles&& other) noexcept : paths_(std::exchange(other.paths_, {})) {}

CreatedFiles& CreatedFiles::operator=(CreatedFiles&& other) noexcept
{
    std::swap(paths_, other.paths_);
    return *this;
}

void CreatedFiles::makeFolders(const std::filesystem::path& folder)
{
    std::vector<std::filesystem::path> missing;
    for (std::filesystem::path step = folder; !Files::exists(step.wstring()); step = step.parent_path()) {
        missing.push_back(step);
        if (!step.has_relative_path())
            break;
    }
    for (auto step = missing.rbegin(); step != missing.rend(); ++step) {
        Files::createFolder(step->wstring());
        paths_.push_back(*step);
    }
}

void CreatedFiles::append(CreatedFiles&& other)
{
    paths_.insert(paths_.end(), other.paths_.begin(), other.paths_.end());
    other.paths_.clear();
}

void CreatedFiles::rollBack() noexcept
{
    for (auto path = paths_.rbegin(); path != paths_.rend(); ++path) {
        std::error_code ignored;
        std::filesystem::remove(Platform::unlimited(*path), ignored);
    }
    paths_.clear();
}

} // namespace VBoxSim
