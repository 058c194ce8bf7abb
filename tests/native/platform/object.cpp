// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#include "native/platform/object.h"

namespace fake {

std::string InterfaceName(REFIID id) {
  if (id == __uuidof(::IUnknown)) return "IUnknown";
  if (id == __uuidof(IAgileObject)) return "IAgileObject";
  for (const auto& [known, name] : kInterfaceNames) {
    if (*known == id) return name;
  }
  return "?";
}

std::string NameOf(::IUnknown* object) {
  if (object == nullptr) return "null";
  const auto* const known = dynamic_cast<Object*>(object);
  return known ? known->Name() : "a stranger";
}

Object::Object(const char* kind) : name_(NewName(kind)) {
  CountObject(1);
}

Object::~Object() {
  Note("~" + name_);
  CountObject(-1);
}

ULONG Object::AddReference() {
  const bool recorded = IsRecordingReferences();
  const OutsideLibrary outside;
  if (recorded) Note(name_ + ".AddRef()");
  const ULONG before = references_.fetch_add(1, std::memory_order_relaxed);
  if (before == 0) {
    Retain();
    OnReferencedAgain();
  }
  return before + 1;
}

ULONG Object::ReleaseReference() {
  const bool recorded = IsRecordingReferences();
  const OutsideLibrary outside;
  if (recorded) Note(name_ + ".Release()");
  const ULONG before = references_.fetch_sub(1, std::memory_order_acq_rel);
  if (before == 1) {
    OnUnreferenced();
    Drop();
  }
  return before - 1;
}

void Object::Drop() {
  if (alive_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
}

}  // namespace fake
