/* Copyright (c) 2026 the libquill-wgc authors
 * SPDX-License-Identifier: MIT
 */
#ifndef LIBQUILL_WGC_H_
#define LIBQUILL_WGC_H_

/**
 * @file
 * libquill-wgc captures the picture of one top-level window or one monitor through Windows Graphics
 * Capture and hands out the most recent frame, as BGRA bytes or as a Direct3D 11 texture. It needs
 * Windows 10 version 1903. The DLL loads on version 1709 and later.
 *
 * Microsoft's documentation does not promise all that is said here about Windows; docs/windows.md
 * tells what it does.
 *
 * @code{.c}
 *   void* session = wgc_session_create(window);
 *   if (session != NULL && wgc_session_start(session)) {
 *     while (running) {
 *       void* frame;
 *       uint32_t width, height;
 *       bool cursor;
 *       if (wgc_get_recent_frame(session, &frame, NULL, &width, &height, &cursor)) {
 *         use(frame, width, height, width * 4);
 *         wgc_free_recent_frame(session, frame);
 *       }
 *       MsgWaitForMultipleObjects(0, NULL, FALSE, 16, QS_ALLINPUT);
 *     }
 *   }
 *   if (session != NULL) wgc_session_destroy(session);
 * @endcode
 *
 * @par Threads
 * The library starts no thread. The thread that calls wgc_session_start() becomes the session's
 * start thread: the platform delivers frames on it, and only while it pumps its Win32 messages,
 * which wgc_get_recent_frame() does. Start, poll, switch and destroy a session on that one thread.
 * Only wgc_get_status(), wgc_set_dirty_rect(), wgc_register_logger() and is_wgc_session_supported()
 * may be called from any thread. Sessions are independent of each other, each on its own thread.
 *
 * A thread starts one session in its life; for the next session, start a new thread. A start gives
 * its thread a dispatcher queue. Windows allows one queue per thread, and the queue stays with the
 * thread: destroying the session does not end it. On a thread that has a queue wgc_session_start()
 * fails, and a capture that runs on it goes on. The log has a `Winrt exception` line; Microsoft
 * does not document the HRESULT, which is taken to be -2147417842 (RPC_E_WRONG_THREAD).
 *
 * @par COM
 * The first session created in a process initialises COM for the multithreaded apartment on the
 * creating thread. Threads that initialise nothing, as start threads may, are in that apartment
 * only while a thread holds it: let the creating thread outlive all sessions, or keep COM
 * initialised yourself, by CoIncrementMTAUsage or on another thread.
 *
 * On a thread that already is a single-threaded apartment the initialisation fails, and a C++
 * exception (a winrt::hresult_error with RPC_E_CHANGED_MODE) leaves the create function. Only a
 * host built by the same compiler as the DLL can catch it; in any other the process ends. To be
 * safe, call `CoInitializeEx(NULL, COINIT_MULTITHREADED)` on the creating thread first, and create
 * the session only if that succeeds.
 *
 * @par Unloading
 * is_wgc_session_supported(), wgc_session_create() and wgc_session_create2() keep the DLL loaded
 * until the process ends; FreeLibrary has no effect after them. Windows may keep references to the
 * library's code. COM is left when the process ends, on the thread that ends it.
 *
 * @par Errors
 * There are no error codes: results say success or failure, and the log says why.
 */

#include <stddef.h>
#include <stdint.h>
#ifndef __cplusplus
#include <stdbool.h>
#endif

#include <windows.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Direct3D 11's device, as declared by d3d11.h, which a host includes only to use it. */
typedef struct ID3D11Device ID3D11Device;

/** The levels that a log callback receives. */
enum WgcLogLevel {
  WGC_LOG_INFO = 1,    /**< Progress, and switches that took effect. */
  WGC_LOG_WARNING = 2, /**< A switch that this Windows version cannot honour; nothing changed. */
  WGC_LOG_ERROR = 3    /**< A failed platform call or allocation. */
};

/**
 * Receives one log line.
 *
 * Runs on the thread that logs: a thread of the platform for "Wgc on_closed", and several threads
 * at once when several sessions run on several threads. Must not throw.
 *
 * @param level A WgcLogLevel.
 * @param text The line, without a line break, terminated by a NUL; it is gone when the callback
 *     returns.
 * @param length The number of characters of the line. Text is cut at 1022 characters; for such a
 *     line length is 1023 or 1024, so go by the NUL, not by length.
 */
