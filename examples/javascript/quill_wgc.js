// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT
//
// libquill-wgc for Node.js 18 and later and for Electron, on Windows, through koffi 2. All of a
// session belongs on one thread, and the next session on a new one, such as a Worker. A poll
// dispatches all messages of its thread: in Electron use a utility process, not the main process.
import {fileURLToPath} from 'node:url';
import koffi from 'koffi';

for (const name of ['HWND', 'HMONITOR']) koffi.pointer(name, koffi.opaque());
koffi.proto('void WgcLogCallback(int level, const char* text, size_t length)');
const PROTOTYPES = [
  'bool is_wgc_session_supported()',
  'void wgc_register_logger(WgcLogCallback* cb)',
  'void* wgc_session_create(HWND window)',
  'void* wgc_session_create2(HMONITOR monitor)',
  'bool wgc_session_start(void* session)',
  'void wgc_session_destroy(void* session)',
  'bool wgc_get_recent_frame(void* session, _Out_ void** frame, void* reserved, ' +
      '_Out_ uint32_t* width, _Out_ uint32_t* height, _Out_ bool* cursor_enabled)',
  'void wgc_free_recent_frame(void* session, void* frame)',
  'float wgc_get_update_ratio(void* session)',
  'bool wgc_get_status(void* session)',
  'void* wgc_get_device(void* session)',
  'bool wgc_enable_cursor(void* session, bool enable)',
  'bool wgc_show_border(void* session, bool show)',
  'void wgc_set_dirty_rect(void* session, bool enable)',
  'void wgc_set_capture_to_texture(void* session, bool enable)',
];
const joinApartment = koffi.load('ole32').func('int CoInitializeEx(void* none, uint32_t mode)');

// The library's functions by name. The DLL is expected beside this file.
export function load(file = fileURLToPath(new URL('libquill-wgc.dll', import.meta.url))) {
  try {
    const library = koffi.load(file);
    const functions = PROTOTYPES.map((prototype) => library.func(prototype));
    return Object.fromEntries(functions.map((call) => [call.info.name, call]));
  } catch (error) {
    throw new Error(`${file}: ${error.message}`, {cause: error});
  }
}

let problem = '';
const keepProblem = koffi.register(
    (level, text) => { if (level > 1) problem = `: ${text}`; }, 'WgcLogCallback*');

// Captures a window (HWND) or monitor (HMONITOR), handles being numbers or pointers of koffi's.
export class Session {
  #handle;
  #pixels = Buffer.alloc(0);

  constructor(wgc, {window, monitor}) {
    // In a single-threaded apartment the library would end the process.
    if (joinApartment(null, 0) < 0) throw new Error('the thread is a single-threaded apartment');
    this.wgc = wgc;
    this.#handle = monitor === undefined ? wgc.wgc_session_create(window) :
                                           wgc.wgc_session_create2(monitor);
    if (this.#handle === null) throw new Error('no session could be created');
    try {
      this.#check('capture could not start', wgc.wgc_session_start);
    } catch (error) {
      this.close();
      throw error;
    }
  }

  close() {
    if (this.#handle !== null) this.wgc.wgc_session_destroy(this.#handle);
    this.#handle = null;
  }

  get handle() {
    if (this.#handle === null) throw new Error('the session is closed');
    return this.#handle;
  }

  // Makes a call that logs why it fails. Lines of other threads wait for this thread's event loop.
  // So no other call logs, and only one thread at a time may make such a call or close a session.
  #check(what, call, ...switches) {
    problem = '';
    this.wgc.wgc_register_logger(keepProblem);
    try {
      if (call(this.handle, ...switches)) return;
    } finally {
      this.wgc.wgc_register_logger(null);
    }
    throw new Error(what + problem);
  }

  // The latest frame, null before the first. pixels, four bytes each, blue first, is memory of the
  // session that holds the frame until the next frame() or close(): copy what has to live longer.
  frame() {
    const [at, width, height, cursor] = [[null], [0], [0], [false]];
    if (!this.wgc.wgc_get_recent_frame(this.handle, at, null, width, height, cursor)) return null;
    const [address, length] = [koffi.address(at[0]), width[0] * height[0] * 4];
    if (process.versions.electron) {  // allows no views of foreign memory
      this.#pixels = Buffer.from(koffi.decode(at[0], 'uint8_t', length).buffer);
    } else if (address !== koffi.address(this.#pixels) || length !== this.#pixels.length) {
      this.#pixels = Buffer.from(koffi.view(at[0], length));
    }
    return {width: width[0], height: height[0], pixels: this.#pixels};
  }

  // The share of the picture that the last frame changed; 0 until the next frame.
  ratio() { return this.wgc.wgc_get_update_ratio(this.handle); }
  get running() { return this.wgc.wgc_get_status(this.handle); }
  detectChanges(on) { this.wgc.wgc_set_dirty_rect(this.handle, on); }
  drawCursor(on) { this.#check('the cursor cannot be drawn', this.wgc.wgc_enable_cursor, on); }
  showBorder(on) { this.#check('the border cannot be hidden', this.wgc.wgc_show_border, on); }
}
if (Symbol.dispose) Session.prototype[Symbol.dispose] = Session.prototype.close;  // for `using`
