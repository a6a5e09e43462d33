#pragma once

#include <cstdint>
#include <string>

#include "host/medium.h"
#include "host/progress.h"

/// New media. With the host's mutex held.
namespace VBoxSim {

class Host;

/// IVirtualBox::CreateMedium: a medium without storage, which nobody else knows yet. An empty format is VDI.
MediumPtr createMedium(Host& host, const std::wstring& format, const std::wstring& location, std::uint32_t deviceType);

/// IMedium::CreateBaseStorage; the variant is VirtualBox's flags.
ProgressPtr createBaseStorage(Host& host, const MediumPtr& medium, std::int64_t bytes, std::uint32_t variant);

} // namespace VBoxSim
