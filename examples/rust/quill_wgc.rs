// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

//! libquill-wgc for Rust. Give each session a thread of its own. Create a process's first one on a
//! thread that is no single-threaded apartment and outlives the other sessions.
use std::os::raw::{c_char, c_void};
use std::{cell::Cell, error::Error, ffi::CStr, io, mem, ptr, slice};

pub type Handle = *mut c_void; // of a window, monitor, session or device; or a frame
pub type Result<T> = std::result::Result<T, Box<dyn Error + Send + Sync>>;

extern "system" {
    fn LoadLibraryExA(name: *const c_char, reserved: Handle, flags: u32) -> Handle;
    fn GetProcAddress(module: Handle, name: *const c_char) -> Handle;
}

macro_rules! library {
    ($(fn $name:ident($($type:ty),*) $(-> $result:ty)?;)*) => {
        pub struct Library { $(pub $name: unsafe extern "C" fn($($type),*) $(-> $result)?),* }

        impl Library {
            /// Loads the DLL from the program's folder, for the life of the process.
            pub fn load() -> Result<Library> { unsafe {
                let (name, folders) = ("libquill-wgc.dll\0", 0x200 | 0x800); // also the system's
                let module = LoadLibraryExA(name.as_ptr().cast(), ptr::null_mut(), folders);
                let module = found(name, module)?;
                let find = |name: &str| found(name, GetProcAddress(module, name.as_ptr().cast()));
                let library =
                    Library { $($name: mem::transmute(find(concat!(stringify!($name), "\0"))?)),* };
                (library.wgc_register_logger)(Some(keep_problem));
                Ok(library)
            } }
        }
    };
}

library! {
    fn is_wgc_session_supported() -> bool;
    fn wgc_register_logger(Option<extern "C" fn(i32, *const c_char, usize)>);
    fn wgc_session_create(Handle) -> Handle; fn wgc_session_create2(Handle) -> Handle;
    fn wgc_session_start(Handle) -> bool; fn wgc_session_destroy(Handle);
    fn wgc_get_recent_frame(Handle, *mut Handle, Handle, *mut u32, *mut u32, *mut bool) -> bool;
    fn wgc_free_recent_frame(Handle, Handle); fn wgc_get_update_ratio(Handle) -> f32;
    fn wgc_get_status(Handle) -> bool; fn wgc_get_device(Handle) -> Handle;
    fn wgc_enable_cursor(Handle, bool) -> bool; fn wgc_show_border(Handle, bool) -> bool;
    fn wgc_set_dirty_rect(Handle, bool); fn wgc_set_capture_to_texture(Handle, bool);
}

thread_local!(static PROBLEM: Cell<String> = Cell::default()); // a failing call logs on its thread

extern "C" fn keep_problem(level: i32, text: *const c_char, _length: usize) {
    if level > 1 {
        let text = unsafe { CStr::from_ptr(text) }.to_string_lossy().into_owned();
        let _ = PROBLEM.try_with(|problem| problem.set(text)); // never panics: its caller is C++
    }
}

pub fn check(done: bool, what: &str) -> Result<()> {
    done.then_some(()).ok_or_else(|| what.into())
}

fn found(name: &str, address: Handle) -> Result<Handle> {
    let error = io::Error::last_os_error();
    check(!address.is_null(), &format!("{}: {error}", name.trim_end_matches('\0')))?;
    Ok(address)
}

/// A running capture, which ends when it is dropped. The raw pointer keeps it on its thread.
pub struct Session<'l>(&'l Library, Handle);

impl<'l> Session<'l> {
    pub fn window(library: &'l Library, window: Handle) -> Result<Self> {
        Self::start(library, unsafe { (library.wgc_session_create)(window) })
    }
    pub fn monitor(library: &'l Library, monitor: Handle) -> Result<Self> {
        Self::start(library, unsafe { (library.wgc_session_create2)(monitor) })
    }

    fn start(library: &'l Library, handle: Handle) -> Result<Self> {
        check(!handle.is_null(), "no session could be created")?;
        let session = Session(library, handle);
        let started = unsafe { (library.wgc_session_start)(handle) };
        check(started, &format!("capture could not start: {}", PROBLEM.with(Cell::take)))?;
        Ok(session)
    }

    /// The latest frame, None before the first: bytes in memory of the session's, width, height.
    pub fn frame(&mut self) -> Option<(&[u8], u32, u32)> {
        let (mut data, mut width, mut height, mut cursor) = (ptr::null_mut(), 0, 0, false);
        let (get, none) = (self.0.wgc_get_recent_frame, ptr::null_mut());
        let got = unsafe { get(self.1, &mut data, none, &mut width, &mut height, &mut cursor) };
        let bytes = width as usize * height as usize * 4;
        got.then(|| (unsafe { slice::from_raw_parts(data.cast(), bytes) }, width, height))
    }

    pub fn running(&self) -> bool {
        unsafe { (self.0.wgc_get_status)(self.1) }
    }
    /// For the functions of the library that have no method here.
    pub fn handle(&self) -> Handle {
        self.1
    }
}

impl Drop for Session<'_> {
    fn drop(&mut self) {
        unsafe { (self.0.wgc_session_destroy)(self.1) }
    }
}
