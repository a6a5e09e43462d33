#include "scratch.h"

#include <fstream>

#include "com.h"

namespace Probe {

namespace fs = std::filesystem;

namespace {

/// The user's folder for temporary files under its long name, as VirtualBox will tell paths.
fs::path temporaryFolder()
{
    wchar_t given[MAX_PATH + 1] = L"", full[32768] = L"";
    if (GetTempPathW(MAX_PATH + 1, given) == 0 || GetLongPathNameW(given, full, 32768) == 0)
        throw std::runtime_error("the folder for temporary files is not to be found");
    return full;
}

fs::path folderOfAllRuns()
{
    return temporaryFolder() / L"vboxprobe";
}

fs::path noteIn(const fs::path& folder)
{
    return folder / L"machine-folder.txt";
}

} // namespace

Scratch::Scratch() : mutex_(CreateMutexW(nullptr, FALSE, L"Local\\vboxprobe"))
{
    if (!mutex_ || GetLastError() == ERROR_ALREADY_EXISTS)
        throw std::runtime_error("another vboxprobe runs");
    path_ = folderOfAllRuns() /
            (L"run-" + std::to_wstring(GetCurrentProcessId()) + L"-" + std::to_wstring(GetTickCount64()));
    std::error_code error;
    if (!fs::create_directories(path_, error))
        throw std::runtime_error("cannot make the folder " + utf8(path_.wstring()));
}

Scratch::~Scratch()
{
    // With a note in it the folder stays for the next start.
    if (!fs::exists(noteIn(path_)))
        removeFolder(path_);
    std::error_code ignored;
    fs::remove(folderOfAllRuns(), ignored); // when it is empty
    CloseHandle(mutex_);
}

std::vector<fs::path> Scratch::leftovers()
{
    std::vector<fs::path> found;
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(folderOfAllRuns(), error))
        if (entry.path().filename().wstring().starts_with(L"run-"))
            found.push_back(entry.path());
    return found;
}

bool liesIn(const fs::path& folder, const std::wstring& file)
{
    const std::wstring head = folder.wstring() + L"\\";
    return file.size() > head.size() && CompareStringOrdinal(head.data(), static_cast<int>(head.size()), file.data(),
                                                             static_cast<int>(head.size()), TRUE) == CSTR_EQUAL;
}

void removeFolder(const fs::path& folder)
{
    WIN32_FIND_DATAW entry;
    const HANDLE search = FindFirstFileW((folder / L"*").c_str(), &entry);
    if (search != INVALID_HANDLE_VALUE) {
        do {
            const std::wstring name = entry.cFileName;
            const fs::path path = folder / name;
            const bool isFolder = (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
            if (name == L"." || name == L"..")
                continue;
            if (isFolder && (entry.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0)
                removeFolder(path);
            else if (isFolder)
                RemoveDirectoryW(path.c_str());
            else
                DeleteFileW(path.c_str());
        } while (FindNextFileW(search, &entry));
        FindClose(search);
    }
    RemoveDirectoryW(folder.c_str());
}

void writeNote(const fs::path& folder, const std::wstring& machineFolder)
{
    std::ofstream stream(noteIn(folder), std::ios::binary);
    stream << utf8(machineFolder);
    stream.close();
    if (!stream)
        throw std::runtime_error("cannot write " + utf8(noteIn(folder).wstring()));
}

std::optional<std::wstring> readNote(const fs::path& folder)
{
    std::ifstream stream(noteIn(folder), std::ios::binary);
    if (!stream)
        return std::nullopt;
    return wide(std::string(std::istreambuf_iterator<char>(stream), {}));
}

void removeNote(const fs::path& folder)
{
    DeleteFileW(noteIn(folder).c_str());
}

} // namespace Probe
