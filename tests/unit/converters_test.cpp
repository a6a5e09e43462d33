#include <gmock/gmock.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "selq6/vbox.h"
#include "travik/vbox_instance.h"

namespace {

using namespace Travik;

using Convert = std::uint32_t (VBoxInstanceImpl::*)(std::uint32_t);
using Mapping = std::map<std::uint32_t, std::uint32_t>;

struct Converter
{
    const char* name;
    Convert convert;
    Mapping mapping;         // what each input gives
    std::uint32_t otherwise; // what every input outside the mapping gives
};

std::ostream& operator<<(std::ostream& stream, const Converter& converter)
{
    return stream << converter.name;
}

const Mapping oneOnly = {{1, 1}};
const Mapping upToThree = {{1, 1}, {2, 2}, {3, 3}};
const Mapping upToFive = {{1, 1}, {2, 2}, {3, 3}, {4, 4}, {5, 5}};
const Mapping upToSix = {{1, 1}, {2, 2}, {3, 3}, {4, 4}, {5, 5}, {6, 6}};
const Mapping zeroOnly = {{0, 0}};

const Mapping sdkMachineStates = {{1, 1},   {2, 2},   {3, 3},   {4, 4},   {5, 5},   {6, 6},   {7, 7},   {8, 8},
                                  {9, 9},   {10, 10}, {11, 11}, {12, 12}, {13, 13}, {14, 14}, {15, 15}, {16, 0},
                                  {17, 16}, {18, 17}, {19, 18}, {20, 19}, {21, 20}, {22, 21}, {23, 22}};
const Mapping vboxMachineStates = {{1, 1},   {2, 2},   {3, 3},   {4, 4},   {5, 5},   {6, 6},   {7, 7},   {8, 8},
                                   {9, 9},   {10, 10}, {11, 11}, {12, 12}, {13, 13}, {14, 14}, {15, 15}, {16, 17},
                                   {17, 18}, {18, 19}, {19, 20}, {20, 21}, {21, 22}, {22, 23}};

const Mapping hresults = {{1, 0x80BB0001},  {2, 0x80BB0002},  {3, 0x80BB0003},  {4, 0x80BB0004},  {5, 0x80BB0005},
                          {6, 0x80BB0006},  {7, 0x80BB0007},  {8, 0x80BB0008},  {9, 0x80BB0009},  {10, 0x80BB000A},
                          {11, 0x80BB000B}, {12, 0x80BB000C}, {13, 0x80BB000D}, {14, 0x80BB000E}, {15, 0x80BB000F},
                          {16, 0x80BB0010}, {17, 0x8000FFFF}, {18, 0x80004001}, {19, 0x8007000E}, {20, 0x80070057},
                          {21, 0x80004002}, {22, 0x80004003}, {23, 0x80004004}, {24, 0x80004005}, {25, 0x80070005},
                          {26, 0x800706BE}, {27, 0x800706BA}, {28, 0x800706BF}, {29, 0x80010108}, {30, 0x800706B5}};
const Mapping resultCodes = {{0, 0},           {0x80BB0001, 1},  {0x80BB0002, 2},  {0x80BB0003, 3},  {0x80BB0004, 4},
                             {0x80BB0005, 5},  {0x80BB0006, 6},  {0x80BB0007, 7},  {0x80BB0008, 8},  {0x80BB0009, 9},
                             {0x80BB000A, 10}, {0x80BB000B, 11}, {0x80BB000C, 12}, {0x80BB000D, 13}, {0x80BB000E, 14},
                             {0x80BB000F, 15}, {0x80BB0010, 16}, {0x8000FFFF, 17}, {0x80004001, 18}, {0x8007000E, 19},
                             {0x80070057, 20}, {0x80004002, 21}, {0x80004003, 22}, {0x80004004, 23}, {0x80004005, 24},
                             {0x80070005, 25}, {0x800706BE, 26}, {0x800706BA, 27}, {0x800706BF, 28}, {0x80010108, 29},
                             {0x800706B5, 30}};

// In the order of their slots, 83 to 104.
const Converter converters[] = {
    {"toSdkMachineState", &VBoxInstanceImpl::toSdkMachineState, sdkMachineStates, 0},
    {"toVBoxMachineState", &VBoxInstanceImpl::toVBoxMachineState, vboxMachineStates, 0},
    {"toVBoxFlagA", &VBoxInstanceImpl::toVBoxFlagA, oneOnly, 0},
    {"toSdkFlagA", &VBoxInstanceImpl::toSdkFlagA, zeroOnly, 1},
    {"toVBoxKindA", &VBoxInstanceImpl::toVBoxKindA, upToFive, 0},
    {"toSdkKindA", &VBoxInstanceImpl::toSdkKindA, upToFive, 0},
    {"toVBoxFlagB", &VBoxInstanceImpl::toVBoxFlagB, oneOnly, 0},
    {"toSdkFlagB", &VBoxInstanceImpl::toSdkFlagB, zeroOnly, 1},
    {"toVBoxParavirtProvider", &VBoxInstanceImpl::toVBoxParavirtProvider, upToSix, 0},
    {"toSdkParavirtProvider", &VBoxInstanceImpl::toSdkParavirtProvider, upToSix, 0},
    {"toVBoxEventType", &VBoxInstanceImpl::toVBoxEventType, {{0, 0}, {1, 46}, {2, 57}}, 0},
    {"toSdkEventType", &VBoxInstanceImpl::toSdkEventType, {{0, 0}, {46, 1}, {57, 2}}, 0},
    {"toVBoxKindB", &VBoxInstanceImpl::toVBoxKindB, upToFive, 0},
    {"toSdkKindB", &VBoxInstanceImpl::toSdkKindB, upToFive, 0},
    {"toVBoxFlagC", &VBoxInstanceImpl::toVBoxFlagC, oneOnly, 0},
    {"toSdkFlagC", &VBoxInstanceImpl::toSdkFlagC, zeroOnly, 1},
    {"toVBoxSwitch", &VBoxInstanceImpl::toVBoxSwitch, oneOnly, 0},
    {"toSdkSwitch", &VBoxInstanceImpl::toSdkSwitch, oneOnly, 0},
    {"toHResult", &VBoxInstanceImpl::toHResult, hresults, 0},
    {"toVBoxResultCode", &VBoxInstanceImpl::toVBoxResultCode, resultCodes, 31},
    {"toVBoxKindC", &VBoxInstanceImpl::toVBoxKindC, upToThree, 0},
    {"toSdkKindC", &VBoxInstanceImpl::toSdkKindC, upToThree, 0},
};

std::vector<std::uint32_t> inputs()
{
    std::vector<std::uint32_t> values;
    for (std::uint32_t value = 0; value <= 300; ++value)
        values.push_back(value);
    for (std::uint32_t value = 0x80BAFFF0; value <= 0x80BB0120; ++value)
        values.push_back(value);
    // The results of COM and RPC with their neighbours, and results that the library does not know.
    for (const std::uint32_t value : {0x8000FFFFu, 0x80004001u, 0x8007000Eu, 0x80070057u, 0x80004002u, 0x80004003u,
                                      0x80004004u, 0x80004005u, 0x80070005u, 0x800706BEu, 0x800706BAu, 0x800706BFu,
                                      0x80010108u, 0x800706B5u, 0x80070002u, 0x8001010Eu, 0x80010106u})
        for (const std::uint32_t neighbour : {value - 1, value, value + 1})
            values.push_back(neighbour);
    for (const std::uint32_t value :
         {0x10001u, 0x1002Eu, 0x7FFFFFFFu, 0x80000000u, 0x80000001u, 0xFFFFFFFEu, 0xFFFFFFFFu})
        values.push_back(value);
    return values;
}

class Converters : public testing::TestWithParam<Converter>
{};

TEST_P(Converters, GivesItsTableAndItsFallbackForEveryOtherValue)
{
    VBox vbox;
    VBoxInstanceImpl& instance = vbox;
    const Converter& converter = GetParam();
    for (const std::uint32_t input : inputs()) {
        const auto row = converter.mapping.find(input);
        const std::uint32_t expected = row != converter.mapping.end() ? row->second : converter.otherwise;
        EXPECT_EQ(expected, (instance.*converter.convert)(input)) << "input " << input;
    }
}

INSTANTIATE_TEST_SUITE_P(AllSlots, Converters, testing::ValuesIn(converters),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(ConverterTables, HoldAllTwentyTwoSlots)
{
    EXPECT_EQ(22u, std::size(converters));
}

TEST(ConverterAsymmetries, MachineStatesAreNotInverseAt16)
{
    VBox vbox;
    EXPECT_EQ(0u, vbox.toSdkMachineState(16));
    EXPECT_EQ(17u, vbox.toVBoxMachineState(16));
    EXPECT_EQ(16u, vbox.toSdkMachineState(17));
}

TEST(ConverterAsymmetries, FlagsTowardsTheLibraryTakeAnyNonZeroValueButOnlyOneGoesBack)
{
    VBox vbox;
    EXPECT_EQ(1u, vbox.toSdkFlagA(7));
    EXPECT_EQ(0u, vbox.toVBoxFlagA(7));
    EXPECT_EQ(1u, vbox.toSdkFlagB(0xFFFFFFFF));
    EXPECT_EQ(0u, vbox.toVBoxFlagB(0xFFFFFFFF));
    EXPECT_EQ(1u, vbox.toSdkFlagC(2));
    EXPECT_EQ(0u, vbox.toVBoxFlagC(2));
}

TEST(ConverterAsymmetries, TheSwitchTakesOnlyOneInBothDirections)
{
    VBox vbox;
    EXPECT_EQ(0u, vbox.toSdkSwitch(2));
    EXPECT_EQ(0u, vbox.toVBoxSwitch(2));
    EXPECT_EQ(1u, vbox.toSdkSwitch(1));
    EXPECT_EQ(1u, vbox.toVBoxSwitch(1));
}

TEST(ConverterAsymmetries, AnUnknownHresultGives31AndNot0)
{
    VBox vbox;
    EXPECT_EQ(31u, vbox.toVBoxResultCode(1));
    EXPECT_EQ(31u, vbox.toVBoxResultCode(0x80BB0000));
    EXPECT_EQ(31u, vbox.toVBoxResultCode(0x80BB0011));
    EXPECT_EQ(0u, vbox.toHResult(31));
}

/// Slot 102 is virtual: whoever overrides it names the results.
class RenamingVBox : public VBox
{
public:
    std::uint32_t toVBoxResultCode(std::uint32_t) override { return 12; }
    using VBox::_resultName;
};

TEST(ConverterAsymmetries, FailuresAreNamedThroughTheVirtualSlot)
{
    RenamingVBox vbox;
    EXPECT_EQ(L"ObjectInUse", vbox._resultName(E_FAIL));
}

} // namespace
