#include "pe_file.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace TravikTest {
namespace {

char lower(char letter)
{
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

bool sameLetter(char left, char right)
{
    return lower(left) == lower(right);
}

} // namespace

PeFile::PeFile(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    bytes_.assign(std::istreambuf_iterator<char>(file), {});
    if (inFile<IMAGE_DOS_HEADER>(0).e_magic != IMAGE_DOS_SIGNATURE || headers().Signature != IMAGE_NT_SIGNATURE ||
        headers().FileHeader.Machine != IMAGE_FILE_MACHINE_AMD64)
        throw std::runtime_error("not a 64-bit Windows program: " + path.string());
}

std::set<std::string> PeFile::exports() const
{
    const auto& table = at<IMAGE_EXPORT_DIRECTORY>(directory(IMAGE_DIRECTORY_ENTRY_EXPORT).VirtualAddress);
    std::set<std::string> names;
    for (DWORD index = 0; index < table.NumberOfNames; ++index)
        names.insert(textAt(at<DWORD>(table.AddressOfNames + index * sizeof(DWORD))));
    return names;
}

DWORD PeFile::exportCount() const
{
    return at<IMAGE_EXPORT_DIRECTORY>(directory(IMAGE_DIRECTORY_ENTRY_EXPORT).VirtualAddress).NumberOfFunctions;
}

std::set<std::string> PeFile::imports() const
{
    std::set<std::string> names;
    const auto add = [&](DWORD address) {
        std::string name = textAt(address);
        std::transform(name.begin(), name.end(), name.begin(), lower);
        names.insert(name);
    };
    if (DWORD next = directory(IMAGE_DIRECTORY_ENTRY_IMPORT).VirtualAddress)
        for (; at<IMAGE_IMPORT_DESCRIPTOR>(next).Name != 0; next += sizeof(IMAGE_IMPORT_DESCRIPTOR))
            add(at<IMAGE_IMPORT_DESCRIPTOR>(next).Name);
    if (DWORD next = directory(IMAGE_DIRECTORY_ENTRY_DELAY_IMPORT).VirtualAddress)
        for (; at<IMAGE_DELAYLOAD_DESCRIPTOR>(next).DllNameRVA != 0; next += sizeof(IMAGE_DELAYLOAD_DESCRIPTOR))
            add(at<IMAGE_DELAYLOAD_DESCRIPTOR>(next).DllNameRVA);
    return names;
}

bool PeFile::hasWritableCode() const
{
    constexpr DWORD both = IMAGE_SCN_MEM_WRITE | IMAGE_SCN_MEM_EXECUTE;
    const IMAGE_SECTION_HEADER* const first = IMAGE_FIRST_SECTION(&headers());
    return std::any_of(first, first + headers().FileHeader.NumberOfSections,
                       [](const IMAGE_SECTION_HEADER& section) { return (section.Characteristics & both) == both; });
}

bool PeFile::contains(const std::string& text) const
{
    std::string wide;
    for (char letter : text)
        wide += {letter, '\0'};
    const auto found = [&](const std::string& what) {
        return std::search(bytes_.begin(), bytes_.end(), what.begin(), what.end(), sameLetter) != bytes_.end();
    };
    return found(text) || found(wide);
}

const IMAGE_NT_HEADERS64& PeFile::headers() const
{
    return inFile<IMAGE_NT_HEADERS64>(static_cast<std::size_t>(inFile<IMAGE_DOS_HEADER>(0).e_lfanew));
}

const IMAGE_DATA_DIRECTORY& PeFile::directory(unsigned entry) const
{
    return headers().OptionalHeader.DataDirectory[entry];
}

std::string PeFile::textAt(DWORD address) const
{
    std::string text;
    while (const char letter = at<char>(address++))
        text += letter;
    return text;
}

template <class Structure>
const Structure& PeFile::at(DWORD address) const
{
    const IMAGE_SECTION_HEADER* section = IMAGE_FIRST_SECTION(&headers());
    for (WORD index = 0; index < headers().FileHeader.NumberOfSections; ++index, ++section)
        if (address >= section->VirtualAddress && address - section->VirtualAddress < section->SizeOfRawData)
            return inFile<Structure>(section->PointerToRawData + (address - section->VirtualAddress));
    throw std::runtime_error("an address outside the file's sections");
}

template <class Structure>
const Structure& PeFile::inFile(std::size_t offset) const
{
    if (offset > bytes_.size() || bytes_.size() - offset < sizeof(Structure))
        throw std::runtime_error("the file ends too early");
    return *reinterpret_cast<const Structure*>(bytes_.data() + offset);
}

} // namespace TravikTest
