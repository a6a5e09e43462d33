#include <gtest/gtest.h>

#include "base/failure.h"
#include "base/file.h"
#include "base/files.h"
#include "scratch.h"

using namespace VBoxSim;

namespace {

const std::wstring& scratch()
{
    static const std::wstring folder = TravikTest::scratchFolder().wstring();
    return folder;
}

template <class Action>
ResultCode resultOf(Action&& action)
{
    try {
        action();
    } catch (const Failure& failure) {
        EXPECT_FALSE(failure.text().empty());
        return failure.code();
    }
    return Result::ok;
}

} // namespace

TEST(Files, ReplacingKeepsThePreviousVersion)
{
    const std::wstring target = Files::join(scratch(), L"folder/a.txt");
    Files::writeAtomically(target, "one", target + L"-prev");
    EXPECT_FALSE(Files::exists(target + L"-prev"));
    Files::writeAtomically(target, "two", target + L"-prev");
    EXPECT_EQ(Files::read(target), "two");
    EXPECT_EQ(Files::read(target + L"-prev"), "one");
    Files::writeAtomically(target, "three", target + L"-prev");
    EXPECT_EQ(Files::read(target + L"-prev"), "two");
    EXPECT_FALSE(Files::exists(target + L"-tmp"));
}

TEST(Files, LongPathsWork)
{
    std::wstring folder = scratch();
    for (int i = 0; i < 6; ++i)
        folder = Files::join(folder, std::wstring(60, static_cast<wchar_t>(L'a' + i)));
    const std::wstring target = Files::join(folder, L"deep.txt");
    ASSERT_GT(target.size(), 300u);
    Files::writeAtomically(target, "deep");
    EXPECT_EQ(Files::read(target), "deep");
    EXPECT_TRUE(Files::remove(target));
    EXPECT_FALSE(Files::exists(target));
    for (int i = 0; i < 6; ++i) { // the next run could not remove them: they are too deep for it
        EXPECT_TRUE(Files::removeEmptyFolder(folder));
        folder = Files::folderOf(folder);
    }
}

TEST(Files, PathsBelowAFolderAreSeenFromThere)
{
    const std::wstring folder = Files::join(scratch(), L"vm");
    const std::wstring disk = Files::resolve(folder, L"Snapshots\\d.vdi");
    EXPECT_EQ(disk, Files::join(Files::join(folder, L"Snapshots"), L"d.vdi"));
    EXPECT_EQ(Files::resolve(folder, L"a/../Snapshots/./d.vdi"), disk);
    EXPECT_EQ(Files::resolve(L"elsewhere", disk), disk);
    EXPECT_EQ(Files::relativeTo(folder, disk), Files::join(L"Snapshots", L"d.vdi"));
    EXPECT_EQ(Files::relativeTo(folder, folder + L"x"), folder + L"x");
    EXPECT_TRUE(Files::samePath(disk, Files::join(folder, L"SNAPSHOTS/D.vdi")));
    EXPECT_EQ(Files::folderOf(disk), Files::join(folder, L"Snapshots"));
    EXPECT_EQ(Files::nameOf(disk), L"d.vdi");
    EXPECT_EQ(Files::stemOf(L"a.b.VDI"), L"a.b");
    EXPECT_EQ(Files::suffixOf(L"a.b.VDI"), L".vdi");
}

TEST(Files, MissingAndFaultyOnesAreReported)
{
    EXPECT_EQ(resultOf([] { Files::read(Files::join(scratch(), L"absent")); }), Result::fileError);
    EXPECT_EQ(resultOf([] { File::openForReading(TravikTest::scratchFolder() / "absent"); }), Result::objectNotFound);
    EXPECT_EQ(resultOf([] { File::openForReading(TravikTest::scratchFolder() / "no" / "absent"); }), Result::iprtError);
    const std::wstring file = Files::join(scratch(), L"file");
    Files::writeAtomically(file, "x");
    EXPECT_EQ(resultOf([&] { Files::createFolder(Files::join(file, L"folder")); }), Result::fileError);
    EXPECT_EQ(resultOf([&] { Files::writeAtomically(Files::join(file, L"inner"), "x"); }), Result::fileError);
    EXPECT_FALSE(Files::remove(scratch())); // a folder is no file
    EXPECT_TRUE(Files::remove(Files::join(scratch(), L"absent")));
    EXPECT_FALSE(Files::move(Files::join(scratch(), L"absent"), file));
    EXPECT_EQ(Files::read(file), "x");
}

TEST(NewFile, IsThereWholeOrNotAtAll)
{
    const std::filesystem::path target = TravikTest::scratchFolder() / "new" / "file";
    Files::createFolder(target.parent_path().wstring());
    {
        NewFile dropped(target);
        dropped.file().writeAt(0, "abc", 3);
        EXPECT_FALSE(Files::exists(target.wstring()));
    }
    EXPECT_TRUE(Files::list(target.parent_path().wstring()).empty());
    NewFile kept(target);
    kept.file().writeAt(0, "abc", 3);
    kept.commit();
    EXPECT_EQ(Files::read(target.wstring()), "abc");
    EXPECT_EQ(Files::list(target.parent_path().wstring()), std::vector<std::wstring>{L"file"});
    EXPECT_EQ(resultOf([&] { NewFile again(target); }), Result::fileError);
}

TEST(CreatedFiles, AreTakenBackUnlessTheyAreKept)
{
    const std::filesystem::path folder = TravikTest::scratchFolder() / "made" / "deep";
    CreatedFiles created;
    created.makeFolders(folder);
    Files::writeAtomically((folder / "file").wstring(), "x");
    created.add(folder / "file");
    EXPECT_TRUE(Files::isFolder(folder.wstring()));
    created.rollBack();
    EXPECT_FALSE(Files::exists(folder.parent_path().wstring()));
    created.makeFolders(folder);
    created.commit();
    created.rollBack();
    EXPECT_TRUE(Files::isFolder(folder.wstring()));
}
