// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// Package quillwgc captures windows and monitors through the libquill-wgc.dll beside the program.
package quillwgc

import (
	"bytes"
	"errors"
	"fmt"
	"os"
	"path/filepath"
	"runtime"
	"strings"
	"sync"
	"syscall"
	"unsafe"
)

var (
	// Functions has those of the DLL. A float is in the second result: math.Float32frombits(uint32(r2)).
	Functions = map[string]*syscall.LazyProc{}
	logger    = syscall.NewCallbackCDecl(keepProblem)
	problems  sync.Map // each thread's last warning or error: a failing call logs on its own thread
	threadID  = syscall.NewLazyDLL("kernel32.dll").NewProc("GetCurrentThreadId")
)

func keepProblem(level int32, text *byte, length uintptr) uintptr {
	if level > 1 {
		thread, _, _ := threadID.Call()
		line, _, _ := bytes.Cut(unsafe.Slice(text, length), []byte{0}) // a long line ends before length
		problems.Store(thread, string(line))
	}
	return 0
}

// Load loads the DLL. It must have succeeded before anything else is called.
func Load() error {
	program, _ := os.Executable()
	dll := syscall.NewLazyDLL(filepath.Join(filepath.Dir(program), "libquill-wgc.dll"))
	for _, name := range strings.Fields(`is_wgc_session_supported wgc_register_logger
		wgc_session_create wgc_session_create2 wgc_session_start wgc_session_destroy
		wgc_get_recent_frame wgc_free_recent_frame wgc_get_update_ratio wgc_get_status wgc_get_device
		wgc_enable_cursor wgc_show_border wgc_set_dirty_rect wgc_set_capture_to_texture`) {
		Functions[name] = dll.NewProc(name)
		if err := Functions[name].Find(); err != nil {
			return err
		}
	}
	Functions["wgc_register_logger"].Call(logger)
	// COM has to outlive the first session's thread, which ends with its goroutine.
	syscall.NewLazyDLL("ole32.dll").NewProc("CoIncrementMTAUsage").Call(uintptr(unsafe.Pointer(new(uintptr))))
	return nil
}

// IsTrue reads the results of a function that returns a bool: C sets only the lowest byte.
func IsTrue(result, _ uintptr, _ error) bool { return result&0xff != 0 }

type Session uintptr // a running capture, for the goroutine that opened it

// Open captures a window, OpenMonitor a monitor. Both need a goroutine that has opened none before.
func Open(window uintptr) (Session, error)         { return open("wgc_session_create", window) }
func OpenMonitor(monitor uintptr) (Session, error) { return open("wgc_session_create2", monitor) }

func open(create string, target uintptr) (Session, error) {
	runtime.LockOSThread() // for good: a thread can start one capture
	session, _, _ := Functions[create].Call(target)
	if session == 0 {
		return 0, errors.New("no session could be created")
	}
	if !IsTrue(Functions["wgc_session_start"].Call(session)) {
		defer Session(session).Close()
		thread, _, _ := threadID.Call()
		problem, _ := problems.LoadAndDelete(thread)
		return 0, fmt.Errorf("capture could not start: %v", problem)
	}
	return Session(session), nil
}

// Close ends the capture. Running is true until the window closes.
func (s Session) Close()        { Functions["wgc_session_destroy"].Call(uintptr(s)) }
func (s Session) Running() bool { return IsTrue(Functions["wgc_get_status"].Call(uintptr(s))) }

// Frame returns the latest frame, nil before the first: blue, green, red and alpha of each pixel, in
// memory of the session's that the next Frame overwrites.
func (s Session) Frame() (pixels []byte, width, height uint32) {
	var data unsafe.Pointer
	var cursor bool
	if IsTrue(Functions["wgc_get_recent_frame"].Call(uintptr(s), uintptr(unsafe.Pointer(&data)), 0,
		uintptr(unsafe.Pointer(&width)), uintptr(unsafe.Pointer(&height)), uintptr(unsafe.Pointer(&cursor)))) {
		pixels = unsafe.Slice((*byte)(data), int(width)*int(height)*4)
	}
	return pixels, width, height
}