typedef void (*WgcLogCallback)(int level, const char* text, size_t length);

/**
 * Tells whether this Windows has the API contract that capture relies on (universal contract 8 or
 * later). It does not tell whether the desktop can be captured now, or whether there is a graphics
 * adapter for it.
 *
 * Creates no session and logs nothing. In a process without COM it makes the multithreaded
 * apartment and keeps it. Any thread, but not from DllMain.
 *
 * @return True when the contract is there; false otherwise, or when Windows does not answer.
 */
bool is_wgc_session_supported(void);

/**
 * Makes cb the log callback of the whole process, replacing the previous one.
 *
 * Any thread, but without synchronisation: register before creating sessions, or accept that a line
 * on its way may still reach the previous callback.
 *
 * @param cb The callback; NULL turns the log off.
 */
void wgc_register_logger(WgcLogCallback cb);

/**
 * Creates a session for a top-level window. It captures nothing before wgc_session_start().
 *
 * The first call of the process initialises COM, which can raise an exception: see "COM" above.
 *
 * @param window The window. It is not checked here: with an invalid or null one,
 *     wgc_session_start() fails.
 * @return The session, which the caller owns and gives back with wgc_session_destroy(), or NULL
 *     when memory is short. Every switch is off: no cursor, no border, no change detection, frames
 *     as bytes.
 */
void* wgc_session_create(HWND window);

/**
 * Creates a session for a monitor; otherwise the same as wgc_session_create().
 *
 * @param monitor The monitor.
 * @return As wgc_session_create(); NULL also when monitor is null.
 */
void* wgc_session_create2(HMONITOR monitor);

/**
 * Creates the Direct3D device and the capture objects, and starts capturing. Makes the calling
 * thread the session's start thread and gives it a dispatcher queue, for good: call it once in a
 * thread's life.
 *
 * @param session A session. A second start on its thread fails, and a capture that runs goes on
 *     with all that it had.
 * @return True when capture runs. On false the log has a WGC_LOG_ERROR line with the reason; a
 *     session that did not run before then is good for nothing but wgc_session_destroy().
 */
bool wgc_session_start(void* session);

/**
 * Stops capturing, frees the session and everything it owns: the frame bytes handed out become
 * invalid; textures handed out live on until the host releases its references. Start thread.
 *
 * It must be the last call on the session: not while another thread is inside one, and not from a
 * message that a poll of the session dispatches, such as a window procedure of the host's, as the
 * poll goes on with the session afterwards. The platform may be telling the session on a thread of
 * its own that the window is gone: that handler logs "Wgc on_closed" and then turns
 * wgc_get_status() false, which is the last that it does with the session. Whether Windows waits
 * for it to end is not documented.
 *
 * @param session A live session. A null pointer is not ignored: it is a fault.
 */
void wgc_session_destroy(void* session);

/**
 * Lets waiting frames arrive, then reports the most recent one. Start thread; on another thread no
 * frame can arrive. Never waits for a frame.
 *
 * The call first pumps the thread's message queue until it is empty: all messages of the thread,
 * those of the host's own windows included, are dispatched. A WM_QUIT is removed and lost.
 *
 * What frame receives was chosen by wgc_set_capture_to_texture():
 *
 * - Bytes (the default): the address of the pixels, rows from top to bottom, each exactly
 *   `*width * 4` bytes without padding, four bytes a pixel: blue, green, red, alpha. They belong to
 *   the session and are valid until the next call of this function (or anything else that
 *   dispatches this thread's messages), which overwrites or moves them.
 * - Texture: an `ID3D11Texture2D*` on the device of wgc_get_device(), of `*width` x `*height`
 *   pixels, one mip level, DXGI_FORMAT_B8G8R8A8_UNORM, default usage, bindable as a render target.
 *   Each true result adds a reference that the host must Release. Later frames are drawn into the
 *   same texture until the frame size changes. Use it on the start thread between two calls.
 *
 * The size is that of the platform's frame texture. While a captured window is being resized it may
 * for some frames still be the old size, with the picture in its top left corner.
 *
 * No pointer but reserved may be null.
 *
 * @param session The session.
 * @param[out] frame On true receives the frame; on false it is left as it was.
 * @param reserved Not used; NULL will do.
 * @param[out] width Always receives the width in pixels of the most recent frame, 0 before the
 *     first.
 * @param[out] height Always receives its height in pixels, 0 before the first.
 * @param[out] cursor_enabled Always receives the cursor switch (see wgc_enable_cursor()).
 * @return True when there is a frame; the same frame is reported again until a newer one arrives.
 *     Never true before the first frame.
 */
