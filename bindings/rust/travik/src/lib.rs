//! Drive an installed VirtualBox through TravikSDK-c.dll.
//!
//! ```no_run
//! # use std::time::Duration;
//! # fn main() -> travik::Result<()> {
//! let library = travik::Library::open()?;
//! let machine = library.find_machine("Player")?;
//! machine.lock_for(travik::LockType::WRITE, Duration::from_secs(10))?.edit(|mutable| mutable.set_memory(4096))?;
//! machine.launch("headless", &[])?.finish()?;
//! for notice in library.console()?.watch()? {
//!     println!("{:?}", notice?);
//! }
//! # Ok(())
//! # }
//! ```
//!
//! Objects give their handles back when they are dropped. Every thread may call; a call waits for its turn and its
//! answer. [`with_limit`] bounds the calls of a block.

use std::cell::Cell;
use std::ffi::{CStr, CString};
use std::fmt;
use std::os::raw::c_char;
use std::ptr;
use std::time::Duration;

pub use travik_sys as sys;

mod made;
pub use made::*;

pub type Result<T> = std::result::Result<T, Error>;

/// A call that failed.
#[derive(Clone, Debug)]
pub struct Error {
    /// The library's code, or one of 1001 upwards.
    pub code: u32,
    /// VirtualBox's HRESULT, 0 when it was not asked; [`results`] has names.
    pub result: u32,
    pub code_name: String,
    pub result_name: String,
    pub operation: String,
    pub text: String,
}

impl Error {
    /// The limit of the call passed.
    pub fn is_timeout(&self) -> bool {
        self.code == sys::TRAVIK_Deadline
    }

    /// VirtualBox's server is gone: call [`Library::reconnect`] and find the machines again.
    pub fn is_server_gone(&self) -> bool {
        unsafe { sys::travik_isServerGone(self.result) != 0 }
    }
}

impl fmt::Display for Error {
    fn fmt(&self, out: &mut fmt::Formatter<'_>) -> fmt::Result {
        write!(out, "{}: {} ({})", self.operation, self.code_name, self.code)?;
        for part in [&self.result_name, &self.text] {
            if !part.is_empty() {
                write!(out, ": {}", part)?;
            }
        }
        Ok(())
    }
}

impl std::error::Error for Error {}

thread_local! {
    static LIMIT: Cell<u32> = Cell::new(0);
}

fn milliseconds(time: Duration) -> u32 {
    time.as_millis().clamp(1, u32::MAX as u128) as u32
}

/// Bounds every call that this thread makes in the block; a call that takes longer fails with a timeout.
pub fn with_limit<T>(limit: Duration, block: impl FnOnce() -> T) -> T {
    struct Back(u32);
    impl Drop for Back {
        fn drop(&mut self) {
            LIMIT.with(|cell| cell.set(self.0));
        }
    }
    let _back = Back(LIMIT.with(|cell| cell.replace(milliseconds(limit))));
    block()
}

unsafe fn owned(text: *const c_char) -> String {
    if text.is_null() {
        return String::new();
    }
    CStr::from_ptr(text).to_string_lossy().into_owned()
}

/// Makes a call with its limit and an output for its error.
fn check(call: impl FnOnce(u32, *mut *mut sys::travik_error) -> u32) -> Result<()> {
    let mut raw = ptr::null_mut();
    let code = call(LIMIT.with(|cell| cell.get()), &mut raw);
    if code == 0 {
        return Ok(());
    }
    unsafe {
        let mut error = Error {
            code,
            result: 0,
            code_name: owned(sys::travik_codeName(code)),
            result_name: String::new(),
            operation: String::new(),
            text: String::new(),
        };
        if let Some(told) = raw.as_ref() {
            error.result = told.result;
            error.result_name = owned(told.result_name);
            error.operation = owned(told.operation);
            error.text = owned(told.text);
        }
        sys::travik_freeError(&mut raw);
        Err(error)
    }
}

