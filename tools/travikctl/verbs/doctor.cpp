// Why VirtualBox cannot be reached, and what else may be wrong. The only verb that looks at registry and system itself.

#include <filesystem>

#include "core/context.h"
#include "core/verbs.h"
#include "installation.h"

using namespace Travik;

namespace {

std::string explain(const SdkError& error)
{
    return toUtf8(error.codeName()) + ", " + hexadecimal(error.result()) + " " + toUtf8(error.resultName());
}

std::string connectionRemedy(std::uint32_t result, int problems)
{
    if (problems != 0)
        return "Cure the problems above first.";
    if (result == Result::ServerExecFailure)
        return "Close VirtualBox, wait some seconds, and try again.";
    if (result == Result::NoInterface)
        return "Install VirtualBox 6.1: the one that answers is of another version.";
    return "Close VirtualBox and try again; if that does not help, repair its installation.";
}

bool checkConnection(Report& report, const Context& context)
{
    try {
        connect(context.vbox, context.connectionDeadline(), context.onWait());
        report.good("VirtualBox", "answers");
        return true;
    } catch (const SdkError& error) {
        report.bad("VirtualBox", "cannot be reached: " + explain(error),
                   connectionRemedy(error.result(), report.problems()));
        return false;
    }
}

void checkFolder(Report& report, const Context& context)
{
    try {
        const std::wstring folder = context.vbox.getDefaultMachineFolder();
        std::error_code failure;
        if (std::filesystem::is_directory(folder, failure))
            report.good("machine folder", toUtf8(folder));
        else
            report.hint("machine folder", toUtf8(folder) + " does not exist yet",
                        "VirtualBox makes it with the first machine; 'travikctl folder set' chooses another.");
    } catch (const SdkError& error) {
        report.bad("machine folder", explain(error),
                   "VirtualBox answers but fails: it may be of another version than 6.1.");
    }
}

void checkMachines(Report& report, const Context& context)
{
    try {
        std::size_t broken = 0;
        const std::vector<MachineEntry> machines = listMachines(context.vbox);
        for (const MachineEntry& entry : machines)
            broken += entry.accessible ? 0 : 1;
        const std::string count = std::to_string(machines.size()) + " registered";
        if (broken == 0)
            report.good("machines", count);
        else
            report.hint("machines", count + ", " + std::to_string(broken) + " inaccessible",
                        "'travikctl list' marks them: put the settings file back, or take the machine away with "
                        "'travikctl delete UUID --yes'.");
    } catch (const SdkError& error) {
        report.bad("machines", explain(error), "VirtualBox answers but fails: it may be of another version than 6.1.");
    }
}

void print(Context& context, const Report& report)
{
    context.out.table("checks", {"check", "verdict", "finding"}, report.rows());
    for (const Json& row : report.rows()) {
        if (!plain(row["remedy"]).empty())
            context.out.remark(plain(row["check"]) + ": " + plain(row["remedy"]));
    }
}

void examine(Context& context)
{
    Report report;
    report.good("travikctl", "version " TRAVIK_VERSION ", 64 bit");
#ifdef TRAVIK_IDENTITY_STOCK61
    const std::filesystem::path server = checkInstallation(report, stock61Identity, selq6Identity);
#else
    const std::filesystem::path server = checkInstallation(report, selq6Identity, stock61Identity);
#endif
    checkElevation(report, elevationBeside(server));
    if (checkConnection(report, context)) {
        checkApartment(report);
        checkFolder(report, context);
        checkMachines(report, context);
    }
    print(context, report);
    if (report.problems() != 0)
        context.exitCode = ExitCode::Findings;
}

} // namespace

void addDoctorVerb(Verbs& verbs)
{
    verbs.add("doctor", "Check the installation of VirtualBox and name the remedy of each finding", examine)
        .withoutVirtualBox()
        .example("doctor");
}
