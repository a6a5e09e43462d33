#include "host/call_names.h"

#include <algorithm>
#include <iterator>
#include <numeric>
#include <string_view>
#include <vector>

#include "base/failure.h"
#include "known_calls.h"

namespace VBoxSim {

namespace {

/// Those that are no method of an interface of VirtualBox.
constexpr const wchar_t* otherCalls[] = {L"VirtualBox::CreateInstance", L"SessionReference::CreateInstance",
                                         L"SimSessions::CreateInstance", L"VBoxSimControl::CreateInstance",
                                         L"ISession::Release"};

/// The calls whose operation, which goes on behind them, can fail by itself.
constexpr const wchar_t* operations[] = {
    L"IMachine::LaunchVMProcess", L"IMachine::CloneTo",      L"IMachine::DeleteConfig",
    L"IConsole::PowerDown",       L"IMedium::DeleteStorage", L"IMedium::CreateBaseStorage",
    L"IMachine::SaveState",       L"IAppliance::Read",       L"IAppliance::ImportMachines"};

const std::vector<std::wstring>& knownNames()
{
    static const std::vector<std::wstring> names = [] {
        std::vector<std::wstring> all(std::begin(virtualBoxCalls), std::end(virtualBoxCalls));
        all.insert(all.end(), std::begin(otherCalls), std::end(otherCalls));
        for (const wchar_t* operation : operations)
            all.push_back(std::wstring(operation) + L".progress");
        return all;
    }();
    return names;
}

/// How many characters must be added, taken away or replaced to make one text of the other.
std::size_t distance(std::wstring_view left, std::wstring_view right)
{
    std::vector<std::size_t> row(right.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t(0));
    for (std::size_t i = 0; i < left.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i + 1;
        for (std::size_t j = 0; j < right.size(); ++j) {
            const std::size_t replaced = diagonal + (left[i] == right[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, diagonal + 1});
        }
    }
    return row.back();
}

std::wstring nearest(const std::wstring& name)
{
    constexpr std::size_t shown = 3;
    constexpr std::size_t longest = 100; // no call has as long a name; what follows would only take time
    const std::wstring_view compared = std::wstring_view(name).substr(0, longest);
    std::vector<std::pair<std::size_t, std::wstring_view>> ranked;
    for (const std::wstring& known : knownNames())
        ranked.emplace_back(distance(compared, known), known);
    std::partial_sort(ranked.begin(), ranked.begin() + shown, ranked.end());
    std::wstring text;
    for (std::size_t i = 0; i < shown; ++i)
        (text += i ? L", " : L"") += ranked[i].second;
    return text;
}

} // namespace

void checkCallName(const std::wstring& name)
{
    const auto& names = knownNames();
    if (std::find(names.begin(), names.end(), name) == names.end())
        throw Failure(Result::invalidArgument, L"There is no call '" + name + L"'; the nearest are " + nearest(name));
}

} // namespace VBoxSim
