// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT
//
// node capture.js TITLE FILE.bmp: saves one frame of the window with that title.
import fs from 'node:fs';
import {setTimeout as sleep} from 'node:timers/promises';
import koffi from 'koffi';
import {Session, load} from './quill_wgc.js';

async function firstFrame(session) {
  const end = performance.now() + 5000;
  while (session.running && performance.now() < end) {
    const frame = session.frame();
    if (frame !== null) return frame;
    await sleep(10);
  }
  throw new Error(session.running ? 'no frame in 5 seconds: is the window minimised?' :
                                    'the window was closed');
}

try {
  const [title, file, ...rest] = process.argv.slice(2);
  if (file === undefined || rest.length > 0) throw new Error('usage: capture TITLE FILE.bmp');
  const findWindow = koffi.load('user32').func('HWND FindWindowW(str16 class_name, str16 title)');
  const window = findWindow(null, title);
  if (window === null) throw new Error('no window has that title');
  const session = new Session(load(), {window});
  try {
    const {width, height, pixels} = await firstFrame(session);
    const header = Int32Array.of(
        54 + pixels.length, 0, 54, 40, width, -height, 1 | 32 << 16, 0, 0, 0, 0, 0, 0);
    fs.writeFileSync(file, Buffer.concat([Buffer.from('BM'), Buffer.from(header.buffer), pixels]));
  } finally {
    session.close();
  }
} catch (error) {
  console.error(`capture: ${error.message}`);
  process.exitCode = 1;
}
