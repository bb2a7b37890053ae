// SPDX-License-Identifier: Apache-2.0
// What a schedule is to the library, in bytes: its key and its record, in which a bit is its assigned job.
#include <cstdio>

#include "schedcli.h"

int main() {
  std::printf("%zu\n", sizeof(sch_config_key) + sizeof(sch_schedule_rec));
}
