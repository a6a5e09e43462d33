// A machine's whole life: lists, creates, changes, starts, watches, stops and deletes; from a thread of its own. Says
// what it does, one line a step.

#include <travik/travik.hpp>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

using namespace std::chrono_literals;
using travik::Notice;

namespace {

void say(const std::string& line)
{
    std::printf("%s\n", line.c_str());
}

const char* yesOrNo(bool yes)
{
    return yes ? "true" : "false";
}

travik::Machine create(const travik::Library& library)
{
    travik::Machine machine = library.createMachine("", library.freeName("Tour"));
    machine.setMemory(512);
    machine.saveSettings();
    machine.addToList();
    return machine;
}

void change(const travik::Machine& machine)
{
    travik::LockedSession session(machine, travik::LockType::Write, 10s);
    session.machine().setMemory(1024);
    session.machine().setCpuCount(2);
    session.save();
    session.unlock();
}

std::string failure(const travik::Library& library)
{
    try {
        library.findMachine("nobody has this name");
        return "nothing";
    } catch (const travik::Error& error) {
        return std::string(error.codeName()) + " " + error.resultName();
    }
}

/// Switches the machine off and returns what it told until its end.
std::vector<Notice> stop(const travik::Console& console)
{
    travik::Watch watch(console);
    const travik::Progress stopping = console.powerDown();
    std::vector<Notice> notices;
    while (notices.empty() || notices.back().kind != Notice::Kind::Ended) {
        if (const std::optional<Notice> notice = watch.next(1s))
            notices.push_back(*notice);
    }
    stopping.finish();
    return notices;
}

bool isStopping(const Notice& notice)
{
    return notice.state == travik::MachineState::Stopping;
}

void tour(const travik::Library& library)
{
    say("1 machines: " + std::to_string(library.machines().size()));
    const travik::Machine machine = create(library);
    const std::string name = machine.name();
    say("2 created " + name);
    say(std::string("3 found ") + yesOrNo(library.findMachine(name).uuid() == machine.uuid()));
    change(machine);
    say("4 changed");
    machine.setExtraData("tour", "\xE7\xA3\x81\xE7\x9B\x98 \xF0\x9F\x8E\xAE"); // UTF-8, whatever the compiler reads
    say("5 extra data " + machine.extraData("tour"));
    say("6 failed: " + failure(library));
    machine.launch("headless", {"TOUR=1"}).finish();
    say(std::string("7 runs: ") + yesOrNo(machine.state() == travik::MachineState::Running));
    const std::vector<Notice> notices = stop(library.console());
    say(std::string("8 stopping seen: ") + yesOrNo(std::any_of(notices.begin(), notices.end(), isStopping)));
    say(std::string("9 ended: ") + yesOrNo(notices.back().kind == Notice::Kind::Ended));
    travik::LockedSession(machine, travik::LockType::Write, 10s).unlock(); // waits until the machine is free
    machine.deleteWithFiles();
    say("10 deleted");
}

} // namespace

int main()
try {
    travik::Library::Options options;
    options.logPath = "tour.log";
    options.limit = 60s;
    const travik::Library library(options);
    travik::background([&library] { tour(library); }).get();
    return 0;
} catch (const travik::Error& error) {
    std::printf("failed: %s\n", error.what());
    return 1;
}
