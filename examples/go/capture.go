// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// capture TITLE FILE.bmp saves one frame of the window with that title.
package main

import (
	"encoding/binary"
	"errors"
	"example/capture/quillwgc"
	"fmt"
	"os"
	"syscall"
	"time"
	"unsafe"
)

func run() error {
	if len(os.Args) != 3 {
		return errors.New("usage: capture TITLE FILE.bmp")
	}
	title, _ := syscall.UTF16PtrFromString(os.Args[1])
	window, _, _ := syscall.NewLazyDLL("user32.dll").NewProc("FindWindowW").Call(0, uintptr(unsafe.Pointer(title)))
	if window == 0 {
		return errors.New("no window has that title")
	}
	if err := quillwgc.Load(); err != nil {
		return err
	}
	session, err := quillwgc.Open(window)
	if err != nil {
		return err
	}
	defer session.Close()
	for end := time.Now().Add(5 * time.Second); time.Now().Before(end); time.Sleep(10 * time.Millisecond) {
		if pixels, width, height := session.Frame(); pixels != nil {
			bmp := []byte("BM")
			for _, field := range [13]uint32{54 + uint32(len(pixels)), 0, 54, 40, width, -height, 0x200001} {
				bmp = binary.LittleEndian.AppendUint32(bmp, field)
			}
			return os.WriteFile(os.Args[2], append(bmp, pixels...), 0o666)
		}
		if !session.Running() {
			return errors.New("the window was closed")
		}
	}
	return errors.New("no frame in 5 seconds: is the window minimised?")
}

func main() {
	if err := run(); err != nil {
		fmt.Fprintln(os.Stderr, "capture:", err)
		os.Exit(1)
	}
}
