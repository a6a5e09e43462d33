// What becomes of the log when the process, the disk, the file or the text lets it down.

#include <windows.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "endless_log.h"
#include "log/log.h"
#include "log_reader.h"
#include "random_numbers.h"
#include "scratch.h"
#include "selq6/vbox.h"
#include "start_process.h"

namespace TravikTest {
namespace {

/// What the disk does with the next piece of text.
enum class Disk
{
    takesIt,
    isFull,
    isFullHalfWay,
    isGone
};
Disk disk = Disk::takesIt;

BOOL WINAPI writeFile(HANDLE file, LPCVOID bytes, DWORD count, LPDWORD written, LPOVERLAPPED overlapped)
{
    static const auto real = reinterpret_cast<decltype(&WriteFile)>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "WriteFile")));
    *written = 0;
    if (disk == Disk::isFullHalfWay)
        real(file, bytes, count / 2, written, overlapped);
    if (disk == Disk::takesIt)
        return real(file, bytes, count, written, overlapped);
    SetLastError(disk == Disk::isGone ? ERROR_DEV_NOT_EXIST : ERROR_DISK_FULL);
    return FALSE;
}

std::string bytesOf(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(stream), {});
}

void write(const std::wstring& text)
{
    Travik::writeRecord(Travik::LogLevel::Info, 1, L"f", text);
}

/// Takes what goes to the console of this process.
class Console
{
public:
    Console() : before_(std::wcout.rdbuf(buffer_.rdbuf())) {}
    ~Console() { std::wcout.rdbuf(before_); }
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;
    std::wstring text() const { return buffer_.str(); }

private:
    std::wostringstream buffer_;
    std::wstreambuf* before_;
};

class LogSurvives : public testing::Test
{
protected:
    ~LogSurvives() override
    {
        disk = Disk::takesIt;
        box.setLogPath((scratchFolder() / L"parking.log").wstring());
    }

    void open() { ASSERT_EQ(box.setLogPath(file.wstring()), 0u); }

    const std::filesystem::path file =
        scratchFolder() / (std::wstring(L"log ") + std::to_wstring(testing::UnitTest::GetInstance()->random_seed()) +
                           L" " + std::to_wstring(++number) + L".txt");
    Travik::VBox box;
    static inline int number = 0;
};

// ---- the process is ended in the middle

class EndlessProcess
{
public:
    explicit EndlessProcess(const std::filesystem::path& log)
    {
        const std::wstring name = L"travik-endless-log-" + std::to_wstring(GetCurrentProcessId());
        mapping_ =
            CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, sizeof(std::uint32_t), name.c_str());
        done_ = static_cast<volatile std::uint32_t*>(
            MapViewOfFile(mapping_, FILE_MAP_READ | FILE_MAP_WRITE, 0, 0, sizeof(std::uint32_t)));
        *done_ = 0;
        process_ = startProcess(productFolder() / L"tests" / L"endless_log.exe", {log.wstring(), name});
    }

    ~EndlessProcess()
    {
        kill();
        CloseHandle(process_.hProcess);
        CloseHandle(process_.hThread);
        UnmapViewOfFile(const_cast<std::uint32_t*>(done_));
        CloseHandle(mapping_);
    }

    EndlessProcess(const EndlessProcess&) = delete;
    EndlessProcess& operator=(const EndlessProcess&) = delete;

    /// Records that are surely finished.
    std::uint32_t done() const { return *done_; }

    void kill()
    {
        TerminateProcess(process_.hProcess, 9);
        WaitForSingleObject(process_.hProcess, INFINITE);
    }

private:
    HANDLE mapping_;
    volatile std::uint32_t* done_;
    PROCESS_INFORMATION process_ = {};
};

std::string endlessRecord(std::uint32_t number)
{
    const std::wstring text = endlessText(number);
    return "(endless) <1> # " + std::string(text.begin(), text.end());
}

