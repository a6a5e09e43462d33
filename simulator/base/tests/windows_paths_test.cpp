#include <gtest/gtest.h>

#include "base/failure.h"
#include "base/file.h"
#include "base/files.h"
#include "scratch.h"

using namespace VBoxSim;

TEST(WindowsPaths, KnowDrivesAndShares)
{
    EXPECT_EQ(Files::resolve(L"C:\\a\\b", L"..\\c.vdi"), L"C:\\a\\c.vdi");
    EXPECT_EQ(Files::resolve(L"C:\\a", L"D:\\x"), L"D:\\x");
    EXPECT_EQ(Files::relativeTo(L"C:\\a", L"c:\\A\\b\\c.vdi"), L"b\\c.vdi");
    EXPECT_EQ(Files::relativeTo(L"C:\\a", L"C:\\ab\\c.vdi"), L"C:\\ab\\c.vdi");
    EXPECT_TRUE(Files::isAbsolute(L"\\\\server\\share\\x"));
    EXPECT_EQ(Files::resolve(L"C:\\a", L"\\\\server\\share\\b\\..\\c"), L"\\\\server\\share\\c");
    EXPECT_FALSE(Files::isAbsolute(L"x.vbox"));
    EXPECT_FALSE(Files::isAbsolute(L"\\x.vbox"));
}

TEST(WindowsFiles, NamesMayHaveEveryCharacter)
{
    const std::wstring target = Files::join(TravikTest::scratchFolder().wstring(), L"\u6587\u4EF6\\\U0001F3AE.txt");
    Files::writeAtomically(target, "x");
    EXPECT_EQ(Files::read(target), "x");
    EXPECT_EQ(Files::list(Files::folderOf(target)), std::vector<std::wstring>{L"\U0001F3AE.txt"});
}

TEST(WindowsFiles, AreNotReadWhileSomebodyWrites)
{
    const std::filesystem::path file = TravikTest::scratchFolder() / "busy";
    Files::writeAtomically(file.wstring(), "x");
    const File writer = File::openForUpdate(file);
    try {
        File::openForReading(file);
        FAIL() << "it was opened";
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.code(), Result::fileError);
    }
}
