#include <windows.h>

#include <string>
#include <vector>

#include "connection.h"

// Where the library comes from. Loaded by its path, because Windows looks for what a DLL imports beside the program
// only.

namespace Travik::Flat {
namespace {

std::wstring ownFolder()
{
    HMODULE self = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT | GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                       reinterpret_cast<LPCWSTR>(&ownFolder), &self);
    std::wstring path(32768, L'\0'); // the longest that there is
    path.resize(GetModuleFileNameW(self, path.data(), static_cast<DWORD>(path.size())));
    return path.substr(0, path.find_last_of(L"\\/") + 1);
}

/// Whether a file says in its resources that it has our version: texts and lists cross from it as C++ objects.
bool isOfThisVersion(const std::wstring& file)
{
    const DWORD size = GetFileVersionInfoSizeW(file.c_str(), nullptr);
    std::vector<char> data(size);
    VS_FIXEDFILEINFO* info = nullptr;
    UINT length = 0;
    return size != 0 && GetFileVersionInfoW(file.c_str(), 0, size, data.data()) &&
           VerQueryValueW(data.data(), L"\\", reinterpret_cast<void**>(&info), &length) && info &&
           info->dwFileVersionMS == MAKELONG(TRAVIK_VERSION_MINOR, TRAVIK_VERSION_MAJOR) &&
           HIWORD(info->dwFileVersionLS) == TRAVIK_VERSION_PATCH;
}

VBoxInstanceImpl* load()
{
    const std::wstring file = ownFolder() + L"TravikSDK-selq6.dll";
    if (!isOfThisVersion(file))
        return nullptr;
    const HMODULE module = LoadLibraryExW(file.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    if (!module)
        return nullptr;
    const auto get = reinterpret_cast<VBoxInstanceImpl* (*)()>(
        reinterpret_cast<void (*)()>(GetProcAddress(module, "GetVBoxInstance")));
    return !get ? nullptr : get();
}

} // namespace

VBoxInstanceImpl* library()
{
    static VBoxInstanceImpl* const instance = load();
    return instance;
}

} // namespace Travik::Flat
