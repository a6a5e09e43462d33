#pragma once

#include <windows.h>

namespace VBoxSim {

/// What an error object of the server says, for its way into another process. The object hands it out under this
/// identifier like an interface of its own: it lives as long as the object.
struct ErrorContents
{
    GUID interfaceId;
    LONG result;
    const wchar_t* component;
    const wchar_t* text;
};
inline constexpr GUID errorContentsId{0x6E0B7C54, 0x2D7A, 0x4F0C, {0x9A, 0x83, 0x5B, 0x1E, 0x4C, 0x2D, 0x9F, 0x23}};

} // namespace VBoxSim
