// Copyright (c) 2026 the libquill-wgc authors
// SPDX-License-Identifier: MIT

#pragma once

#include <activation.h>

#include "common/object.h"

namespace standin {

// Base of the activation factories. None of the classes here can be made by plain activation: their
// objects come from statics, interop calls or other objects.
template <class... Statics>
class Factory : public RuntimeObject<IActivationFactory, Statics...> {
 public:
  HRESULT STDMETHODCALLTYPE ActivateInstance(IInspectable** instance) override {
    if (!instance) return E_POINTER;
    *instance = nullptr;
    return E_NOTIMPL;
  }

 protected:
  using RuntimeObject<IActivationFactory, Statics...>::RuntimeObject;
};

}  // namespace standin
