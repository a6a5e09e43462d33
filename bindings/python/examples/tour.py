"""A machine's whole life: lists, creates, changes, starts, watches, stops and deletes; from a thread of its own.
Says what it does, one line a step."""
import threading

import travik


def tour(library):
    print("1 machines:", len(library.machines()))
    name = library.free_name("Tour")
    machine = library.create_machine("", name)
    machine.set_memory(512)
    machine.save_settings()
    machine.add_to_list()
    print("2 created", machine.name())
    print("3 found", library.find_machine(name).uuid() == machine.uuid())
    with machine.lock_for(travik.LockType.Write) as mutable:
        mutable.set_memory(1024)
        mutable.set_cpu_count(2)
        mutable.save_settings()
    print("4 changed")
    machine.set_extra_data("tour", "磁盘 🎮")
    print("5 extra data", machine.extra_data("tour"))
    try:
        library.find_machine("nobody has this name")
    except travik.TravikError as error:
        print("6 failed:", error.code_name, error.result_name)
    machine.launch("headless", ["TOUR=1"]).finish()
    print("7 runs:", machine.state() == travik.MachineState.Running)
    console = library.console()
    watch = console.watch()
    stopping = console.power_down()
    notices = list(watch)
    stopping.finish()
    print("8 stopping seen:", any(notice.state == travik.MachineState.Stopping for notice in notices))
    print("9 ended:", notices[-1].kind == travik.NoticeKind.Ended)
    with machine.lock_for(travik.LockType.Write):  # waits until the machine is free
        pass
    machine.delete_with_files()
    print("10 deleted")


def main():
    with travik.Library(log_path="tour.log", limit=60) as library:
        thread = threading.Thread(target=tour, args=(library,))
        thread.start()
        thread.join()


if __name__ == "__main__":
    main()
