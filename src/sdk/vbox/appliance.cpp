#include <algorithm>

#include "automation/safe_array.h"
#include "selq6/vbox.h"
#include "utils/file_path.h"

// Importing appliance files.

namespace Travik {

bool VBox::_openAppliance(Operation& op, const std::wstring& path, ComPtr<IAppliance>& appliance)
{
    ComPtr<IVirtualBox> root;
    if (!op.check(Utils::checkFileExists(path), CheckFileExistsFail) || !op.ready(virtualBox, root) ||
        !op.obtain(CreateApplianceFail, appliance, [&] { return root->CreateAppliance(&appliance); }))
        return false;
    const ComString file(path);
    ComPtr<IProgress> progress;
    return op.obtain(ApplianceReadFail, progress, [&] { return appliance->Read(file.get(), &progress); }) &&
           op.call(ProgressWaitForCompletionFail, [&] { return _waitForProgressCompletion(progress, L"readOva"); }) &&
           op.call(ApplianceInterpretFail, [&] { return appliance->Interpret(); });
}

SdkErrorCode VBox::getImportOvaVmName(const std::wstring& ovaPath, std::wstring* name)
{
    Operation op(*this, L"Travik::VBox::getImportOvaVmName", ovaPath);
    ComPtr<IAppliance> appliance;
    ComArray array;
    if (!_openAppliance(op, ovaPath, appliance) || !op.call(ApplianceGetVirtualSystemDescriptionsFail, [&] {
            return appliance->get_VirtualSystemDescriptions(array.put());
        }))
        return op.code();
    for (const auto& description : toObjects<IVirtualSystemDescription>(array.get())) {
        if (!description)
            continue;
        ComArray values;
        op.attempt(VirtualSystemDescriptionGetValuesFail, [&] {
            return description->GetValuesByType(VirtualSystemDescriptionType::Name,
                                                VirtualSystemDescriptionValueType::Auto, values.put());
        });
        const std::vector<std::wstring> names = toTexts(values.get());
        const auto first = std::find_if(names.begin(), names.end(), [](const auto& text) { return !text.empty(); });
        if (first == names.end())
            continue;
        if (name) {
            *name = *first;
            op.record(L"import vmname = " + *first);
        }
        break;
    }
    return op.code();
}

SdkErrorCode VBox::importOva(const std::wstring& ovaPath)
{
    Operation op(*this, L"Travik::VBox::importOva", ovaPath);
    ComPtr<IAppliance> appliance;
    ComPtr<IProgress> progress;
    if (!_openAppliance(op, ovaPath, appliance))
        return op.code();
    const ComArray options(toNumberArray({ImportOptions::ImportToVDI}));
    if (op.check(!options.isNull(), SafeArrayCreateFail) && op.obtain(ApplianceImportMachinesFail, progress, [&] {
            return appliance->ImportMachines(options.get(), &progress);
        }))
        op.call(ProgressWaitForCompletionFail, [&] { return _waitForProgressCompletion(progress, L"importOva"); });
    return op.code();
}

} // namespace Travik
