#pragma once

#include <cstdint>
#include <string>

#include "travik/travik.h"
#include "travik/vbox_instance.h"

namespace Travik::Flat {

/// What a call left behind.
struct Failure
{
    std::uint32_t code = 0;
    std::uint32_t result = 0;
    std::string text = {};
};

/// A failure of ours, on its way to the entry function.
class Refused
{
public:
    Refused(std::uint32_t code, const char* text) noexcept : code(code), text(text) {}

    std::uint32_t code;
    const char* text; // a literal
};

/// What an operation of the library left behind. On the thread that ran it, before anything else runs there.
Failure failureOf(VBoxInstanceImpl& sdk, std::uint32_t code);

/// The exception that is being handled.
Failure currentFailure() noexcept;

/// Hands a failure to the caller, when there is an output for it, and returns its code.
std::uint32_t report(const Failure& failure, const char* operation, travik_error** error) noexcept;

/// Runs an entry function: whatever leaves its body becomes its result.
template <class Body>
std::uint32_t guarded(const char* operation, travik_error** error, Body&& body) noexcept
{
    if (error)
        *error = nullptr;
    try {
        return body();
    } catch (...) {
        return report(currentFailure(), operation, error);
    }
}

} // namespace Travik::Flat
