// How costs grow with the number of machines, how fast events come, and what the first call costs.

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "control.h"
#include "library.h"
#include "raw_client.h"
#include "samples.h"
#include "standin_world.h"
#include "travik/scoped_handle.h"

namespace {

using namespace Travik;
using TravikTest::ChildProcess;
using TravikTest::Control;

Samples samples;
const std::wstring machineName = StandInWorld::machine;

VBoxInstanceImpl& sdk()
{
    return TravikTest::library();
}

/// Listing, and giving all handles back, with so many machines; by hand in turns with the library.
void lists(int machines, int runs)
{
    StandInWorld world(machines);
    world.start();
    RawClient::Roots roots;
    roots.create();
    const std::string suffix = "/" + std::to_string(machines);
    for (int run = 0; run < runs; ++run) {
        std::vector<VBoxHandle> handles;
        samples.time("listVms" + suffix, [&] { check(sdk(), sdk().listVms(&handles)); });
        samples.time("give all back" + suffix, [&] {
            for (const VBoxHandle handle : handles)
                sdk().releaseMachine(handle);
        });
        std::vector<RawClient::ComPtr<IMachine>> objects;
        samples.time("raw list" + suffix, [&] { objects = RawClient::machinesOf(*roots.virtualBox.Get()); });
        samples.time("raw give all back" + suffix, [&] { objects.clear(); });
    }
    roots.release();
    sdk().releaseRC();
}

/// Raises events from a thread of its own, no faster than they are taken.
class Producer
{
public:
    explicit Producer(int allowedAhead)
        : thread_([this, allowedAhead] {
              Control control;
              while (!stopped) {
                  if (raised - taken < allowedAhead) {
                      raisedAt = Samples::Clock::now();
                      control.runtimeError(machineName, false, L"HostMemoryLow", L"low");
                      ++raised;
                  } else {
                      Sleep(allowedAhead == 1 ? 20 : 0); // the consumer waits before a single event comes
                  }
              }
          })
    {}
    ~Producer()
    {
        stopped = true;
        thread_.join();
    }

    std::atomic<bool> stopped{false};
    std::atomic<int> raised{0};
    std::atomic<int> taken{0};
    std::atomic<Samples::Clock::time_point> raisedAt{};

private:
    std::thread thread_;
};

void events()
{
    StandInWorld world(2);
    world.start();
    VBoxHandle machine = 0;
    VBoxHandle progress = 0;
    VBoxHandle console = 0;
    VBoxHandle source = 0;
    VBoxHandle listener = 0;
    check(sdk(), sdk().findMachine(machineName, &machine));
    check(sdk(), sdk().launchVMProcess(machine, L"headless", {L""}, &progress));
    check(sdk(), sdk().progressWaitForCompletion(progress, -1));
    check(sdk(), sdk().getConsole(&console));
    check(sdk(), sdk().getEventSource(console, &source));
    check(sdk(), sdk().eventSourceCreateListener(source, &listener));
    check(sdk(), sdk().eventSourceRegisterListener(source, listener, {VBoxEventType::OnRuntimeError}, 0));
    const auto take = [&] {
        VBoxHandle event = 0;
        while (event == 0)
            check(sdk(), sdk().eventSourceGetEvent(source, listener, 5'000, &event));
        return event;
    };
    const auto finish = [&](VBoxHandle event) {
        check(sdk(), sdk().eventSourceEventProcessed(source, listener, event));
        check(sdk(), sdk().eventSourceReleaseEvent(event));
    };
    {
        Producer producer(1);
        for (int i = 0; i < 50; ++i) {
            const VBoxHandle event = take();
            samples.add(
                "event latency",
                std::chrono::duration<double, std::nano>(Samples::Clock::now() - producer.raisedAt.load()).count());
            finish(event);
            ++producer.taken;
        }
        producer.stopped = true;
    }
    {
        Producer producer(100);
        for (int block = 0; block < 10; ++block) {
            samples.time(
                "event taken, processed and given back",
                [&] {
                    for (int i = 0; i < 100; ++i) {
                        finish(take());
                        ++producer.taken;
                    }
                },
                100);
        }
        producer.stopped = true;
        for (int rest = producer.raised - producer.taken; rest > 0; --rest)
            finish(take());
    }
    sdk().releaseRC();
}

/// A front end of its own: its load, its first list, its second.
int startChild()
{
    const auto begin = Samples::Clock::now();
    VBoxInstanceImpl& vbox = sdk();
    const auto loaded = Samples::Clock::now();
    std::vector<VBoxHandle> machines;
    check(vbox, vbox.listVms(&machines));
    std::wstring name;
    check(vbox, vbox.getVmName(machines.at(0), &name));
    const auto listed = Samples::Clock::now();
    using Nanoseconds = std::chrono::duration<double, std::nano>;
    std::printf("%.0f %.0f\n", Nanoseconds(loaded - begin).count(), Nanoseconds(listed - loaded).count());
    std::fflush(stdout);
    vbox.releaseRC();
    return 0;
}

void starts(const std::filesystem::path& program, int runs)
{
    StandInWorld world(10);
    for (int run = 0; run < runs; ++run) {
        for (const char* server : {"cold", "warm"}) {
            ChildProcess child(program, {L"--start"});
            double load = 0;
            double first = 0;
            if (std::sscanf(TravikTest::utf8(child.readLine()).c_str(), "%lf %lf", &load, &first) != 2)
                throw std::runtime_error("the front end says nothing");
            child.wait();
            samples.add("load of the DLL", load);
            samples.add(std::string("first call to first machine, server ") + server, first);
        }
        world.stop();
    }
}

} // namespace

int main(int argc, char** argv)
{
    try {
        if (argc > 1 && std::strcmp(argv[1], "--start") == 0)
            return startChild();
        TravikTest::makeScratchFolder();
        std::wstring program(32'768, L'\0');
        program.resize(GetModuleFileNameW(nullptr, program.data(), static_cast<DWORD>(program.size())));
        starts(program, 7);
        for (const auto& [machines, runs] : {std::pair(1, 30), {10, 30}, {100, 10}, {1000, 5}, {2000, 3}})
            lists(machines, runs);
        events();
        samples.write(argc > 1 ? argv[1] : "growth.json");
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_growth: %s\n", error.what());
        return 1;
    }
}
