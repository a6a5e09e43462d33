#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "settings/machine_settings.h"
#include "travik/vbox_types.h"

namespace VBoxSim {

namespace MediumState = Travik::MediumState;

/// A disk image that the host knows. Once it is closed no call on it works any more.
struct Medium
{
    std::wstring id;
    std::wstring location;
    std::wstring format;
    std::wstring type = L"Normal";
    std::uint32_t deviceType = DeviceKind::hardDisk;
    std::wstring parent; ///< UUID; empty for a base image
    std::wstring description;
    std::uint32_t state = MediumState::Inaccessible; ///< the locked states are worked out when asked
    std::wstring lastAccessError;
    std::int64_t size = 0;
    std::int64_t logicalSize = 0;
    bool closed = false;
};
using MediumPtr = std::shared_ptr<Medium>;

MediumPtr mediumOf(const MediumRecord& record);
/// A medium as a machine's registry lists it.
MediumRecord recordOf(const Medium& medium);
/// Its MediumType as IMedium::Type tells it.
std::uint32_t mediumType(const Medium& medium);

} // namespace VBoxSim
