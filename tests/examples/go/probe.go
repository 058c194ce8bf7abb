// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// The probe that languages_test.cpp describes.
package main

import (
	"bufio"
	"example/capture/quillwgc"
	"fmt"
	"log"
	"math"
	"os"
	"syscall"
	"time"
	"unsafe"
)

var (
	wgc   = quillwgc.Functions
	input = bufio.NewReader(os.Stdin)
)

// pause waits for a line of input.
func pause(word string) {
	fmt.Println(word)
	if _, err := input.ReadString('\n'); err != nil {
		log.Fatal(err)
	}
}

// until polls until there is something.
func until(poll func() bool) {
	for end := time.Now().Add(20 * time.Second); !poll(); time.Sleep(5 * time.Millisecond) {
		if time.Now().After(end) {
			log.Fatal("nothing came")
		}
	}
}

func probeSession(window uintptr) {
	session, err := quillwgc.Open(window)
	if err != nil {
		log.Fatal(err)
	}
	defer session.Close()
	handle := uintptr(session)
	ratio := func() float32 {
		_, r2, _ := wgc["wgc_get_update_ratio"].Call(handle)
		return math.Float32frombits(uint32(r2))
	}
	wgc["wgc_set_dirty_rect"].Call(handle, 1)
	device, _, _ := wgc["wgc_get_device"].Call(handle)
	fmt.Printf("running %t, device %t\n", session.Running(), device != 0)

	var first []byte
	until(func() bool {
		var width, height uint32
		if first, width, height = session.Frame(); first != nil {
			fmt.Printf("frame %d x %d, ratio %.4f, then %.4f\n", width, height, ratio(), ratio())
		}
		return first != nil
	})
	_, err = quillwgc.Open(window)
	fmt.Println("second start:", err)
	pause("change")
	var changed float32
	until(func() bool {
		session.Frame()
		changed = ratio()
		return changed > 0
	})
	again, _, _ := session.Frame()
	same := &again[0] == &first[0] && len(again) == len(first)
	fmt.Printf("ratio %.4f, same memory %t, running %t\n", changed, same, session.Running())

	cursorSet := quillwgc.IsTrue(wgc["wgc_enable_cursor"].Call(handle, 1))
	borderSet := quillwgc.IsTrue(wgc["wgc_show_border"].Call(handle, 1))
	wgc["wgc_set_dirty_rect"].Call(handle, 0)
	wgc["wgc_set_capture_to_texture"].Call(handle, 1)
	pause("texture")
	// A texture begins with the address of IUnknown's three functions.
	var texture *struct{ functions *[3]uintptr }
	var width, height uint32
	var cursor bool
	until(func() bool {
		return quillwgc.IsTrue(wgc["wgc_get_recent_frame"].Call(handle, uintptr(unsafe.Pointer(&texture)), 0,
			uintptr(unsafe.Pointer(&width)), uintptr(unsafe.Pointer(&height)), uintptr(unsafe.Pointer(&cursor))))
	})
	wgc["wgc_free_recent_frame"].Call(handle, uintptr(unsafe.Pointer(texture)))
	references, _, _ := syscall.SyscallN(texture.functions[2], uintptr(unsafe.Pointer(texture)))
	fmt.Printf("cursor %t %t, border %t, texture %t\n", cursorSet, cursor, borderSet, references > 0)
}

func main() {
	title, _ := syscall.UTF16PtrFromString(os.Args[1])
	window, _, _ := syscall.NewLazyDLL("user32.dll").NewProc("FindWindowW").Call(0, uintptr(unsafe.Pointer(title)))
	if err := quillwgc.Load(); err != nil {
		log.Fatal(err)
	}
	fmt.Println("supported", quillwgc.IsTrue(wgc["is_wgc_session_supported"].Call()))
	_, err := quillwgc.OpenMonitor(0)
	fmt.Println("no monitor:", err)
	probeSession(window)

	errors := make(chan error)
	dead := func() {
		_, err := quillwgc.Open(0x7fff0)
		errors <- err
	}
	go dead()
	fmt.Println("dead window:", <-errors)
	for session := 1; session <= 9; session++ {
		go dead()
		<-errors
		if session == 1 {
			pause("dead windows")
		}
	}
	pause("more dead windows")
}
