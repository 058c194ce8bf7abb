// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The probe that languages_test.cpp describes.
import assert from 'node:assert/strict';
import fs from 'node:fs';
import {setTimeout as sleep} from 'node:timers/promises';
import {Worker, isMainThread, parentPort, workerData} from 'node:worker_threads';
import koffi from 'koffi';
import {Session, load} from './quill_wgc.js';

const [kMultithreaded, kSingleThreaded] = [0, 2];  // COINIT
const wgc = load();
const errorOf = (target) => {
  try {
    new Session(wgc, target);
  } catch (error) {
    return error.message;
  }
};

function pause(at) {
  console.log(at);
  fs.readSync(0, Buffer.alloc(1));
}

async function until(poll) {
  for (const end = performance.now() + 20000; performance.now() < end; await sleep(5)) {
    const result = poll();
    if (result) return result;
  }
  throw new Error('nothing came');
}

function release(object) {
  const functions = koffi.decode(koffi.decode(object, 'void*'), koffi.array('void*', 3));
  return koffi.call(functions[2], koffi.proto('uint32_t Release(void* object)'), object);
}

// Which does the same with copies, as in Electron.
function checkCopies(session, {pixels}) {
  Object.defineProperty(process.versions, 'electron', {value: '30.0.0', configurable: true});
  const copy = session.frame().pixels;
  assert(copy.equals(pixels));
  assert.notEqual(koffi.address(copy), koffi.address(pixels));
  delete process.versions.electron;
}

// A call that throws leaves no callback, for which lines of other threads would wait.
function checkLogIsOffAfter(session, call) {
  const callbacks = [];
  session.wgc = {...wgc, wgc_register_logger: (callback) => callbacks.push(callback)};
  assert.throws(call);
  assert.equal(callbacks.at(-1), null);
  session.wgc = wgc;
}

async function probeSession(window) {
  const session = new Session(wgc, {window});
  session.detectChanges(true);
  console.log(`running ${session.running}, device ${wgc.wgc_get_device(session.handle) !== null}`);
  const first = await until(() => session.frame());
  const ratios = [session.ratio(), session.ratio()].map((ratio) => ratio.toFixed(4));
  console.log(`frame ${first.width} x ${first.height}, ratio ${ratios[0]}, then ${ratios[1]}`);
  console.log(`second start: ${errorOf({window})}`);
  checkCopies(session, first);
  pause('change');

  const changed = await until(() => session.frame() && session.ratio());
  const again = session.frame();
  const same = koffi.address(again.pixels) === koffi.address(first.pixels);
  console.log(`ratio ${changed.toFixed(4)}, same memory ${same}, running ${session.running}`);

  session.drawCursor(true);
  session.showBorder(true);
  session.detectChanges(false);
  wgc.wgc_set_capture_to_texture(session.handle, true);
  pause('texture');
  const [texture, width, height, cursor] = [[null], [0], [0], [false]];
  await until(() => wgc.wgc_get_recent_frame(session.handle, texture, null, width, height, cursor));
  wgc.wgc_free_recent_frame(session.handle, texture[0]);
  console.log(`cursor true ${cursor[0]}, border true, texture ${release(texture[0]) > 0}`);

  checkLogIsOffAfter(session, () => session.drawCursor('not a switch'));
  session[Symbol.dispose]();
  session.close();
  checkLogIsOffAfter(session, () => session.drawCursor(true));
  assert.throws(() => session.frame(), {message: 'the session is closed'});
}

// Tries to capture a dead window on a thread of its own, in this apartment.
const errorOnThread = (apartment = kMultithreaded) => new Promise((resolve, reject) => {
  let message;
  new Worker(new URL(import.meta.url), {workerData: apartment})
      .on('message', (text) => { message = text; })
      .on('error', reject).on('exit', () => resolve(message));
});

async function main(title) {
  console.log(`supported ${wgc.is_wgc_session_supported()}`);
  console.log(`no monitor: ${errorOf({monitor: null})}`);
  const findWindow = koffi.load('user32').func('HWND FindWindowW(str16 class_name, str16 title)');
  await probeSession(findWindow(null, title));

  console.log(`dead window: ${await errorOnThread()}`);
  for (let session = 1; session <= 9; ++session) {
    await errorOnThread();
    if (session === 1) pause('dead windows');
  }
  pause('more dead windows');
  const refusal = await errorOnThread(kSingleThreaded);
  assert.equal(refusal, 'the thread is a single-threaded apartment');
}

if (isMainThread) {
  await main(process.argv[2]);
} else {
  koffi.load('ole32').func('int CoInitializeEx(void* none, uint32_t mode)')(null, workerData);
  parentPort.postMessage(errorOf({window: 0x7fff0}));
}
