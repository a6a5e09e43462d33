// What an operation costs with the server in another process: against the same call by hand through COM, on the same
// proxies, and against a process of its own for each operation.

#include <benchmark/benchmark.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "library.h"
#include "raw_client.h"
#include "standin_world.h"
#include "travik/scoped_handle.h"

namespace {

using namespace Travik;
using RawClient::ComPtr;
using RawClient::require;
using Text = Travik::ComString;

constexpr int listed = 10;
const std::wstring machineName = StandInWorld::machine;

VBoxInstanceImpl& sdk()
{
    return TravikTest::library();
}

/// calls are timed as one, so many times: about a millisecond, so that most pass without a change of the process.
struct Pair
{
    const char* name;
    int calls;
    int times;
    std::function<void()> library;
    std::function<void()> raw;
};

/// Both arms give back what they got.
std::vector<Pair> pairs()
{
    static VBoxHandle machine = 0;
    static VBoxHandle locked = 0;
    static RawClient::Roots roots;
    static ComPtr<IMachine> object;
    static ComPtr<IMachine> rawLocked;
    check(sdk(), sdk().findMachine(machineName, &machine));
    check(sdk(), sdk().lockMachine(machine, LockType::Write));
    check(sdk(), sdk().createMutableMachine(machine, &locked));
    roots.create();
    require(roots.virtualBox->FindMachine(Text(machineName).get(), &object));
    // The same kind of object behind the same kind of lock: another machine of the world.
    ComPtr<IMachine> second;
    require(roots.virtualBox->FindMachine(Text(L"Machine 2").get(), &second));
    require(second->LockMachine(roots.session.Get(), LockType::Write));
    require(roots.session->get_Machine(&rawLocked));
    return {
        {"no output", 3, 400, [] { check(sdk(), sdk().setMachineMemory(locked, 512)); },
         [] { require(rawLocked->put_MemorySize(512)); }},
        {"number out", 3, 400,
         [] {
             std::uint32_t state = 0;
             check(sdk(), sdk().machineGetState(machine, &state));
         },
         [] {
             ULONG state = 0;
             require(object->get_State(&state));
         }},
        {"text out", 3, 400,
         [] {
             std::wstring name;
             check(sdk(), sdk().getVmName(machine, &name));
         },
         [] {
             Text name;
             require(object->get_Name(name.put()));
             benchmark::DoNotOptimize(name.str());
         }},
        {"text in and out", 3, 400,
         [] {
             std::wstring value;
             check(sdk(), sdk().getMachineExtraData(machine, L"GUI/LastCloseAction", &value));
         },
         [] {
             Text value;
             require(object->GetExtraData(Text(L"GUI/LastCloseAction").get(), value.put()));
             benchmark::DoNotOptimize(value.str());
         }},
        {"object out", 1, 200,
         [] {
             VBoxHandle adapter = 0;
             check(sdk(), sdk().getNetworkAdapter(machine, 0, &adapter));
             check(sdk(), sdk().releaseNetworkAdapter(adapter));
         },
         [] {
             ComPtr<INetworkAdapter> adapter;
             require(object->GetNetworkAdapter(0, &adapter));
         }},
        {"list out", 1, 150,
         [] {
             std::vector<VBoxHandle> machines;
             check(sdk(), sdk().listVms(&machines));
             for (const VBoxHandle handle : machines)
                 check(sdk(), sdk().releaseMachine(handle));
         },
         [] { RawClient::machinesOf(*roots.virtualBox.Get()); }},
    };
}

void arm(benchmark::State& state, const std::function<void()>& body)
{
    for (auto _ : state)
        body();
}

/// Runs the command line once.
void runCommand(const std::vector<std::wstring>& arguments)
{
    TravikTest::ChildProcess program(TravikTest::productFolder() / L"travikctl.exe", arguments);
    if (program.wait() != DWORD(0)) // which looks every 10 ms
        throw std::runtime_error("travikctl: " + program.restOfOutput());
}

/// One small operation: find the machine, ask for its state.
void smallOperation()
{
    VBoxHandle machine = 0;
    std::uint32_t state = 0;
    check(sdk(), sdk().findMachine(machineName, &machine));
    check(sdk(), sdk().machineGetState(machine, &state));
    check(sdk(), sdk().releaseMachine(machine));
}

/// Ten steps of a story, each of which finds the machine by its name as a command does.
void story()
{
    for (int step = 0; step < 10; ++step) {
        VBoxHandle machine = 0;
        std::uint32_t state = 0;
        std::wstring text;
        check(sdk(), sdk().findMachine(machineName, &machine));
        switch (step % 5) {
        case 0:
            check(sdk(), sdk().machineGetState(machine, &state));
            break;
        case 1:
            check(sdk(), sdk().getVmName(machine, &text));
            break;
        case 2:
            check(sdk(), sdk().getVmUUID(machine, &text));
            break;
        case 3:
            check(sdk(), sdk().getMachineExtraData(machine, L"GUI/LastCloseAction", &text));
            break;
        case 4:
            check(sdk(), sdk().getDefaultMachineFolder(&text));
            break;
        }
        check(sdk(), sdk().releaseMachine(machine));
    }
}

void storyByCommands()
{
    for (int step = 0; step < 10; ++step) {
        switch (step % 5) {
        case 0:
            runCommand({L"get", machineName, L"state"});
            break;
        case 1:
            runCommand({L"get", machineName, L"name"});
            break;
        case 2:
            runCommand({L"get", machineName, L"uuid"});
            break;
        case 3:
            runCommand({L"get", machineName, L"--extra", L"GUI/LastCloseAction"});
            break;
        case 4:
            runCommand({L"folder", L"get"});
            break;
        }
    }
}

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    TravikTest::makeScratchFolder();
    StandInWorld world(listed);
    world.start();
    const auto add = [](const std::string& name, const std::function<void()>& body, int iterations, int repetitions) {
        benchmark::RegisterBenchmark(name.c_str(), arm, body)
            ->Iterations(iterations)
            ->Repetitions(repetitions)
            ->UseRealTime()
            ->Unit(benchmark::kMicrosecond);
    };
    static const std::vector<Pair> all = pairs();
    for (const Pair& pair : all) {
        add(std::string("library/") + pair.name, pair.library, pair.calls, pair.times);
        add(std::string("raw/") + pair.name, pair.raw, pair.calls, pair.times);
    }
    add("in one process/small operation", smallOperation, 1, 15);
    add("in one process/story of ten", story, 1, 15);
    add(
        "process each/small operation",
        [] {
            runCommand({L"get", machineName, L"state"});
        },
        1, 15);
    add("process each/story of ten", storyByCommands, 1, 5);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    sdk().releaseRC();
    world.stop();
    std::_Exit(0); // the raw arm's objects are of a server that is gone
}
