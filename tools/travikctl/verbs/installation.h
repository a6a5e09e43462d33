#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "core/output.h"

// What doctor looks at itself, in registry and system, without VirtualBox.

/// What the checks found, in order.
class Report
{
public:
    void good(const char* check, const std::string& finding) { add(check, "ok", finding, ""); }
    void hint(const char* check, const std::string& finding, const std::string& remedy)
    {
        add(check, "note", finding, remedy);
    }
    void bad(const char* check, const std::string& finding, const std::string& remedy)
    {
        add(check, "problem", finding, remedy);
        ++problems_;
    }

    const Json& rows() const { return rows_; }
    int problems() const { return problems_; }

private:
    void add(const char* check, const char* verdict, const std::string& finding, const std::string& remedy)
    {
        rows_.push_back({{"check", check}, {"verdict", verdict}, {"finding", finding}, {"remedy", remedy}});
    }

    Json rows_ = Json::array();
    int problems_ = 0;
};

/// One of the builds of VirtualBox that a library can be built for.
struct Identity
{
    const char* name; ///< as TRAVIK_VBOX_IDENTITY takes it
    const char* description;
    const wchar_t* serverClass;
    const wchar_t* sessionClass;
    const wchar_t* rootInterface;
};

extern const Identity selq6Identity, stock61Identity;

/// Classes and proxies of VirtualBox as a program built for `own` needs them; `other` may be installed in their place.
/// Returns the server's program, an empty path when there is none that could be used.
std::filesystem::path checkInstallation(Report& report, const Identity& own, const Identity& other);

/// This thread as the library left it.
void checkApartment(Report& report);

/// Whether this process is elevated, and a running server; nothing for one that cannot be asked.
struct Elevation
{
    bool own = false;
    bool serverRuns = false;
    std::optional<bool> server;
};

Elevation elevationBeside(const std::filesystem::path& server);
void checkElevation(Report& report, const Elevation& elevation);
