// SPDX-License-Identifier: Apache-2.0
// A function of a library that is loaded when it is needed.
#pragma once

#include <dlfcn.h>

namespace host {

template <class Function>
bool find_symbol(void *library, const char *name, Function *function) {
  *function = reinterpret_cast<Function>(::dlsym(library, name));
  return *function != nullptr;
}

}  // namespace host
