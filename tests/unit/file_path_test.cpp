#include <windows.h>
#include <Poco/Exception.h>
#include <gmock/gmock.h>

#include <filesystem>
#include <string>
#include <vector>

#include "file_bytes.h"
#include "log_fixture.h"
#include "utils/file_path.h"
#include "utils/text.h"

namespace {

using namespace Travik::Utils;
using testing::ElementsAre;
using TravikTest::readBytes;
using TravikTest::writeBytes;
namespace fs = std::filesystem;

/// Makes a file read-only for its lifetime: the scratch folder has to be removable.
class ReadOnly
{
public:
    explicit ReadOnly(fs::path file) : file_(std::move(file))
    {
        EXPECT_TRUE(SetFileAttributesW(file_.c_str(), FILE_ATTRIBUTE_READONLY));
    }
    ReadOnly(const ReadOnly&) = delete;
    ReadOnly& operator=(const ReadOnly&) = delete;
    ~ReadOnly() { SetFileAttributesW(file_.c_str(), FILE_ATTRIBUTE_NORMAL); }

private:
    fs::path file_;
};

class FileHelpers : public TravikTest::LogFixture
{
protected:
    void SetUp() override
    {
        LogFixture::SetUp();
        openLog();
    }

    std::wstring path(const std::wstring& name) const { return (folder / name).wstring(); }
    void makeFile(const std::wstring& name, const std::string& bytes = "content") const
    {
        writeBytes(folder / name, bytes);
    }
    void makeFolder(const std::wstring& name) const { fs::create_directories(folder / name); }
    bool there(const std::wstring& name) const { return fs::exists(folder / name); }
    std::string bytesOf(const std::wstring& name) const { return readBytes(folder / name); }

    std::vector<std::string> records() const { return TravikTest::recordsOf(logBytes()); }

