// The 118 operations by the number of their slot, through the raw table of the loaded DLL: the numbers and names here
// are the contract with front ends that are compiled already, and are written by hand.
#include <windows.h>
#include <gmock/gmock.h>
#include <objbase.h>

#include <fstream>
#include <iterator>
#include <list>
#include <map>
#include <regex>
#include <string>
#include <vector>

#include "scratch.h"

using namespace testing;

namespace {

using Text = std::wstring;
using Texts = std::list<std::wstring>;
using Numbers = std::vector<std::uint32_t>;

class Dll
{
public:
    Dll() : module_(LoadLibraryW((TravikTest::productFolder() / L"TravikSDK-selq6.dll").c_str()))
    {
        if (module_)
            object_ = function<void* (*)()>("GetVBoxInstance")();
    }

    bool loaded() const { return object_ != nullptr; }
    void* object() const { return object_; }

    template <class Function>
    Function function(const char* name) const
    {
        return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module_, name)));
    }

    /// Calls slot number slot; the arguments have exactly the types of the operation.
    template <class Result = std::uint32_t, class... Arguments>
    Result call(int slot, Arguments... arguments) const
    {
        void** const table = *static_cast<void***>(object_);
        return reinterpret_cast<Result (*)(void*, Arguments...)>(table[slot])(object_, std::move(arguments)...);
    }

    /// getVBoxErrorMessage. Compilers differ in where a member function expects the place of a returned object.
    Text errorMessage() const
    {
#ifdef _MSC_VER
        alignas(Text) unsigned char place[sizeof(Text)];
        call<void*>(23, static_cast<void*>(place));
        Text* const result = reinterpret_cast<Text*>(place);
        Text text = std::move(*result);
        result->~Text();
        return text;
#else
        return call<Text>(23);
#endif
    }

private:
    HMODULE module_;
    void* object_ = nullptr;
};

/// One library for all tests of the process, and a log to read.
///
/// The thread is multithreaded for COM, so the library's own single-threaded initialisation is refused: whatever
/// VirtualBox the machine may have is never started, and its settings stay as they are.
class Slots : public Test
{
protected:
    static void SetUpTestSuite()
    {
        ASSERT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
        dll_ = new Dll; // lives as long as the process
        ASSERT_TRUE(dll_->loaded());
    }

    void SetUp() override
    {
        const Text path = logPath().wstring();
        ASSERT_EQ(dll_->call(0, &path), 0u);
        read_ = log().size();
    }

    static std::filesystem::path logPath() { return TravikTest::scratchFolder() / L"slots.log"; }

