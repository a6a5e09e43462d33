// Late-bound clients: scripts under the system's own engines, which share no code with the stand-in, and IDispatch
// itself.

#include <comdef.h>
#include <wrl/client.h>

#include "appliance_writers.h"
#include "harness/system_test.h"

namespace TravikTest {
namespace {

using Microsoft::WRL::ComPtr;

class LateBinding : public SystemTest
{
protected:
    void SetUp() override
    {
        SystemTest::SetUp();
        ASSERT_GE(CoInitialize(nullptr), 0);
    }
    void TearDown() override
    {
        CoUninitialize();
        SystemTest::TearDown();
    }

    /// Runs a script of the folder beside this source; its exit code is the number of its wrong expectations.
    static void expectScript(const wchar_t* name, const std::vector<std::wstring>& arguments = {})
    {
        wchar_t folder[MAX_PATH] = L"";
        GetEnvironmentVariableW(L"TRAVIK_TEST_SCRIPTS", folder, MAX_PATH);
        wchar_t system[MAX_PATH] = L"";
        GetSystemDirectoryW(system, MAX_PATH);
        std::vector<std::wstring> all{L"//nologo", (std::filesystem::path(folder) / name).wstring()};
        all.insert(all.end(), arguments.begin(), arguments.end());
        ChildProcess engine(std::filesystem::path(system) / L"cscript.exe", all);
        const std::optional<DWORD> wrong = engine.wait(milliseconds(60'000));
        const std::string output = engine.restOfOutput();
        EXPECT_EQ(wrong, std::optional<DWORD>(0)) << output;
        EXPECT_THAT(output, testing::HasSubstr("ok an error's text")) << "it did not come to its end";
    }

    /// A folder with an appliance of one machine with a disk.
    std::wstring folderWithAppliance()
    {
        const std::filesystem::path folder = world().folder() / L"work";
        const auto disk = ImageWriters::makeVmdk(ImageWriters::makeContent(1 << 20, 7), [] {
            ImageWriters::VmdkOptions options;
            options.compressed = true;
            return options;
        }());
        const auto archive =
            ApplianceWriters::Tar().add("sample.ovf", ApplianceWriters::makeOvf({})).add("disk1.vmdk", disk).finish();
        writeFile(folder / L"sample.ova",
                  std::string_view(reinterpret_cast<const char*>(archive.data()), archive.size()));
        return folder.wstring();
    }

    static ComPtr<IDispatch> createByName(const wchar_t* program)
    {
        CLSID id{};
        EXPECT_EQ(CLSIDFromProgID(program, &id), S_OK) << utf8(program);
        ComPtr<IDispatch> object;
        EXPECT_EQ(CoCreateInstance(id, nullptr, CLSCTX_ALL, IID_PPV_ARGS(&object)), S_OK) << utf8(program);
        return object;
    }

    static HRESULT idOf(IDispatch* object, const wchar_t* name, DISPID& id)
    {
        auto* text = const_cast<wchar_t*>(name);
        return object->GetIDsOfNames(IID_NULL, &text, 1, 0, &id);
    }

    static HRESULT call(IDispatch* object, const wchar_t* name, WORD kind, std::vector<_variant_t> arguments,
                        _variant_t& result, EXCEPINFO* exception = nullptr)
    {
        DISPID id = 0;
        const HRESULT named = idOf(object, name, id);
        if (FAILED(named))
            return named;
        std::reverse(arguments.begin(), arguments.end());
        DISPPARAMS given{arguments.data(), nullptr, static_cast<UINT>(arguments.size()), 0};
        return object->Invoke(id, IID_NULL, 0, kind, &given, &result, exception, nullptr);
    }
};

TEST_F(LateBinding, AVbScriptLivesAMachinesLife)
{
    expectScript(L"life.vbs");
}

TEST_F(LateBinding, AJScriptLivesAMachinesLife)
{
    expectScript(L"life.js");
}

TEST_F(LateBinding, AVbScriptMakesAMachineWithAllThatBelongsToIt)
{
    expectScript(L"making.vbs", {folderWithAppliance()});
}

TEST_F(LateBinding, AJScriptMakesAMachineWithAllThatBelongsToIt)
{
    expectScript(L"making.js", {folderWithAppliance()});
}

TEST_F(LateBinding, ProgramNamesLeadToTheClasses)
{
    for (const wchar_t* program :
         {L"VirtualBox.VirtualBox", L"VirtualBox.VirtualBox.1", L"VirtualBox.Session", L"VirtualBox.Session.1",
#ifdef TRAVIK_IDENTITY_STOCK61
          L"VirtualBox.VirtualBoxClient", L"VirtualBox.VirtualBoxClient.1"
#endif
         }) {
        const ComPtr<IDispatch> object = createByName(program);
        ASSERT_TRUE(object) << utf8(program);
        UINT count = 0;
        EXPECT_EQ(object->GetTypeInfoCount(&count), S_OK);
        EXPECT_EQ(count, 1u) << utf8(program);
        ComPtr<ITypeInfo> description;
        EXPECT_EQ(object->GetTypeInfo(0, 0, &description), S_OK) << utf8(program);
    }
}

// A script needs no cast: the object of an event shows its own attributes.
TEST_F(LateBinding, AnObjectShowsItsOwnInterface)
{
    const ComPtr<IDispatch> virtualBox = createByName(L"VirtualBox.VirtualBox");
    _variant_t machine;
    ASSERT_EQ(call(virtualBox.Get(), L"FindMachine", DISPATCH_METHOD, {Machines::player}, machine), S_OK);
    ASSERT_EQ(machine.vt, VT_DISPATCH);
    _variant_t name;
    EXPECT_EQ(call(machine.pdispVal, L"NAME", DISPATCH_PROPERTYGET, {}, name), S_OK);
    EXPECT_EQ(name, _variant_t(Machines::player));
    DISPID id = 0;
    EXPECT_EQ(idOf(machine.pdispVal, L"NoSuchMember", id), DISP_E_UNKNOWNNAME);
}

TEST_F(LateBinding, ValuesHaveVirtualBoxsTypes)
{
    const ComPtr<IDispatch> virtualBox = createByName(L"VirtualBox.VirtualBox");
    _variant_t machine;
    ASSERT_EQ(call(virtualBox.Get(), L"FindMachine", DISPATCH_METHOD, {Machines::player}, machine), S_OK);
    const struct
    {
        const wchar_t* name;
        VARTYPE type;
    } attributes[] = {{L"Accessible", VT_I4}, {L"MemorySize", VT_UI4}, {L"LastStateChange", VT_I8},
                      {L"State", VT_I4},      {L"Id", VT_BSTR},        {L"AudioAdapter", VT_DISPATCH}};
    for (const auto& attribute : attributes) {
        _variant_t value;
        EXPECT_EQ(call(machine.pdispVal, attribute.name, DISPATCH_PROPERTYGET, {}, value), S_OK)
            << utf8(attribute.name);
        EXPECT_EQ(value.vt, attribute.type) << utf8(attribute.name);
    }
}

TEST_F(LateBinding, AFailureIsAnExceptionWithItsText)
{
    const ComPtr<IDispatch> virtualBox = createByName(L"VirtualBox.VirtualBox");
    _variant_t machine;
    EXCEPINFO exception{};
    ASSERT_EQ(call(virtualBox.Get(), L"FindMachine", DISPATCH_METHOD, {L"No such machine"}, machine, &exception),
              DISP_E_EXCEPTION);
    EXPECT_EQ(static_cast<std::uint32_t>(exception.scode), Result::ObjectNotFound);
    EXPECT_THAT(std::wstring(exception.bstrDescription), testing::HasSubstr(L"No such machine"));
    EXPECT_EQ(std::wstring(exception.bstrSource), L"VirtualBoxWrap");
    SysFreeString(exception.bstrDescription);
    SysFreeString(exception.bstrSource);
    SysFreeString(exception.bstrHelpFile);
}

} // namespace
} // namespace TravikTest