    /// The record of a call with these arguments, or of its answer.
    static std::string record(const std::string& function, const std::wstring& text)
    {
        return "[INFO] (Travik::Utils::" + function + ") # " + toUtf8(text);
    }
};

class CheckFileExists : public FileHelpers
{};
class CopyFileToPath : public FileHelpers
{};
class RenameFilePath : public FileHelpers
{};
class RemoveFilePath : public FileHelpers
{};
class GetFileName : public FileHelpers
{};
class GetParentDirectoryPath : public FileHelpers
{};

TEST_F(CheckFileExists, FindsFilesAndFolders)
{
    makeFile(L"file.txt");
    makeFolder(L"sub");
    EXPECT_TRUE(checkFileExists(path(L"file.txt")));
    EXPECT_TRUE(checkFileExists(path(L"sub")));
    EXPECT_FALSE(checkFileExists(path(L"missing")));
    EXPECT_FALSE(checkFileExists(path(L"missing\\file.txt")));
    EXPECT_THAT(records(),
                ElementsAre(record("checkFileExists", path(L"file.txt")), record("checkFileExists", L"return 1"),
                            record("checkFileExists", path(L"sub")), record("checkFileExists", L"return 1"),
                            record("checkFileExists", path(L"missing")), record("checkFileExists", L"return 0"),
                            record("checkFileExists", path(L"missing\\file.txt")),
                            record("checkFileExists", L"return 0")));
}

TEST_F(CheckFileExists, TakesBothSeparatorsAndATrailingOne)
{
    makeFolder(L"sub");
    makeFile(L"sub\\file.txt");
    EXPECT_TRUE(checkFileExists(path(L"sub") + L"/file.txt"));
    EXPECT_TRUE(checkFileExists(path(L"sub") + L"\\file.txt"));
    EXPECT_TRUE(checkFileExists(path(L"sub") + L"\\"));
    EXPECT_TRUE(checkFileExists(path(L"sub") + L"/"));
    EXPECT_FALSE(checkFileExists(path(L"other") + L"\\"));
}

TEST_F(CheckFileExists, FindsNamesInAnyScript)
{
    const std::wstring name = L"\u865A\u62DF\u673A \U0001F3AE \u00E9.vbox";
    makeFile(name);
    EXPECT_TRUE(checkFileExists(path(name)));
    EXPECT_FALSE(checkFileExists(path(L"\u865A\u62DF\u673A \U0001F3AF \u00E9.vbox")));
}

TEST_F(CheckFileExists, AnswersFalseToAnEmptyPathWithoutARecordOfIt)
{
    EXPECT_FALSE(checkFileExists(L""));
    EXPECT_THAT(records(), ElementsAre(record("checkFileExists", L"")));
}

TEST_F(CheckFileExists, LetsTheFileSystemsRefusalPass)
{
    const std::wstring impossible = path(L"a?b");
    EXPECT_THROW(checkFileExists(impossible), Poco::Exception);
    EXPECT_THAT(records(), ElementsAre(record("checkFileExists", impossible)));
}

TEST_F(CopyFileToPath, CopiesAFile)
{
    makeFile(L"from.txt", std::string("binary\0\r\n\x1A", 10));
    EXPECT_TRUE(copyFileToPath(path(L"from.txt"), path(L"to.txt")));
    EXPECT_EQ(std::string("binary\0\r\n\x1A", 10), bytesOf(L"to.txt"));
    EXPECT_TRUE(there(L"from.txt"));
    EXPECT_THAT(records(), ElementsAre(record("copyFileToPath", path(L"from.txt") + L" | " + path(L"to.txt")),
                                       record("copyFileToPath", L"return 1")));
}

TEST_F(CopyFileToPath, CopiesAFolderWithAllItHolds)
{
    makeFolder(L"from\\inner\\empty");
    makeFile(L"from\\one.txt", "1");
    makeFile(L"from\\inner\\two \U0001F3AE.txt", "2");
    EXPECT_TRUE(copyFileToPath(path(L"from"), path(L"to")));
    EXPECT_EQ("1", bytesOf(L"to\\one.txt"));
    EXPECT_EQ("2", bytesOf(L"to\\inner\\two \U0001F3AE.txt"));
    EXPECT_TRUE(fs::is_directory(folder / L"to" / L"inner" / L"empty"));
    EXPECT_EQ("1", bytesOf(L"from\\one.txt"));
}

TEST_F(CopyFileToPath, NeverOverwritesAnExistingTarget)
{
    makeFile(L"from.txt", "new");
    makeFile(L"to.txt", "old");
    EXPECT_FALSE(copyFileToPath(path(L"from.txt"), path(L"to.txt")));
    EXPECT_EQ("new", bytesOf(L"from.txt"));
    EXPECT_EQ("old", bytesOf(L"to.txt"));
    EXPECT_THAT(records(), ElementsAre(record("copyFileToPath", path(L"from.txt") + L" | " + path(L"to.txt")),
                                       record("copyFileToPath", L"return 0")));
}

TEST_F(CopyFileToPath, PutsNothingIntoAnExistingFolder)
{
    makeFile(L"from.txt");
    makeFolder(L"to");
    EXPECT_FALSE(copyFileToPath(path(L"from.txt"), path(L"to")));
    EXPECT_FALSE(copyFileToPath(path(L"from.txt"), path(L"to") + L"\\"));
    EXPECT_TRUE(fs::is_empty(folder / L"to"));
}

TEST_F(CopyFileToPath, AnswersFalseToAMissingSource)
{
    EXPECT_FALSE(copyFileToPath(path(L"missing"), path(L"to.txt")));
    EXPECT_FALSE(there(L"to.txt"));
    EXPECT_THAT(records(), ElementsAre(record("copyFileToPath", path(L"missing") + L" | " + path(L"to.txt")),
                                       record("copyFileToPath", L"return 0")));
}

TEST_F(CopyFileToPath, AnswersFalseToAnEmptyPathWithoutARecordOfIt)
{
    makeFile(L"from.txt");
    EXPECT_FALSE(copyFileToPath(path(L"from.txt"), L""));
    EXPECT_FALSE(copyFileToPath(L"", path(L"to.txt")));
    EXPECT_FALSE(copyFileToPath(L"", L""));
    EXPECT_THAT(records(),
                ElementsAre(record("copyFileToPath", path(L"from.txt") + L" | "),
                            record("copyFileToPath", L" | " + path(L"to.txt")), record("copyFileToPath", L" | ")));
    EXPECT_FALSE(there(L"to.txt"));
}

TEST_F(CopyFileToPath, LetsTheFileSystemsRefusalPass)
{
    makeFile(L"from.txt");
    EXPECT_THROW(copyFileToPath(path(L"from.txt"), path(L"missing\\to.txt")), Poco::Exception);
    EXPECT_FALSE(there(L"missing"));
    EXPECT_THAT(records(),
                ElementsAre(record("copyFileToPath", path(L"from.txt") + L" | " + path(L"missing\\to.txt"))));
}

TEST_F(CopyFileToPath, CopiesAReadOnlyFile)
{
    makeFile(L"from.txt", "guarded");
    const ReadOnly guard(folder / L"from.txt");
    EXPECT_TRUE(copyFileToPath(path(L"from.txt"), path(L"to.txt")));
    EXPECT_EQ("guarded", bytesOf(L"to.txt"));
    SetFileAttributesW(path(L"to.txt").c_str(), FILE_ATTRIBUTE_NORMAL);
}

TEST_F(RenameFilePath, RenamesAFile)
{
    makeFile(L"from.txt", "same");
    EXPECT_TRUE(renameFilePath(path(L"from.txt"), path(L"to \U0001F3AE.txt")));
    EXPECT_FALSE(there(L"from.txt"));
    EXPECT_EQ("same", bytesOf(L"to \U0001F3AE.txt"));
    // The log cannot show the emoji, except as an escape.
    EXPECT_THAT(records(),
                ElementsAre(record("renameFilePath", path(L"from.txt") + L" | " + path(L"to \\U0001F3AE.txt")),
                            record("renameFilePath", L"return 1")));
}

TEST_F(RenameFilePath, RenamesAFolderWithAllItHolds)
{
    makeFolder(L"from\\inner");
    makeFile(L"from\\inner\\file.txt", "same");
    EXPECT_TRUE(renameFilePath(path(L"from"), path(L"to")));
    EXPECT_FALSE(there(L"from"));
    EXPECT_EQ("same", bytesOf(L"to\\inner\\file.txt"));
}

TEST_F(RenameFilePath, MovesIntoAnotherFolder)
{
    makeFile(L"from.txt", "same");
    makeFolder(L"sub");
    EXPECT_TRUE(renameFilePath(path(L"from.txt"), path(L"sub") + L"/to.txt"));
    EXPECT_FALSE(there(L"from.txt"));
    EXPECT_EQ("same", bytesOf(L"sub\\to.txt"));
}

TEST_F(RenameFilePath, NeverOverwritesAnExistingTarget)
{
    makeFile(L"from.txt", "new");
    makeFile(L"to.txt", "old");
    makeFolder(L"folder");
    EXPECT_FALSE(renameFilePath(path(L"from.txt"), path(L"to.txt")));
    EXPECT_FALSE(renameFilePath(path(L"from.txt"), path(L"folder")));
    EXPECT_FALSE(renameFilePath(path(L"from.txt"), path(L"from.txt")));
    EXPECT_EQ("new", bytesOf(L"from.txt"));
    EXPECT_EQ("old", bytesOf(L"to.txt"));
    EXPECT_TRUE(fs::is_empty(folder / L"folder"));
    EXPECT_EQ(record("renameFilePath", L"return 0"), records()[1]);
}

TEST_F(RenameFilePath, AnswersFalseToAMissingSource)
{
    EXPECT_FALSE(renameFilePath(path(L"missing"), path(L"to.txt")));
    EXPECT_THAT(records(), ElementsAre(record("renameFilePath", path(L"missing") + L" | " + path(L"to.txt")),
                                       record("renameFilePath", L"return 0")));
}

TEST_F(RenameFilePath, AnswersFalseToAnEmptyPathWithoutARecordOfIt)
{
    makeFile(L"from.txt");
    EXPECT_FALSE(renameFilePath(path(L"from.txt"), L""));
    EXPECT_FALSE(renameFilePath(L"", path(L"to.txt")));
    EXPECT_TRUE(there(L"from.txt"));
    EXPECT_THAT(records(), ElementsAre(record("renameFilePath", path(L"from.txt") + L" | "),
                                       record("renameFilePath", L" | " + path(L"to.txt"))));
}

TEST_F(RenameFilePath, LetsTheFileSystemsRefusalPass)
{
    makeFile(L"from.txt", "same");
    EXPECT_THROW(renameFilePath(path(L"from.txt"), path(L"missing\\to.txt")), Poco::Exception);
    EXPECT_EQ("same", bytesOf(L"from.txt"));
    EXPECT_EQ(1u, records().size());
}

TEST_F(RemoveFilePath, RemovesAFile)
{
    makeFile(L"file.txt");
    makeFile(L"neighbour.txt");
    EXPECT_TRUE(removeFilePath(path(L"file.txt")));
    EXPECT_FALSE(there(L"file.txt"));
    EXPECT_TRUE(there(L"neighbour.txt"));
    EXPECT_THAT(records(),
                ElementsAre(record("removeFilePath", path(L"file.txt")), record("removeFilePath", L"return 1")));
}

TEST_F(RemoveFilePath, RemovesAFolderWithAllItHolds)
{
    makeFolder(L"tree\\inner\\empty");
    makeFile(L"tree\\one.txt");
    makeFile(L"tree\\inner\\two \U0001F3AE.txt");
    makeFolder(L"tree2");
    EXPECT_TRUE(removeFilePath(path(L"tree")));
    EXPECT_FALSE(there(L"tree"));
    EXPECT_TRUE(there(L"tree2"));
    EXPECT_EQ(record("removeFilePath", L"return 1"), records().back());
}

TEST_F(RemoveFilePath, RemovesAnEmptyFolderAndTakesATrailingSeparator)
{
    makeFolder(L"empty");
    EXPECT_TRUE(removeFilePath(path(L"empty") + L"\\"));
    EXPECT_FALSE(there(L"empty"));
    makeFolder(L"full");
    makeFile(L"full\\file.txt");
    EXPECT_TRUE(removeFilePath(path(L"full") + L"/"));
    EXPECT_FALSE(there(L"full"));
}

TEST_F(RemoveFilePath, AnswersFalseToAMissingPath)
{
    EXPECT_FALSE(removeFilePath(path(L"missing")));
    EXPECT_THAT(records(),
                ElementsAre(record("removeFilePath", path(L"missing")), record("removeFilePath", L"return 0")));
}

TEST_F(RemoveFilePath, AnswersFalseToAnEmptyPathWithoutARecordOfIt)
{
    EXPECT_FALSE(removeFilePath(L""));
    EXPECT_THAT(records(), ElementsAre(record("removeFilePath", L"")));
}

TEST_F(RemoveFilePath, LetsTheRefusalOfAReadOnlyFilePass)
{
    makeFile(L"guarded.txt");
    const ReadOnly guard(folder / L"guarded.txt");
    EXPECT_THROW(removeFilePath(path(L"guarded.txt")), Poco::Exception);
    EXPECT_TRUE(there(L"guarded.txt"));
    EXPECT_THAT(records(), ElementsAre(record("removeFilePath", path(L"guarded.txt"))));
}

TEST_F(RemoveFilePath, LetsTheRefusalOfAReadOnlyFileInAFolderPass)
{
    makeFolder(L"tree");
    makeFile(L"tree\\guarded.txt");
    const ReadOnly guard(folder / L"tree" / L"guarded.txt");
    EXPECT_THROW(removeFilePath(path(L"tree")), Poco::Exception);
    EXPECT_TRUE(there(L"tree\\guarded.txt"));
    EXPECT_EQ(1u, records().size());
}

TEST_F(RemoveFilePath, LetsTheRefusalOfAFileInUsePass)
{
    makeFile(L"used.txt");
    const HANDLE user = CreateFileW(path(L"used.txt").c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, user);
    EXPECT_THROW(removeFilePath(path(L"used.txt")), Poco::Exception);
    CloseHandle(user);
    EXPECT_TRUE(there(L"used.txt"));
}

TEST_F(GetFileName, IsTheLastComponentWithoutItsLastExtension)
{
    struct Row
    {
        const wchar_t* path;
        const wchar_t* name;
    };
    const Row rows[] = {
        {L"C:\\vms\\a\\a.vbox", L"a"},
        {L"C:/vms/a/a.vbox", L"a"},
        {L"C:\\vms/a\\b/c.vdi", L"c"},
        {L"C:\\vms\\a\\", L""},
        {L"C:/vms/a/", L""},
        {L"C:\\", L""},
        {L"C:\\vms\\disk.tar.gz", L"disk.tar"},
        {L"C:\\vms\\.vbox", L""},
        {L"C:\\vms\\disk", L"disk"},
        {L"C:\\vms\\disk.", L"disk"},
        {L"C:\\v.m.s\\disk", L"disk"},
        {L"a.vbox", L"a"},
        {L"disk", L"disk"},
        {L"sub\\a.vbox", L"a"},
        {L"\\\\server\\share\\a.vbox", L"a"},
        {L"C:\\vms\\Windows 10 (2).vbox", L"Windows 10 (2)"},
        {L"C:\\vms\\\u865A\u62DF\u673A \U0001F3AE.vbox", L"\u865A\u62DF\u673A \U0001F3AE"},
        {L"C:\\vms\\name.\u865A\u62DF", L"name"},
    };
    for (const Row& row : rows)
        EXPECT_EQ(row.name, getFileName(row.path)) << toUtf8(row.path);
}

TEST_F(GetFileName, RecordsPathAndName)
{
    getFileName(L"C:\\vms\\a\\a b.vbox");
    getFileName(L"C:\\vms\\a\\");
    EXPECT_THAT(records(),
                ElementsAre(record("getFileName", L"C:\\vms\\a\\a b.vbox"), record("getFileName", L"return a b"),
                            record("getFileName", L"C:\\vms\\a\\"), record("getFileName", L"return ")));
}

TEST_F(GetFileName, OfAnEmptyPathIsEmptyWithoutARecordOfIt)
{
    EXPECT_EQ(L"", getFileName(L""));
    EXPECT_THAT(records(), ElementsAre(record("getFileName", L"")));
}

TEST_F(GetParentDirectoryPath, IsTheFolderAboveWithATrailingSeparator)
{
    struct Row
    {
        const wchar_t* path;
        const wchar_t* parent;
    };
    const Row rows[] = {
        {L"C:\\vms\\a\\a.vbox", L"C:\\vms\\a\\"},
        {L"C:/vms/a/a.vbox", L"C:\\vms\\a\\"},
        {L"C:\\vms/a\\a.vbox", L"C:\\vms\\a\\"},
        {L"C:\\vms\\a", L"C:\\vms\\"},
        {L"C:\\vms\\a\\", L"C:\\vms\\"}, // a folder by its trailing separator
        {L"C:/vms/a/", L"C:\\vms\\"},
        {L"C:\\a.vbox", L"C:\\"},
        {L"C:\\a\\", L"C:\\"},
        {L"C:\\", L"C:\\"},
        {L"sub\\a.vbox", L"sub\\"},
        {L"sub\\inner\\", L"sub\\"},
        {L"\\vms\\a.vbox", L"\\vms\\"},
        {L"\\\\server\\share\\vms\\a.vbox", L"\\\\server\\share\\vms\\"},
        {L"C:\\vms\\\u865A\u62DF\u673A \U0001F3AE\\a.vbox", L"C:\\vms\\\u865A\u62DF\u673A \U0001F3AE\\"},
    };
    for (const Row& row : rows)
        EXPECT_EQ(row.parent, getParentDirectoryPath(row.path)) << toUtf8(row.path);
}

TEST_F(GetParentDirectoryPath, RecordsPathAndParent)
{
    getParentDirectoryPath(L"C:/vms/a.vbox");
    EXPECT_THAT(records(), ElementsAre("[INFO] (Travik::Utils::getParentDirectoryPath) # C:/vms/a.vbox",
                                       "[INFO] (Travik::Utils::getParentDirectoryPath) # return C:\\vms\\"));
}

TEST_F(GetParentDirectoryPath, OfAnEmptyPathIsEmptyWithoutARecordOfIt)
{
    EXPECT_EQ(L"", getParentDirectoryPath(L""));
    EXPECT_THAT(records(), ElementsAre(record("getParentDirectoryPath", L"")));
}

} // namespace
