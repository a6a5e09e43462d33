#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/failure.h"

namespace VBoxSim {

/// One value of a VirtualBox enumeration as settings files name it.
struct NamedValue
{
    const wchar_t* name;
    std::uint32_t value;
};

/// Reads a name; throws Failure(E_FAIL) when the table does not have it.
template <std::size_t Size>
std::uint32_t valueOf(const NamedValue (&table)[Size], std::wstring_view name)
{
    for (const NamedValue& entry : table)
        if (name == entry.name)
            return entry.value;
    throw Failure(Result::fail, L"'" + std::wstring(name) + L"' is not a value that settings files have here");
}

template <std::size_t Size>
std::wstring nameOf(const NamedValue (&table)[Size], std::uint32_t value)
{
    for (const NamedValue& entry : table)
        if (value == entry.value)
            return entry.name;
    return std::to_wstring(value);
}

inline constexpr NamedValue chipsetNames[] = {{L"PIIX3", 1}, {L"ICH9", 2}};
inline constexpr NamedValue paravirtNames[] = {{L"None", 0},    {L"Default", 1}, {L"Legacy", 2},
                                               {L"Minimal", 3}, {L"HyperV", 4},  {L"KVM", 5}};
inline constexpr NamedValue adapterNames[] = {{L"Am79C973", 2}, {L"Am79C970A", 1}, {L"82540EM", 3},
                                              {L"82543GC", 4},  {L"82545EM", 5},   {L"virtio", 6},
                                              {L"Am79C960", 7}, {L"virtio_1.0", 8}};
inline constexpr NamedValue audioControllerNames[] = {{L"AC97", 0}, {L"SB16", 1}, {L"HDA", 2}};
inline constexpr NamedValue audioCodecNames[] = {{L"SB16", 1}, {L"STAC9700", 2}, {L"AD1980", 3}, {L"STAC9221", 4}};
inline constexpr NamedValue audioDriverNames[] = {{L"Null", 0},        {L"WinMM", 1},     {L"OSS", 2},  {L"ALSA", 3},
                                                  {L"DirectSound", 4}, {L"CoreAudio", 5}, {L"MMPM", 6}, {L"Pulse", 7},
                                                  {L"SolAudio", 8},    {L"DSound", 4}};
inline constexpr NamedValue controllerNames[] = {
    {L"LsiLogic", 1}, {L"BusLogic", 2},    {L"AHCI", 3}, {L"PIIX3", 4}, {L"PIIX4", 5},      {L"ICH6", 6},
    {L"I82078", 7},   {L"LsiLogicSas", 8}, {L"USB", 9},  {L"NVMe", 10}, {L"VirtioSCSI", 11}};
inline constexpr NamedValue deviceNames[] = {{L"HardDisk", 3}, {L"DVD", 2}, {L"Floppy", 1}};
inline constexpr NamedValue bootDeviceNames[] = {
    {L"None", 0}, {L"Floppy", 1}, {L"DVD", 2}, {L"HardDisk", 3}, {L"Network", 4}};
/// The children of <Adapter> that say what an adapter is attached to.
inline constexpr NamedValue attachmentNames[] = {{L"NAT", 1},
                                                 {L"BridgedInterface", 2},
                                                 {L"InternalNetwork", 3},
                                                 {L"HostOnlyInterface", 4},
                                                 {L"GenericInterface", 5},
                                                 {L"NATNetwork", 6},
                                                 {L"CloudNetwork", 7},
                                                 {L"HostInterface", 2}, // old names
                                                 {L"VDE", 5}};

} // namespace VBoxSim
