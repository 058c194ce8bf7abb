// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

// minimal TITLE FILE.bmp
// Saves one frame of the topmost window whose title contains TITLE: a whole host in plain C.
//
// It is linked with the import library. To load the DLL at run time instead, call
// LoadLibraryW(L"libquill-wgc.dll") and GetProcAddress once for each function, by its plain name.
#include <libquill_wgc.h>
#include <stdio.h>
#include <wchar.h>

// The last error that the library logged. Errors are logged by the thread that made the call, here
// the only one.
static char reason[1024] = "no reason given";

static void keep_error(int level, const char* text, size_t length) {
  (void)length;
  if (level == WGC_LOG_ERROR) snprintf(reason, sizeof reason, "%s", text);
}

static int fail(const char* what, const char* detail) {
  fprintf(stderr, "minimal: %s%s\n", what, detail);
  return 1;
}

typedef struct Search {
  const wchar_t* part;
  HWND found;
} Search;

static BOOL CALLBACK match_title(HWND window, LPARAM parameter) {
  Search* search = (Search*)parameter;
  wchar_t title[256];
  // The terminal's title may well contain this very command line.
  if (!IsWindowVisible(window) || window == GetAncestor(GetConsoleWindow(), GA_ROOTOWNER) ||
      GetWindowTextW(window, title, 256) == 0 || wcsstr(title, search->part) == NULL) {
    return TRUE;
  }
  search->found = window;
  return FALSE;
}

// False when the file cannot be written whole.
static bool save_bmp(const wchar_t* path, const void* pixels, uint32_t width, uint32_t height) {
  const DWORD headers = sizeof(BITMAPFILEHEADER) + sizeof(BITMAPINFOHEADER);
  const DWORD bytes = width * height * 4;
  BITMAPFILEHEADER file_header = {0};
  file_header.bfType = 0x4D42;  // "BM"
  file_header.bfSize = headers + bytes;
  file_header.bfOffBits = headers;
  BITMAPINFOHEADER info = {0};
  info.biSize = sizeof info;
  info.biWidth = (LONG)width;
  info.biHeight = -(LONG)height;  // rows from top to bottom, as the frame has them
  info.biPlanes = 1;
  info.biBitCount = 32;  // blue, green, red and a byte without meaning

  FILE* file = NULL;
  if (_wfopen_s(&file, path, L"wb") != 0) return false;
  bool written = fwrite(&file_header, sizeof file_header, 1, file) == 1 &&
                 fwrite(&info, sizeof info, 1, file) == 1 && fwrite(pixels, bytes, 1, file) == 1;
  return fclose(file) == 0 && written;
}

// Polls until there is a frame, then saves it. Returns the program's exit code.
static int save_first_frame(void* session, const wchar_t* path) {
  const ULONGLONG end = GetTickCount64() + 5000;
  while (wgc_get_status(session) && GetTickCount64() < end) {
    void* frame;
    uint32_t width, height;
    bool cursor;
    if (wgc_get_recent_frame(session, &frame, NULL, &width, &height, &cursor)) {
      // The bytes are valid until the next wgc_get_recent_frame.
      bool saved = save_bmp(path, frame, width, height);
      wgc_free_recent_frame(session, frame);
      if (!saved) return fail("the file could not be written", "");
      printf("%u x %u pixels saved\n", width, height);
      return 0;
    }
    Sleep(10);
  }
  if (!wgc_get_status(session)) return fail("the window was closed", "");
  return fail("no frame came in 5 seconds: restore the window if it is minimised", "");
}

int wmain(int argc, wchar_t** argv) {
  if (argc != 3) return fail("usage: minimal TITLE FILE.bmp", "");
  if (!is_wgc_session_supported()) return fail("capture needs Windows 10 version 1903", "");

  Search search = {argv[1], NULL};
  EnumWindows(match_title, (LPARAM)&search);
  if (search.found == NULL) return fail("no visible window has that text in its title", "");

  wgc_register_logger(keep_error);
  void* session = wgc_session_create(search.found);
  if (session == NULL) return fail("memory is short", "");
  // From here on all on this thread: frames arrive on the one that starts the session.
  int exit_code = wgc_session_start(session) ? save_first_frame(session, argv[2])
                                             : fail("capture could not start: ", reason);
  wgc_session_destroy(session);
  return exit_code;
}
