#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace VBoxSim {

/// A descriptor that is longer, in bytes, is refused.
constexpr std::uint64_t largestVmdkDescriptor = std::uint64_t(1) << 20;

enum class VmdkExtentType
{
    Sparse,
    Flat,
    Zero
};

/// An extent line of a VMDK descriptor.
struct VmdkExtent
{
    std::uint64_t sectors = 0;
    VmdkExtentType type = VmdkExtentType::Sparse;
    std::string file;                ///< empty for Zero
    std::uint64_t offsetSectors = 0; ///< where the data of a Flat extent start in its file
    std::size_t line = 0;            ///< index of its line
};

/// The text part of a VMDK image. What it does not know stays as it is.
class VmdkDescriptor
{
public:
    /// Whether a file that starts so is a descriptor.
    static bool isDescriptor(const std::string& start);
    /// Throws Failure for text that is none; `name` is for the message.
    VmdkDescriptor(const std::string& text, std::wstring name);

    const std::vector<VmdkExtent>& extents() const { return extents_; }
    /// Value without quotes; empty when there is none.
    std::string value(const std::string& key) const;
    /// A value that is a UUID; empty when there is none or it is malformed.
    std::wstring uuid(const std::string& key) const;
    /// Changes a value, or adds it at the end.
    void setValue(const std::string& key, const std::string& value);
    void setExtentFile(std::size_t extent, const std::string& file);
    std::string text() const;

private:
    void parseExtent(std::size_t line);
    [[noreturn]] void damaged(const wchar_t* what) const;

    std::wstring name_;
    std::vector<std::string> lines_;
    std::vector<VmdkExtent> extents_;
};

} // namespace VBoxSim