    static std::string log()
    {
        std::ifstream file(logPath(), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    /// What was written to the log since the last time.
    std::string newLog()
    {
        std::string text = log().substr(read_);
        read_ += text.size();
        return text;
    }

    /// The name in the first of the new records, which must be an entry record.
    std::string enteredOperation()
    {
        const std::string text = newLog();
        static const std::regex header(R"(^\r\n\[[^\]]{24}\]\[INFO\] \(Travik::VBox::(\w+)\) <\d+> # )");
        std::smatch match;
        return std::regex_search(text, match, header) ? match[1].str() : "no entry record in: " + text;
    }

    static const Dll& dll() { return *dll_; }

private:
    static Dll* dll_;
    std::size_t read_ = 0;
};

Dll* Slots::dll_ = nullptr;

const std::uint32_t unknown = 4000000000u; // a handle that nobody has
const std::uint32_t notReady = 101;        // the answer of operations that need a VirtualBox object

/// An operation with arguments that change nothing anywhere, and the code that it must give without VirtualBox.
struct Row
{
    int slot;
    const char* name;
    std::uint32_t (*call)(const Dll&, int slot);
    std::uint32_t expected;
};

const Text name = L"nobody";
const Text none;
std::uint32_t number = 0;
std::int32_t signedNumber = 0;
std::int64_t longNumber = 0;
Text text;
Numbers numbers;
Texts texts;

const Text& missing()
{
    static const Text path = (TravikTest::scratchFolder() / L"missing.file").wstring();
    return path;
}

template <std::uint32_t... Values>
std::uint32_t withHandles(const Dll& dll, int slot)
{
    return dll.call(slot, Values...);
}

// clang-format off
const Row operations[] = {
    {1, "createVmName", [](const Dll& d, int s) { return d.call(s, &name, &text); }, notReady},
    {2, "composeMachineFilename", [](const Dll& d, int s) { return d.call(s, &name, &text); }, notReady},
    {3, "getDefaultMachineFolder", [](const Dll& d, int s) { return d.call(s, &text); }, notReady},
    {4, "setDefaultMachineFolder", [](const Dll& d, int s) { return d.call(s, &missing()); }, 195},
    {5, "openMedium", [](const Dll& d, int s) { return d.call(s, &missing(), false, &number); }, 195},
    {6, "closeMedium", withHandles<unknown>, 194},
    {7, "deleteMedium", withHandles<unknown>, 194},
    {8, "attachMedium", [](const Dll& d, int s) { return d.call(s, unknown, unknown, &name, 0, 0); }, 181},
    {9, "detachMedium", [](const Dll& d, int s) { return d.call(s, unknown, &name, 0, 0); }, 181},
    {10, "setVmName", [](const Dll& d, int s) { return d.call(s, unknown, &name); }, 181},
    {11, "getVmName", [](const Dll& d, int s) { return d.call(s, unknown, &text); }, 181},
    {12, "getVmUUID", [](const Dll& d, int s) { return d.call(s, unknown, &text); }, 181},
    {13, "getImportOvaVmName", [](const Dll& d, int s) { return d.call(s, &missing(), &text); }, 195},
    {14, "importOva", [](const Dll& d, int s) { return d.call(s, &missing()); }, 195},
    {15, "createMachine", [](const Dll& d, int s) { return d.call(s, &none, &name, &number); }, notReady},
    {16, "cloneToMachine", withHandles<unknown, unknown>, 181},
    {17, "deleteMachine", withHandles<unknown>, 181},
    {18, "renameVmDisk", [](const Dll& d, int s) { return d.call(s, &missing(), &missing()); }, 196},
    {19, "initComComponent", withHandles<>, 0},
    {20, "resetComComponent", withHandles<>, 0},
    {21, "releaseRC", withHandles<>, 0},
    {22, "getVBoxError", withHandles<>, 0x80010106}, // what initComComponent left behind: the thread's mode differs
    {23, "getVBoxErrorMessage", [](const Dll& d, int) { text = d.errorMessage(); return 0u; }, 0},
    {24, "openMachine", [](const Dll& d, int s) { return d.call(s, &missing(), &number); }, notReady},
    {25, "findMachine", [](const Dll& d, int s) { return d.call(s, &name, &number); }, notReady},
    {26, "launchVMProcess", [](const Dll& d, int s) { return d.call(s, unknown, &name, Texts{L"A=1"}, &number); }, 181},
    {27, "lockMachine", withHandles<unknown, 1>, 181},
    {28, "unlockMachine", withHandles<>, notReady},
    {29, "registerMachine", withHandles<unknown>, notReady},
    {30, "machineGetState", [](const Dll& d, int s) { return d.call(s, unknown, &number); }, 181},
    {31, "getMachineExtraData", [](const Dll& d, int s) { return d.call(s, unknown, &name, &text); }, 181},
    {32, "createMutableMachine", [](const Dll& d, int s) { return d.call(s, unknown, &number); }, notReady},
    {33, "setMachineCPUCount", withHandles<unknown, 1>, 181},
    {34, "setMachineMemory", withHandles<unknown, 64>, 181},
    {35, "setMachineParavirtProvider", withHandles<unknown, 1>, 181},
    {36, "setMachineExtraData", [](const Dll& d, int s) { return d.call(s, unknown, &name, &none); }, 181},
    {37, "saveSettings", withHandles<unknown>, 181},
    {38, "powerDown", [](const Dll& d, int s) { return d.call(s, unknown, &number); }, 184},
    {39, "progressWaitForCompletion", withHandles<unknown, 0>, 183},
    {40, "getProgressCompleted", [](const Dll& d, int s) { return d.call(s, unknown, &number); }, 183},
    {41, "getProgressResultCode", [](const Dll& d, int s) { return d.call(s, unknown, &signedNumber); }, 183},
    {42, "getProgressErrorInfo", [](const Dll& d, int s) { return d.call(s, unknown, &text); }, 183},
    {43, "getHost", [](const Dll& d, int s) { return d.call(s, &number); }, notReady},
    {44, "hostGetProcessorFeature", [](const Dll& d, int s) { return d.call(s, unknown, 1u, &number); }, 193},
    {45, "machineRemoveSharedFolder", [](const Dll& d, int s) { return d.call(s, unknown, &name); }, 181},
    {46, "machineCreateSharedFolder", [](const Dll& d, int s) { return d.call(s, unknown, &name, &missing(), 0u, 0u); }, 181},
    {47, "getConsole", [](const Dll& d, int s) { return d.call(s, &number); }, notReady},
    {48, "consoleGetState", [](const Dll& d, int s) { return d.call(s, unknown, &number); }, 184},
    {49, "consoleResume", withHandles<unknown>, 184},
    {50, "consoleRemoveSharedFolder", [](const Dll& d, int s) { return d.call(s, unknown, &name); }, 184},
    {51, "consoleCreateSharedFolder", [](const Dll& d, int s) { return d.call(s, unknown, &name, &missing(), 0u, 0u); }, 184},
    {52, "getNetworkAdapter", [](const Dll& d, int s) { return d.call(s, unknown, 0u, &number); }, 181},
    {53, "getNATEngine", [](const Dll& d, int s) { return d.call(s, unknown, &number); }, 192},
    {54, "removeRedirect", [](const Dll& d, int s) { return d.call(s, unknown, &name); }, 191},
    {55, "addRedirect", [](const Dll& d, int s) { return d.call(s, unknown, &name, 1u, Text(), 5555u, Text(), 5555u); }, 191},
    {56, "getRedirects", [](const Dll& d, int s) { return d.call(s, unknown, &texts); }, 191},
    {57, "getGuestProperty", [](const Dll& d, int s) { return d.call(s, unknown, &name, &text, &longNumber, &text); }, 181},
    {58, "setGuestProperty", [](const Dll& d, int s) { return d.call(s, unknown, &name, &name, &none); }, 181},
    {59, "deleteGuestProperty", [](const Dll& d, int s) { return d.call(s, unknown, &name); }, 181},
    {60, "getAudioAdapter", [](const Dll& d, int s) { return d.call(s, unknown, &number); }, 181},
    {61, "setAudioAdapterEnabled", withHandles<unknown, 1>, 190},
    {62, "getEventSource", [](const Dll& d, int s) { return d.call(s, unknown, &number); }, 184},
    {63, "eventSourceCreateListener", [](const Dll& d, int s) { return d.call(s, unknown, &number); }, 185},
    {64, "eventSourceRegisterListener", [](const Dll& d, int s) { return d.call(s, unknown, unknown, Numbers{1}, 0u); }, 185},
    {65, "eventSourceUnregisterListener", withHandles<unknown, unknown>, 185},
    {66, "eventSourceGetEvent", [](const Dll& d, int s) { return d.call(s, unknown, unknown, 0u, &number); }, 185},
    {67, "eventSourceReleaseEvent", withHandles<unknown>, 187},
    {68, "eventSourceEventProcessed", withHandles<unknown, unknown, unknown>, 185},
    {69, "eventSourceEventGetType", [](const Dll& d, int s) { return d.call(s, unknown, &number); }, 187},
    {70, "getEventSourceStateChangedEvent", [](const Dll& d, int s) { return d.call(s, unknown, &number); }, 187},
    {71, "eventSourceStateChangedEventGetState", [](const Dll& d, int s) { return d.call(s, unknown, &number); }, 188},
    {72, "getEventSourceRuntimeErrorEvent", [](const Dll& d, int s) { return d.call(s, unknown, &number); }, 187},
    {73, "eventSourceRuntimeErrorEventGetFatal", [](const Dll& d, int s) { return d.call(s, unknown, &signedNumber); }, 189},
    {74, "eventSourceRuntimeErrorEventGetId", [](const Dll& d, int s) { return d.call(s, unknown, &text); }, 189},
    {75, "eventSourceRuntimeErrorEventGetMessage", [](const Dll& d, int s) { return d.call(s, unknown, &text); }, 189},
    {76, "getMachineStorageControllerPortCount", [](const Dll& d, int s) { return d.call(s, unknown, &name, &number); }, 181},
    {77, "getMediumLocation", [](const Dll& d, int s) { return d.call(s, unknown, &text); }, 194},
    {78, "getMediumState", [](const Dll& d, int s) { return d.call(s, unknown, &number); }, 194},
    {79, "getMediumUUID", [](const Dll& d, int s) { return d.call(s, unknown, &text); }, 194},
    {80, "getMediumLastAccessError", [](const Dll& d, int s) { return d.call(s, unknown, &text); }, 194},
    {81, "getCurrentMedium", [](const Dll& d, int s) { return d.call(s, unknown, &name, 0, 0, &number); }, 181},
    {82, "listVms", [](const Dll& d, int s) { return d.call(s, &numbers); }, notReady},
};
// clang-format on

using Mapping = std::uint32_t (*)(std::uint32_t);

template <std::uint32_t Last>
std::uint32_t upTo(std::uint32_t value)
{
    return value <= Last ? value : 0;
}

std::uint32_t onlyOne(std::uint32_t value)
{
    return value == 1 ? 1 : 0;
}

std::uint32_t anyButZero(std::uint32_t value)
{
    return value != 0 ? 1 : 0;
}

std::uint32_t oneWay(const std::map<std::uint32_t, std::uint32_t>& table, std::uint32_t value, std::uint32_t otherwise)
{
    const auto found = table.find(value);
    return found == table.end() ? otherwise : found->second;
}

std::uint32_t sdkMachineState(std::uint32_t value)
{
    return oneWay({{1, 1},   {2, 2},   {3, 3},   {4, 4},   {5, 5},   {6, 6},   {7, 7},   {8, 8},
                   {9, 9},   {10, 10}, {11, 11}, {12, 12}, {13, 13}, {14, 14}, {15, 15}, {17, 16},
                   {18, 17}, {19, 18}, {20, 19}, {21, 20}, {22, 21}, {23, 22}},
                  value, 0);
}

std::uint32_t vboxMachineState(std::uint32_t value)
{
    return oneWay({{1, 1},   {2, 2},   {3, 3},   {4, 4},   {5, 5},   {6, 6},   {7, 7},   {8, 8},
                   {9, 9},   {10, 10}, {11, 11}, {12, 12}, {13, 13}, {14, 14}, {15, 15}, {16, 17},
                   {17, 18}, {18, 19}, {19, 20}, {20, 21}, {21, 22}, {22, 23}},
                  value, 0);
}

std::uint32_t vboxEventType(std::uint32_t value)
{
    return oneWay({{1, 46}, {2, 57}}, value, 0);
}

std::uint32_t sdkEventType(std::uint32_t value)
{
    return oneWay({{46, 1}, {57, 2}}, value, 0);
}

/// VBoxResultCode and the HRESULT that it stands for.
const std::pair<std::uint32_t, std::uint32_t> results[] = {
    {1, 0x80BB0001},  {2, 0x80BB0002},  {3, 0x80BB0003},  {4, 0x80BB0004},  {5, 0x80BB0005},  {6, 0x80BB0006},
    {7, 0x80BB0007},  {8, 0x80BB0008},  {9, 0x80BB0009},  {10, 0x80BB000A}, {11, 0x80BB000B}, {12, 0x80BB000C},
    {13, 0x80BB000D}, {14, 0x80BB000E}, {15, 0x80BB000F}, {16, 0x80BB0010}, {17, 0x8000FFFF}, {18, 0x80004001},
    {19, 0x8007000E}, {20, 0x80070057}, {21, 0x80004002}, {22, 0x80004003}, {23, 0x80004004}, {24, 0x80004005},
    {25, 0x80070005}, {26, 0x800706BE}, {27, 0x800706BA}, {28, 0x800706BF}, {29, 0x80010108}, {30, 0x800706B5},
};

std::uint32_t hResult(std::uint32_t value)
{
    return oneWay({std::begin(results), std::end(results)}, value, 0);
}

std::uint32_t resultCode(std::uint32_t value)
{
    std::map<std::uint32_t, std::uint32_t> table = {{0, 0}};
    for (const auto& [code, hresult] : results)
        table[hresult] = code;
    return oneWay(table, value, 31);
}

struct Converter
{
    int slot;
    const char* name;
    Mapping expected;
};

const Converter converters[] = {
    {83, "toSdkMachineState", sdkMachineState},
    {84, "toVBoxMachineState", vboxMachineState},
    {85, "toVBoxFlagA", onlyOne},
    {86, "toSdkFlagA", anyButZero},
    {87, "toVBoxKindA", upTo<5>},
    {88, "toSdkKindA", upTo<5>},
    {89, "toVBoxFlagB", onlyOne},
    {90, "toSdkFlagB", anyButZero},
    {91, "toVBoxParavirtProvider", upTo<6>},
    {92, "toSdkParavirtProvider", upTo<6>},
    {93, "toVBoxEventType", vboxEventType},
    {94, "toSdkEventType", sdkEventType},
    {95, "toVBoxKindB", upTo<5>},
    {96, "toSdkKindB", upTo<5>},
    {97, "toVBoxFlagC", onlyOne},
    {98, "toSdkFlagC", anyButZero},
    {99, "toVBoxSwitch", onlyOne},
    {100, "toSdkSwitch", onlyOne},
    {101, "toHResult", hResult},
    {102, "toVBoxResultCode", resultCode},
    {103, "toVBoxKindC", upTo<3>},
    {104, "toSdkKindC", upTo<3>},
};

struct Release
{
    int slot;
    const char* name;
};

const Release releases[] = {
    {105, "releaseMachine"},
    {106, "releaseProgress"},
    {107, "releaseConsole"},
    {108, "releaseEventSource"},
    {109, "releaseEventListener"},
    {110, "releaseEvent"},
    {111, "releaseStateChangedEvent"},
    {112, "releaseRuntimeErrorEvent"},
    {113, "releaseAudioAdapter"},
    {114, "releaseNATEngine"},
    {115, "releaseNetworkAdapter"},
    {116, "releaseHost"},
    {117, "releaseMedium"},
};

TEST(SlotNumbers, everyOneHasItsRow)
{
    int expected = 1; // 0, setLogPath, stands in SetUp
    for (const auto& row : operations)
        EXPECT_EQ(row.slot, expected++) << row.name;
    for (const auto& row : converters)
        EXPECT_EQ(row.slot, expected++) << row.name;
    for (const auto& row : releases)
        EXPECT_EQ(row.slot, expected++) << row.name;
    EXPECT_EQ(expected, 118);
}

TEST_F(Slots, theObjectIsOneForTheWholeProcess)
{
    EXPECT_EQ(dll().function<void* (*)()>("GetVBoxInstance")(), dll().object());
}

TEST_F(Slots, slot0SendsTheLogToAFile)
{
    const Text path = (TravikTest::scratchFolder() / L"other.log").wstring();
    EXPECT_EQ(dll().call(0, &path), 0u);
    EXPECT_EQ(dll().call(21), 0u);
    std::ifstream file(path.c_str(), std::ios::binary);
    const std::string written{std::istreambuf_iterator<char>(file), {}};
    EXPECT_THAT(written, HasSubstr("Travik::VBox::releaseRC"));
}

TEST_F(Slots, slots1To82EnterTheOperationOfTheirNumber)
{
    for (const Row& row : operations) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(row.call(dll(), row.slot), row.expected) << "slot " << row.slot;
        EXPECT_EQ(enteredOperation(), row.name) << "slot " << row.slot;
    }
}

TEST_F(Slots, slots22And23TellTheLastFailure)
{
    EXPECT_EQ(dll().call(19), 0u);
    EXPECT_EQ(dll().call(22), 0x80010106u); // RPC_E_CHANGED_MODE
    EXPECT_THAT(dll().errorMessage(), StartsWith(L"vbox sdk failure in Travik::VBox::_initVBox():"));
    EXPECT_THAT(dll().errorMessage(), EndsWith(L" with rc=0x80010106 rcDesc=Unknow errorDesc=VBoxCoInitializeFail"));
    EXPECT_EQ(dll().call(11, unknown, static_cast<Text*>(nullptr)), 181u);
    EXPECT_EQ(dll().call(22), 0u);
    EXPECT_THAT(dll().errorMessage(), EndsWith(L" errorDesc=COM_Get_MachineFail"));
}

TEST_F(Slots, slots83To104Convert)
{
    std::vector<std::uint32_t> inputs = {46, 57, 0x7FFFFFFF, 0x80BB0000, 0x80BB0011, 0x80070002, 0xFFFFFFFF};
    for (std::uint32_t value = 0; value < 70; ++value)
        inputs.push_back(value);
    for (const auto& [code, hresult] : results)
        inputs.push_back(hresult);
    for (const Converter& converter : converters)
        for (std::uint32_t input : inputs)
            EXPECT_EQ(dll().call(converter.slot, input), converter.expected(input))
                << converter.name << "(" << input << ")";
    EXPECT_EQ(newLog(), "");
}

TEST_F(Slots, slots105To117TakeAnyHandleWithoutARecord)
{
    for (const Release& release : releases)
        for (std::uint32_t handle : {0u, 1u, unknown})
            EXPECT_EQ(dll().call(release.slot, handle), 0u) << release.name;
    EXPECT_EQ(newLog(), "");
}

TEST_F(Slots, theOtherTwoExportsWork)
{
    const auto toUtf8 = dll().function<const char* (*)(const wchar_t*)>("utils_toUTF8");
    EXPECT_STREQ(toUtf8(L"\u4E2D\U0001F3AE"), "\xE4\xB8\xAD\xF0\x9F\x8E\xAE");
    const auto removeFilePath = dll().function<bool (*)(const wchar_t*)>("utils_removeFilePath");
    EXPECT_FALSE(removeFilePath(missing().c_str()));
    const auto file = TravikTest::scratchFolder() / L"removed.file";
    std::ofstream(file) << "text";
    EXPECT_TRUE(removeFilePath(file.c_str()));
    EXPECT_FALSE(std::filesystem::exists(file));
}

} // namespace
