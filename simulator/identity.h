#pragma once

#include <windows.h>

namespace VBoxSim {

// Class identifiers of the stand-in itself; those that it takes over from VirtualBox are in vbox_identity.h.

/// IVBoxSimControl, in the server.
inline constexpr GUID controlClass{0x6E0B7C54, 0x2D7A, 0x4F0C, {0x9A, 0x83, 0x5B, 0x1E, 0x4C, 0x2D, 0x9F, 0x11}};
/// ISimSessions, in the server.
inline constexpr GUID sessionsClass{0x6E0B7C54, 0x2D7A, 0x4F0C, {0x9A, 0x83, 0x5B, 0x1E, 0x4C, 0x2D, 0x9F, 0x12}};
/// What a session object becomes when it is passed to the server; known inside the server only.
inline constexpr GUID sessionReferenceClass{
    0x6E0B7C54, 0x2D7A, 0x4F0C, {0x9A, 0x83, 0x5B, 0x1E, 0x4C, 0x2D, 0x9F, 0x13}};
/// What turns such a reference, when it is passed back, into the client's own session object; in the session library.
inline constexpr GUID sessionReturnClass{0x6E0B7C54, 0x2D7A, 0x4F0C, {0x9A, 0x83, 0x5B, 0x1E, 0x4C, 0x2D, 0x9F, 0x14}};
/// The proxies and stubs.
inline constexpr GUID proxyClass{0x6E0B7C54, 0x2D7A, 0x4F0C, {0x9A, 0x83, 0x5B, 0x1E, 0x4C, 0x2D, 0x9F, 0x10}};

/// Held by the one server that runs; the world belongs to it.
inline constexpr const wchar_t* serverMutexName = L"Local\\vboxsim-server";

} // namespace VBoxSim
