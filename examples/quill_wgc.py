# Copyright (c) 2026 the libquill-wgc authors
# SPDX-License-Identifier: MIT
"""libquill-wgc for Python 3.8 and later on Windows. `quill_wgc.py TITLE FILE.bmp` saves one frame.

All of a session belongs on one thread, and the next session on a new one. Create a process's first
session on a thread that is no single-threaded apartment (importing pythoncom makes one).
"""
import atexit
import ctypes
import struct
import sys
import threading
import time
from ctypes import POINTER, byref, c_bool, c_char_p, c_float, c_int, c_size_t, c_uint32, c_void_p
from pathlib import Path
from typing import Any
try:
    import numpy
except ImportError:
    numpy = None  # type: ignore[assignment]

LogCallback = ctypes.CFUNCTYPE(None, c_int, c_char_p, c_size_t)
B, P = c_bool, c_void_p
# Each function's result and arguments. Sessions, windows, monitors and the device are pointers.
FUNCTIONS: Any = {
    "is_wgc_session_supported": [B], "wgc_register_logger": [None, LogCallback],
    "wgc_session_create": [P, P], "wgc_session_create2": [P, P], "wgc_session_start": [B, P],
    "wgc_session_destroy": [None, P], "wgc_free_recent_frame": [None, P, P],
    "wgc_get_recent_frame": [B, P, POINTER(P), P, POINTER(c_uint32), POINTER(c_uint32), POINTER(B)],
    "wgc_get_update_ratio": [c_float, P], "wgc_get_status": [B, P], "wgc_get_device": [P, P],
    "wgc_enable_cursor": [B, P, B], "wgc_show_border": [B, P, B],
    "wgc_set_dirty_rect": [None, P, B], "wgc_set_capture_to_texture": [None, P, B]}
log = threading.local()  # a failing call logs on its own thread


@LogCallback  # type: ignore[misc]  # stays for good, as the library has only its address
def keep_problem(level: int, text: bytes, _length: int) -> None:
    if level > 1:
        log.problem = ": " + text.decode(errors="replace")


def check(done: bool, what: str) -> None:
    if not done:
        raise RuntimeError(what + getattr(log, "problem", ""))


def load(path: str = str(Path(__file__).resolve().with_name("libquill-wgc.dll"))) -> ctypes.CDLL:
    library = ctypes.CDLL(path)
    for name, (result, *arguments) in FUNCTIONS.items():
        getattr(library, name).restype, getattr(library, name).argtypes = result, arguments
    library.wgc_register_logger(keep_problem)
    atexit.register(library.wgc_register_logger, LogCallback(0))
    return library


class Session:
    """Captures a window (HWND) or monitor (HMONITOR) while a `with` block lasts."""

    def __init__(self, library: ctypes.CDLL, window: int = 0, monitor: int = 0) -> None:
        self.wgc = library
        create = library.wgc_session_create2 if monitor else library.wgc_session_create
        self.handle = create(monitor or window)
        check(self.handle is not None, "no session could be created")

    def __enter__(self) -> "Session":
        if not self.wgc.wgc_session_start(self.handle):
            self.__exit__()
            check(False, "capture could not start")
        return self

    def __exit__(self, *_exception: object) -> None:
        self.wgc.wgc_session_destroy(self.handle)

    def frame(self) -> Any:
        """The latest frame, None before the first: (height, width, 4) bytes, blue first.

        A NumPy array (without NumPy, a memoryview) of memory of the session's, which holds the
        frame until the next frame() or the session's end. Copy what has to live longer."""
        frame, width, height, cursor = c_void_p(), c_uint32(), c_uint32(), c_bool()
        if not self.wgc.wgc_get_recent_frame(self.handle, byref(frame), None, byref(width),
                                             byref(height), byref(cursor)):
            return None
        shape = (height.value, width.value, 4)
        data = (ctypes.c_ubyte * (shape[0] * shape[1] * 4)).from_address(frame.value or 0)
        view = memoryview(data).cast("B", shape).toreadonly()
        return view if numpy is None else numpy.asarray(view)

    def ratio(self) -> float:
        """The share of the picture that the last frame changed; 0 until the next frame."""
        return float(self.wgc.wgc_get_update_ratio(self.handle))

    def running(self) -> bool:
        return bool(self.wgc.wgc_get_status(self.handle))

    def detect_changes(self, on: bool) -> None:
        self.wgc.wgc_set_dirty_rect(self.handle, on)

    def draw_cursor(self, on: bool) -> None:
        check(self.wgc.wgc_enable_cursor(self.handle, on), "the cursor cannot be drawn")

    def show_border(self, on: bool) -> None:
        check(self.wgc.wgc_show_border(self.handle, on), "the border cannot be hidden")


if __name__ == "__main__":
    try:
        check(len(sys.argv) == 3, "usage: quill_wgc.py TITLE FILE.bmp")
        window = ctypes.CDLL("user32").FindWindowW(None, sys.argv[1])  # handles have 32 bits
        check(window != 0, "no window has that title")
        with Session(load(), window) as session:
            end = time.monotonic() + 5
            while (frame := session.frame()) is None:
                check(time.monotonic() < end, "no frame in 5 seconds: is the window minimised?")
                time.sleep(0.01)
            height, width, _ = frame.shape
            Path(sys.argv[2]).write_bytes(struct.pack("<2sI4xIIiiHH24x", b"BM", 54 + frame.nbytes,
                                          54, 40, width, -height, 1, 32) + bytes(frame))
    except (OSError, RuntimeError) as error:
        sys.exit(f"quill_wgc.py: {error}")
