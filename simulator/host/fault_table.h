#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>

#include "base/failure.h"

namespace VBoxSim {

/// What a call has to suffer before, or instead of, being carried out.
struct CallFault
{
    std::uint32_t delayMilliseconds = 0;
    bool die = false;
    bool fails = false;
    ResultCode result = 0;
    bool answersNull = false;
};

/// The faults that tests ordered, by call ("IMachine::get_Name"). Safe from any thread.
class FaultTable
{
public:
    /// The call fails `times` times (0: for ever) once `after` calls went through.
    void fail(const std::wstring& call, ResultCode result, std::uint32_t times, std::uint32_t after);
    /// As fail, but the call succeeds and hands out nothing.
    void answerNull(const std::wstring& call, std::uint32_t times, std::uint32_t after);
    void delay(const std::wstring& call, std::uint32_t milliseconds);
    void dieIn(const std::wstring& call);
    void clear();

    /// What this one call gets; counts it.
    CallFault take(const std::wstring& call);

    /// One line per fault, for status reports.
    std::wstring describe() const;

private:
    struct Entry
    {
        std::uint32_t delayMilliseconds = 0;
        bool die = false;
        bool answersNull = false;
        bool active = false; ///< the three below count
        ResultCode result = 0;
        std::uint32_t after = 0;
        std::uint32_t left = 0; ///< 0: for ever
    };

    mutable std::mutex mutex_;
    std::map<std::wstring, Entry> entries_;
};

} // namespace VBoxSim
