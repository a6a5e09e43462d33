// Every operation through the flat interface: the rows that the C++ interface is tested with.

#include <gtest/gtest.h>

#include "com_memory.h"
#include "library_under_test.h"
#include "model.h"
#include "names.h"
#include "through_c.h"

namespace TravikTest {
namespace {

/// The library on fakes, open without a worker, and the way to it through C.
class FlatBench
{
public:
    explicit FlatBench(std::uint32_t flags = TRAVIK_OPEN_CALLER_THREAD | TRAVIK_OPEN_LAZY)
    {
        libraryUnderTest = &bench.box;
        const travik_options options{sizeof(travik_options), flags, nullptr, 0, 0};
        EXPECT_EQ(travik_open(&options, nullptr), 0u);
    }
    ~FlatBench() { EXPECT_EQ(travik_close(0, nullptr), 0u); }

    Bench bench;
    ThroughC through;
};

/// An invocation of the row, prepared for the library, made through C.
Invocation prepared(FlatBench& flat, std::size_t slot)
{
    const Invocation direct = prepared(flat.bench, slot);
    Invocation invocation(flat.through);
    invocation.texts = direct.texts;
    invocation.handles = direct.handles;
    return invocation;
}

template <class Function>
void forEach(Row::Kind kind, Function function)
{
    int count = 0;
    for (std::size_t slot = 0; slot < rows().size(); ++slot) {
        if (rows()[slot].kind != kind || slot == static_cast<std::size_t>(Op::restoreVmDisk))
            continue; // which is not in the interface
        SCOPED_TRACE(nameOf(slot));
        function(slot, rows()[slot]);
        ++count;
    }
    EXPECT_GT(count, 5);
}

/// The outputs as a call leaves them that succeeds.
void expectGood(FlatBench& flat, const Row& row, const Outputs& outputs)
{
    Outputs wanted;
    if (row.good)
        row.good(wanted);
    if (row.handsOutList)
        wanted.handles = outputs.handles;
    else if (!row.handsOut.empty())
        wanted.number = outputs.number;
    EXPECT_TRUE(outputs == wanted);
    EXPECT_EQ(outputs.handles.size(), row.handsOutList ? 1 + row.handsOut.size() : 1);
    for (std::size_t i = 0; i < row.handsOut.size(); ++i) {
        const VBoxHandle handle = row.handsOutList ? outputs.handles[1 + i] : outputs.number;
        const std::size_t before = flat.bench.box.size(row.handsOut[i]);
        EXPECT_EQ(flat.through.release(row.handsOut[i], handle), 0u);
        EXPECT_EQ(flat.bench.box.size(row.handsOut[i]), before - 1) << "is not a handle that was handed out";
    }
}

TEST(EveryOperationThroughC, MakesTheSameCallsAndHandsOutTheSame)
{
    forEach(Row::framed, [](std::size_t slot, const Row& row) {
        FlatBench flat;
        Invocation invocation = prepared(flat, slot);
        const Expected expects = expected(slot, invocation, {});
        FakeWorld::takeCalls();
        EXPECT_EQ(static_cast<std::uint32_t>(row.invoke(invocation)), expects.code);
        EXPECT_EQ(FakeWorld::takeCalls(), expects.calls);
        EXPECT_EQ(flat.through.failure(), nullptr);
        expectGood(flat, row, invocation.outputs);
    });
}

TEST(EveryOperationThroughC, TellsTheFailureOfEveryCallInTheError)
{
    forEach(Row::framed, [](std::size_t slot, const Row& row) {
        for (std::size_t step = 0; step < row.steps.size(); ++step) {
            const auto* call = std::get_if<CallStep>(&row.steps[step]);
            if (!call || call->tolerated)
                continue;
            const Deviation deviation{.kind = Deviation::comResult, .step = step, .result = notFound};
            FlatBench flat;
            Invocation invocation = prepared(flat, slot);
            deviate(flat.bench, slot, deviation);
            const Expected expects = expected(slot, invocation, deviation);
            EXPECT_EQ(static_cast<std::uint32_t>(row.invoke(invocation)), expects.code);
            const travik_error* const error = flat.through.failure();
            ASSERT_NE(error, nullptr);
            EXPECT_EQ(error->code, expects.code);
            EXPECT_EQ(error->result, static_cast<std::uint32_t>(notFound));
            EXPECT_STREQ(error->resultName, "VBOX_E_OBJECT_NOT_FOUND");
            EXPECT_EQ(toWide(error->operation), nameOf(slot));
            EXPECT_EQ(maskedFailure(toWide(error->text)), expects.failureText.value_or(L""));
        }
    });
}

TEST(EveryOperationThroughC, WithoutOutputsHandsOutNothingAndSucceeds)
{
    forEach(Row::framed, [](std::size_t slot, const Row& row) {
        if (!row.hasOutputs())
            return;
        FlatBench flat;
        Invocation invocation = prepared(flat, slot);
        invocation.withOutputs = false;
        const auto sizes = flat.bench.sizes();
        EXPECT_EQ(static_cast<std::uint32_t>(row.invoke(invocation)), 0u);
        EXPECT_EQ(flat.bench.sizes(), sizes);
    });
}

TEST(EveryOperationThroughC, GivesTheCodeOfTheTableForAHandleThatIsUnknown)
{
    forEach(Row::framed, [](std::size_t slot, const Row& row) {
        std::size_t number = 0;
        for (const Step& step : row.steps) {
            const auto* find = std::get_if<FindStep>(&step);
            if (!find)
                continue;
            FlatBench flat;
            Invocation invocation = prepared(flat, slot);
            invocation.handles.at(number++) = 4711;
            EXPECT_EQ(static_cast<std::uint32_t>(row.invoke(invocation)), missingCode(find->table));
            const travik_error* const error = flat.through.failure();
            ASSERT_NE(error, nullptr);
            EXPECT_EQ(error->result, 0u);
        }
    });
}

TEST(EveryConverterThroughC, ConvertsAsTheLibraryDoes)
{
    forEach(Row::converter, [](std::size_t, const Row& row) {
        FlatBench flat;
        for (std::uint32_t value : {0u, 1u, 2u, 5u, 16u, 46u, 57u, 0x80BB0001u})
            EXPECT_EQ(row.convert(flat.through, value), row.convert(flat.bench.box, value));
    });
}

TEST(EveryReleaseThroughC, GivesTheHandleBackAndIsHarmlessTwice)
{
    forEach(Row::release, [](std::size_t, const Row& row) {
        FlatBench flat;
        const VBoxHandle handle = flat.bench.give(row.table);
        ASSERT_EQ(flat.bench.box.size(row.table), 1u);
        EXPECT_EQ(flat.through.release(row.table, handle), 0u);
        EXPECT_EQ(flat.bench.box.size(row.table), 0u);
        EXPECT_EQ(flat.through.release(row.table, handle), 0u);
    });
}

TEST(OperationsThroughC, CarryTextsOfAnyLanguage)
{
    FlatBench flat;
    const VBoxHandle machine = flat.bench.give(Table::machine);
    FakeWorld::answer(L"IMachine::get_Name", {.given = {L"\x4E2D\x6587 \xD83C\xDFAE"}});
    std::wstring name;
    EXPECT_EQ(flat.through.getVmName(machine, &name), 0u);
    EXPECT_EQ(name, L"\x4E2D\x6587 \xD83C\xDFAE");
}

TEST(OperationsThroughC, TurnHalfASurrogatePairIntoTheReplacementCharacter)
{
    FlatBench flat;
    const VBoxHandle machine = flat.bench.give(Table::machine);
    FakeWorld::answer(L"IMachine::get_Name", {.given = {L"a\xD800z"}});
    std::wstring name;
    EXPECT_EQ(flat.through.getVmName(machine, &name), 0u);
    EXPECT_EQ(name, L"a\xFFFDz");
}

TEST(OperationsThroughC, TellALackOfMemoryForAComString)
{
    FlatBench flat;
    ComMemory::failText(1);
    EXPECT_EQ(static_cast<std::uint32_t>(flat.through.findMachine(L"Player", nullptr)), TRAVIK_OutOfMemory);
    ASSERT_NE(flat.through.failure(), nullptr);
}

} // namespace
} // namespace TravikTest
