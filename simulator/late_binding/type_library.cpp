#include "late_binding/type_library.h"

#include <oleauto.h>
#include <wrl/client.h>

#include <cstring>
#include <map>
#include <mutex>
#include <string>

namespace VBoxSim {

namespace {

using Microsoft::WRL::ComPtr;

struct ById
{
    bool operator()(const IID& left, const IID& right) const { return std::memcmp(&left, &right, sizeof(IID)) < 0; }
};

/// What has been loaded. It is never destroyed: calls may still come while the process leaves.
struct Loaded
{
    std::mutex mutex;
    ComPtr<ITypeLib> library;
    std::map<IID, ComPtr<ITypeInfo>, ById> descriptions;
};

Loaded& loaded()
{
    static Loaded* const kept = new Loaded;
    return *kept;
}

/// The program or library that this code is part of.
std::wstring folderOfThisModule()
{
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<const wchar_t*>(&folderOfThisModule), &module);
    std::wstring path(32768, L'\0');
    path.resize(GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size())));
    return path.substr(0, path.find_last_of(L'\\') + 1);
}

} // namespace

HRESULT describeInterface(REFIID id, ITypeInfo** description) noexcept
{
    *description = nullptr;
    Loaded& all = loaded();
    const std::lock_guard guard(all.mutex);
    if (const auto known = all.descriptions.find(id); known != all.descriptions.end()) {
        *description = known->second.Get();
        return S_OK;
    }
    HRESULT result = S_OK;
    if (!all.library)
        result = LoadTypeLibEx((folderOfThisModule() + L"vboxsim-ps.dll").c_str(), REGKIND_NONE, &all.library);
    ComPtr<ITypeInfo> found;
    if (SUCCEEDED(result))
        result = all.library->GetTypeInfoOfGuid(id, &found);
    if (SUCCEEDED(result))
        *description = (all.descriptions[id] = found).Get();
    return result;
}

} // namespace VBoxSim
