#pragma once

#include <optional>
#include <string>

#include "operation_table.h"

namespace TravikTest {

/// What goes otherwise than well in one run of an operation.
struct Deviation
{
    enum Kind
    {
        none,
        fileAnswersNo,  // the file step answers false
        unknownHandle,  // the look-up finds nothing
        comResult,      // the call gives this HRESULT
        comGivesNull,   // the call gives this HRESULT, which is a success, and no object or text
        noVirtualBox,   // no root objects yet, and the first cannot be created: this HRESULT
        noSession,      // no root objects yet, and only the first can be created; or there is none to pass on
        freshRoots,     // no root objects yet, and both can be created
        progressResult, // the awaited progress ends with this result
        waitResult      // the wait for the progress itself gives this HRESULT; the progress ends with 0
    };
    Kind kind = none;
    std::size_t step = 0;
    HRESULT result = S_OK;
    bool givesOnFailure = false;            // the failing call fills its outputs all the same
    bool withOutputs = true;                // else all outputs are null that may be
    std::optional<std::wstring> given = {}; // the text that comes back
};

/// What has to be seen from outside.
struct Expected
{
    std::uint32_t code = 0;
    Calls calls;
    Records records;
    std::optional<std::uint32_t> lastResult; // when a failure of VirtualBox is recorded
    std::optional<std::wstring> failureText; // when any failure is recorded
    bool handsOut = false;                   // came to its good end
    std::optional<Table> emptyEntry;         // left by a failed look-up
    long newRoots = 0;                       // root objects created on the way
};

/// The result of an operation by its row.
Expected expected(std::size_t slot, const Invocation& invocation, const Deviation& deviation);

/// A text of a row with its placeholders filled in: handles and texts as they are, or texts as arguments of calls show
/// them.
std::wstring filled(std::wstring text, const Invocation& invocation, bool asCall);

/// The method of a call step: "IMachine::get_Name".
std::wstring methodOf(const CallStep& step);

/// Prepares one run of an operation with good handles, texts, files and fakes.
Invocation prepared(Bench& bench, std::size_t slot);

/// Makes the fakes and files deviate.
void deviate(Bench& bench, std::size_t slot, const Deviation& deviation);

/// Runs the operation and compares everything that can be seen from outside with what is expected.
void runAndCompare(Bench& bench, std::size_t slot, Invocation& invocation, const Deviation& deviation);

/// All of this on a fresh bench.
void runAndCompare(std::size_t slot, const Deviation& deviation);

} // namespace TravikTest
