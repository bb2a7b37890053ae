// SPDX-License-Identifier: Apache-2.0
// fill_log FILE OUTPUT: fills a job log with records of so many bytes of output.
#include <cstdio>
#include <cstdlib>

#include "service/joblog/log_volume.h"

int main(int count, char **arguments) {
  if (count != 3) return 2;
  const auto volume = service::LogVolume::open(arguments[1]);
  if (!volume) {
    std::fprintf(stderr, "fill_log: %s\n", volume.error().text.c_str());
    return 1;
  }
  service::LogRecord record;
  record.job = "bench";
  record.schedule = "bench";
  record.user = "root";
  record.owner_tag = 1;
  record.completion = 1700000000;
  record.output = std::string(static_cast<size_t>(std::atol(arguments[2])) - 1, 'x') + "\n";
  record.output_total = record.output.size();
  // Twice what it holds, so that it has wrapped.
  for (uint64_t written = 0; written < 2 * uint64_t{(*volume)->file().head().size};
       written += record.output.size() + 128)
    if (!(*volume)->append(record)) return 1;
  return (*volume)->sync() ? 0 : 1;
}
