// SPDX-License-Identifier: Apache-2.0
#include "tests/host/crash/recorder.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <mutex>
#include <string_view>

#include "tests/host/crash/trace.h"

namespace crash {
namespace {

constexpr std::size_t descriptor_limit = 1024;

struct Recorder {
  std::mutex order;
  int trace = -1;
  std::string directory;
  Dropped dropped;
  struct Descriptor {
    bool recorded = false, directory = false, durable = false;
  };
  std::array<Descriptor, descriptor_limit> descriptors;
  Fault fault;
  int calls = 0;  // that might have failed
  bool spared = false;
};

Recorder *recorder = nullptr;  // null: nothing is recorded

void put(std::string *line, const std::string &text) {
  const auto size = static_cast<uint32_t>(text.size());
  line->append(reinterpret_cast<const char *>(&size), sizeof size);
  line->append(text);
}

void put(std::string *line, uint64_t number) {
  line->append(reinterpret_cast<const char *>(&number), sizeof number);
}

// Whether this call is the one to fail; errno is then set.
bool fails_now(bool can_be_cut = false) {
  if (recorder->fault.call == 0 || recorder->spared || ++recorder->calls != recorder->fault.call) return false;
  errno = recorder->fault.error;
  return recorder->fault.error != 0 || can_be_cut;
}

void record(const Event &event) {
  if (recorder->trace < 0) return;
  std::string line;
  put(&line, static_cast<uint64_t>(event.call));
  put(&line, static_cast<uint64_t>(event.descriptor));
  put(&line, event.offset);
  put(&line, uint64_t{event.durable} | uint64_t{event.creates} << 1 | uint64_t{event.truncates} << 2 |
                 uint64_t{event.directory} << 3);
  put(&line, event.name);
  put(&line, event.new_name);
  put(&line, event.data);
  const std::lock_guard lock(recorder->order);
  for (std::size_t done = 0; done < line.size();) {
    const long written = syscall(SYS_write, recorder->trace, line.data() + done, line.size() - done);
    if (written < 0) _exit(120);
    done += static_cast<std::size_t>(written);
  }
}

// The name below the directory; false for what is elsewhere or a lock file.
bool is_recorded(const char *path, std::string *name) {
  if (recorder == nullptr) return false;
  const std::string_view text = path;
  if (!text.starts_with(recorder->directory)) return false;
  *name = text.substr(recorder->directory.size());
  if (name->starts_with('/')) name->erase(0, 1);
  return !name->ends_with("-lock");
}

Recorder::Descriptor *recorded(int descriptor) {
  if (recorder == nullptr || descriptor < 0 || static_cast<std::size_t>(descriptor) >= descriptor_limit) return nullptr;
  Recorder::Descriptor &found = recorder->descriptors[static_cast<std::size_t>(descriptor)];
  return found.recorded ? &found : nullptr;
}

int open_file(const char *path, int flags, mode_t mode) {
  std::string name;
  const bool below = is_recorded(path, &name);
  if (below && fails_now()) return -1;
  const int result = static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
  if (result < 0 || !below || static_cast<std::size_t>(result) >= descriptor_limit) return result;
  Event event{Call::open, result};
  event.name = name;
  event.creates = (flags & O_CREAT) != 0;
  event.truncates = (flags & O_TRUNC) != 0;
  event.directory = name.empty() || (flags & O_DIRECTORY) != 0;
  recorder->descriptors[static_cast<std::size_t>(result)] = {true, event.directory, (flags & O_DSYNC) != 0};
  record(event);
  return result;
}

void record_write(int descriptor, off_t offset, std::string data) {
  const Recorder::Descriptor *found = recorded(descriptor);
  if (found == nullptr) return;
  Event event{Call::write, descriptor};
  event.offset = static_cast<uint64_t>(offset);
  event.durable = found->durable && !recorder->dropped.durable_writes;
  event.data = std::move(data);
  record(event);
}

std::string written_part(const iovec *parts, int count, ssize_t written) {
  std::string data;
  for (int i = 0; i < count; ++i)
    data.append(static_cast<const char *>(parts[i].iov_base), parts[i].iov_len);
  data.resize(static_cast<std::size_t>(written));
  return data;
}

// How much of a write is to be written; 0: none, it fails.
std::size_t share(int descriptor, std::size_t size) {
  if (recorded(descriptor) == nullptr || !fails_now(true)) return size;
  return recorder->fault.error != 0 ? 0 : size / 2;
}

int sync_file(long number, int descriptor) {
  if (recorded(descriptor) != nullptr && fails_now()) return -1;
  const int result = static_cast<int>(syscall(number, descriptor));
  const Recorder::Descriptor *found = result == 0 ? recorded(descriptor) : nullptr;
  if (found == nullptr) return result;
  const bool dropped = found->directory ? recorder->dropped.directory_syncs : recorder->dropped.file_syncs;
  if (!dropped) record({Call::sync, descriptor});
  return result;
}

}  // namespace

void start_recording(const std::string &directory, const std::string &trace_path, Dropped dropped) {
  auto *started = new Recorder;
  started->directory = directory;
  started->dropped = dropped;
  started->trace = static_cast<int>(
      syscall(SYS_openat, AT_FDCWD, trace_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
  recorder = started;
}

void start_failing(const std::string &directory, Fault fault) {
  auto *started = new Recorder;
  started->directory = directory;
  started->fault = fault;
  recorder = started;
}

void spare_calls(bool spared) {
  recorder->spared = spared;
}

bool has_failed() {
  return recorder->calls >= recorder->fault.call;
}

void acknowledge() {
  if (recorder != nullptr) record({Call::acknowledge});
}

}  // namespace crash

// Named by assembler label: the system's headers declare these with attributes of their own.
extern "C" {

int recorded_open(const char *path, int flags, ...) __asm__("open");
int recorded_open64(const char *path, int flags, ...) __asm__("open64");
int recorded_close(int descriptor) __asm__("close");
ssize_t recorded_write(int descriptor, const void *data, size_t size) __asm__("write");
ssize_t recorded_pwrite(int descriptor, const void *data, size_t size, off_t offset) __asm__("pwrite");
ssize_t recorded_pwrite64(int descriptor, const void *data, size_t size, off_t offset) __asm__("pwrite64");
ssize_t recorded_writev(int descriptor, const iovec *parts, int count) __asm__("writev");
ssize_t recorded_pwritev(int descriptor, const iovec *parts, int count, off_t offset) __asm__("pwritev");
ssize_t recorded_pwritev64(int descriptor, const iovec *parts, int count, off_t offset) __asm__("pwritev64");
int recorded_ftruncate(int descriptor, off_t size) __asm__("ftruncate");
int recorded_ftruncate64(int descriptor, off_t size) __asm__("ftruncate64");
int recorded_posix_fallocate(int descriptor, off_t offset, off_t size) __asm__("posix_fallocate");
int recorded_posix_fallocate64(int descriptor, off_t offset, off_t size) __asm__("posix_fallocate64");
int recorded_mkdir(const char *path, mode_t mode) __asm__("mkdir");
int recorded_rename(const char *from, const char *to) __asm__("rename");
int recorded_unlink(const char *path) __asm__("unlink");
int recorded_fsync(int descriptor) __asm__("fsync");
int recorded_fdatasync(int descriptor) __asm__("fdatasync");
int recorded_msync(void *address, size_t length, int flags) __asm__("msync");

int recorded_open(const char *path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const auto mode = static_cast<mode_t>((flags & O_CREAT) != 0 ? va_arg(arguments, int) : 0);
  va_end(arguments);
  return crash::open_file(path, flags, mode);
}

int recorded_open64(const char *path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const auto mode = static_cast<mode_t>((flags & O_CREAT) != 0 ? va_arg(arguments, int) : 0);
  va_end(arguments);
  return crash::open_file(path, flags, mode);
}

int recorded_close(int descriptor) {
  if (crash::Recorder::Descriptor *found = crash::recorded(descriptor)) {
    crash::record({crash::Call::close, descriptor});
    found->recorded = false;
  }
  return static_cast<int>(syscall(SYS_close, descriptor));
}

ssize_t recorded_write(int descriptor, const void *data, size_t all) {
  const size_t size = crash::share(descriptor, all);
  if (size == 0 && all != 0) return -1;
  const bool is_recorded = crash::recorded(descriptor) != nullptr;
  const off_t offset = is_recorded ? lseek(descriptor, 0, SEEK_CUR) : 0;
  const ssize_t result = syscall(SYS_write, descriptor, data, size);
  if (is_recorded && result > 0) {
    crash::record_write(descriptor, offset, {static_cast<const char *>(data), static_cast<std::size_t>(result)});
  }
  return result;
}

ssize_t recorded_pwrite(int descriptor, const void *data, size_t all, off_t offset) {
  const size_t size = crash::share(descriptor, all);
  if (size == 0 && all != 0) return -1;
  const ssize_t result = syscall(SYS_pwrite64, descriptor, data, size, offset);
  if (result > 0) {
    crash::record_write(descriptor, offset, {static_cast<const char *>(data), static_cast<std::size_t>(result)});
  }
  return result;
}

ssize_t recorded_pwrite64(int descriptor, const void *data, size_t size, off_t offset) {
  return recorded_pwrite(descriptor, data, size, offset);
}

ssize_t recorded_writev(int descriptor, const iovec *parts, int count) {
  const bool is_recorded = crash::recorded(descriptor) != nullptr;
  const off_t offset = is_recorded ? lseek(descriptor, 0, SEEK_CUR) : 0;
  const ssize_t result = syscall(SYS_writev, descriptor, parts, count);
  if (is_recorded && result > 0) {
    crash::record_write(descriptor, offset, crash::written_part(parts, count, result));
  }
  return result;
}

// A cut one writes the first half of its parts.
ssize_t recorded_pwritev(int descriptor, const iovec *parts, int all, off_t offset) {
  const int count = static_cast<int>(crash::share(descriptor, static_cast<std::size_t>(all)));
  if (count == 0) return -1;
  const ssize_t result = syscall(SYS_pwritev, descriptor, parts, count, offset, 0L);
  if (result > 0) crash::record_write(descriptor, offset, crash::written_part(parts, count, result));
  return result;
}

ssize_t recorded_pwritev64(int descriptor, const iovec *parts, int count, off_t offset) {
  return recorded_pwritev(descriptor, parts, count, offset);
}

int recorded_ftruncate(int descriptor, off_t size) {
  if (crash::recorded(descriptor) != nullptr && crash::fails_now()) return -1;
  const int result = static_cast<int>(syscall(SYS_ftruncate, descriptor, size));
  if (result == 0 && crash::recorded(descriptor) != nullptr) {
    crash::Event event{crash::Call::truncate, descriptor};
    event.offset = static_cast<uint64_t>(size);
    crash::record(event);
  }
  return result;
}

int recorded_ftruncate64(int descriptor, off_t size) {
  return recorded_ftruncate(descriptor, size);
}

// Of a new file: it gets its size, and no data.
int recorded_posix_fallocate(int descriptor, off_t offset, off_t size) {
  if (fallocate(descriptor, 0, offset, size) != 0) return errno;
  if (crash::recorded(descriptor) != nullptr) {
    crash::Event event{crash::Call::truncate, descriptor};
    event.offset = static_cast<uint64_t>(offset + size);
    crash::record(event);
  }
  return 0;
}

int recorded_posix_fallocate64(int descriptor, off_t offset, off_t size) {
  return recorded_posix_fallocate(descriptor, offset, size);
}

int recorded_mkdir(const char *path, mode_t mode) {
  crash::Event event{crash::Call::make_directory};
  const bool below = crash::is_recorded(path, &event.name);
  const int result = static_cast<int>(syscall(SYS_mkdirat, AT_FDCWD, path, mode));
  if (result == 0 && below) crash::record(event);
  return result;
}

int recorded_rename(const char *from, const char *to) {
  crash::Event event{crash::Call::rename};
  const bool below = crash::is_recorded(from, &event.name) && crash::is_recorded(to, &event.new_name);
  if (below && crash::fails_now()) return -1;
  const int result = static_cast<int>(syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, 0));
  if (result == 0 && below) crash::record(event);
  return result;
}

int recorded_unlink(const char *path) {
  crash::Event event{crash::Call::unlink};
  const bool below = crash::is_recorded(path, &event.name);
  if (below && crash::fails_now()) return -1;
  const int result = static_cast<int>(syscall(SYS_unlinkat, AT_FDCWD, path, 0));
  if (result == 0 && below) crash::record(event);
  return result;
}

int recorded_fsync(int descriptor) {
  return crash::sync_file(SYS_fsync, descriptor);
}
int recorded_fdatasync(int descriptor) {
  return crash::sync_file(SYS_fdatasync, descriptor);
}

// The store never writes through its map: a sync of one would be a change that this recorder cannot see.
int recorded_msync(void *address, size_t length, int flags) {
  if (crash::recorder != nullptr) _exit(121);
  return static_cast<int>(syscall(SYS_msync, address, length, flags));
}

}  // extern "C"
