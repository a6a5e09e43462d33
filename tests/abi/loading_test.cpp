// The DLL loads no other DLL by a name without a folder: nobody can put one in its way.
#include <windows.h>
#include <gmock/gmock.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "scratch.h"
#include "travik/vbox_instance.h"

namespace {

std::vector<std::wstring> loaded;

HMODULE WINAPI noteLoad(const wchar_t* name)
{
    loaded.emplace_back(name);
    return LoadLibraryW(name);
}

HMODULE WINAPI noteLoadEx(const wchar_t* name, HANDLE file, DWORD flags)
{
    loaded.emplace_back(name);
    return LoadLibraryExW(name, file, flags);
}

HMODULE WINAPI noteNarrowLoad(const char* name)
{
    loaded.emplace_back(name, name + std::strlen(name));
    return LoadLibraryA(name);
}

HMODULE WINAPI noteNarrowLoadEx(const char* name, HANDLE file, DWORD flags)
{
    loaded.emplace_back(name, name + std::strlen(name));
    return LoadLibraryExA(name, file, flags);
}

template <class Structure>
Structure* at(HMODULE module, DWORD address)
{
    return reinterpret_cast<Structure*>(reinterpret_cast<char*>(module) + address);
}

/// Puts a function of ours into the import table of a loaded DLL; how often it is there.
int replaceImport(HMODULE module, const char* function, void* ours)
{
    const auto* const headers =
        at<IMAGE_NT_HEADERS64>(module, static_cast<DWORD>(at<IMAGE_DOS_HEADER>(module, 0)->e_lfanew));
    const DWORD table = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT].VirtualAddress;
    int count = 0;
    for (auto* library = at<IMAGE_IMPORT_DESCRIPTOR>(module, table); library->Name != 0; ++library) {
        const auto* names = at<IMAGE_THUNK_DATA64>(module, library->OriginalFirstThunk);
        auto* places = at<IMAGE_THUNK_DATA64>(module, library->FirstThunk);
        for (; names->u1.AddressOfData != 0; ++names, ++places) {
            const auto* const name = at<IMAGE_IMPORT_BY_NAME>(module, static_cast<DWORD>(names->u1.AddressOfData));
            if (IMAGE_SNAP_BY_ORDINAL64(names->u1.Ordinal) || std::strcmp(name->Name, function) != 0)
                continue;
            DWORD before = 0;
            VirtualProtect(places, sizeof *places, PAGE_READWRITE, &before);
            places->u1.Function = reinterpret_cast<ULONGLONG>(ours);
            VirtualProtect(places, sizeof *places, before, &before);
            ++count;
        }
    }
    return count;
}

TEST(DllInUse, loadsNothingByARelativeName)
{
    const HMODULE dll = LoadLibraryW((TravikTest::productFolder() / L"TravikSDK-selq6.dll").c_str());
    ASSERT_NE(dll, nullptr);
    // POCO brings one of them with a part that the library does not use.
    int replaced = replaceImport(dll, "LoadLibraryW", reinterpret_cast<void*>(noteLoad));
    replaced += replaceImport(dll, "LoadLibraryExW", reinterpret_cast<void*>(noteLoadEx));
    replaced += replaceImport(dll, "LoadLibraryA", reinterpret_cast<void*>(noteNarrowLoad));
    replaced += replaceImport(dll, "LoadLibraryExA", reinterpret_cast<void*>(noteNarrowLoadEx));
    RecordProperty("imported", replaced);
    // The search finds what is there.
    EXPECT_EQ(replaceImport(dll, "GetProcAddress", reinterpret_cast<void*>(GetProcAddress)), 1);

    const auto getInstance =
        reinterpret_cast<decltype(&GetVBoxInstance)>(reinterpret_cast<void*>(GetProcAddress(dll, "GetVBoxInstance")));
    Travik::VBoxInstanceImpl& box = *getInstance();
    box.setLogPath((TravikTest::scratchFolder() / L"loading.log").wstring());
    const std::wstring file = (TravikTest::scratchFolder() / L"no such file").wstring();
    EXPECT_EQ(box.initComComponent(), 0u);
    EXPECT_EQ(box.renameVmDisk(file, file + L"2"), 196u);
    EXPECT_EQ(box.importOva(file), 195u);
    EXPECT_EQ(box.machineGetState(4711, nullptr), 181u);
    EXPECT_EQ(box.releaseRC(), 0u);
    for (const std::wstring& name : loaded)
        EXPECT_TRUE(std::filesystem::path(name).is_absolute()) << std::filesystem::path(name);
}

} // namespace
