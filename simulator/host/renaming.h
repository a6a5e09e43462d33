#pragma once

#include <string>

namespace VBoxSim {

class Disk;

/// The move of a machine's settings file to a new name, with its folder when that has the same name.
class Renaming
{
public:
    /// Throws Failure(fileError) for a name that no file can have, or that is taken.
    Renaming(Disk& disk, const std::wstring& file, const std::wstring& newName);

    bool isNeeded() const { return newFile_ != file_; }
    const std::wstring& newFile() const { return newFile_; }
    /// Where a path of the old folder is afterwards.
    std::wstring follow(const std::wstring& path) const;

    /// Throws Failure(fileError) when something cannot be moved.
    void move();
    /// Takes back what was moved, and the settings that were written at the new place.
    void undo();

private:
    std::wstring movedFile() const;

    Disk& disk_;
    const std::wstring file_;
    const std::wstring folder_;
    std::wstring newFolder_;
    std::wstring newFile_;
    bool folderMoved_ = false;
    bool fileMoved_ = false;
    bool previousMoved_ = false;
};

} // namespace VBoxSim
