#include "host/fault_table.h"

#include <sstream>

namespace VBoxSim {

void FaultTable::fail(const std::wstring& call, ResultCode result, std::uint32_t times, std::uint32_t after)
{
    const std::lock_guard guard(mutex_);
    Entry& entry = entries_[call];
    entry.active = true;
    entry.answersNull = false;
    entry.result = result;
    entry.left = times;
    entry.after = after;
}

void FaultTable::answerNull(const std::wstring& call, std::uint32_t times, std::uint32_t after)
{
    fail(call, Result::ok, times, after);
    const std::lock_guard guard(mutex_);
    entries_[call].answersNull = true;
}

void FaultTable::delay(const std::wstring& call, std::uint32_t milliseconds)
{
    const std::lock_guard guard(mutex_);
    entries_[call].delayMilliseconds = milliseconds;
}

void FaultTable::dieIn(const std::wstring& call)
{
    const std::lock_guard guard(mutex_);
    entries_[call].die = true;
}

void FaultTable::clear()
{
    const std::lock_guard guard(mutex_);
    entries_.clear();
}

CallFault FaultTable::take(const std::wstring& call)
{
    const std::lock_guard guard(mutex_);
    const auto found = entries_.find(call);
    if (found == entries_.end())
        return {};
    Entry& entry = found->second;
    CallFault fault;
    fault.delayMilliseconds = entry.delayMilliseconds;
    fault.die = entry.die;
    if (!entry.active)
        return fault;
    if (entry.after > 0) {
        --entry.after;
        return fault;
    }
    fault.fails = !entry.answersNull;
    fault.answersNull = entry.answersNull;
    fault.result = entry.result;
    if (entry.left > 0 && --entry.left == 0)
        entry.active = false;
    return fault;
}

std::wstring FaultTable::describe() const
{
    const std::lock_guard guard(mutex_);
    std::wostringstream text;
    for (const auto& [call, entry] : entries_) {
        if (entry.delayMilliseconds)
            text << call << L" delayed by " << entry.delayMilliseconds << L" ms\n";
        if (entry.die)
            text << call << L" ends the server\n";
        if (entry.active) {
            text << call << (entry.answersNull ? L" answers null" : L" fails with 0x");
            if (!entry.answersNull)
                text << std::hex << static_cast<std::uint32_t>(entry.result) << std::dec;
            text << L" after " << entry.after << L" calls, ";
            if (entry.left)
                text << entry.left << L" times\n";
            else
                text << L"until reset\n";
        }
    }
    return text.str();
}

} // namespace VBoxSim
