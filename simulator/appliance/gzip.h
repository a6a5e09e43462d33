#pragma once

#include <functional>

#include "images/byte_source.h"

namespace VBoxSim {

/// Told the packed bytes that were read and the unpacked bytes so far, the last of them at `data`; throws to stop.
using GunzipSink = std::function<void(const std::uint8_t* data, std::size_t length, std::uint64_t packedBytes)>;

/// Unpacks a file that is one gzip stream, or several in a row, piece by piece. Throws Failure(iprtError) for damage.
void gunzip(const ByteSource& source, const GunzipSink& sink);

} // namespace VBoxSim
