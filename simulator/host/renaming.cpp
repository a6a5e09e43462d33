#include "host/renaming.h"

#include "base/failure.h"
#include "base/files.h"
#include "base/text.h"
#include "host/disk.h"
#include "settings/machine_names.h"

namespace VBoxSim {

Renaming::Renaming(Disk& disk, const std::wstring& file, const std::wstring& newName)
    : disk_(disk), file_(file), folder_(Files::folderOf(file))
{
    checkMachineName(newName);
    const std::wstring name = safeMachineName(newName);
    const bool folderHasName = equalIgnoringCase(Files::nameOf(folder_), Files::stemOf(file));
    newFolder_ = folderHasName ? Files::join(Files::folderOf(folder_), name) : folder_;
    newFile_ = Files::join(newFolder_, name + L".vbox");
    if (Files::samePath(newFile_, file_)) // only the case of the name changes, if anything
        return;
    const bool sameFolder = Files::samePath(folder_, newFolder_);
    if (sameFolder ? Files::exists(newFile_) : Files::exists(newFolder_))
        throw Failure(Result::fileError, L"Could not rename the machine: '" + newFile_ + L"' exists already");
}

std::wstring Renaming::follow(const std::wstring& path) const
{
    const std::wstring inside = Files::relativeTo(folder_, path);
    return inside == path ? path : Files::join(newFolder_, inside);
}

std::wstring Renaming::movedFile() const
{
    return Files::join(newFolder_, Files::nameOf(file_));
}

void Renaming::move()
{
    if (folder_ != newFolder_) {
        if (!disk_.move(folder_, newFolder_))
            throw Failure(Result::fileError, L"Could not rename the folder '" + folder_ + L"'");
        folderMoved_ = true;
    }
    if (!disk_.move(movedFile(), newFile_))
        throw Failure(Result::fileError, L"Could not rename the settings file '" + file_ + L"'");
    fileMoved_ = true;
    previousMoved_ = disk_.move(movedFile() + L"-prev", newFile_ + L"-prev"); // there may be none
}

void Renaming::undo()
{
    if (previousMoved_)
        disk_.move(newFile_ + L"-prev", movedFile() + L"-prev");
    if (fileMoved_)
        disk_.move(newFile_, movedFile());
    if (folderMoved_)
        disk_.move(newFolder_, folder_);
}

} // namespace VBoxSim
