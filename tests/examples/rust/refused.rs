// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

//! What the compiler refuses to do with a session, each under a condition that sources_test.sh sets.
use quill_wgc::Session;

pub fn use_frame(mut session: Session) -> usize {
    let frame = session.frame();
    #[cfg(poll_again)]
    session.frame();
    #[cfg(end_session)]
    drop(session);
    frame.map_or(0, |(bytes, _, _)| bytes.len())
}

pub fn use_elsewhere(session: Session<'static>) {
    #[cfg(other_thread)]
    std::thread::spawn(move || session.running());
    #[cfg(not(other_thread))]
    session.running();
}
