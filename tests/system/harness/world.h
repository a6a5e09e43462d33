#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace TravikTest {

/// The machines that every test's world begins with, by the UUIDs in their settings files.
namespace Machines {
/// Two processors, 1024 MB, an IDE controller and a SATA controller with four ports, both empty.
inline constexpr const wchar_t* player = L"Player";
inline constexpr const wchar_t* playerId = L"3e9c1b52-6f6a-4c0e-9d55-0a1b2c3d4e01";
inline constexpr const wchar_t* worker = L"Worker";
inline constexpr const wchar_t* workerId = L"3e9c1b52-6f6a-4c0e-9d55-0a1b2c3d4e02";
inline constexpr const wchar_t* chinese = L"\u4e2d\u6587\u673a\u5668";
inline constexpr const wchar_t* chineseId = L"3e9c1b52-6f6a-4c0e-9d55-0a1b2c3d4e03";
inline constexpr const wchar_t* emoji = L"Game \U0001F3AE";
inline constexpr const wchar_t* emojiId = L"3e9c1b52-6f6a-4c0e-9d55-0a1b2c3d4e04";
/// Its settings file ends in the middle of an element.
inline constexpr const wchar_t* damagedId = L"3e9c1b52-6f6a-4c0e-9d55-0a1b2c3d4e05";
inline constexpr std::size_t count = 5;
} // namespace Machines

/// What a settings file says beyond the usual.
struct MachineText
{
    std::string attributes;      ///< more attributes of the element Machine
    std::string mediaRegistry;   ///< content of MediaRegistry
    std::string hardware;        ///< more content of Hardware
    std::string sataAttachments; ///< content of the SATA controller
};

/// A home folder of VirtualBox and its machines, in files of its own.
class World
{
public:
    /// Makes the folder anew, with nothing registered.
    explicit World(std::filesystem::path folder);

    const std::filesystem::path& folder() const { return folder_; }
    std::filesystem::path home() const { return folder_ / L"home"; }
    std::filesystem::path machineFolder() const { return folder_ / L"Machines"; }
    /// Where the settings file of a machine of that name lies.
    std::filesystem::path machineFile(const std::wstring& name) const;

    /// Writes a settings file; the machine is not registered.
    std::filesystem::path writeMachine(const std::wstring& name, const std::wstring& uuid,
                                       const MachineText& text = {}) const;
    /// The same, and registers the machine. Only before the server reads the world.
    std::filesystem::path addMachine(const std::wstring& name, const std::wstring& uuid, const MachineText& text = {});
    /// Registers a settings file, whether it exists or not.
    void registerFile(const std::filesystem::path& file, const std::wstring& uuid);
    /// The machines of the namespace Machines.
    void addUsualMachines();
    /// Writes what is registered.
    void writeRegistry() const;

private:
    std::filesystem::path folder_;
    std::string entries_;
};

/// Writes the whole content of a file, making its folder.
void writeFile(const std::filesystem::path& file, std::string_view content);
std::string readFile(const std::filesystem::path& file);

/// Writes an empty dynamic VDI image of so many megabytes. The UUID is in the usual text form.
void writeVdi(const std::filesystem::path& file, const std::wstring& uuid, std::uint32_t megabytes = 4);

} // namespace TravikTest