fn text(text: &str) -> Result<CString> {
    CString::new(text).map_err(|_| Error {
        code: sys::TRAVIK_NotUtf8,
        result: 0,
        code_name: "NotUtf8".into(),
        result_name: String::new(),
        operation: String::new(),
        text: "a text holds a zero".into(),
    })
}

fn texts(all: &[&str]) -> Result<Vec<CString>> {
    all.iter().map(|one| text(one)).collect()
}

/// An output, which gives the memory back.
macro_rules! output {
    ($name:ident, $raw:ty, $empty:expr, $free:path) => {
        struct $name($raw);

        impl Default for $name {
            fn default() -> Self {
                $name($empty)
            }
        }

        impl Drop for $name {
            fn drop(&mut self) {
                unsafe { $free(&mut self.0) }
            }
        }
    };
}
output!(Text, *mut c_char, ptr::null_mut(), sys::travik_freeText);
output!(Texts, sys::travik_texts, sys::travik_texts { items: ptr::null_mut(), count: 0 }, sys::travik_freeTexts);
output!(Machines, sys::travik_machines, sys::travik_machines { items: ptr::null_mut(), count: 0 }, sys::travik_freeMachines);

impl Text {
    fn take(&self) -> String {
        unsafe { owned(self.0) }
    }
}

impl Texts {
    fn take(&self) -> Vec<String> {
        (0..self.0.count as usize).map(|n| unsafe { owned(*self.0.items.add(n)) }).collect()
    }
}

impl Machines {
    fn take(&self) -> Vec<Machine> {
        (0..self.0.count as usize).map(|n| Machine { raw: unsafe { *self.0.items.add(n) } }).collect()
    }
}

/// A type that owns a handle.
macro_rules! handle {
    ($name:ident, $raw:ty, $release:path) => {
        #[derive(Debug)]
        pub struct $name {
            pub(crate) raw: $raw,
        }

        impl $name {
            /// For the functions of [`crate::sys`].
            pub fn raw(&self) -> $raw {
                self.raw
            }

            /// Whether it names nothing: an empty drive has no medium.
            pub fn is_none(&self) -> bool {
                self.raw.value == 0
            }
        }

        impl Drop for $name {
            fn drop(&mut self) {
                unsafe {
                    $release(self.raw);
                }
            }
        }
    };
}
use handle;

/// How the library is opened.
#[derive(Clone, Debug, Default)]
pub struct Options {
    /// The log's file; standard output without.
    pub log_path: Option<String>,
    /// Of calls outside [`with_limit`]; none without.
    pub limit: Option<Duration>,
    /// VirtualBox's objects are made on first need.
    pub lazy: bool,
}

/// The library, open as long as this lives. One at a time in a process.
#[derive(Debug)]
pub struct Library(());

impl Library {
    pub fn open() -> Result<Library> {
        Library::open_with(&Options::default())
    }

    pub fn open_with(options: &Options) -> Result<Library> {
        let path = options.log_path.as_deref().map(text).transpose()?;
        let raw = sys::travik_options {
            size: std::mem::size_of::<sys::travik_options>() as u32,
            flags: if options.lazy { sys::TRAVIK_OPEN_LAZY } else { 0 },
            log_path: path.as_ref().map_or(ptr::null(), |path| path.as_ptr()),
            deadline_ms: options.limit.map_or(0, milliseconds),
            reserved: 0,
        };
        check(|_, error| unsafe { sys::travik_open(&raw, error) })?;
        Ok(Library(()))
    }
}

impl Drop for Library {
    /// Waits for a call that runs; those that wait for their turn fail.
    fn drop(&mut self) {
        unsafe {
            sys::travik_close(sys::TRAVIK_NO_DEADLINE, ptr::null_mut());
        }
    }
}

impl Progress {
    /// Waits until the task is complete, and fails as it did.
    pub fn finish(&self) -> Result<()> {
        check(|limit, error| unsafe { sys::travik_finishProgress(self.raw(), limit, error) })
    }
}

