// doctor: what it says of good and of broken installations. A broken one is made of keys of the tests' own where no
// VirtualBox needs to answer.

#include <thread>

#include "ctl_test.h"
#include "vboxsim_control.h"
#include "verbs/installation.h"

using namespace TravikTest;

namespace {

bool underWine()
{
    return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}

/// Keys below Classes that go with their owner. Wine reads those of the whole machine only.
class Registrations
{
public:
    ~Registrations()
    {
        for (const auto& [key, view] : written_)
            remove(key, view);
    }

    /// The key's default value. `top` is the part of the key that goes with it.
    void add(const std::wstring& top, const std::wstring& below, const std::wstring& value,
             REGSAM view = KEY_WOW64_64KEY)
    {
        HKEY key = nullptr;
        const std::wstring path = L"Software\\Classes\\" + top + below;
        ASSERT_EQ(RegCreateKeyExW(root(), path.c_str(), 0, nullptr, 0, KEY_WRITE | view, nullptr, &key, nullptr), 0);
        written_.emplace_back(top, view);
        RegSetValueExW(key, nullptr, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                       static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
        RegCloseKey(key);
    }

private:
    static HKEY root() { return underWine() ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER; }

    static void remove(const std::wstring& top, REGSAM view)
    {
        HKEY classes = nullptr;
        if (RegOpenKeyExW(root(), L"Software\\Classes", 0, KEY_ALL_ACCESS | view, &classes) == 0) {
            RegDeleteTreeW(classes, top.c_str());
            RegCloseKey(classes);
        }
    }

    std::vector<std::pair<std::wstring, REGSAM>> written_;
};

// Nobody else's.
const Identity invented{"invented", "an invented build", L"{6f0d3c7a-5b0e-4b0a-9a51-1f6e3c0a7d01}",
                        L"{6f0d3c7a-5b0e-4b0a-9a51-1f6e3c0a7d02}", L"{6f0d3c7a-5b0e-4b0a-9a51-1f6e3c0a7d03}"};
const Identity missing{"missing", "a build that is not there", L"{6f0d3c7a-5b0e-4b0a-9a51-1f6e3c0a7d04}",
                       L"{6f0d3c7a-5b0e-4b0a-9a51-1f6e3c0a7d05}", L"{6f0d3c7a-5b0e-4b0a-9a51-1f6e3c0a7d06}"};

std::wstring server()
{
    return (productFolder() / L"vboxsim-svc.exe").wstring();
}

std::wstring session()
{
    return (productFolder() / L"vboxsim-session.dll").wstring();
}

Json rowOf(const Json& rows, const std::string& check)
{
    for (const Json& row : rows) {
        if (row["check"] == check)
            return row;
    }
    return {};
}

json findingOf(const Outcome& run, const std::string& check)
{
    const json document = run.json();
    for (const json& row : document["checks"]) {
        if (row["check"] == check)
            return row;
    }
    return {};
}

} // namespace

class TravikctlInstallation : public testing::Test
{
protected:
    void SetUp() override
    {
        add(invented.serverClass, L"LocalServer32", L"\"" + server() + L"\" -Embedding");
        add(invented.sessionClass, L"InprocServer32", session());
        keys_.add(std::wstring(L"Interface\\") + invented.rootInterface, L"\\ProxyStubClsid32", invented.serverClass);
    }

    void add(const wchar_t* id, const std::wstring& kind, const std::wstring& value, REGSAM view = KEY_WOW64_64KEY)
    {
        keys_.add(std::wstring(L"CLSID\\") + id, L"\\" + kind, value, view);
    }

    /// What is said of the server class when this is registered.
    Json ofServer(const std::wstring& command)
    {
        add(invented.serverClass, L"LocalServer32", command);
        Report report;
        EXPECT_EQ(checkInstallation(report, invented, missing), std::filesystem::path());
        EXPECT_EQ(report.problems(), 1);
        return rowOf(report.rows(), "server class");
    }

