// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "quill-grab/output/output_folder.h"

#include <windows.h>

#include "common/text.h"
#include "common/whole_file.h"

namespace quill_apps {

namespace {

constexpr char kFolderRemedy[] = "choose another folder with --out";

// std::filesystem would do, but with GCC its errors are not the system's own.
DWORD MakeFolders(const std::filesystem::path& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  if (attributes != INVALID_FILE_ATTRIBUTES) {
    return attributes & FILE_ATTRIBUTE_DIRECTORY ? ERROR_SUCCESS : ERROR_DIRECTORY;
  }
  const std::filesystem::path parent = path.parent_path();
  if (!parent.empty() && parent != path) {
    if (const DWORD error = MakeFolders(parent); error != ERROR_SUCCESS) return error;
  }
  if (CreateDirectoryW(path.c_str(), nullptr)) return ERROR_SUCCESS;
  const DWORD error = GetLastError();
  // "sub\\" has the parent "sub", which is the folder itself.
  return error == ERROR_ALREADY_EXISTS ? DWORD{ERROR_SUCCESS} : error;
}

bool IsFrameFile(const std::filesystem::path& path) {
  return path.extension() == L".png" && path.stem().wstring().starts_with(L"frame-");
}

}  // namespace

OutputFolder::OutputFolder(const std::string& path) : folder_(ToWide(path)) {
  folder_.make_preferred();
  if (const DWORD error = MakeFolders(folder_); error != ERROR_SUCCESS) {
    FailToWrite(ToUtf8(folder_.wstring()), error, kFolderRemedy);
  }
  CheckWritable(folder_ / L"quill-grab-trial", kFolderRemedy);
}

size_t OutputFolder::CountFrameFiles() const {
  size_t count = 0;
  std::error_code error;
  for (std::filesystem::directory_iterator entry(folder_, error), end; !error && entry != end;
       entry.increment(error)) {
    count += IsFrameFile(entry->path()) ? 1 : 0;
  }
  return count;
}

void OutputFolder::Write(const std::string& name, std::span<const uint8_t> bytes) const {
  WriteWholeFile(folder_ / ToWide(name), bytes, kFolderRemedy);
}

std::string FrameFileName(uint64_t number) {
  return Format("frame-%04llu.png", Number(number));
}

}  // namespace quill_apps
