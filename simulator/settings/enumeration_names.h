#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/failure.h"
#include "travik/vbox_types.h"

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

inline constexpr NamedValue chipsetNames[] = {{L"PIIX3", Travik::ChipsetType::PIIX3},
                                              {L"ICH9", Travik::ChipsetType::ICH9}};
inline constexpr NamedValue paravirtNames[] = {
    {L"None", Travik::ParavirtProvider::Null},     {L"Default", Travik::ParavirtProvider::Default},
    {L"Legacy", Travik::ParavirtProvider::Legacy}, {L"Minimal", Travik::ParavirtProvider::Minimal},
    {L"HyperV", Travik::ParavirtProvider::HyperV}, {L"KVM", Travik::ParavirtProvider::KVM}};
inline constexpr NamedValue adapterNames[] = {
    {L"Am79C973", Travik::NetworkAdapterType::Am79C973}, {L"Am79C970A", Travik::NetworkAdapterType::Am79C970A},
    {L"82540EM", Travik::NetworkAdapterType::I82540EM},  {L"82543GC", Travik::NetworkAdapterType::I82543GC},
    {L"82545EM", Travik::NetworkAdapterType::I82545EM},  {L"virtio", Travik::NetworkAdapterType::Virtio},
    {L"Am79C960", Travik::NetworkAdapterType::Am79C960}, {L"virtio_1.0", Travik::NetworkAdapterType::Virtio_1_0}};
inline constexpr NamedValue audioControllerNames[] = {{L"AC97", Travik::AudioControllerType::AC97},
                                                      {L"SB16", Travik::AudioControllerType::SB16},
                                                      {L"HDA", Travik::AudioControllerType::HDA}};
inline constexpr NamedValue audioCodecNames[] = {{L"SB16", Travik::AudioCodecType::SB16},
                                                 {L"STAC9700", Travik::AudioCodecType::STAC9700},
                                                 {L"AD1980", Travik::AudioCodecType::AD1980},
                                                 {L"STAC9221", Travik::AudioCodecType::STAC9221}};
inline constexpr NamedValue audioDriverNames[] = {{L"Null", Travik::AudioDriverType::Null},
                                                  {L"WinMM", Travik::AudioDriverType::WinMM},
                                                  {L"OSS", Travik::AudioDriverType::OSS},
                                                  {L"ALSA", Travik::AudioDriverType::ALSA},
                                                  {L"DirectSound", Travik::AudioDriverType::DirectSound},
                                                  {L"CoreAudio", Travik::AudioDriverType::CoreAudio},
                                                  {L"MMPM", Travik::AudioDriverType::MMPM},
                                                  {L"Pulse", Travik::AudioDriverType::Pulse},
                                                  {L"SolAudio", Travik::AudioDriverType::SolAudio},
                                                  {L"DSound", Travik::AudioDriverType::DirectSound}};
inline constexpr NamedValue controllerNames[] = {{L"LsiLogic", Travik::StorageControllerType::LsiLogic},
                                                 {L"BusLogic", Travik::StorageControllerType::BusLogic},
                                                 {L"AHCI", Travik::StorageControllerType::IntelAhci},
                                                 {L"PIIX3", Travik::StorageControllerType::PIIX3},
                                                 {L"PIIX4", Travik::StorageControllerType::PIIX4},
                                                 {L"ICH6", Travik::StorageControllerType::ICH6},
                                                 {L"I82078", Travik::StorageControllerType::I82078},
                                                 {L"LsiLogicSas", Travik::StorageControllerType::LsiLogicSas},
                                                 {L"USB", Travik::StorageControllerType::USB},
                                                 {L"NVMe", Travik::StorageControllerType::NVMe},
                                                 {L"VirtioSCSI", Travik::StorageControllerType::VirtioSCSI}};
inline constexpr NamedValue deviceNames[] = {{L"HardDisk", Travik::DeviceType::HardDisk},
                                             {L"DVD", Travik::DeviceType::DVD},
                                             {L"Floppy", Travik::DeviceType::Floppy}};
inline constexpr NamedValue bootDeviceNames[] = {{L"None", Travik::DeviceType::Null},
                                                 {L"Floppy", Travik::DeviceType::Floppy},
                                                 {L"DVD", Travik::DeviceType::DVD},
                                                 {L"HardDisk", Travik::DeviceType::HardDisk},
                                                 {L"Network", Travik::DeviceType::Network}};
/// The children of <Adapter> that say what an adapter is attached to.
inline constexpr NamedValue attachmentNames[] = {
    {L"NAT", Travik::NetworkAttachmentType::NAT},
    {L"BridgedInterface", Travik::NetworkAttachmentType::Bridged},
    {L"InternalNetwork", Travik::NetworkAttachmentType::Internal},
    {L"HostOnlyInterface", Travik::NetworkAttachmentType::HostOnly},
    {L"GenericInterface", Travik::NetworkAttachmentType::Generic},
    {L"NATNetwork", Travik::NetworkAttachmentType::NATNetwork},
    {L"CloudNetwork", Travik::NetworkAttachmentType::Cloud},
    {L"HostInterface", Travik::NetworkAttachmentType::Bridged}, // this and the next are old names
    {L"VDE", Travik::NetworkAttachmentType::Generic}};

} // namespace VBoxSim
