// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

//! The probe that languages_test.cpp describes.
use std::ffi::c_void;
use std::os::windows::ffi::OsStrExt;
use std::time::{Duration, Instant};
use std::{env, io, ptr, thread};

use quill_wgc::{check, Handle, Library, Result, Session};

#[link(name = "user32")]
extern "system" {
    fn FindWindowW(class: *const u16, title: *const u16) -> Handle;
}

/// IUnknown's table of functions.
#[repr(C)]
struct Unknown {
    query_interface: *const c_void,
    add_ref: *const c_void,
    release: unsafe extern "system" fn(Handle) -> u32,
}

fn pause(word: &str) -> Result<()> {
    println!("{word}");
    io::stdin().read_line(&mut String::new())?;
    Ok(())
}

fn until<T>(mut poll: impl FnMut() -> Option<T>) -> Result<T> {
    let end = Instant::now() + Duration::from_secs(20);
    loop {
        if let Some(found) = poll() {
            return Ok(found);
        }
        check(Instant::now() < end, "nothing came")?;
        thread::sleep(Duration::from_millis(5));
    }
}

fn error_of(session: Result<Session>) -> String {
    session.err().map_or("no error".to_string(), |error| error.to_string())
}

fn probe_session(library: &Library, window: Handle) -> Result<()> {
    let mut session = Session::window(library, window)?;
    let handle = session.handle();
    let ratio = || unsafe { (library.wgc_get_update_ratio)(handle) };
    unsafe { (library.wgc_set_dirty_rect)(handle, true) };
    let device = unsafe { (library.wgc_get_device)(handle) };
    println!("running {}, device {}", session.running(), !device.is_null());

    let of = |(bytes, width, height): (&[u8], u32, u32)| (bytes.as_ptr(), width, height);
    let (memory, width, height) = until(|| session.frame().map(of))?;
    println!("frame {width} x {height}, ratio {:.4}, then {:.4}", ratio(), ratio());
    println!("second start: {}", error_of(Session::window(library, window)));
    pause("change")?;
    let changed = until(|| {
        session.frame();
        Some(ratio()).filter(|&ratio| ratio > 0.0)
    })?;
    let same = session.frame().map(of) == Some((memory, width, height));
    println!("ratio {changed:.4}, same memory {same}, running {}", session.running());

    let cursor_set = unsafe { (library.wgc_enable_cursor)(handle, true) };
    let border_set = unsafe { (library.wgc_show_border)(handle, true) };
    unsafe { (library.wgc_set_dirty_rect)(handle, false) };
    unsafe { (library.wgc_set_capture_to_texture)(handle, true) };
    pause("texture")?;
    let (texture, cursor) = until(|| unsafe {
        let (mut texture, mut width, mut height, mut cursor) = (ptr::null_mut(), 0, 0, false);
        let (get, none) = (library.wgc_get_recent_frame, ptr::null_mut());
        let got = get(handle, &mut texture, none, &mut width, &mut height, &mut cursor);
        got.then(|| (texture, cursor))
    })?;
    let references = unsafe {
        (library.wgc_free_recent_frame)(handle, texture);
        ((**texture.cast::<*const Unknown>()).release)(texture)
    };
    println!("cursor {cursor_set} {cursor}, border {border_set}, texture {}", references > 0);
    Ok(())
}

fn main() -> Result<()> {
    let title = env::args_os().nth(1).ok_or("usage: probe_rust TITLE")?;
    let title: Vec<u16> = title.encode_wide().chain([0]).collect();
    let window = unsafe { FindWindowW(ptr::null(), title.as_ptr()) };
    let library = Library::load()?;
    println!("supported {}", unsafe { (library.is_wgc_session_supported)() });
    println!("no monitor: {}", error_of(Session::monitor(&library, ptr::null_mut())));
    probe_session(&library, window)?;

    let dead = || error_of(Session::window(&library, 0x7FFF0 as Handle));
    let on_own_thread = || thread::scope(|scope| scope.spawn(dead).join().unwrap());
    println!("dead window: {}", on_own_thread());
    for (sessions, word) in [(1, "dead windows"), (8, "more dead windows")] {
        for _ in 0..sessions {
            on_own_thread();
        }
        pause(word)?;
    }
    Ok(())
}
