#include "run.h"

#include <algorithm>

#include "lab.h"

namespace Probe {

namespace {

/// What the report may tell: where the folder of the run lies is nobody's business.
std::string withoutFolder(std::string text, const Lab& lab)
{
    const std::string folder = utf8(lab.folder().wstring());
    for (std::size_t at = text.find(folder); at != text.npos; at = text.find(folder, at))
        text.replace(at, folder.size(), "<folder>");
    return text;
}

std::optional<Finding> findingOf(Lab& lab, const Statement& statement, std::string& why)
{
    try {
        return statement.check(lab);
    } catch (const Cannot& reason) {
        why = reason.what();
        return std::nullopt;
    } catch (const Interrupted&) {
        throw;
    } catch (const std::exception& failure) {
        return Finding{"the statement can be tried", failure.what(), false};
    }
}

} // namespace

bool isWanted(const Statement& statement, const std::vector<std::string>& words)
{
    const std::string_view name = statement.name;
    return words.empty() || std::any_of(words.begin(), words.end(), [&](const std::string& word) {
               return name == word || (name.starts_with(word) && (word.ends_with('.') || name[word.size()] == '.'));
           });
}

Outcome check(Lab& lab, const Subject& subject, const Statement& statement)
{
    const ULONGLONG begin = GetTickCount64();
    Outcome outcome{&subject, &statement, std::nullopt, statement.noCheck};
    if (!statement.check)
        return outcome;
    outcome.finding = findingOf(lab, statement, outcome.why);
    try {
        lab.tidy();
    } catch (const Interrupted&) {
        throw;
    } catch (const std::exception& failure) {
        if (outcome.finding && outcome.finding->holds)
            outcome.finding = Finding{"all can be taken away again", failure.what(), false};
    }
    outcome.milliseconds = static_cast<unsigned>(GetTickCount64() - begin);
    if (outcome.finding) {
        outcome.finding->expected = withoutFolder(outcome.finding->expected, lab);
        outcome.finding->seen = withoutFolder(outcome.finding->seen, lab);
    }
    return outcome;
}

} // namespace Probe
