#include "com/call_trace.h"

#include <iomanip>
#include <sstream>

namespace VBoxSim {

namespace {
constexpr std::size_t mostLines = 100000;
}

void CallTrace::turn(bool on)
{
    const std::lock_guard guard(mutex_);
    if (on && !on_)
        lines_.clear();
    on_ = on;
}

std::uint64_t CallTrace::begin(std::uint32_t process, std::uint32_t thread, const std::wstring& call,
                               const std::wstring& arguments)
{
    if (!on_)
        return 0;
    const std::lock_guard guard(mutex_);
    std::wostringstream head;
    head << next_ << L" process " << process << L" thread " << thread << L" " << call << L"(" << arguments << L")";
    lines_.push_back({next_, head.str(), L" = pending"});
    if (lines_.size() > mostLines)
        lines_.pop_front();
    return next_++;
}

void CallTrace::end(std::uint64_t number, ResultCode result, double milliseconds)
{
    if (!number)
        return;
    const std::lock_guard guard(mutex_);
    if (lines_.empty() || number < lines_.front().number)
        return;
    std::wostringstream tail;
    tail << L" = 0x" << std::hex << std::setw(8) << std::setfill(L'0') << static_cast<std::uint32_t>(result) << std::dec
         << L" in " << std::fixed << std::setprecision(2) << milliseconds << L" ms";
    const std::size_t index = static_cast<std::size_t>(number - lines_.front().number);
    if (index < lines_.size())
        lines_[index].tail = tail.str();
}

std::wstring CallTrace::text() const
{
    const std::lock_guard guard(mutex_);
    std::wstring all;
    for (const Line& line : lines_)
        all += line.head + line.tail + L"\n";
    return all;
}

void CallTrace::clear()
{
    const std::lock_guard guard(mutex_);
    lines_.clear();
}

} // namespace VBoxSim