bool wgc_get_recent_frame(void* session, void** frame, void* reserved, uint32_t* width,
                          uint32_t* height, bool* cursor_enabled);

/**
 * Does nothing: frame bytes belong to the session, and the host gives a texture back with Release.
 * Exists so that each frame has a pair of calls.
 *
 * @param session Not used.
 * @param frame Not used.
 */
void wgc_free_recent_frame(void* session, void* frame);

/**
 * Returns how much of the picture the last frame changed, and resets that measure to 0.
 *
 * With change detection (wgc_set_dirty_rect()) this is the changed share of the area, 0.0 to 1.0,
 * counted in tiles of 32 x 32 pixels. The last tile column and row, and everything right of 4096
 * pixels, are not compared. In byte output each frame is compared with the previous frame that
 * detection saw in byte output; in texture output every frame is compared with the same one. If
 * detection has run in texture output only, that is a new texture, whose contents are undefined.
 *
 * In byte output, 0.0 means that the bytes did not change. A frame that equals the one it was
 * compared with is copied all the same, and counts as not compared, when the bytes hold another
 * frame or none.
 *
 * Start thread; from another thread a value may be lost.
 *
 * Detection needs an adapter of feature level 11.0 that can load R8_UINT from unordered-access
 * views (D3D11_FEATURE_DATA_D3D11_OPTIONS2::TypedUAVLoadAdditionalFormats). Below that level no
 * frame is compared; without such loads results are undefined.
 *
 * @param session The session.
 * @return The changed share. 1.0 for a frame that was not compared: every frame without detection,
 *     and the first of a size that detection meets (0.0 for it in texture output). 0.0 also when
 *     no frame has arrived since the previous call.
 */
float wgc_get_update_ratio(void* session);

/**
 * Tells whether the capture runs. Any thread.
 *
 * @param session The session.
 * @return True from a successful wgc_session_start() until the platform closes the captured item,
 *     which it does when the window is destroyed or the monitor goes away.
 */
bool wgc_get_status(void* session);

/**
 * Returns the device that captures, for sharing. Use its immediate context on the start thread
 * only.
 *
 * @param session The session.
 * @return The device; null until wgc_session_start() has made one, and kept when that start fails
 *     later on. Borrowed: no reference is added, and it lives as long as the session.
 */
ID3D11Device* wgc_get_device(void* session);

/**
 * Shows or hides the mouse cursor in the frames; takes effect at once. Start thread.
 *
 * @param session The session.
 * @param enable True to show it.
 * @return False, with a WGC_LOG_WARNING line, when this Windows has no such switch (enable only).
 */
bool wgc_enable_cursor(void* session, bool enable);

/**
 * Shows or hides the coloured border that Windows draws around what is captured; takes effect at
 * once. Start thread.
 *
 * Hiding is a request: Windows ignores it without the user's consent to a borderless capture, and
 * while another program shows a border on the same target. The library does not ask for the
 * consent.
 *
 * @param session The session.
 * @param show True to show it.
 * @return False, with a WGC_LOG_WARNING line, when this Windows has no such switch (hide only).
 */
bool wgc_show_border(void* session, bool show);

/**
 * Turns change detection on or off from the next frame on: see wgc_get_update_ratio(). A frame
 * found unchanged is not copied to the CPU again. Any thread.
 *
 * @param session The session.
 * @param enable True to detect changes.
 */
void wgc_set_dirty_rect(void* session, bool enable);

/**
 * Selects textures or bytes as the form in which frames are handed out, from the next frame and the
 * next wgc_get_recent_frame() on. Start thread.
 *
 * After a switch back to bytes, and until a frame arrives, the bytes are those of the last frame
 * handed out as bytes, while width and height are those of the last frame in either form. If the
 * target may have grown meanwhile, do not read the bytes before a frame has arrived: clear the
 * measure with wgc_get_update_ratio(), and poll with detection off until it is 1.0.
 *
 * After a switch back to textures, and until a frame arrives, the texture is the last one handed
 * out, while width and height are those of the last frame in either form; the texture's own GetDesc
 * tells its size.
 *
 * @param session The session.
 * @param enable True for a texture, false for bytes.
 */
void wgc_set_capture_to_texture(void* session, bool enable);

#ifdef __cplusplus
}
#endif

#endif /* LIBQUILL_WGC_H_ */