/// A machine that is locked to the library's one session. Unlocks when dropped; what was not saved is lost then.
#[derive(Debug)]
pub struct LockedSession {
    machine: Option<Machine>,
}

impl LockedSession {
    /// The machine on which settings can be changed.
    pub fn machine(&self) -> &Machine {
        self.machine.as_ref().expect("held until the end")
    }

    /// Changes settings and saves them.
    pub fn edit(&self, change: impl FnOnce(&Machine) -> Result<()>) -> Result<()> {
        change(self.machine())?;
        self.machine().save_settings()
    }
}

impl Drop for LockedSession {
    fn drop(&mut self) {
        self.machine = None;
        unsafe {
            sys::travik_unlockMachine(0, ptr::null_mut());
        }
    }
}

impl Machine {
    /// Locks the machine, waiting while another lock is just being given back.
    pub fn lock_for(&self, lock_type: LockType, wait: Duration) -> Result<LockedSession> {
        let wait = milliseconds(wait);
        check(|limit, error| unsafe { sys::travik_lockMachineInTime(self.raw(), lock_type.0, wait, limit, error) })?;
        let mut session = LockedSession { machine: None }; // unlocks from here on
        session.machine = Some(self.session_machine()?);
        Ok(session)
    }
}

/// What a watched machine tells.
#[derive(Clone, Debug, PartialEq, Eq)]
pub enum Notice {
    State(MachineState),
    RuntimeError { fatal: bool, id: String, text: String },
    /// Notices were lost: ask for the state anew.
    Resync,
    /// The last one: the console is gone; what the call told that met it.
    Ended { code: u32, result: u32, text: String },
}

/// The notices of a running machine, until it ends. An iterator that waits.
#[derive(Debug)]
pub struct Watch {
    raw: sys::travik_watcher,
    ended: bool,
}

impl Console {
    /// Watches the machine.
    pub fn watch(&self) -> Result<Watch> {
        let mut raw = sys::travik_watcher::default();
        check(|limit, error| unsafe {
            sys::travik_watch(self.raw(), None, ptr::null_mut(), &mut raw, limit, error)
        })?;
        Ok(Watch { raw, ended: false })
    }
}

impl Watch {
    /// The next notice, waiting up to a time for it; nothing when none came.
    pub fn next_within(&mut self, wait: Duration) -> Result<Option<Notice>> {
        let mut raw: *mut sys::travik_notice = ptr::null_mut();
        let wait = wait.as_millis().min(u32::MAX as u128) as u32;
        check(|_, error| unsafe { sys::travik_nextNotice(self.raw, wait, &mut raw, error) })?;
        let notice = unsafe {
            raw.as_ref().map(|told| match told.kind {
                sys::TRAVIK_NOTICE_STATE => Notice::State(MachineState(told.state)),
                sys::TRAVIK_NOTICE_RUNTIME_ERROR => {
                    Notice::RuntimeError { fatal: told.fatal != 0, id: owned(told.id), text: owned(told.text) }
                }
                sys::TRAVIK_NOTICE_RESYNC => Notice::Resync,
                _ => Notice::Ended { code: told.code, result: told.result, text: owned(told.text) },
            })
        };
        unsafe { sys::travik_freeNotice(&mut raw) };
        self.ended |= matches!(notice, Some(Notice::Ended { .. }));
        Ok(notice)
    }
}

impl Iterator for Watch {
    type Item = Result<Notice>;

    fn next(&mut self) -> Option<Result<Notice>> {
        if self.ended {
            return None;
        }
        let next = self.next_within(Duration::from_millis(u32::MAX as u64)).transpose();
        self.ended |= matches!(next, Some(Err(_)));
        next
    }
}

impl Drop for Watch {
    fn drop(&mut self) {
        unsafe {
            sys::travik_unwatch(self.raw);
        }
    }
}
