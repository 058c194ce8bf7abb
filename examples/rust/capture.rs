// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

//! capture TITLE FILE.bmp: saves one frame of the window with that title.
use quill_wgc::{check, Handle, Library, Result, Session};
use std::{env, ffi::OsString, fs::File, io::Write, os::windows::ffi::OsStrExt, ptr, thread, time};

#[link(name = "user32")]
extern "system" {
    fn FindWindowW(class: *const u16, title: *const u16) -> Handle;
}

fn run() -> Result<()> {
    let arguments: Vec<OsString> = env::args_os().collect();
    check(arguments.len() == 3, "usage: capture TITLE FILE.bmp")?;
    let title: Vec<u16> = arguments[1].encode_wide().chain([0]).collect();
    let window = unsafe { FindWindowW(ptr::null(), title.as_ptr()) };
    check(!window.is_null(), "no window has that title")?;
    let library = Library::load()?;
    let mut session = Session::window(&library, window)?;
    let end = time::Instant::now() + time::Duration::from_secs(5);
    loop {
        if let Some((data, width, height)) = session.frame() {
            let head = [54 + data.len() as u32, 0, 54, 40, width, height.wrapping_neg(), 0x200001];
            let head = head.map(u32::to_le_bytes).concat();
            let mut file = File::create(&arguments[2])?;
            file.write_all(&[b"BM", &head[..], &[0; 24]].concat())?;
            return Ok(file.write_all(data)?);
        }
        check(session.running(), "the window was closed")?;
        check(time::Instant::now() < end, "no frame in 5 seconds: is the window minimised?")?;
        thread::sleep(time::Duration::from_millis(10));
    }
}

fn main() {
    if let Err(error) = run() {
        eprintln!("capture: {error}");
        std::process::exit(1);
    }
}
