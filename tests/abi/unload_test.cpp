// FreeLibrary gives everything back, whatever was called on whichever thread, and whether that thread still lives: the
// DLL is gone, its log can be deleted, the objects behind its handles are released.
#include <windows.h>
#include <gmock/gmock.h>
#include <objbase.h>

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "light_objects.h"
#include "scratch.h"
#include "travik/vbox_instance.h"

namespace TravikTest {
namespace {

/// A thread that outlives the libraries which it has used.
class Companion
{
public:
    Companion() : thread_([this] { work(); }) {}
    Companion(const Companion&) = delete;
    Companion& operator=(const Companion&) = delete;
    ~Companion()
    {
        run({});
        thread_.join();
    }

    /// Runs it there and waits; an empty function ends the thread.
    void run(std::function<void()> job)
    {
        std::unique_lock lock(guard_);
        job_ = std::move(job);
        waiting_ = true;
        changed_.notify_all();
        changed_.wait(lock, [this] { return !waiting_; });
    }

private:
    void work()
    {
        std::unique_lock lock(guard_);
        for (bool more = true; more;) {
            changed_.wait(lock, [this] { return waiting_; });
            more = static_cast<bool>(job_);
            if (more)
                job_();
            waiting_ = false;
            changed_.notify_all();
        }
    }

    std::mutex guard_;
    std::condition_variable changed_;
    std::function<void()> job_;
    bool waiting_ = false;
    std::thread thread_;
};

/// Makes one kind of root object for CoCreateInstance. Lives as long as the process.
template <class Made>
struct LightClass final : IClassFactory
{
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override
    {
        const bool known = iid == __uuidof(IUnknown) || iid == __uuidof(IClassFactory);
        *object = known ? this : nullptr;
        return known ? S_OK : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown*, REFIID iid, void** object) override
    {
        Made* const made = new Made;
        const HRESULT result = made->QueryInterface(iid, object);
        made->Release();
        return result;
    }
};

LightClass<LightVirtualBox> virtualBoxClass;
LightClass<LightSession> sessionClass;

struct Dll
{
    Dll() : module(LoadLibraryW((productFolder() / L"TravikSDK-selq6.dll").c_str())) {}

    template <class Function>
    Function* function(const char* name) const
    {
        return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(module, name)));
    }

    Travik::VBoxInstanceImpl& box() const { return *function<decltype(GetVBoxInstance)>("GetVBoxInstance")(); }
    std::string toUtf8(const wchar_t* text) const { return keptUtf8(text); }
    const char* keptUtf8(const wchar_t* text) const { return function<decltype(utils_toUTF8)>("utils_toUTF8")(text); }
    bool remove(const std::wstring& path) const
    {
        return function<decltype(utils_removeFilePath)>("utils_removeFilePath")(path.c_str());
    }

    HMODULE module;
};

bool isLoaded()
{
    return GetModuleHandleW(L"TravikSDK-selq6.dll") != nullptr;
}

/// The exports and some operations; the handles that they give are not given back.
void useOnThisThread(const Dll& dll)
{
    EXPECT_EQ(dll.toUtf8(L"\u4E2D"), "\xE4\xB8\xAD");
    EXPECT_EQ(dll.toUtf8(std::wstring(1000, L'x').c_str()), std::string(1000, 'x'));
    EXPECT_FALSE(dll.remove((scratchFolder() / L"no such file").wstring()));
    Travik::VBoxHandle handle = 0;
    EXPECT_EQ(dll.box().findMachine(L"vm", &handle), 0u);
    EXPECT_EQ(dll.box().getNetworkAdapter(handle, 0, &handle), 0u);
    EXPECT_EQ(dll.box().getConsole(&handle), 0u);
    EXPECT_EQ(dll.box().saveSettings(4711), 181u);
    std::wstring text;
    EXPECT_EQ(dll.box().getVmName(4711, &text), 181u);
    EXPECT_NE(dll.box().getVBoxErrorMessage(), L"");
}

