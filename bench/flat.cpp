// What the flat C interface costs in the process: each call against the same one in C++, on the caller's own thread;
// and, with TRAVIK_BENCH_WORKER set, through the worker, which is one hand-over there and one back.

#include <windows.h>
#include <benchmark/benchmark.h>
#include <virtualbox_defaults.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "connection.h"
#include "selq6/vbox.h"

namespace {

/// A machine that lives for the whole run; its calls cost next to nothing.
struct Machine : Defaults<IMachine>
{
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) override
    {
        *object = this;
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    HRESULT STDMETHODCALLTYPE put_MemorySize(ULONG) override { return S_OK; }
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
};

class Library : public Travik::VBox
{
public:
    Travik::VBoxHandle holdMachine()
    {
        const Travik::VBoxHandle handle = machineTable.newHandle();
        machineTable.insert(handle, &machine_);
        return handle;
    }

private:
    Machine machine_;
};

Library& underTest()
{
    static Library& instance = *new Library; // outlives the worker
    return instance;
}

constexpr int slice = 50; // as in in_process.cpp

template <class Call>
void add(const char* name, Call call)
{
    benchmark::RegisterBenchmark(name,
                                 [call](benchmark::State& state) {
                                     for (auto _ : state)
                                         call();
                                 })
        ->Iterations(slice)
        ->UseRealTime();
}

} // namespace

Travik::VBoxInstanceImpl* Travik::Flat::library()
{
    return &underTest();
}

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    const char* const folder = std::getenv("TRAVIK_BENCH_FOLDER");
    const std::string log = (std::filesystem::path(folder ? folder : ".") / "flat.log").string();
    const bool worker = std::getenv("TRAVIK_BENCH_WORKER") != nullptr;
    const std::uint32_t flags = TRAVIK_OPEN_LAZY | (worker ? 0u : std::uint32_t(TRAVIK_OPEN_CALLER_THREAD));
    const travik_options options{sizeof(travik_options), flags, log.c_str(), 0, 0};
    if (travik_open(&options, nullptr) != 0)
        return 1;

    static const Travik::VBoxHandle machine = underTest().holdMachine();
    static const travik_machine flat{std::uint64_t(1) << 32 | machine};
    add("direct/no output", [] { underTest().setMachineMemory(machine, 1024); });
    add("direct/number out", [] {
        std::uint32_t state = 0;
        underTest().machineGetState(machine, &state);
    });
    add("direct/text out", [] {
        std::wstring name;
        underTest().getVmName(machine, &name);
    });
    const std::string arm = worker ? "worker/" : "flat/";
    add((arm + "no output").c_str(), [] { travik_setMachineMemory(flat, 1024, 0, nullptr); });
    add((arm + "number out").c_str(), [] {
        std::uint32_t state = 0;
        travik_machineGetState(flat, &state, 0, nullptr);
    });
    add((arm + "text out").c_str(), [] {
        char* name = nullptr;
        travik_getVmName(flat, &name, 0, nullptr);
        travik_freeText(&name);
    });
    benchmark::RunSpecifiedBenchmarks();
    return travik_close(0, nullptr) == 0 ? 0 : 1;
}
