// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/output/byte_sink.h"

#include <algorithm>
#include <string_view>

#include "common/error.h"
#include "common/text.h"
#include "common/whole_file.h"

namespace quill_apps {

namespace {

bool IsPipeName(const std::string& name) {
  constexpr std::wstring_view kPrefix = L"\\\\.\\pipe\\";
  const std::wstring wide = ToWide(name);
  return wide.size() > kPrefix.size() &&
         CompareStringOrdinal(wide.c_str(), static_cast<int>(kPrefix.size()), kPrefix.data(),
                              static_cast<int>(kPrefix.size()), TRUE) == CSTR_EQUAL;
}

HANDLE Open(const std::string& name, DWORD disposition) {
  return CreateFileW(ToWide(name).c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, disposition,
                     FILE_ATTRIBUTE_NORMAL, nullptr);
}

// Wine reports ERROR_PIPE_NOT_CONNECTED for a pipe whose reader is a Unix program.
bool IsReaderGone(DWORD error) {
  return error == ERROR_BROKEN_PIPE || error == ERROR_NO_DATA || error == ERROR_PIPE_NOT_CONNECTED;
}

}  // namespace

ByteSink::ByteSink(const std::string& name, const char* option, Console& console,
                   const std::atomic<bool>& interrupted)
    : name_(name), remedy_(std::string("choose another file with ") + option) {
  if (name_ == kStandardOutput) {
    file_ = GetStdHandle(STD_OUTPUT_HANDLE);
    name_ = "standard output";
  } else if (IsPipeName(name_)) {
    OpenPipe(console, interrupted);
  } else {
    Own(Open(name_, CREATE_ALWAYS));
  }
  is_file_ = GetFileType(file_) == FILE_TYPE_DISK;
}

ByteSink::~ByteSink() {
  // Closing the end that created a pipe discards what the reader has not read yet.
  if (event_) FlushFileBuffers(file_);
}

// Throws for the INVALID_HANDLE_VALUE of a call that has just failed.
void ByteSink::Own(HANDLE file) {
  if (file == INVALID_HANDLE_VALUE) Fail(GetLastError());
  owned_.reset(file);
  file_ = file;
}

void ByteSink::OpenPipe(Console& console, const std::atomic<bool>& interrupted) {
  const HANDLE existing = Open(name_, OPEN_EXISTING);
  if (existing != INVALID_HANDLE_VALUE || GetLastError() != ERROR_FILE_NOT_FOUND) {
    Own(existing);
    return;
  }
  constexpr DWORD kBuffer = 1 << 20;
  Own(CreateNamedPipeW(ToWide(name_).c_str(),
                       PIPE_ACCESS_OUTBOUND | FILE_FLAG_FIRST_PIPE_INSTANCE | FILE_FLAG_OVERLAPPED,
                       PIPE_TYPE_BYTE | PIPE_REJECT_REMOTE_CLIENTS, 1, kBuffer, kBuffer, 0,
                       nullptr));
  event_.reset(CreateEventW(nullptr, TRUE, FALSE, nullptr));
  if (!event_) Fail(GetLastError());
  console.PrintLine("Waiting for the reader of " + name_);
  WaitForReader(interrupted);
}

void ByteSink::WaitForReader(const std::atomic<bool>& interrupted) {
  OVERLAPPED call{};
  call.hEvent = event_.get();
  if (ConnectNamedPipe(file_, &call) || GetLastError() == ERROR_PIPE_CONNECTED) return;
  if (GetLastError() != ERROR_IO_PENDING) Fail(GetLastError());
  constexpr DWORD kSliceMilliseconds = 50;
  while (WaitForSingleObject(event_.get(), kSliceMilliseconds) == WAIT_TIMEOUT) {
    if (!interrupted) continue;
    DWORD ignored;
    CancelIo(file_);
    GetOverlappedResult(file_, &call, &ignored, TRUE);
    throw ToolError(ExitCode::kNoFrame,
                    "interrupted before any frame arrived: no program has "
                    "opened " +
                        name_ + " for reading");
  }
}

void ByteSink::Write(std::span<const uint8_t> bytes) {
  LARGE_INTEGER begin{};
  if (is_file_) SetFilePointerEx(file_, {}, &begin, FILE_CURRENT);
  while (!bytes.empty()) {
    DWORD written = 0;
    DWORD error = WriteSome(bytes, written);
    // A full volume may report success and write nothing.
    if (error == ERROR_SUCCESS && written == 0) error = ERROR_DISK_FULL;
    if (error != ERROR_SUCCESS) {
      if (is_file_ && SetFilePointerEx(file_, begin, nullptr, FILE_BEGIN)) SetEndOfFile(file_);
      Fail(error);
    }
    bytes = bytes.subspan(written);
  }
}

// Returns ERROR_SUCCESS or the reason for the failure.
DWORD ByteSink::WriteSome(std::span<const uint8_t> bytes, DWORD& written) {
  constexpr size_t kChunk = size_t{1} << 22;
  const DWORD size = static_cast<DWORD>(std::min(bytes.size(), kChunk));
  if (!event_) {
    return WriteFile(file_, bytes.data(), size, &written, nullptr) ? ERROR_SUCCESS : GetLastError();
  }
  OVERLAPPED call{};
  call.hEvent = event_.get();
  if (!WriteFile(file_, bytes.data(), size, nullptr, &call) && GetLastError() != ERROR_IO_PENDING) {
    return GetLastError();
  }
  return GetOverlappedResult(file_, &call, &written, TRUE) ? ERROR_SUCCESS : GetLastError();
}

void ByteSink::Fail(DWORD error) const {
  if (IsReaderGone(error)) {
    throw ToolError(ExitCode::kReaderGone, "the reader of the stream has gone: it closed " + name_ +
                                               "; see its own messages for the reason");
  }
  FailToWrite(name_, error, remedy_);
}

}  // namespace quill_apps