class Unloading : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(CoInitialize(nullptr), S_OK);
        ASSERT_EQ(CoRegisterClassObject(CLSID_VirtualBox, &virtualBoxClass, CLSCTX_LOCAL_SERVER, REGCLS_MULTIPLEUSE,
                                        &registrations_[0]),
                  S_OK);
        ASSERT_EQ(CoRegisterClassObject(CLSID_Session, &sessionClass, CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE,
                                        &registrations_[1]),
                  S_OK);
    }

    void TearDown() override
    {
        for (const DWORD registration : registrations_)
            CoRevokeClassObject(registration);
        CoUninitialize();
    }

    const std::wstring log_ = (scratchFolder() / L"unload.log").wstring();

private:
    DWORD registrations_[2] = {};
};

TEST_F(Unloading, GivesEverythingBackWhileTheThreadsThatUsedItLive)
{
    auto companion = std::make_unique<Companion>();
    for (int round = 1; round <= 3; ++round) {
        SCOPED_TRACE("load number " + std::to_string(round));
        const Dll dll;
        ASSERT_NE(dll.module, nullptr);
        EXPECT_EQ(dll.box().setLogPath(log_), 0u);
        EXPECT_EQ(dll.box().initComComponent(), 0u);
        useOnThisThread(dll);
        companion->run([&dll] { useOnThisThread(dll); });
        std::thread([&dll] { useOnThisThread(dll); }).join(); // and one that ends before the library does
        EXPECT_EQ(LightObject<IMachine>::live, 3);
        EXPECT_FALSE(DeleteFileW(log_.c_str())) << "the log is not open";
        if (round > 1)
            dll.box().releaseRC(); // the first time the root objects stay: only releaseRC lets them go
        ASSERT_TRUE(FreeLibrary(dll.module));
        ASSERT_FALSE(isLoaded());
        EXPECT_TRUE(DeleteFileW(log_.c_str())) << GetLastError();
        EXPECT_EQ(LightObject<IMachine>::live, 0);
        EXPECT_EQ(LightObject<INetworkAdapter>::live, 0);
        EXPECT_EQ(LightObject<IConsole>::live, 0);
        EXPECT_EQ(LightObject<IVirtualBox>::live, 1);
        EXPECT_EQ(LightObject<ISession>::live, 1);
    }
    companion.reset(); // its end calls nothing of the libraries that are gone
}

TEST_F(Unloading, IsNotHeldUpByAnyExport)
{
    const auto unloadsAfter = [](const std::function<void(const Dll&)>& use) {
        const Dll dll;
        use(dll);
        return FreeLibrary(dll.module) && !isLoaded();
    };
    EXPECT_TRUE(unloadsAfter([](const Dll&) {}));
    EXPECT_TRUE(unloadsAfter([](const Dll& dll) { dll.box(); }));
    EXPECT_TRUE(unloadsAfter([](const Dll& dll) { dll.toUtf8(L"x"); }));
    EXPECT_TRUE(unloadsAfter([](const Dll& dll) { dll.remove((scratchFolder() / L"none").wstring()); }));
    EXPECT_TRUE(unloadsAfter([](const Dll& dll) { dll.box().createVmName(L"x", nullptr); }));
    // An exception that leaves an operation.
    EXPECT_TRUE(unloadsAfter([](const Dll& dll) {
        try {
            dll.remove(L"a\nb<>?*");
            ADD_FAILURE() << "no exception";
        } catch (const std::exception&) {
        }
    }));
}

TEST_F(Unloading, KeepsTheUtf8TextOfEachThreadToItself)
{
    const Dll dll;
    Companion companion;
    const char* const ours = dll.keptUtf8(L"ours");
    const char* theirs = nullptr;
    companion.run([&] { theirs = dll.keptUtf8(L"theirs"); });
    EXPECT_STREQ(ours, "ours");
    EXPECT_STREQ(theirs, "theirs");
    EXPECT_STREQ(dll.keptUtf8(L"anew"), "anew");
    EXPECT_STREQ(theirs, "theirs");
    FreeLibrary(dll.module);
}

} // namespace
} // namespace TravikTest
