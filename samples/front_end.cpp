// A whole small front end: it lists the machines, imports an appliance, sets the machine up, forwards a port, starts
// it, shows its states while it runs, stops and deletes it, and tells every failure in words. All calls are a worker's;
// the main thread only asks and waits, as the thread of a window would.

#include <condition_variable>
#include <mutex>

#include "sample.h"

using namespace Travik;
using namespace std::chrono_literals;

namespace {

const auto patience = 60s;

std::vector<std::wstring> list(const Operations& vbox)
{
    std::vector<std::wstring> lines;
    for (const MachineEntry& entry : listMachines(vbox))
        lines.push_back(entry.accessible ? entry.name + L", " + stateName(entry.state) : entry.uuid + L", unreadable");
    return lines;
}

std::wstring importAppliance(const Operations& vbox, const std::wstring& file)
{
    const std::wstring name = vbox.getImportOvaVmName(file);
    vbox.importOva(file);
    return name;
}

void setUp(const Operations& vbox, const std::wstring& name)
{
    LockedSession session(vbox, vbox.findMachine(name), Lock::Write, 10s);
    vbox.setMachineCPUCount(session.machine(), 2);
    vbox.setMachineMemory(session.machine(), 1024);
    const ScopedNATEngine engine = vbox.getNATEngine(vbox.getNetworkAdapter(session.machine(), 0));
    vbox.addRedirect(engine, L"adb", Protocol::TCP, L"127.0.0.1", 5555, L"", 5555);
    session.save();
    session.unlock();
}

/// What the machine does, told as it happens; can be waited for.
class Display
{
public:
    Worker::Listener listener()
    {
        return [this](const Worker::Notice& notice) { show(notice); };
    }

    void waitForTheEnd()
    {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait_for(lock, patience, [this] { return ended_; });
    }

private:
    void show(const Worker::Notice& notice)
    {
        if (notice.event.type == EventType::StateChanged)
            print(std::wstring(L"  now ") + stateName(notice.event.state));
        if (notice.event.type == EventType::RuntimeError)
            print(L"  error " + notice.event.id + L": " + notice.event.message);
        const std::lock_guard<std::mutex> lock(mutex_);
        ended_ = notice.step == EventLoop::Step::Ended;
        changed_.notify_all();
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    bool ended_ = false;
};

void live(Worker& worker, const std::wstring& file)
{
    worker.run([](Operations& vbox) { connect(vbox, 10s); }).get();
    for (const std::wstring& line : worker.run([](Operations& vbox) { return list(vbox); }).get())
        print(line);
    const std::wstring name = worker.run([&](Operations& vbox) { return importAppliance(vbox, file); }).get();
    print(L"imported " + name);
    worker.run([&](Operations& vbox) { setUp(vbox, name); }).get();
    print(L"set up");

    Display display;
    worker.run([&](Operations& vbox) { startMachine(vbox, vbox.findMachine(name), patience); }).get();
    const auto source = [&](Operations& vbox) { return eventSourceOf(vbox, vbox.findMachine(name), 10s); };
    worker.listen(source, {EventType::StateChanged, EventType::RuntimeError}, display.listener()).get();
    print(L"started");
    worker.run([&](Operations& vbox) { stopMachine(vbox, vbox.findMachine(name), patience); }).get();
    display.waitForTheEnd();
    print(L"stopped");
    worker.run([&](Operations& vbox) { deleteMachine(vbox, vbox.findMachine(name), patience); }).get();
    print(L"deleted");
}

} // namespace

int wmain(int count, wchar_t** values)
try {
    if (count != 2) {
        print(L"usage: sample_front_end FILE.ova");
        return 2;
    }
    GetVBoxInstance()->setLogPath(L"front_end.log"); // otherwise the log goes to the standard output
    Worker worker;
    live(worker, values[1]);
    return 0;
} catch (const ServerGone&) {
    print(L"VirtualBox has stopped working; please try again");
    return 1;
} catch (const std::exception& error) { // a refusal of VirtualBox or of the file system, or the end of patience
    std::printf("that did not work: %s\n", error.what());
    return 1;
}
