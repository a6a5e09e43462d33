//! The functions of travik.h as they are. Made by scripts/make_flat_bindings.py; see the crate `travik` for more comfort.
#![allow(non_camel_case_types, non_snake_case, non_upper_case_globals)]

use std::os::raw::{c_char, c_void};

macro_rules! handle {
    ($name:ident) => {
        #[repr(C)]
        #[derive(Clone, Copy, Debug, Default, PartialEq, Eq)]
        pub struct $name {
            pub value: u64,
        }
    };
}
handle!(travik_watcher);

#[repr(C)]
pub struct travik_options {
    pub size: u32,
    pub flags: u32,
    pub log_path: *const c_char,
    pub deadline_ms: u32,
    pub reserved: u32,
}

pub const TRAVIK_OPEN_CALLER_THREAD: u32 = 1;
pub const TRAVIK_OPEN_LAZY: u32 = 2;
pub const TRAVIK_NO_DEADLINE: u32 = u32::MAX;

#[repr(C)]
pub struct travik_error {
    pub code: u32,
    pub result: u32,
    pub code_name: *const c_char,
    pub result_name: *const c_char,
    pub operation: *const c_char,
    pub text: *const c_char,
}

#[repr(C)]
pub struct travik_notice {
    pub kind: u32,
    pub state: u32,
    pub fatal: u32,
    pub code: u32,
    pub result: u32,
    pub reserved: u32,
    pub id: *const c_char,
    pub text: *const c_char,
}

#[repr(C)]
pub struct travik_machines {
    pub items: *mut travik_machine,
    pub count: u32,
}

#[repr(C)]
pub struct travik_texts {
    pub items: *mut *mut c_char,
    pub count: u32,
}

pub type travik_callback = Option<unsafe extern "C" fn(context: *mut c_void, notice: *const travik_notice)>;

#[link(name = "TravikSDK-c")]
extern "C" {
    pub fn travik_open(options: *const travik_options, error: *mut *mut travik_error) -> u32;
    pub fn travik_close(deadline_ms: u32, error: *mut *mut travik_error) -> u32;
    pub fn travik_version() -> *const c_char;
    pub fn travik_identity() -> *const c_char;
    pub fn travik_codeName(code: u32) -> *const c_char;
    pub fn travik_resultName(result: u32) -> *const c_char;
    pub fn travik_isServerGone(result: u32) -> u32;
    pub fn travik_isLockRace(result: u32) -> u32;
    pub fn travik_freeError(error: *mut *mut travik_error);
    pub fn travik_freeText(text: *mut *mut c_char);
    pub fn travik_freeTexts(texts: *mut travik_texts);
    pub fn travik_freeMachines(machines: *mut travik_machines);
    pub fn travik_finishProgress(progress: travik_progress, deadline_ms: u32, error: *mut *mut travik_error) -> u32;
    pub fn travik_lockMachineInTime(machine: travik_machine, lock_type: u32, wait_ms: u32, deadline_ms: u32, error: *mut *mut travik_error) -> u32;
    pub fn travik_watch(console: travik_console, callback: travik_callback, context: *mut c_void, watcher: *mut travik_watcher, deadline_ms: u32, error: *mut *mut travik_error) -> u32;
    pub fn travik_unwatch(watcher: travik_watcher) -> u32;
    pub fn travik_nextNotice(watcher: travik_watcher, wait_ms: u32, notice: *mut *mut travik_notice, error: *mut *mut travik_error) -> u32;
    pub fn travik_freeNotice(notice: *mut *mut travik_notice);
}

