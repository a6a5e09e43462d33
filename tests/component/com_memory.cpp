#include "com_memory.h"

#include <mutex>
#include <unordered_set>
#include <utility>

namespace TravikTest {
namespace {

struct Counts
{
    std::mutex guard;
    std::unordered_set<const void*> texts;
    std::unordered_set<const void*> arrays;
    std::vector<std::wstring> allocated;
    int textsUntilFailure = 0;
    bool arrayCreationFails = false;
    bool arrayAccessFails = false;
};

Counts& counts()
{
    static Counts counts;
    return counts;
}

template <class Function>
Function original(const char* name)
{
    static const HMODULE oleaut32 = LoadLibraryW(L"oleaut32.dll");
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(oleaut32, name)));
}

BSTR originalAllocate(const OLECHAR* text, UINT length)
{
    static const auto function = original<decltype(&SysAllocStringLen)>("SysAllocStringLen");
    return function(text, length);
}

HRESULT originalAccess(SAFEARRAY* array, void** data)
{
    static const auto function = original<decltype(&SafeArrayAccessData)>("SafeArrayAccessData");
    return function(array, data);
}

BSTR WINAPI allocateText(const OLECHAR* text, UINT length)
{
    Counts& all = counts();
    const std::lock_guard lock(all.guard);
    all.allocated.emplace_back(text, length);
    if (all.textsUntilFailure != 0 && --all.textsUntilFailure == 0)
        return nullptr;
    const BSTR made = originalAllocate(text, length);
    all.texts.insert(made);
    return made;
}

void WINAPI freeText(BSTR text)
{
    static const auto function = original<decltype(&SysFreeString)>("SysFreeString");
    {
        const std::lock_guard lock(counts().guard);
        counts().texts.erase(text);
    }
    function(text);
}

SAFEARRAY* WINAPI createVector(VARTYPE type, LONG lowerBound, ULONG elements)
{
    static const auto function = original<decltype(&SafeArrayCreateVector)>("SafeArrayCreateVector");
    Counts& all = counts();
    const std::lock_guard lock(all.guard);
    if (all.arrayCreationFails)
        return nullptr;
    SAFEARRAY* const made = function(type, lowerBound, elements);
    all.arrays.insert(made);
    return made;
}

/// An array frees its texts itself.
void forgetElements(SAFEARRAY* array)
{
    if (!array || (array->fFeatures & FADF_BSTR) == 0 || array->cDims != 1)
        return;
    const auto* texts = static_cast<const BSTR*>(array->pvData);
    for (ULONG i = 0; i < array->rgsabound[0].cElements; ++i)
        counts().texts.erase(texts[i]);
}

HRESULT WINAPI destroyArray(SAFEARRAY* array)
{
    static const auto function = original<decltype(&SafeArrayDestroy)>("SafeArrayDestroy");
    {
        const std::lock_guard lock(counts().guard);
        counts().arrays.erase(array);
        forgetElements(array);
    }
    return function(array);
}

HRESULT WINAPI accessData(SAFEARRAY* array, void** data)
{
    {
        const std::lock_guard lock(counts().guard);
        if (counts().arrayAccessFails)
            return E_UNEXPECTED;
    }
    return originalAccess(array, data);
}

} // namespace

namespace ComMemory {

void failText(int number)
{
    const std::lock_guard lock(counts().guard);
    counts().textsUntilFailure = number;
}

void failArrayCreation(bool fails)
{
    const std::lock_guard lock(counts().guard);
    counts().arrayCreationFails = fails;
}

void failArrayAccess(bool fails)
{
    const std::lock_guard lock(counts().guard);
    counts().arrayAccessFails = fails;
}

std::vector<std::wstring> takeAllocatedTexts()
{
    const std::lock_guard lock(counts().guard);
    return std::exchange(counts().allocated, {});
}

std::size_t liveTexts()
{
    const std::lock_guard lock(counts().guard);
    return counts().texts.size();
}

std::size_t liveArrays()
{
    const std::lock_guard lock(counts().guard);
    return counts().arrays.size();
}

BSTR elementText(const std::wstring& text)
{
    return originalAllocate(text.data(), static_cast<UINT>(text.size()));
}

BSTR giveText(const std::wstring& text)
{
    const BSTR made = elementText(text);
    const std::lock_guard lock(counts().guard);
    counts().texts.insert(made);
    return made;
}

SAFEARRAY* giveArray(SAFEARRAY* array)
{
    const std::lock_guard lock(counts().guard);
    if (array)
        counts().arrays.insert(array);
    return array;
}

void reset()
{
    Counts& all = counts();
    const std::lock_guard lock(all.guard);
    all.texts.clear();
    all.arrays.clear();
    all.allocated.clear();
    all.textsUntilFailure = 0;
    all.arrayCreationFails = false;
    all.arrayAccessFails = false;
}

} // namespace ComMemory
} // namespace TravikTest

// The library calls these functions through the import table; these definitions come before those of the import
// library.
extern "C" {
decltype(&SysAllocStringLen) __imp_SysAllocStringLen = TravikTest::allocateText;
decltype(&SysFreeString) __imp_SysFreeString = TravikTest::freeText;
decltype(&SafeArrayCreateVector) __imp_SafeArrayCreateVector = TravikTest::createVector;
decltype(&SafeArrayDestroy) __imp_SafeArrayDestroy = TravikTest::destroyArray;
decltype(&SafeArrayAccessData) __imp_SafeArrayAccessData = TravikTest::accessData;
}