    Registrations keys_;
};

TEST_F(TravikctlInstallation, isWhole)
{
    Report report;
    EXPECT_EQ(checkInstallation(report, invented, missing), std::filesystem::path(server()));
    EXPECT_EQ(report.problems(), 0);
    EXPECT_EQ(rowOf(report.rows(), "identity"), (Json{{"check", "identity"},
                                                      {"verdict", "ok"},
                                                      {"finding", "this build drives invented, an invented build"},
                                                      {"remedy", ""}}));
    EXPECT_EQ(rowOf(report.rows(), "session class")["finding"], utf8(session()));
    EXPECT_EQ(rowOf(report.rows(), "proxy")["verdict"], "ok");
}

TEST_F(TravikctlInstallation, isOfTheOtherBuild)
{
    Report report;
    EXPECT_EQ(checkInstallation(report, missing, invented), std::filesystem::path());
    EXPECT_EQ(report.problems(), 4);
    const Json identity = rowOf(report.rows(), "identity");
    EXPECT_EQ(identity["finding"], "this build drives missing, a build that is not there; but invented, an invented "
                                   "build, is registered");
    EXPECT_EQ(identity["remedy"],
              "Use a library built with TRAVIK_VBOX_IDENTITY=invented, or install a build that is not there.");
    for (const char* check : {"server class", "session class", "proxy"}) {
        EXPECT_EQ(rowOf(report.rows(), check)["verdict"], "problem") << check;
        EXPECT_THAT(rowOf(report.rows(), check).value("remedy", ""), HasSubstr("stand-in")) << check;
    }
}

TEST_F(TravikctlInstallation, ofBothBuildsIsNoProblem)
{
    add(missing.serverClass, L"LocalServer32", server());
    Report report;
    checkInstallation(report, invented, missing);
    EXPECT_EQ(report.problems(), 0);
    EXPECT_THAT(rowOf(report.rows(), "identity").value("finding", ""), testing::EndsWith("is registered too"));
}

TEST_F(TravikctlInstallation, hasAServerWhoseFileIsMissing)
{
    const Json row = ofServer(L"C:\\none of ours\\VBoxSVC.exe /option");
    EXPECT_EQ(row["finding"], "its file is missing: C:\\none of ours\\VBoxSVC.exe");
    EXPECT_THAT(row.value("remedy", ""), HasSubstr("Repair"));
}

TEST_F(TravikctlInstallation, hasAServerThatIsNoProgram)
{
    const std::filesystem::path file = scratchFolder() / L"text.exe";
    writeFile(file, "this is text");
    EXPECT_EQ(ofServer(file.wstring())["finding"], utf8(file.wstring()) + " is not a program file");
}

TEST_F(TravikctlInstallation, hasA32BitServer)
{
    const std::filesystem::path file = scratchFolder() / L"small.exe";
    std::string program(sizeof(IMAGE_DOS_HEADER), '\0');
    program.replace(0, 2, "MZ");
    program[offsetof(IMAGE_DOS_HEADER, e_lfanew)] = static_cast<char>(program.size());
    program += std::string("PE\0\0\x4C\x01", 6) + std::string(100, '\0'); // for the 80386
    writeFile(file, program);
    const Json row = ofServer(file.wstring());
    EXPECT_EQ(row["finding"], utf8(file.wstring()) + " is a 32-bit program");
    EXPECT_EQ(row["remedy"], "Install the 64-bit VirtualBox.");
}

TEST_F(TravikctlInstallation, isFor32BitProgramsOnly)
{
    add(missing.serverClass, L"LocalServer32", server(), KEY_WOW64_32KEY);
    Report report;
    checkInstallation(report, missing, invented);
    EXPECT_EQ(rowOf(report.rows(), "server class")["finding"], "registered for 32-bit programs only");
}

TEST(TravikctlApartment, mustBeSingleThreaded)
{
    const auto verdictOn = [](std::optional<COINIT> initialised) {
        Report report;
        std::thread([&] {
            if (initialised)
                CoInitializeEx(nullptr, *initialised);
            checkApartment(report);
            if (initialised)
                CoUninitialize();
        }).join();
        return rowOf(report.rows(), "apartment");
    };
    EXPECT_EQ(verdictOn(COINIT_APARTMENTTHREADED)["verdict"], "ok");
    EXPECT_EQ(verdictOn(COINIT_MULTITHREADED)["verdict"], "problem");
    EXPECT_THAT(verdictOn(COINIT_MULTITHREADED).value("remedy", ""), HasSubstr("thread"));
    EXPECT_EQ(verdictOn(std::nullopt)["verdict"], "problem");
}

TEST(TravikctlElevation, mustBeTheServersOwn)
{
    const auto row = [](bool own, bool runs, std::optional<bool> server) {
        Report report;
        checkElevation(report, {own, runs, server});
        return rowOf(report.rows(), "elevation");
    };
    EXPECT_EQ(row(true, false, std::nullopt)["finding"], "this process is elevated; no server runs");
    EXPECT_EQ(row(false, true, false)["finding"], "this process is not elevated, and so is the server");
    EXPECT_EQ(row(true, true, true)["verdict"], "ok");
    for (const Json& bad : {row(false, true, true), row(true, true, false), row(false, true, std::nullopt)}) {
        EXPECT_EQ(bad["verdict"], "problem");
        EXPECT_THAT(bad.value("remedy", ""), HasSubstr("all elevated or none"));
    }
}

using TravikctlDoctor = TravikctlTest;

TEST_F(TravikctlDoctor, findsNothingWrong)
{
    const Outcome run = travikctlJson({L"doctor"});
    ASSERT_TRUE(succeeded(run));
    for (const char* check : {"travikctl", "identity", "server class", "session class", "proxy", "elevation",
                              "VirtualBox", "apartment", "machine folder"})
        EXPECT_EQ(findingOf(run, check).value("verdict", "none"), "ok") << check;
    EXPECT_EQ(findingOf(run, "machines")["finding"], "5 registered, 1 inaccessible");
    EXPECT_EQ(findingOf(run, "machines")["verdict"], "note");
    const Outcome text = travikctl({L"doctor"});
    EXPECT_TRUE(succeeded(text));
    EXPECT_THAT(text.out, HasSubstr("check           verdict  finding\n"));
    EXPECT_THAT(text.out, HasSubstr("server class    ok       " + utf8(server())));
    EXPECT_THAT(text.out, HasSubstr("note: machines: "));
}

TEST_F(TravikctlDoctor, namesTheRemedyWhenNothingIsInstalled)
{
    ASSERT_TRUE(stopServer());
    unregisterStandIn();
    expectRefused({L"list"}, 6, "_initVBox", "InitVboxComFail", "REGDB_E_CLASSNOTREG");
    EXPECT_THAT(travikctlJson({L"list"}).error().value("remedy", ""), HasSubstr("doctor"));

    const Outcome run = travikctlJson({L"doctor"});
    EXPECT_EQ(run.exitCode, 7);
    EXPECT_EQ(findingOf(run, "identity")["verdict"], "ok");
    EXPECT_EQ(findingOf(run, "server class")["verdict"], "problem");
    EXPECT_THAT(findingOf(run, "server class").value("remedy", ""), HasSubstr("vboxsim register"));
    EXPECT_EQ(findingOf(run, "session class")["verdict"], "problem");
    EXPECT_EQ(findingOf(run, "proxy")["verdict"], "problem");
    EXPECT_THAT(findingOf(run, "VirtualBox").value("finding", ""), HasSubstr("REGDB_E_CLASSNOTREG"));
    registerStandIn();
}

TEST_F(TravikctlDoctor, tellsThatTheOtherBuildIsInstalled)
{
    GUID selq6;
    ASSERT_EQ(CLSIDFromString(selq6Identity.serverClass, &selq6), S_OK);
    const bool ownIsSelq6 = selq6 == CLSID_VirtualBox;
    const Identity& own = ownIsSelq6 ? selq6Identity : stock61Identity;
    const Identity& other = ownIsSelq6 ? stock61Identity : selq6Identity;
    {
        // A program of the other build beside the installation of this one.
        Report report;
        checkInstallation(report, other, own);
        EXPECT_EQ(rowOf(report.rows(), "identity")["verdict"], "problem");
        EXPECT_THAT(rowOf(report.rows(), "identity").value("remedy", ""),
                    HasSubstr(std::string("TRAVIK_VBOX_IDENTITY=") + own.name));
    }
    ASSERT_TRUE(stopServer());
    unregisterStandIn();
    {
        Registrations keys;
        keys.add(std::wstring(L"CLSID\\") + other.serverClass, L"\\LocalServer32", server());
        const Outcome run = travikctlJson({L"doctor"});
        EXPECT_EQ(run.exitCode, 7);
        EXPECT_EQ(findingOf(run, "identity")["verdict"], "problem");
        EXPECT_THAT(findingOf(run, "identity").value("finding", ""), HasSubstr(std::string("but ") + other.name));
        EXPECT_THAT(findingOf(run, "identity").value("remedy", ""),
                    HasSubstr(std::string("TRAVIK_VBOX_IDENTITY=") + other.name));
    }
    registerStandIn();
}

TEST_F(TravikctlDoctor, tellsOfAVirtualBoxOfAnotherVersion)
{
    vboxsim({L"fail", L"VirtualBox::CreateInstance", L"0x80004002", L"--times", L"1"});
    const Outcome run = travikctlJson({L"doctor"});
    EXPECT_EQ(run.exitCode, 7);
    EXPECT_THAT(findingOf(run, "VirtualBox").value("finding", ""), HasSubstr("E_NOINTERFACE"));
    EXPECT_THAT(findingOf(run, "VirtualBox").value("remedy", ""), HasSubstr("another version"));
}

TEST_F(TravikctlDoctor, looksAtTheMachineFolder)
{
    const std::filesystem::path gone = folder() / L"gone";
    std::filesystem::create_directory(gone);
    ASSERT_TRUE(succeeded(travikctl({L"folder", L"set", gone.wstring()})));
    std::filesystem::remove(gone);
    const Outcome run = travikctlJson({L"doctor"});
    EXPECT_EQ(run.exitCode, 0) << "VirtualBox makes the folder when it needs it";
    EXPECT_EQ(findingOf(run, "machine folder"), (json{{"check", "machine folder"},
                                                      {"verdict", "note"},
                                                      {"finding", utf8(gone.wstring()) + " does not exist yet"},
                                                      {"remedy", "VirtualBox makes it with the first machine; "
                                                                 "'travikctl folder set' chooses another."}}));

    vboxsim({L"fail", L"ISystemProperties::get_DefaultMachineFolder", L"0x80004005", L"--times", L"1"});
    const Outcome broken = travikctl({L"doctor"});
    EXPECT_EQ(broken.exitCode, 7);
    EXPECT_THAT(broken.out, HasSubstr("machine folder  problem  GetDefaultMachineFolderFail, 0x80004005 E_FAIL\n"));
    EXPECT_THAT(broken.out, HasSubstr("note: machine folder: "));
}
