//! A machine's whole life: lists, creates, changes, starts, watches, stops and deletes; from a thread of its own.
//! Says what it does, one line a step.

use std::time::Duration;
use travik::{Library, LockType, MachineState, Notice, Options};

fn tour(library: &Library) -> travik::Result<()> {
    println!("1 machines: {}", library.machines()?.len());

    let name = library.free_name("Tour")?;
    let machine = library.create_machine("", &name)?;
    machine.set_memory(512)?;
    machine.save_settings()?;
    machine.add_to_list()?;
    println!("2 created {}", machine.name()?);

    println!("3 found {}", library.find_machine(&name)?.uuid()? == machine.uuid()?);

    machine.lock_for(LockType::WRITE, Duration::from_secs(10))?.edit(|mutable| {
        mutable.set_memory(1024)?;
        mutable.set_cpu_count(2)
    })?;
    println!("4 changed");

    machine.set_extra_data("tour", "磁盘 🎮")?;
    println!("5 extra data {}", machine.extra_data("tour")?);

    match library.find_machine("nobody has this name") {
        Err(error) => println!("6 failed: {} {}", error.code_name, error.result_name),
        Ok(_) => println!("6 found somebody"),
    }

    machine.launch("headless", &["TOUR=1"])?.finish()?;
    println!("7 runs: {}", machine.state()? == MachineState::RUNNING);

    let console = library.console()?;
    let watch = console.watch()?;
    let watcher = std::thread::spawn(move || watch.filter_map(|notice| notice.ok()).collect::<Vec<_>>());
    console.power_down()?.finish()?;
    let notices = watcher.join().expect("the watcher does not panic");
    println!("8 stopping seen: {}", notices.contains(&Notice::State(MachineState::STOPPING)));
    println!("9 ended: {}", matches!(notices.last(), Some(Notice::Ended { .. })));

    drop(machine.lock_for(LockType::WRITE, Duration::from_secs(10))?); // waits until the machine is free
    machine.delete_with_files()?;
    println!("10 deleted");
    Ok(())
}

fn main() {
    let options = Options { log_path: Some("tour.log".into()), limit: Some(Duration::from_secs(60)), ..Options::default() };
    let library = Library::open_with(&options).expect("VirtualBox can be reached");
    let result = std::thread::scope(|scope| scope.spawn(|| tour(&library)).join().expect("no panic"));
    if let Err(error) = result {
        println!("failed: {}", error);
        std::process::exit(1);
    }
}
