#include "appliance/manifest.h"

#include <Poco/MD5Engine.h>
#include <Poco/SHA1Engine.h>
#include <Poco/SHA2Engine.h>
#include <Poco/String.h>

#include <algorithm>
#include <sstream>

#include "base/failure.h"
#include "base/text.h"

namespace VBoxSim {

namespace {

std::unique_ptr<Poco::DigestEngine> engineFor(const std::string& algorithm)
{
    if (algorithm == "MD5")
        return std::make_unique<Poco::MD5Engine>();
    if (algorithm == "SHA1")
        return std::make_unique<Poco::SHA1Engine>();
    if (algorithm == "SHA256")
        return std::make_unique<Poco::SHA2Engine>(Poco::SHA2Engine::SHA_256);
    if (algorithm == "SHA512")
        return std::make_unique<Poco::SHA2Engine>(Poco::SHA2Engine::SHA_512);
    return nullptr;
}

ManifestEntry parseLine(const std::string& line)
{
    const auto malformed = [&] {
        return Failure(Result::iprtError, L"The manifest has a malformed line: " + fromUtf8(line));
    };
    // The name may hold parentheses itself: it ends at the last one in front of the equals sign.
    const std::size_t open = line.find('(');
    const std::size_t equals = line.rfind('=');
    const std::size_t close = equals == std::string::npos ? equals : line.rfind(')', equals);
    if (open == std::string::npos || close == std::string::npos || close <= open + 1)
        throw malformed();

    ManifestEntry entry;
    entry.algorithm = Poco::trim(line.substr(0, open));
    entry.file = line.substr(open + 1, close - open - 1);
    entry.digest = Poco::toLower(Poco::trim(line.substr(equals + 1)));
    const auto engine = engineFor(entry.algorithm);
    if (engine && (entry.digest.size() != 2 * engine->digestLength() ||
                   entry.digest.find_first_not_of("0123456789abcdef") != std::string::npos))
        throw malformed();
    return entry;
}

} // namespace

std::vector<ManifestEntry> parseManifest(const std::string& text)
{
    std::vector<ManifestEntry> entries;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        if (!Poco::trimInPlace(line).empty())
            entries.push_back(parseLine(line));
    }
    return entries;
}

bool isComputed(const ManifestEntry& entry)
{
    return engineFor(entry.algorithm) != nullptr;
}

void checkDigest(const ManifestEntry& entry, const ByteSource& source,
                 const std::function<bool(std::uint64_t bytes)>& onBytes)
{
    constexpr std::size_t pieceSize = std::size_t(1) << 20;
    const auto engine = engineFor(entry.algorithm);
    std::vector<char> buffer(pieceSize);
    for (std::uint64_t place = 0; place < source.size();) {
        const auto piece = static_cast<std::size_t>(std::min<std::uint64_t>(pieceSize, source.size() - place));
        source.readAt(place, buffer.data(), piece);
        engine->update(buffer.data(), piece);
        place += piece;
        if (!onBytes(piece))
            throw Canceled();
    }
    if (Poco::DigestEngine::digestToHex(engine->digest()) != entry.digest)
        throw Failure(Result::fileError, L"'" + fromUtf8(entry.file) + L"' does not match its digest in the manifest");
}

} // namespace VBoxSim
