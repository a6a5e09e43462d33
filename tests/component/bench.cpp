#include "bench.h"

#include <cwctype>
#include <fstream>

#include "com_memory.h"
#include "names.h"
#include "scratch.h"

namespace TravikTest {
namespace {

/// The tests' main thread is an apartment from the first bench on, as a front end's would be.
void startCom()
{
    static const HRESULT started = CoInitialize(nullptr);
    ASSERT_GE(started, 0);
}

} // namespace

const std::wstring& tableName(Table table)
{
    static const std::wstring names[tableCount] = {
        L"machine",       L"progress",  L"console",           L"eventSource",
        L"eventListener", L"event",     L"stateChangedEvent", L"runtimeErrorEvent",
        L"audioAdapter",  L"natEngine", L"networkAdapter",    L"host",
        L"medium"};
    return names[static_cast<std::size_t>(table)];
}

std::uint32_t missingCode(Table table)
{
    static const std::uint32_t codes[tableCount] = {181, 183, 184, 185, 186, 187, 188, 189, 190, 191, 192, 193, 194};
    return codes[static_cast<std::size_t>(table)];
}

SdkErrorCode TestBox::release(Table table, VBoxHandle handle)
{
    using Release = SdkErrorCode (Travik::VBoxInstanceImpl::*)(VBoxHandle);
    using Interface = Travik::VBoxInstanceImpl;
    static const Release releases[tableCount] = {&Interface::releaseMachine,
                                                 &Interface::releaseProgress,
                                                 &Interface::releaseConsole,
                                                 &Interface::releaseEventSource,
                                                 &Interface::releaseEventListener,
                                                 &Interface::releaseEvent,
                                                 &Interface::releaseStateChangedEvent,
                                                 &Interface::releaseRuntimeErrorEvent,
                                                 &Interface::releaseAudioAdapter,
                                                 &Interface::releaseNATEngine,
                                                 &Interface::releaseNetworkAdapter,
                                                 &Interface::releaseHost,
                                                 &Interface::releaseMedium};
    return (this->*releases[static_cast<std::size_t>(table)])(handle);
}

std::filesystem::path logFile()
{
    return scratchFolder() / L"component.log";
}

Bench::Bench(Roots roots) : instance(std::in_place), box(*instance), log(logFile())
{
    startCom();
    FakeWorld::reset();
    FakeWorld::registerClasses();
    ComMemory::reset();
    box.setLogPath(logFile().wstring());
    log.skip();
    if (roots == withRoots) {
        box.virtualBox = newFake<IVirtualBox>(L"virtualBox");
        box.session = newFake<ISession>(L"session");
    }
}

Bench::~Bench()
{
    finish();
    FakeWorld::reset();
    ComMemory::reset();
}

void Bench::finish()
{
    if (std::exchange(finished_, true))
        return;
    if (!mutexIsFree()) {
        ADD_FAILURE() << "the mutex is still locked";
        std::abort(); // everything from here on would hang
    }
    box.releaseRC();
    instance.reset();
    EXPECT_EQ(FakeWorld::live(), std::vector<std::wstring>());
    EXPECT_EQ(FakeWorld::references(), 0);
    EXPECT_EQ(FakeWorld::violations(), std::vector<std::wstring>());
    EXPECT_EQ(ComMemory::liveTexts(), 0u);
    EXPECT_EQ(ComMemory::liveArrays(), 0u);
}

VBoxHandle Bench::give(Table table)
{
    return box.with(table, [&]<class Interface>(Travik::HandleTable<Interface>& entries) {
        const VBoxHandle handle = entries.newHandle();
        Interface* const object = newFake<Interface>(tableName(table) + L"#" + std::to_wstring(handle));
        entries.insert(handle, object);
        object->Release();
        return handle;
    });
}

std::array<std::size_t, tableCount> Bench::sizes()
{
    std::array<std::size_t, tableCount> all;
    for (std::size_t i = 0; i < tableCount; ++i)
        all[i] = box.size(static_cast<Table>(i));
    return all;
}

bool Bench::mutexIsFree()
{
    const bool free = box.mutex.try_lock();
    if (free)
        box.mutex.unlock();
    return free;
}

std::filesystem::path makeFile(const std::wstring& name)
{
    std::filesystem::path path = scratchFolder() / name;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path) << "content";
    return path;
}

std::wstring qualified(const std::wstring& operation)
{
    return L"Travik::VBox::" + operation;
}

std::wstring maskedFailure(const std::wstring& text)
{
    std::size_t start = text.rfind(L"):");
    if (start == std::wstring::npos)
        return text;
    start += 2;
    std::size_t end = start;
    while (end < text.size() && std::iswdigit(text[end]))
        ++end;
    return end == start ? text : text.substr(0, start) + L"LINE" + text.substr(end);
}

std::string info(const std::wstring& operation, const std::wstring& text)
{
    return record("INFO", qualified(operation), text);
}

std::string comFailure(const std::wstring& operation, std::uint32_t code, std::uint32_t result)
{
    return record("ERROR", qualified(operation),
                  codeName(code) + L" rc=0x" + hexadecimalText(result) + L" rcDesc=" + resultName(result));
}

std::string sdkFailure(const std::wstring& operation, std::uint32_t code)
{
    return record("ERROR", qualified(operation), L" errorDesc=" + codeName(code));
}

std::string ignored(const std::wstring& operation, std::uint32_t code, std::uint32_t result)
{
    return info(operation,
                L"[ignore]" + codeName(code) + L" rc=0x" + hexadecimalText(result) + L" rcDesc=" + resultName(result));
}

std::wstring comFailureText(const std::wstring& operation, const std::wstring& arguments, std::uint32_t code,
                            std::uint32_t result)
{
    return L"vbox sdk failure in " + qualified(operation) + L"(" + arguments + L"):LINE with rc=0x" +
           hexadecimalText(result) + L" rcDesc=" + resultName(result) + L" errorDesc=" + codeName(code);
}

std::wstring sdkFailureText(const std::wstring& operation, const std::wstring& arguments, std::uint32_t code)
{
    return L"vbox sdk failure in " + qualified(operation) + L"(" + arguments + L"):LINE errorDesc=" + codeName(code);
}

} // namespace TravikTest
