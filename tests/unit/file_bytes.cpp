#include "file_bytes.h"

#include <fstream>
#include <iterator>
#include <stdexcept>

namespace TravikTest {

std::string readBytes(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    if (!stream)
        throw std::runtime_error("cannot read " + file.string());
    return std::string(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
}

void writeBytes(const std::filesystem::path& file, const std::string& bytes)
{
    std::ofstream stream(file, std::ios::binary);
    if (!stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size())).flush())
        throw std::runtime_error("cannot write " + file.string());
}

} // namespace TravikTest
