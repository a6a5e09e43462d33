#include "selq6/vbox.h"
#include "utils/file_path.h"

// Opening, closing, deleting and querying disk images.

namespace Travik {

SdkErrorCode VBox::openMedium(const std::wstring& location, bool forceNewUuid, VBoxHandle* medium)
{
    Operation op(*this, L"Travik::VBox::openMedium", location);
    ComPtr<IVirtualBox> root;
    ComPtr<IMedium> opened;
    if (op.check(Utils::checkFileExists(location), CheckFileExistsFail) && op.ready(virtualBox, root)) {
        const ComString file(location);
        if (op.call(OpenMediumFail, [&] {
                return root->OpenMedium(file.get(), DeviceType::HardDisk, AccessMode::ReadWrite, forceNewUuid, &opened);
            }))
            op.handOut(mediumTable, opened, medium);
    }
    return op.code();
}

SdkErrorCode VBox::closeMedium(VBoxHandle medium)
{
    Operation op(*this, L"Travik::VBox::closeMedium", medium);
    ComPtr<IMedium> object;
    if (op.find(mediumTable, medium, object))
        op.call(CloseMediumFail, [&] { return object->Close(); });
    return op.code();
}

SdkErrorCode VBox::deleteMedium(VBoxHandle medium)
{
    Operation op(*this, L"Travik::VBox::deleteMedium", medium);
    ComPtr<IMedium> object;
    ComString location;
    if (op.find(mediumTable, medium, object) &&
        op.call(MediumGetLocationFail, [&] { return object->get_Location(location.put()); }) && !location.isNull())
        op.check(Utils::removeFilePath(location.str()), RemoveFilePathFail);
    return op.code();
}

SdkErrorCode VBox::getMediumLocation(VBoxHandle medium, std::wstring* location)
{
    Operation op(*this, L"Travik::VBox::getMediumLocation", medium);
    ComPtr<IMedium> object;
    ComString text;
    if (op.find(mediumTable, medium, object) &&
        op.call(MediumGetLocationFail, [&] { return object->get_Location(text.put()); }))
        op.returnText(L"return path = ", text, location);
    return op.code();
}

SdkErrorCode VBox::getMediumState(VBoxHandle medium, std::uint32_t* state)
{
    Operation op(*this, L"Travik::VBox::getMediumState", medium);
    ComPtr<IMedium> object;
    ULONG value = 0;
    if (op.find(mediumTable, medium, object) &&
        op.call(MediumGetStateFail, [&] { return object->RefreshState(&value); }))
        op.returnNumber(L"return medium state = ", value, state);
    return op.code();
}

SdkErrorCode VBox::getMediumUUID(VBoxHandle medium, std::wstring* uuid)
{
    Operation op(*this, L"Travik::VBox::getMediumUUID", medium);
    ComPtr<IMedium> object;
    ComString text;
    if (op.find(mediumTable, medium, object) && op.call(MediumGetIdFail, [&] { return object->get_Id(text.put()); }))
        op.returnText(L"return uuid = ", text, uuid);
    return op.code();
}

SdkErrorCode VBox::getMediumLastAccessError(VBoxHandle medium, std::wstring* text)
{
    Operation op(*this, L"Travik::VBox::getMediumLastAccessError", medium);
    ComPtr<IMedium> object;
    ComString error;
    if (op.find(mediumTable, medium, object) &&
        op.call(MediumGetLastAccessErrorFail, [&] { return object->get_LastAccessError(error.put()); }))
        op.returnText(L"return last access error = ", error, text);
    return op.code();
}

} // namespace Travik
