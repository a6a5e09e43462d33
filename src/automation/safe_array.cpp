#include "automation/safe_array.h"

#include <algorithm>

#include "automation/com_string.h"

namespace Travik {

std::vector<std::wstring> toTexts(SAFEARRAY* array)
{
    std::vector<std::wstring> texts;
    for (const BSTR text : ArrayAccess<BSTR>(array))
        texts.push_back(textOf(text));
    return texts;
}

SAFEARRAY* toTextArray(const std::list<std::wstring>& texts)
{
    ComArray array(SafeArrayCreateVector(VT_BSTR, 0, static_cast<ULONG>(texts.size())));
    if (array.isNull())
        _com_issue_error(E_OUTOFMEMORY);
    {
        const ArrayAccess<BSTR> elements(array.get());
        if (!elements.locked())
            _com_issue_error(E_OUTOFMEMORY);
        std::transform(texts.begin(), texts.end(), elements.begin(),
                       [](const std::wstring& text) { return ComString(text).detach(); });
    }
    return array.detach();
}

SAFEARRAY* toNumberArray(const std::vector<std::uint32_t>& numbers)
{
    ComArray array(SafeArrayCreateVector(VT_I4, 0, static_cast<ULONG>(numbers.size())));
    if (array.isNull())
        return nullptr;
    {
        const ArrayAccess<LONG> elements(array.get());
        if (!elements.locked())
            return nullptr;
        std::copy(numbers.begin(), numbers.end(), elements.begin());
    }
    return array.detach();
}

} // namespace Travik
