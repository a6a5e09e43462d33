#pragma once

#include <gtest/gtest.h>
#include <scratch.h>

#include <algorithm>

#include "base/failure.h"
#include "base/text.h"
#include "image_writers.h"
#include "images/image.h"

namespace ImageTests {

using ImageWriters::Bytes;

inline constexpr std::size_t sector = 512;
inline constexpr std::size_t megabyte = std::size_t(1) << 20;
inline const std::wstring sampleUuid = VBoxSim::fromUtf8(ImageWriters::sampleUuidText);

/// A folder of its own for each test.
class ScratchTest : public testing::Test
{
protected:
    void SetUp() override
    {
        const auto* test = testing::UnitTest::GetInstance()->current_test_info();
        folder_ = TravikTest::scratchFolder() / (std::string(test->test_suite_name()) + "." + test->name());
        std::filesystem::create_directories(folder_);
    }

    std::filesystem::path put(const std::filesystem::path& name, const Bytes& bytes) const
    {
        ImageWriters::writeFile(folder_ / name, bytes);
        return folder_ / name;
    }
    std::filesystem::path put(const std::filesystem::path& name, const std::string& text) const
    {
        return put(name, Bytes(text.begin(), text.end()));
    }

    /// Names of everything below the folder.
    std::vector<std::wstring> listing() const
    {
        std::vector<std::wstring> names;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(folder_))
            names.push_back(entry.path().filename().wstring());
        std::sort(names.begin(), names.end());
        return names;
    }

    std::filesystem::path folder_;
};

/// The result that the action fails with; fails the test when it goes well.
template <typename Action>
VBoxSim::ResultCode resultOf(Action action)
{
    try {
        action();
    } catch (const VBoxSim::Failure& failure) {
        EXPECT_FALSE(failure.text().empty());
        return failure.code();
    }
    ADD_FAILURE() << "no failure";
    return VBoxSim::Result::ok;
}

/// Everything on a disk, read in one go.
inline Bytes contentOf(VBoxSim::ImageReader& reader)
{
    Bytes bytes(static_cast<std::size_t>(reader.info().logicalSize));
    reader.read(0, bytes.data(), bytes.size());
    return bytes;
}

inline Bytes contentOf(const std::filesystem::path& file)
{
    return contentOf(*VBoxSim::openImage(file));
}

/// Runs cover the disk without gaps, and where they say zero the content is.
inline void expectRunsFit(VBoxSim::ImageReader& reader, const Bytes& content)
{
    for (std::uint64_t place = 0; place < content.size();) {
        const VBoxSim::ImageRun run = reader.runAt(place);
        ASSERT_GT(run.length, 0u);
        ASSERT_LE(run.length, content.size() - place);
        if (run.zero) {
            const auto start = content.begin() + static_cast<std::ptrdiff_t>(place);
            ASSERT_TRUE(std::all_of(start, start + static_cast<std::ptrdiff_t>(run.length),
                                    [](std::uint8_t byte) { return byte == 0; }));
        }
        place += run.length;
    }
}

} // namespace ImageTests
