// SPDX-License-Identifier: Apache-2.0
#include <cstring>

#include "schedcli.h"

void sch_strcpy(char *destination, const char *source, size_t size) {
  if (size == 0) return;
  if (source == nullptr) {
    destination[0] = '\0';
    return;
  }
  std::strncpy(destination, source, size);
  destination[size - 1] = '\0';
}
