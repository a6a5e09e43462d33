#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "settings/storage_buses.h"

namespace VBoxSim {

struct NatRule
{
    std::wstring name;
    std::uint32_t protocol = 0; ///< 0 UDP, 1 TCP
    std::wstring hostIp;
    std::uint16_t hostPort = 0;
    std::wstring guestIp;
    std::uint16_t guestPort = 0;
};

/// What an adapter's NAT engine does beside forwarding ports.
struct NatSettings
{
    std::wstring network;
    std::wstring hostIp;
    std::uint32_t mtu = 0; ///< this and the sizes below: 0 stands for VirtualBox's own
    std::uint32_t socketSend = 0;
    std::uint32_t socketReceive = 0;
    std::uint32_t tcpWindowSend = 0;
    std::uint32_t tcpWindowReceive = 0;
    bool dnsPassDomain = true;
    bool dnsProxy = false;
    bool dnsUseHostResolver = false;
    std::uint32_t aliasMode = 0; ///< NATAliasMode
    std::wstring tftpPrefix;
    std::wstring tftpBootFile;
    std::wstring tftpNextServer;

    bool operator==(const NatSettings&) const = default;
};

struct NetworkAdapterSettings
{
    std::uint32_t slot = 0;
    bool enabled = false;
    bool cableConnected = true;
    std::uint32_t type = Travik::NetworkAdapterType::Am79C973;
    std::uint32_t attachment = Travik::NetworkAttachmentType::Null;
    std::wstring mac;
    NatSettings nat;
    std::vector<NatRule> rules;
};

struct AttachmentSettings
{
    std::uint32_t type = DeviceKind::hardDisk;
    std::int32_t port = 0;
    std::int32_t device = 0;
    bool nonRotational = false;
    bool discard = false;
    std::wstring medium; ///< UUID; empty for an empty drive
};

struct StorageControllerSettings
{
    std::wstring name;
    std::uint32_t bus = Travik::StorageBus::Null;
    std::uint32_t type = Travik::StorageControllerType::Null;
    std::uint32_t portCount = 1;
    std::uint32_t instance = 0;
    bool useHostIoCache = false;
    bool bootable = true;
    std::vector<AttachmentSettings> attachments;
};

struct SharedFolderSettings
{
    std::wstring name;
    std::wstring hostPath;
    bool writable = false;
    bool autoMount = false;
    std::wstring autoMountPoint;
};

struct GuestPropertySettings
{
    std::wstring value;
    std::int64_t timestamp = 0; ///< nanoseconds since 1970
    std::wstring flags;
};

/// One medium of a machine's media registry.
struct MediumRecord
{
    std::wstring id;
    std::wstring location; ///< full path
    std::wstring format;
    std::wstring type = L"Normal";
    std::uint32_t deviceType = DeviceKind::hardDisk;
    std::wstring parent; ///< UUID; empty for a base image
};

struct AudioSettings
{
    bool enabled = false;
    bool enabledIn = true;
    bool enabledOut = true;
    std::uint32_t controller = Travik::AudioControllerType::AC97;
    std::uint32_t codec = Travik::AudioCodecType::STAC9700;
    std::uint32_t driver = Travik::AudioDriverType::Null;

    bool operator==(const AudioSettings&) const = default;
};

/// The devices, by DeviceType, that a machine tries to boot from; Null stands for none.
using BootOrder = std::array<std::uint32_t, 4>;
inline constexpr BootOrder usualBootOrder{DeviceKind::floppy, DeviceKind::dvd, DeviceKind::hardDisk, 0};

/// What a machine's settings file says. A plain value: a session's own copy is a copy of it.
struct MachineSettings
{
    std::wstring id;
    std::wstring name;
    std::wstring osType = L"Other";
    std::wstring description;
    std::vector<std::wstring> groups{L"/"};
    std::wstring snapshotFolder = L"Snapshots";
    std::wstring hardwareId;          ///< empty: the machine's own
    std::int64_t lastStateChange = 0; ///< milliseconds since 1970
    bool aborted = false;
    std::wstring stateFile;
    std::wstring currentSnapshot;
    std::uint32_t snapshotCount = 0;
    /// Media attached in snapshots, which keep them busy.
    std::vector<std::wstring> snapshotMedia;

    std::uint32_t cpuCount = 1;
    std::uint32_t memoryMegabytes = 128;
    std::uint32_t chipset = Travik::ChipsetType::PIIX3;
    std::uint32_t paravirt = Travik::ParavirtProvider::Default;
    BootOrder bootOrder = usualBootOrder;
    AudioSettings audio;
    std::vector<NetworkAdapterSettings> adapters; ///< always as many as the chipset has
    std::vector<StorageControllerSettings> controllers;
    std::vector<SharedFolderSettings> sharedFolders;
    std::map<std::wstring, GuestPropertySettings> guestProperties;
    std::map<std::wstring, std::wstring> extraData;
    std::vector<MediumRecord> media;

    /// The text of the file it was read from; what this structure does not know survives in it.
    std::string source;
};

/// Reads a settings file of any version as VirtualBox does: what an attribute means when it is absent depends on the
/// version. Throws Failure: E_FAIL for a file that cannot be read or makes no sense,
/// VBOX_E_OBJECT_IN_USE and E_INVALIDARG for parts that no machine can have together.
MachineSettings loadMachineSettings(const std::wstring& file);

/// The same from the text of a settings file that would lie at that path.
MachineSettings parseMachineSettings(std::string text, const std::wstring& file);

/// The text of the settings file as it will lie at that path. `settings.source` is what it is made from: what has not
/// changed stays as it is written there. The version is raised when a feature needs it.
std::string renderMachineSettings(const MachineSettings& settings, const std::wstring& file);

/// Where VirtualBox leaves a copy of the old text when a file gets a higher version; nothing when it keeps its version.
std::optional<std::wstring> outdatedCopy(const std::string& oldText, const std::string& newText,
                                         const std::wstring& file);

/// The settings of a machine made now: adapters present, nothing attached.
MachineSettings newMachineSettings(const std::wstring& name, const std::wstring& osType);

/// A new MAC address with VirtualBox's prefix.
std::wstring newMacAddress();

/// How many network adapters a chipset has.
std::uint32_t adapterCount(std::uint32_t chipset);

/// Gives the machine as many adapters as its chipset has.
void fitAdapters(MachineSettings& settings);

} // namespace VBoxSim
