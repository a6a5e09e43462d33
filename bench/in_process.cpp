// What an operation costs in the process, without COM between: each shape of operation against its floor, which makes
// the same vtable calls and leaves the same bytes in an append handle, flushed where the format wants it flushed, by
// the cheapest means that there are.

#include <windows.h>
#include <benchmark/benchmark.h>
#include <time.h>
#include <virtualbox_defaults.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "automation/safe_array.h"
#include "log/log.h"
#include "selq6/vbox.h"

namespace {

// A call of VirtualBox that takes its time: saving the settings says that it is inside, and stays until it may leave.
const HANDLE inside = CreateEventW(nullptr, FALSE, FALSE, nullptr);
const HANDLE leave = CreateEventW(nullptr, FALSE, FALSE, nullptr);

/// An object that lives for the whole run; its calls cost next to nothing.
template <class Interface>
struct Immortal : Defaults<Interface>
{
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) override
    {
        *object = this;
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
};

struct Adapter : Immortal<INetworkAdapter>
{};

struct Machine : Immortal<IMachine>
{
    HRESULT STDMETHODCALLTYPE put_MemorySize(ULONG) override { return S_OK; }
    HRESULT STDMETHODCALLTYPE SaveSettings() override
    {
        SetEvent(inside);
        WaitForSingleObject(leave, INFINITE);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE get_State(MachineState* state) override
    {
        *state = Travik::MachineState::Running;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE get_Name(BSTR* name) override
    {
        *name = SysAllocString(L"player one");
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetNetworkAdapter(ULONG, INetworkAdapter** adapter) override
    {
        static Adapter only;
        *adapter = &only;
        return S_OK;
    }
};

constexpr int listed = 10;

struct Root : Immortal<IVirtualBox>
{
    HRESULT STDMETHODCALLTYPE get_Machines(SAFEARRAY** machines) override
    {
        static Machine only;
        IID element = __uuidof(IMachine);
        *machines = SafeArrayCreateVectorEx(VT_DISPATCH, 0, listed, &element);
        for (IMachine*& machine : Travik::ArrayAccess<IMachine*>(*machines))
            machine = &only;
        return S_OK;
    }
};

struct Session : Immortal<ISession>
{};

/// The library on these objects, its log in a file of its own.
class Library : public Travik::VBox
{
public:
    Library()
    {
        virtualBox = &root_;
        session = &session_;
    }

    Travik::VBoxHandle holdMachine()
    {
        const Travik::VBoxHandle handle = machineTable.newHandle();
        machineTable.insert(handle, &machine_);
        return handle;
    }

private:
    Root root_;
    Session session_;
    Machine machine_;
};

Library& library()
{
    static Library instance;
    return instance;
}

std::filesystem::path folder()
{
    const wchar_t* const chosen = _wgetenv(L"TRAVIK_BENCH_FOLDER");
    return !chosen ? L"." : chosen;
}

/// The bytes that one run of an operation adds to the log, cut where the library flushes: the line end, the header, the
/// text.
std::vector<std::string> recordedWrites(const std::function<void()>& operation)
{
    const std::filesystem::path file = folder() / "probe.log";
    const std::wstring usual = Travik::currentLogPath;
    std::filesystem::remove(file);
    Travik::reopenLogFile(file.wstring());
    operation();
    Travik::reopenLogFile(usual);
    std::ifstream stream(file, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());

    std::vector<std::string> writes;
    for (std::size_t record = bytes.find("\r\n["); record != std::string::npos;) {
        const std::size_t next = bytes.find("\r\n[", record + 2);
        const std::size_t text = bytes.find(" # ", record) + 3;
        const std::size_t end =
            next == std::string::npos ? bytes.size() - 2 : next; // the probe is closed by a line end
        writes.push_back("\r\n");
        writes.push_back(bytes.substr(record + 2, text - record - 2));
        if (end > text)
            writes.push_back(bytes.substr(text, end - text));
        record = next;
    }
    return writes;
}

/// So many runs are timed as one: less than a millisecond, so that most of them pass without a change of the process,
/// also on a machine with other work, and the arms can take turns often.
constexpr int slice = 50;

/// One shape of operation, and what its floor has to do.
struct Shape
{
    const char* name;
    std::function<void()> operation; // through the interface, the handle given back where it hands one out
    std::function<void()> call;      // the same vtable calls on the objects themselves
    int locks;                       // pairs of lock and unlock
    std::vector<std::string> writes = recordedWrites(operation);
};

std::vector<Shape> shapes()
{
    static const Travik::VBoxHandle machine = library().holdMachine();
    static Machine object;
    static Root root;
    IMachine* const raw = &object;
    IVirtualBox* const rawRoot = &root;
    return {
        {"no output", [] { library().setMachineMemory(machine, 1024); }, [raw] { raw->put_MemorySize(1024); }, 2},
        {"number out",
         [] {
             std::uint32_t state = 0;
             library().machineGetState(machine, &state);
         },
         [raw] {
             ULONG state = 0;
             raw->get_State(&state);
             benchmark::DoNotOptimize(state);
         },
         2},
        {"text out",
         [] {
             std::wstring name;
             library().getVmName(machine, &name);
         },
         [raw] {
             Travik::ComString name;
             raw->get_Name(name.put());
             std::wstring copy = name.str();
             benchmark::DoNotOptimize(copy);
         },
         2},
        {"object out",
         [] {
             Travik::VBoxHandle adapter = 0;
             library().getNetworkAdapter(machine, 0, &adapter);
             library().releaseNetworkAdapter(adapter);
         },
         [raw] {
             INetworkAdapter* adapter = nullptr;
             raw->GetNetworkAdapter(0, &adapter);
             adapter->Release();
         },
         3},
        {"list out",
         [] {
             static std::vector<Travik::VBoxHandle> machines;
             machines.clear();
             library().listVms(&machines);
             for (const Travik::VBoxHandle handle : machines)
                 library().releaseMachine(handle);
         },
         [rawRoot] {
             Travik::ComArray array;
             rawRoot->get_Machines(array.put());
         },
         2 + listed},
    };
}

void operationArm(benchmark::State& state, const Shape& shape)
{
    for (auto _ : state)
        shape.operation();
}

/// The system call behind WriteFile, without WriteFile.
using NtWriteFile = LONG(WINAPI*)(HANDLE, HANDLE, void*, void*, void* status, const void*, ULONG, LARGE_INTEGER*,
                                  ULONG*);
const auto writeBytes =
    reinterpret_cast<NtWriteFile>(reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll"), "NtWriteFile")));

/// The bytes of the log with the time of now, which is made anew only when its second is over: the tick count tells
/// that without a system call.
class CurrentWrites
{
public:
    explicit CurrentWrites(std::vector<std::string> writes) : writes_(std::move(writes)) { renew(); }

    const std::vector<std::string>& now()
    {
        if (GetTickCount64() >= secondEnds_)
            renew();
        return writes_;
    }

private:
    void renew()
    {
        SYSTEMTIME time;
        GetSystemTime(&time);
        secondEnds_ = GetTickCount64() + 1000 - time.wMilliseconds;
        const __time64_t now = _time64(nullptr);
        char text[32];
        _ctime64_s(text, std::size(text), &now);
        for (std::string& bytes : writes_)
            if (bytes.starts_with('['))
                bytes.replace(1, bytes.find(']') - 1, text, 24); // without the line end
    }

    std::vector<std::string> writes_;
    ULONGLONG secondEnds_ = 0;
};

void floorArm(benchmark::State& state, const Shape& shape)
{
    CurrentWrites writes(shape.writes);
    static const HANDLE file = // open as long as the library's
        CreateFileW((folder() / "floor.log").c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                    OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    SRWLOCK lock = SRWLOCK_INIT;
    for (auto _ : state) {
        for (int i = 0; i < shape.locks; ++i) {
            AcquireSRWLockExclusive(&lock);
            ReleaseSRWLockExclusive(&lock);
        }
        shape.call();
        for (const std::string& bytes : writes.now()) {
            ULONG_PTR status[2];
            writeBytes(file, nullptr, nullptr, nullptr, status, bytes.data(), static_cast<ULONG>(bytes.size()), nullptr,
                       nullptr);
        }
    }
}

/// A look-up and a hand-out with so many live handles.
void liveHandles(benchmark::State& state)
{
    Library fresh;
    Travik::VBoxHandle last = 0;
    for (std::int64_t i = 0; i < state.range(0); ++i)
        last = fresh.holdMachine();
    std::uint32_t machineState = 0;
    for (auto _ : state)
        fresh.machineGetState(last, &machineState);
}

/// A hand-out and a release with so many live handles, without their records: linear, because releases walk the table.
void handOutAndRelease(benchmark::State& state)
{
    Library fresh;
    for (std::int64_t i = 0; i < state.range(0); ++i)
        fresh.holdMachine();
    for (auto _ : state)
        fresh.releaseMachine(fresh.holdMachine());
}

/// A hand-out above the bound, which drops the oldest handle.
void handOutAtTheBound(benchmark::State& state)
{
    Library fresh;
    for (int i = 0; i < 2001; ++i)
        fresh.holdMachine();
    for (auto _ : state)
        fresh.holdMachine();
}

/// A thread that does one long operation when it is told to. One for all runs: starting threads is expensive under
/// Wine.
class LongOperation
{
public:
    LongOperation() : thread_([this] { work(); }) {}
    ~LongOperation()
    {
        ended_ = true;
        SetEvent(begin_);
        thread_.join();
    }
    LongOperation(const LongOperation&) = delete;
    LongOperation& operator=(const LongOperation&) = delete;

    /// Returns when the operation waits inside VirtualBox.
    void begin()
    {
        SetEvent(begin_);
        WaitForSingleObject(inside, INFINITE);
    }
    void end()
    {
        SetEvent(leave);
        WaitForSingleObject(done_, INFINITE);
    }

private:
    void work()
    {
        const Travik::VBoxHandle machine = library().holdMachine();
        while (WaitForSingleObject(begin_, INFINITE) == WAIT_OBJECT_0 && !ended_) {
            library().saveSettings(machine);
            SetEvent(done_);
        }
    }

    HANDLE begin_ = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    HANDLE done_ = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    std::atomic<bool> ended_{false};
    std::thread thread_;
};

void shortOperation(benchmark::State& state, Travik::VBoxHandle machine)
{
    std::uint32_t machineState = 0;
    for (auto _ : state)
        library().machineGetState(machine, &machineState);
}

/// With the same signals between the threads beforehand.
void alone(benchmark::State& state, Travik::VBoxHandle machine, LongOperation& other)
{
    other.begin();
    other.end();
    shortOperation(state, machine);
}

void whileAnotherWaits(benchmark::State& state, Travik::VBoxHandle machine, LongOperation& other)
{
    other.begin();
    shortOperation(state, machine);
    other.end();
}

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    for (const char* file : {"operations.log", "floor.log"})
        std::filesystem::remove(folder() / file);
    library().setLogPath((folder() / "operations.log").wstring());
    static const std::vector<Shape> all = shapes();
    for (const Shape& shape : all) {
        benchmark::RegisterBenchmark((std::string("operation/") + shape.name).c_str(), operationArm, shape)
            ->Iterations(slice)
            ->UseRealTime();
        benchmark::RegisterBenchmark((std::string("floor/") + shape.name).c_str(), floorArm, shape)
            ->Iterations(slice)
            ->UseRealTime();
    }
    const auto growing = [](const char* name, void (*body)(benchmark::State&), int iterations) {
        for (int handles : {1, 10, 100, 1000, 2000})
            benchmark::RegisterBenchmark(name, body)
                ->Arg(handles)
                ->Iterations(iterations)
                ->Repetitions(40)
                ->UseRealTime();
    };
    growing("look-up", liveHandles, slice);
    growing("hand-out and release", handOutAndRelease, 10 * slice);
    benchmark::RegisterBenchmark("hand-out at the bound", handOutAtTheBound)
        ->Iterations(10 * slice)
        ->Repetitions(40)
        ->UseRealTime();

    static const Travik::VBoxHandle machine = library().holdMachine();
    LongOperation other;
    benchmark::RegisterBenchmark("short operation/alone", alone, machine, std::ref(other))
        ->Iterations(slice)
        ->UseRealTime();
    benchmark::RegisterBenchmark("short operation/while another waits", whileAnotherWaits, machine, std::ref(other))
        ->Iterations(slice)
        ->UseRealTime();

    // 100,000 records of one log, in their order.
    benchmark::RegisterBenchmark("100000 records", operationArm, all[0])
        ->Iterations(2500)
        ->Repetitions(40)
        ->UseRealTime();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    // Nothing was counted: the objects outlive every table.
    return 0;
}
