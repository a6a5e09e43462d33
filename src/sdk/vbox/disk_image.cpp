#include "selq6/vbox.h"
#include "utils/file_path.h"

// Disk image files, without VirtualBox.

namespace Travik {

SdkErrorCode VBox::renameVmDisk(const std::wstring& fromPath, const std::wstring& toPath)
{
    Operation op(*this, {L"Travik::VBox::renameVmDisk", LastResult::keep}, fromPath, toPath);
    op.check(Utils::renameFilePath(fromPath, toPath), RenameFilePathFail);
    return op.code();
}

SdkErrorCode VBox::restoreVmDisk(VBoxHandle machine, const std::wstring& diskPath)
{
    Operation op(*this, L"Travik::VBox::restoreVmDisk", machine, diskPath);
    ComPtr<IMachine> object;
    op.find(machineTable, machine, object);
    return op.code();
}

} // namespace Travik
