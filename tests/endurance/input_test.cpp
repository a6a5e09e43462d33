// A hundred thousand calls with arguments that make no sense, over all slots.

#include <comdef.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <tuple>
#include <type_traits>

#include "com_memory.h"
#include "com_roots.h"
#include "promises.h"
#include "random_numbers.h"
#include "scratch.h"

namespace TravikTest {
namespace {

constexpr int phases = 100;
constexpr int callsEach = 1000;

std::filesystem::path playground()
{
    return scratchFolder() / L"input";
}

std::wstring anyText(Random& random)
{
    static const std::array<std::wstring, 8> special = {
        L"",     L"\xD800", L"\xDC00 reversed \xD800", std::wstring(3, L'\0'),
        L"a\0b", L"%s%n%p", L"\xFFFF\xFFFE",           L"..\\.."};
    std::wstring text;
    switch (random.below(5)) {
    case 0:
        return special[random.below(static_cast<std::uint32_t>(special.size()))];
    case 1: // as long as a text of Windows can be, and a bit more
        return std::wstring(random.oneIn(20) ? 65'536 : 300, static_cast<wchar_t>(random.any()));
    case 2:
        return L"vm" + std::to_wstring(random.below(4));
    default:
        for (std::uint32_t i = random.below(40); i > 0; --i)
            text += static_cast<wchar_t>(random.oneIn(2) ? 0x20 + random.below(0x60) : random.any());
        return text;
    }
}

/// Below the playground, whatever the name: without separators, drives and dots there is no way out.
std::wstring anyPath(Random& random)
{
    std::wstring name = anyText(random);
    for (wchar_t& unit : name) {
        if (unit == L'\\' || unit == L'/' || unit == L':' || unit == L'.')
            unit = L'x';
    }
    return (playground() / L"f").wstring() + name;
}

bool takesPaths(std::size_t slot)
{
    static const std::array<Op, 6> operations = {Op::setLogPath, Op::setDefaultMachineFolder,
                                                 Op::openMedium, Op::getImportOvaVmName,
                                                 Op::importOva,  Op::renameVmDisk};
    return std::find(operations.begin(), operations.end(), static_cast<Op>(slot)) != operations.end();
}

/// Arguments of one call, kept until it has returned.
class Arguments
{
public:
    Arguments(Random& random, std::size_t slot) : random_(random), paths_(takesPaths(slot)) {}

    template <class Argument>
    Argument make()
    {
        using Value = std::remove_cv_t<std::remove_reference_t<Argument>>;
        if constexpr (std::is_pointer_v<Value>)
            return output<std::remove_pointer_t<Value>>();
        else if constexpr (std::is_reference_v<Argument>)
            return kept_.emplace_back(text());
        else if constexpr (std::is_same_v<Value, std::wstring>)
            return text();
        else if constexpr (std::is_same_v<Value, std::list<std::wstring>>)
            return texts();
        else if constexpr (std::is_same_v<Value, std::vector<std::uint32_t>>)
            return numbers();
        else if constexpr (std::is_same_v<Value, bool>)
            return random_.oneIn(2);
        else
            return static_cast<Value>(number());
    }

private:
    std::wstring text() { return paths_ ? anyPath(random_) : anyText(random_); }

    std::uint32_t number()
    {
        static const std::array<std::uint32_t, 8> special = {0,          1,          2,      0x7FFFFFFF,
                                                             0x80000000, 0xFFFFFFFF, 0xFFFF, 0x10000};
        switch (random_.below(4)) {
        case 0:
            return special[random_.below(static_cast<std::uint32_t>(special.size()))];
        case 1:
            return random_.any();
        default: // a handle that may live
            return random_.below(60);
        }
    }

    std::list<std::wstring> texts()
    {
        std::list<std::wstring> all;
        for (std::uint32_t i = random_.below(random_.oneIn(30) ? 1000 : 5); i > 0; --i)
            all.push_back(text());
        return all;
    }

    std::vector<std::uint32_t> numbers()
    {
        std::vector<std::uint32_t> all;
        for (std::uint32_t i = random_.below(random_.oneIn(30) ? 10'000 : 5); i > 0; --i)
            all.push_back(number());
        return all;
    }

    template <class Value>
    Value* output()
    {
        return random_.oneIn(4) ? nullptr : &std::get<Value>(places_);
    }

    Random& random_;
    bool paths_;
    std::list<std::wstring> kept_;
    std::tuple<std::uint32_t, std::int32_t, std::int64_t, std::wstring, std::list<std::wstring>,
               std::vector<VBoxHandle>>
        places_;
};

template <class Result, class... Parameters>
std::uint32_t callAtRandom(TestBox& box, Result (TestBox::*operation)(Parameters...), Arguments arguments)
{
    if constexpr (std::is_same_v<Result, std::wstring>)
        return (box.*operation)(), 0;
    else
        return static_cast<std::uint32_t>((box.*operation)(arguments.make<Parameters>()...));
}

/// The same for operations of the interface and for the one that is not in it.
template <class Class, class Result, class... Parameters>
auto asTestBox(Result (Class::*operation)(Parameters...))
{
    return static_cast<Result (TestBox::*)(Parameters...)>(operation);
}

using Caller = std::uint32_t (*)(TestBox& box, Random& random, std::size_t slot);

const Caller callers[] = {
#define OPERATION(name)                                                                                                \
    [](TestBox& box, Random& random, std::size_t slot) {                                                               \
        return callAtRandom(box, asTestBox(&TestBox::name), Arguments(random, slot));                                  \
    },
    FOR_EACH_OPERATION(OPERATION)
#undef OPERATION
};

/// One in eight calls of VirtualBox fails or gives nothing.
void disturbed(Answer& answer, Random& random)
{
    if (random.oneIn(16))
        answer.result = static_cast<HRESULT>(random.oneIn(2) ? Result::ObjectNotFound : random.any() | 0x80000000u);
    else if (random.oneIn(16))
        answer.given = {Null(), Null(), Null()};
}

class BadInput : public testing::Test
{
protected:
    BadInput()
    {
        std::filesystem::create_directories(playground());
        std::cout << seedText() << '\n';
        for (std::size_t slot = 0; slot < operationCount; ++slot) {
            if (rows()[slot].prepare)
                rows()[slot].prepare(Invocation(bench.box));
        }
        FakeWorld::answer(L"IMedium::get_Location", {.given = {(playground() / L"f medium").wstring()}});
        FakeWorld::answer(L"IVirtualBox::ComposeMachineFilename", {.given = {(playground() / L"f machine").wstring()}});
        FakeWorld::disturb([this](Answer& answer) { disturbed(answer, random); });
        ComRoots::chance([this] { return random.oneIn(10) ? E_FAIL : S_OK; });
    }

    ~BadInput() override
    {
        FakeWorld::disturb({});
        ComRoots::chance({});
        ComMemory::failText(0);
    }

    /// A code that is promised, or an exception that is promised.
    void callOne(std::size_t slot)
    {
        const Promise& promise = promiseOf(slot);
        const bool noMemory = random.oneIn(50);
        ComMemory::failText(noMemory ? 1 + static_cast<int>(random.below(3)) : 0);
        if (random.oneIn(4))
            std::ofstream(playground() / L"f medium") << "content";
        try {
            const std::uint32_t code = callers[slot](bench.box, random, slot);
            EXPECT_TRUE(!promise.known || promise.allows(code)) << "answers " << code;
        } catch (const _com_error& error) {
            EXPECT_TRUE(promise.throwsOutOfMemory && noMemory) << "throws a COM error";
            EXPECT_EQ(static_cast<std::uint32_t>(error.Error()), Result::OutOfMemory);
            ++thrown;
        } catch (const std::exception& error) {
            EXPECT_TRUE(promise.throwsFileError) << "throws " << error.what();
            ++thrown;
        }
        ASSERT_TRUE(bench.mutexIsFree());
        if (slot == static_cast<std::size_t>(Op::setLogPath))
            bench.box.setLogPath(logFile().wstring()); // else the records go to the console
    }

    Bench bench;
    Random random{seed()};
    std::uint64_t thrown = 0;
};

TEST_F(BadInput, GivesLawfulAnswersOnly)
{
    static_assert(std::size(callers) == operationCount);
    std::size_t slot = 0;
    for (int phase = 0; phase < phases; ++phase) {
        for (int call = 0; call < callsEach; ++call, slot = (slot + 1) % operationCount) {
            callOne(slot);
            if (HasFailure()) {
                const std::wstring name = nameOf(slot);
                FAIL() << seedText() << ", call " << phase * callsEach + call << ", slot " << slot << " "
                       << std::string(name.begin(), name.end());
            }
        }
        // Unknown handles have left entries; nothing else is there to grow.
        ComMemory::failText(0);
        bench.box.releaseRC();
        ASSERT_EQ(bench.sizes(), (std::array<std::size_t, tableCount>{}));
        ASSERT_EQ(FakeWorld::live(), std::vector<std::wstring>()) << seedText();
        ASSERT_EQ(ComMemory::liveTexts(), 0u) << seedText();
        ASSERT_EQ(ComMemory::liveArrays(), 0u) << seedText();
        FakeWorld::sweep();
        ComMemory::takeAllocatedTexts();
        bench.log.skip();
    }
    std::cout << phases * callsEach << " calls, " << thrown << " ended in a documented exception\n";
    EXPECT_GT(thrown, 0u);
    std::filesystem::remove_all(playground());
}

// An unknown handle leaves an empty entry, however many there are: only handing out is bounded.
TEST(UnknownHandles, LeaveOneEntryEachUntilEverythingIsReleased)
{
    constexpr VBoxHandle unknown = 10'000;
    Bench bench;
    for (VBoxHandle handle = 1; handle <= unknown; ++handle) {
        ASSERT_EQ(bench.box.saveSettings(handle), 181u);
        ASSERT_EQ(bench.box.consoleResume(handle), 184u);
    }
    EXPECT_EQ(bench.box.size(Table::machine), unknown);
    EXPECT_EQ(bench.box.size(Table::console), unknown);
    ASSERT_EQ(bench.box.saveSettings(unknown), 181u);
    EXPECT_EQ(bench.box.size(Table::machine), unknown) << "the same handle has one entry";

    EXPECT_EQ(bench.box.releaseMachine(1), 0u);
    EXPECT_EQ(bench.box.size(Table::machine), unknown - 1);
    EXPECT_EQ(bench.box.releaseRC(), 0u);
    EXPECT_EQ(bench.box.size(Table::machine), 0u);
    EXPECT_EQ(bench.box.size(Table::console), 0u);
}

} // namespace
} // namespace TravikTest
