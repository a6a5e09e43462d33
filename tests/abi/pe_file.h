#pragma once

#include <windows.h>

#include <filesystem>
#include <set>
#include <string>
#include <vector>

namespace TravikTest {

/// What the tests want to know of a 64-bit DLL, read from the file. Throws std::runtime_error for anything else.
class PeFile
{
public:
    explicit PeFile(const std::filesystem::path& path);

    /// The exported names.
    std::set<std::string> exports() const;

    /// The number of exports, those without a name included.
    DWORD exportCount() const;

    /// The names of the DLLs that it imports, in lower case, delayed imports included.
    std::set<std::string> imports() const;

    /// IMAGE_DLLCHARACTERISTICS_...
    WORD characteristics() const { return headers().OptionalHeader.DllCharacteristics; }

    /// Whether the relocations that moving the DLL needs are there.
    bool hasRelocations() const { return directory(IMAGE_DIRECTORY_ENTRY_BASERELOC).Size != 0; }

    /// Whether there is a section that can be both written and run.
    bool hasWritableCode() const;

    /// Whether the text stands anywhere in the file, in bytes or in wide characters, in any case of letters.
    bool contains(const std::string& text) const;

private:
    const IMAGE_NT_HEADERS64& headers() const;
    const IMAGE_DATA_DIRECTORY& directory(unsigned entry) const;
    std::string textAt(DWORD address) const;

    /// The structure at an address of the loaded image.
    template <class Structure>
    const Structure& at(DWORD address) const;

    /// The structure at a place in the file.
    template <class Structure>
    const Structure& inFile(std::size_t offset) const;

    std::vector<char> bytes_;
};

} // namespace TravikTest
