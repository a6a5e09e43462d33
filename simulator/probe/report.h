#pragma once

#include <cstddef>
#include <filesystem>

#include "run.h"

namespace Probe {

/// Which VirtualBox answered, on what.
struct Versions
{
    std::string probe;
    std::string identity;
    std::string marshaller;
    std::string version;
    std::string packageType;
    std::int64_t revision = 0;
    std::string apiVersion;
    std::string operatingSystem;
    bool wine = false;
};
Versions versionsOf(const ComPtr<IVirtualBox>& box);

struct Totals
{
    std::size_t holding = 0, failing = 0, unchecked = 0;
};
Totals totalsOf(const std::vector<Outcome>& outcomes);

/// One line of the table on the terminal.
void printRow(const Outcome& outcome);
void printTotals(const Versions& versions, const Totals& totals);

/// The whole run as JSON.
void writeReport(const std::filesystem::path& file, const Versions& versions, const std::vector<Outcome>& outcomes,
                 bool mayStart);

/// The statements alone: for people, and as the tables of docs/simulator.md.
void printList(const std::vector<std::string>& words);
void printTables();

} // namespace Probe