/// The finished records are all there, in their order; of the one in hand there may be any part.
void expectFinished(const std::string& log, std::uint32_t done)
{
    std::size_t place = 0;
    for (std::uint32_t number = 1; number <= done; ++number) {
        ASSERT_EQ(log.compare(place, 3, "\r\n["), 0) << "record " << number;
        const std::size_t text = log.find("(endless)", place);
        const std::string expected = endlessRecord(number);
        ASSERT_EQ(log.compare(text, expected.size(), expected), 0) << "record " << number;
        place = text + expected.size();
    }
    const std::size_t left = log.size() - place;
    EXPECT_LE(left, endlessRecord(done + 1).size() + 60) << "more than the record in hand after record " << done;
}

TEST_F(LogSurvives, TheEndOfTheProcessAtAnyMoment)
{
    constexpr int ends = 60;
    Random random(seed());
    std::cout << seedText() << '\n';
    std::uint64_t records = 0;
    for (int i = 0; i < ends; ++i) {
        std::filesystem::remove(file);
        EndlessProcess process(file);
        for (int wait = 0; process.done() == 0 && wait < 2000; ++wait)
            Sleep(5);
        ASSERT_NE(process.done(), 0u) << "the program writes nothing";
        Sleep(random.below(60));
        for (std::uint32_t spin = random.below(200'000); spin > 0; --spin) // between the ticks of Sleep
            static_cast<void>(process.done());
        process.kill();
        const std::uint32_t done = process.done();
        records += done;
        expectFinished(bytesOf(file), done);
        if (HasFailure())
            FAIL() << seedText() << ", end " << i;
    }
    std::cout << ends << " processes ended, " << records << " finished records found\n";
}

// ---- the disk

TEST_F(LogSurvives, ADiskThatIsFullForAWhile)
{
    open();
    Random random(seed());
    std::vector<std::wstring> whole;
    int lost = 0;
    for (int i = 0; i < 20'000; ++i) {
        const std::wstring text =
            L"begin " + std::to_wstring(i) + L" " + std::wstring(random.below(80), L'y') + L" end";
        disk = random.oneIn(20)   ? Disk::isFull
               : random.oneIn(20) ? Disk::isFullHalfWay
               : random.oneIn(40) ? Disk::isGone
                                  : Disk::takesIt;
        write(text);
        if (disk == Disk::takesIt)
            whole.push_back(text);
        else
            ++lost;
        disk = Disk::takesIt;
    }
    ASSERT_GT(lost, 500);
    const std::string log = bytesOf(file);
    std::size_t place = 0;
    for (const std::wstring& text : whole) {
        const std::string expected = "(f) <1> # " + std::string(text.begin(), text.end());
        const std::size_t found = log.find(expected, place);
        ASSERT_NE(found, std::string::npos) << expected;
        place = found + expected.size();
    }
    std::cout << whole.size() << " records found around " << lost << " that the disk refused\n";
}

TEST_F(LogSurvives, OperationsDoNotNoticeAFullDisk)
{
    open();
    disk = Disk::isFull;
    std::uint32_t state = 5;
    EXPECT_EQ(box.machineGetState(1, &state), 181u);
    EXPECT_EQ(box.getVBoxErrorMessage().find(L"vbox sdk failure in Travik::VBox::machineGetState(1):"), 0u);
    disk = Disk::takesIt;
    EXPECT_EQ(bytesOf(file), "");
    write(L"after it");
    EXPECT_THAT(bytesOf(file), testing::EndsWith("# after it"));
}

// Linux offers a device that is always full; a real disk, so to speak.
TEST_F(LogSurvives, TheDeviceThatIsAlwaysFull)
{
    box.setLogPath(L"Z:\\dev\\full");
    if (!Travik::logStream.is_open())
        GTEST_SKIP() << "only where /dev/full can be opened";
    write(L"swallowed");
    EXPECT_FALSE(Travik::logStream.good()) << "the device takes text";
    open();
    write(L"after it");
    EXPECT_THAT(bytesOf(file), testing::EndsWith("# after it"));
}

// ---- the file

TEST_F(LogSurvives, OthersWhoWantTheFileToVanish)
{
    open();
    write(L"one");
    EXPECT_FALSE(DeleteFileW(file.c_str()));
    EXPECT_FALSE(MoveFileW(file.c_str(), (file.wstring() + L".moved").c_str()));
    EXPECT_EQ(CreateFileW(file.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr), INVALID_HANDLE_VALUE);
    write(L"two");
    const std::string log = bytesOf(file);
    EXPECT_NE(log.find("# one"), std::string::npos);
    EXPECT_THAT(log, testing::EndsWith("# two"));
}

TEST_F(LogSurvives, AFolderThatVanishedBeforeItWasNamedAndComesBack)
{
    const std::filesystem::path late = scratchFolder() / L"late folder" / L"log.txt";
    std::filesystem::remove_all(late.parent_path());
    {
        const Console console;
        EXPECT_EQ(box.setLogPath(late.wstring()), 0u);
        write(L"to the console");
        EXPECT_THAT(console.text(), testing::EndsWith(L"# to the console"));
    }
    std::filesystem::create_directories(late.parent_path());
    EXPECT_EQ(box.setLogPath(late.wstring()), 0u);
    write(L"to the file");
    EXPECT_THAT(bytesOf(late), testing::EndsWith("# to the file"));
}

TEST_F(LogSurvives, AFileThatSomeoneElseKeepsToHimself)
{
    const HANDLE other = CreateFileW(file.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    ASSERT_NE(other, INVALID_HANDLE_VALUE);
    {
        const Console console;
        EXPECT_EQ(box.setLogPath(file.wstring()), 0u);
        write(L"to the console");
        EXPECT_THAT(console.text(), testing::EndsWith(L"# to the console"));
    }
    CloseHandle(other);
    EXPECT_EQ(box.setLogPath(file.wstring()), 0u);
    write(L"to the file");
    EXPECT_THAT(bytesOf(file), testing::EndsWith("# to the file"));
}

TEST_F(LogSurvives, AnotherWriterInTheSameFile)
{
    open();
    const HANDLE other = CreateFileW(file.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                     OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(other, INVALID_HANDLE_VALUE);
    for (int i = 0; i < 1000; ++i) {
        write(L"mine " + std::to_wstring(i) + L" end");
        DWORD written = 0;
        const std::string remark = "\r\ntheirs " + std::to_string(i) + " end";
        WriteFile(other, remark.data(), static_cast<DWORD>(remark.size()), &written, nullptr);
    }
    CloseHandle(other);
    const std::string log = bytesOf(file);
    for (int i = 0; i < 1000; ++i) {
        ASSERT_NE(log.find("# mine " + std::to_string(i) + " end"), std::string::npos);
        ASSERT_NE(log.find("\r\ntheirs " + std::to_string(i) + " end"), std::string::npos);
    }
}

// ---- the text, and much of it

TEST_F(LogSurvives, AHundredThousandRecordsOfAllScripts)
{
    const std::array<std::wstring, 7> texts = {
        L"plain",        L"\u4E2D\u6587", L"\u0440\u0443\u0441",       L"\U0001F3AE",
        L"\xD800 alone", L"alone \xDC00", std::wstring(300, L'\u65E5')};
    constexpr std::size_t count = 100'000;
    constexpr std::size_t atOnce = 5'000;
    open();
    LogReader reader(file);
    reader.skip();
    std::vector<std::string> expected;
    std::size_t compared = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const std::wstring text = std::to_wstring(i) + L" " + texts[i % texts.size()];
        write(text);
        expected.push_back(record("INFO", L"f", text));
        if (expected.size() == atOnce) {
            ASSERT_EQ(reader.take(), expected);
            compared += std::exchange(expected, {}).size();
        }
    }
    EXPECT_EQ(compared, count);
    std::cout << compared << " records found as they were written\n";
}

} // namespace
} // namespace TravikTest

// The library calls this function through the import table; this definition comes before that of the import library.
extern "C" {
decltype(&WriteFile) __imp_WriteFile = TravikTest::writeFile;
}
