#include "report.h"

#include <nlohmann/json.hpp>

#include <cstdio>

#include "files.h"

namespace Probe {

namespace {

const char* nameOf(Ground ground)
{
    return ground == Ground::Documented ? "documented" : "assumed";
}

const char* verdict(const Outcome& outcome)
{
    if (!outcome.finding)
        return "-";
    return outcome.finding->holds ? "holds" : "DOES NOT HOLD";
}

/// A text that a call gives; empty when it fails: the report is written all the same.
std::string textOr(HRESULT result, const Text& text)
{
    return SUCCEEDED(result) ? utf8(text.str()) : "";
}

nlohmann::ordered_json rowOf(const Outcome& outcome)
{
    nlohmann::ordered_json row{{"name", outcome.statement->name},
                               {"statement", outcome.statement->sentence},
                               {"ground", nameOf(outcome.statement->ground)}};
    if (outcome.finding) {
        row["expected"] = outcome.finding->expected;
        row["seen"] = outcome.finding->seen;
        row["holds"] = outcome.finding->holds;
        row["milliseconds"] = outcome.milliseconds;
    } else {
        row["holds"] = nullptr;
        row["why"] = outcome.why;
    }
    return row;
}

} // namespace

Versions versionsOf(const ComPtr<IVirtualBox>& box)
{
    Versions versions;
    versions.probe = PROBE_VERSION;
    versions.identity = identity().name;
    versions.marshaller = marshaller();
    versions.wine = GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
    Text version, package, api, system;
    versions.version = textOr(box->get_Version(version.put()), version);
    versions.packageType = textOr(box->get_PackageType(package.put()), package);
    versions.apiVersion = textOr(box->get_APIVersion(api.put()), api);
    ULONG revision = 0;
    box->get_Revision(&revision);
    versions.revision = revision;
    ComPtr<IHost> host;
    if (SUCCEEDED(box->get_Host(&host)) && host)
        versions.operatingSystem = textOr(host->get_OperatingSystem(system.put()), system);
    return versions;
}

Totals totalsOf(const std::vector<Outcome>& outcomes)
{
    Totals totals;
    for (const Outcome& outcome : outcomes)
        ++(!outcome.finding ? totals.unchecked : outcome.finding->holds ? totals.holding : totals.failing);
    return totals;
}

void printRow(const Outcome& outcome)
{
    std::printf("%-34s %-10s %-13s %s\n", outcome.statement->name, nameOf(outcome.statement->ground), verdict(outcome),
                outcome.statement->sentence);
    if (!outcome.finding)
        std::printf("    not checked: %s\n", outcome.why.c_str());
    else
        std::printf("    expected %s\n    seen     %s\n", outcome.finding->expected.c_str(),
                    outcome.finding->seen.c_str());
    std::fflush(stdout);
}

void printTotals(const Versions& versions, const Totals& totals)
{
    std::printf("\nVirtualBox %s (%s, revision %lld), identity %s, %s\n"
                "%zu statements hold, %zu do not, %zu were not checked\n",
                versions.version.c_str(), versions.packageType.c_str(), static_cast<long long>(versions.revision),
                versions.identity.c_str(), versions.marshaller.c_str(), totals.holding, totals.failing,
                totals.unchecked);
}

void writeReport(const std::filesystem::path& file, const Versions& versions, const std::vector<Outcome>& outcomes,
                 bool mayStart)
{
    const Totals totals = totalsOf(outcomes);
    nlohmann::ordered_json report{
        {"probe", {{"version", versions.probe}, {"identity", versions.identity}, {"startedMachines", mayStart}}},
        {"virtualBox",
         {{"version", versions.version},
          {"revision", versions.revision},
          {"packageType", versions.packageType},
          {"apiVersion", versions.apiVersion},
          {"marshaller", versions.marshaller}}},
        {"host", {{"operatingSystem", versions.operatingSystem}, {"wine", versions.wine}}},
        {"totals", {{"hold", totals.holding}, {"doNotHold", totals.failing}, {"notChecked", totals.unchecked}}}};
    auto& rows = report["statements"] = nlohmann::ordered_json::array();
    for (const Outcome& outcome : outcomes)
        rows.push_back(rowOf(outcome));
    using nlohmann::ordered_json;
    writeText(file, report.dump(2, ' ', false, ordered_json::error_handler_t::replace) + "\n");
}

void printList(const std::vector<std::string>& words)
{
    for (const Subject& subject : subjects()) {
        const char* title = subject.title;
        for (const Statement& statement : subject.statements) {
            if (!isWanted(statement, words))
                continue;
            if (title)
                std::printf("%s\n", title);
            title = nullptr;
            std::printf("  %-34s %-10s %s%s\n", statement.name, nameOf(statement.ground), statement.sentence,
                        statement.check ? "" : " (no check)");
        }
    }
}

void printTables()
{
    for (const Subject& subject : subjects()) {
        std::printf("### %s\n\n| statement | ground | name |\n|---|---|---|\n", subject.title);
        for (const Statement& statement : subject.statements) {
            const std::string note = statement.check ? "" : std::string(" *No check: ") + statement.noCheck + ".*";
            std::printf("| %s%s | %s | `%s` |\n", statement.sentence, note.c_str(), nameOf(statement.ground),
                        statement.name);
        }
        std::printf("\n");
    }
}

} // namespace Probe
