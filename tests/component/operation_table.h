#pragma once

#include <cstdint>
#include <functional>
#include <iterator>
#include <list>
#include <string>
#include <variant>
#include <vector>

#include "bench.h"
#include "operation_list.h"

namespace TravikTest {

/// Every operation under its slot.
enum class Op
{
#define OPERATION(name) name,
    FOR_EACH_OPERATION(OPERATION)
#undef OPERATION
};

inline constexpr const wchar_t* operationNames[] = {
#define OPERATION(name) L## #name,
    FOR_EACH_OPERATION(OPERATION)
#undef OPERATION
};

inline constexpr std::size_t operationCount = std::size(operationNames);

/// The caller's outputs, with something in them beforehand.
struct Outputs
{
    std::uint32_t number = 0xA5A5A5A5;
    std::int32_t signedNumber = -555;
    std::int64_t time = -777;
    std::wstring text = L"before";
    std::wstring flags = L"flags before";
    std::list<std::wstring> rules{L"rule before"};
    std::vector<VBoxHandle> handles{4711};

    bool operator==(const Outputs&) const = default;
};

/// One call of an operation as a front end makes it.
class Invocation
{
public:
    explicit Invocation(TestBox& box) : box(box) {}

    TestBox& box;
    std::vector<VBoxHandle> handles; // the handle arguments in their order
    std::vector<std::wstring> texts; // the text arguments in their order
    bool withOutputs = true;         // or null outputs
    Outputs outputs;

    VBoxHandle handle(std::size_t index) const { return handles.at(index); }
    const std::wstring& text(std::size_t index) const { return texts.at(index); }

    std::uint32_t* number() { return withOutputs ? &outputs.number : nullptr; }
    std::int32_t* signedNumber() { return withOutputs ? &outputs.signedNumber : nullptr; }
    std::wstring* textOutput() { return withOutputs ? &outputs.text : nullptr; }
    std::wstring* flagsOutput() { return withOutputs ? &outputs.flags : nullptr; }
    std::list<std::wstring>* rules() { return withOutputs ? &outputs.rules : nullptr; }
    std::vector<VBoxHandle>* handleList() { return withOutputs ? &outputs.handles : nullptr; }
};

// What an operation does, step by step. Texts may hold {h0}, {h1}... for its handle arguments and {t0}, {t1}... for its
// text arguments.

/// A file helper that is called with the mutex held; its two records, and the code when it answers false.
struct FileStep
{
    const wchar_t* helper;
    std::wstring arguments;
    std::uint32_t code;
};

/// The readiness check, and the root object that is used afterwards.
struct ReadyStep
{
    enum Root
    {
        none,
        virtualBox,
        session
    };
    Root root;
};

/// The session is passed on as it is, without a readiness check: {session} in the call after it, null without one.
struct SessionStep
{};

/// The look-up of the next handle argument.
struct FindStep
{
    Table table;
};

/// What a call hands out, and what its absence means although the call succeeded.
enum class Gives
{
    nothing,
    number,
    required, // an object; without it the call counts as failed
    optional  // an object, text or array; without it the operation ends well with nothing to hand out
};

/// A call of VirtualBox: "machine#1: IMachine::get_Name()".
struct CallStep
{
    std::wstring call;
    std::uint32_t code;
    Gives gives = Gives::nothing;
    bool tolerated = false;   // any result but 0 is only logged
    bool needsOutput = false; // not made without an output
};

/// The wait for a progress that a call gave.
struct WaitStep
{
    std::wstring progress;
    std::wstring tag;
};

/// The second record of a success with an output, or of every success.
struct ResultStep
{
    std::wstring text;
    bool withoutOutput = false;
};

using Step = std::variant<FileStep, ReadyStep, SessionStep, FindStep, CallStep, WaitStep, ResultStep>;

/// What is known about one operation.
struct Row
{
    enum Kind
    {
        framed,    // follows its steps in the frame
        special,   // has tests of its own
        converter, // pure
        release    // gives a handle back
    };
    Kind kind = framed;

    // Of a framed operation:
    std::function<SdkErrorCode(Invocation&)> invoke = {};
    std::wstring arguments = {}; // of the entry record and the failure text
    std::vector<std::wstring> texts = {};
    std::vector<Step> steps = {};
    std::function<void(Outputs&)> good = {};               // what success writes, but for handles
    std::function<void(Outputs&)> goodWithoutOutputs = {}; // what it writes when all outputs are null that may be
    std::vector<Table> handsOut = {};                      // new handles: one into number, or all into the list
    bool handsOutList = false;
    std::vector<Table> erases = {};                      // success erases the handle arguments of these tables
    int comTexts = 0;                                    // the COM strings that it makes
    bool keepsLastResult = false;                        // does not clear the last result
    std::function<void(const Invocation&)> prepare = {}; // before the call: answers of the fakes, files
    bool textsArePaths = false;                          // the file system decides which texts are possible

    // Of a converter and a release:
    std::function<std::uint32_t(TestBox&, std::uint32_t)> convert = {};
    Table table = Table::machine;

    bool hasOutputs() const { return static_cast<bool>(good) || !handsOut.empty(); }
};

/// The row of an operation. There is no general one: an operation without its own does not link.
template <Op operation>
Row row() = delete;
#define OPERATION(name)                                                                                                \
    template <>                                                                                                        \
    Row row<Op::name>();
FOR_EACH_OPERATION(OPERATION)
#undef OPERATION

/// All rows by slot.
const std::vector<Row>& rows();

/// The name of an operation.
inline std::wstring nameOf(std::size_t slot)
{
    return operationNames[slot];
}

/// Names of steps, for the rows.
inline FileStep file(const wchar_t* helper, std::wstring arguments, std::uint32_t code)
{
    return {helper, std::move(arguments), code};
}
inline FindStep find(Table table)
{
    return {table};
}
inline CallStep call(std::wstring text, std::uint32_t code, Gives gives = Gives::nothing)
{
    return {std::move(text), code, gives};
}
inline CallStep tolerated(std::wstring text, std::uint32_t code, Gives gives = Gives::nothing)
{
    return {std::move(text), code, gives, true};
}
inline CallStep onlyWithOutput(std::wstring text, std::uint32_t code, Gives gives = Gives::nothing)
{
    return {std::move(text), code, gives, false, true};
}
inline WaitStep wait(std::wstring progress, std::wstring tag)
{
    return {std::move(progress), std::move(tag)};
}
inline ResultStep result(std::wstring text)
{
    return {std::move(text)};
}
inline ResultStep resultInAnyCase(std::wstring text)
{
    return {std::move(text), true};
}

/// A file in the scratch folder that exists when the operation is called, and one that does not.
std::wstring existingFile();
std::wstring missingFile();

} // namespace TravikTest
