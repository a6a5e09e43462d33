#include "statement.h"

namespace Probe {

namespace {

std::string number(std::int64_t value)
{
    return std::to_string(value);
}

std::string quoted(std::string_view text)
{
    return "'" + std::string(text) + "'";
}

/// The name of a number, or the number.
template <std::size_t count>
std::string nameOf(const char* const (&names)[count], std::uint32_t value)
{
    return value < count ? names[value] : number(value);
}

constexpr const char* machineStates[] = {"Null",     "PoweredOff", "Saved",  "Teleported",  "Aborted",
                                         "Running",  "Paused",     "Stuck",  "Teleporting", "LiveSnapshotting",
                                         "Starting", "Stopping",   "Saving", "Restoring",   "TeleportingPausedVM"};
constexpr const char* sessionStates[] = {"Null", "Unlocked", "Locked", "Spawning", "Unlocking"};
constexpr const char* mediumStates[] = {"NotCreated",   "Created",  "LockedRead", "LockedWrite",
                                        "Inaccessible", "Creating", "Deleting"};

} // namespace

Finding answers(std::uint32_t expected, HRESULT seen)
{
    return answersOneOf({expected}, seen);
}

Finding answersOneOf(std::initializer_list<std::uint32_t> expected, HRESULT seen)
{
    throwIfInterrupted();
    Finding finding{"", resultName(static_cast<std::uint32_t>(seen)), false};
    for (std::uint32_t result : expected) {
        finding.expected += (finding.expected.empty() ? "" : " or ") + resultName(result);
        finding.holds = finding.holds || result == static_cast<std::uint32_t>(seen);
    }
    return finding;
}

Finding fails(HRESULT seen)
{
    throwIfInterrupted();
    return {"a failure", resultName(static_cast<std::uint32_t>(seen)), FAILED(seen)};
}

Finding equal(std::wstring_view expected, std::wstring_view seen)
{
    return equal(utf8(expected), utf8(seen));
}

Finding equal(std::string_view expected, std::string_view seen)
{
    return {quoted(expected), quoted(seen), expected == seen};
}

Finding equal(std::int64_t expected, std::int64_t seen)
{
    return {number(expected), number(seen), expected == seen};
}

Finding says(bool holds, const std::string& expected, const std::string& seen)
{
    return {expected, seen, holds};
}

Finding yes(bool holds)
{
    return {"yes", holds ? "yes" : "no", holds};
}

Finding no(bool seen)
{
    return {"no", seen ? "yes" : "no", !seen};
}

Finding machineState(std::uint32_t expected, std::uint32_t seen)
{
    return {nameOf(machineStates, expected), nameOf(machineStates, seen), expected == seen};
}

Finding sessionState(std::uint32_t expected, std::uint32_t seen)
{
    return {nameOf(sessionStates, expected), nameOf(sessionStates, seen), expected == seen};
}

Finding mediumState(std::uint32_t expected, std::uint32_t seen)
{
    return {nameOf(mediumStates, expected), nameOf(mediumStates, seen), expected == seen};
}

Finding all(std::initializer_list<Finding> findings)
{
    Finding together{"", "", true};
    for (const Finding& finding : findings) {
        together.expected += (together.expected.empty() ? "" : "; ") + finding.expected;
        together.seen += (together.seen.empty() ? "" : "; ") + finding.seen;
        together.holds = together.holds && finding.holds;
    }
    return together;
}

const std::vector<Subject>& subjects()
{
    static const std::vector<Subject> all{
        connectionStatements(),    nameStatements(),      lookupStatements(),   creationStatements(),
        registrationStatements(),  settingsStatements(),  limitStatements(),    lockStatements(),
        startStatements(),         runningStatements(),   progressStatements(), eventStatements(),
        mediumStatements(),        storageStatements(),   natStatements(),      sharedFolderStatements(),
        guestPropertyStatements(), extraDataStatements(), cloningStatements(),  deletionStatements(),
        applianceStatements(),     hostStatements(),      errorStatements()};
    return all;
}

} // namespace Probe
