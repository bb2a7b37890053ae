// SPDX-License-Identifier: Apache-2.0
// The test's own versions of the calls that change files. They do what the system's do, and once recording is on, write
// down what they did. Linked into the program, they come before the C library's for every library in the process.
#pragma once

#include <string>

namespace crash {

// Which promises of the disk the trace leaves out, as if the program had not asked for them.
struct Dropped {
  bool file_syncs = false;       // fsync, fdatasync and msync of files
  bool durable_writes = false;   // O_DSYNC
  bool directory_syncs = false;  // fsync of the directory
};

// Everything below `directory` from now on, but LMDB's lock files, which hold nothing that a crash leaves valid.
void start_recording(const std::string &directory, const std::string &trace_path, Dropped dropped);

// Instead of recording: lets the call of that number, of those that would be recorded, fail with `error`, or write only
// half where `error` is 0.
struct Fault {
  int call = 0;
  int error = 0;
};
void start_failing(const std::string &directory, Fault fault);
bool has_failed();
void spare_calls(bool spared);  // while the test itself looks at the files

// The request that was under way has been answered.
void acknowledge();

}  // namespace crash
