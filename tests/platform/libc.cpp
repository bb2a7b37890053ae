// SPDX-License-Identifier: Apache-2.0
// libc calls as the library under test sees them: the real ones unless a test scripts them. The linker's --wrap sends
// the calls of everything linked statically here, so the real ones serve whenever no test of the fixture runs.
#include <execinfo.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "tests/platform/state.h"

using namespace platform_test;

namespace {

constexpr char assert_log[] = "/log/assert-backtrace";
int assert_log_descriptor = -1;

bool is_assert_log(int descriptor) {
  return descriptor >= 0 && descriptor == assert_log_descriptor;
}

int fail(int error) {
  errno = error;
  return -1;
}

bool allocation_fails() {
  return fake.scripted_libc && fake.libc_alloc.nth != 0 && fake.libc_alloc.fails();
}

}  // namespace

extern "C" {

void *__real_malloc(size_t size);
void *__real_calloc(size_t count, size_t size);
void *__real_realloc(void *memory, size_t size);
time_t __real_time(time_t *result);
int __real_gethostname(char *name, size_t size);
int __real_stat(const char *path, struct stat *status);
int __real_open(const char *path, int flags, ...);
int __real_close(int descriptor);
int __real_fstat(int descriptor, struct stat *status);
ssize_t __real_write(int descriptor, const void *data, size_t length);
int __real_backtrace(void **addresses, int size);
void __real_backtrace_symbols_fd(void *const *addresses, int size, int descriptor);

void *__wrap_malloc(size_t size) {
  return allocation_fails() ? nullptr : __real_malloc(size);
}

void *__wrap_calloc(size_t count, size_t size) {
  return allocation_fails() ? nullptr : __real_calloc(count, size);
}

void *__wrap_realloc(void *memory, size_t size) {
  return allocation_fails() ? nullptr : __real_realloc(memory, size);
}

time_t __wrap_time(time_t *result) {
  if (!fake.scripted_libc || fake.now == 0) return __real_time(result);
  if (result != nullptr) *result = fake.now;
  return fake.now;
}

int __wrap_gethostname(char *name, size_t size) {
  if (!fake.scripted_libc) return __real_gethostname(name, size);
  note("gethostname %zu", size);
  if (fake.gethostname_result == 0) std::strncpy(name, fake.host_name.c_str(), size);
  return fake.gethostname_result;
}

int __wrap_stat(const char *path, struct stat *status) {
  if (!fake.scripted_libc) return __real_stat(path, status);
  note("stat %s", path);
  if (!fake.existing_files.contains(path)) return fail(ENOENT);
  *status = {};
  status->st_mode = S_IFREG | S_IRUSR | S_IWUSR;
  return 0;
}

int __wrap_open(const char *path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const int mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, int) : 0;
  va_end(arguments);
  if (!fake.scripted_libc || std::strcmp(path, assert_log) != 0) return __real_open(path, flags, mode);
  note("open %s 0x%x %#o", path, static_cast<unsigned>(flags), static_cast<unsigned>(mode));
  if (!fake.assert_log_opens) return fail(EACCES);
  assert_log_descriptor = __real_open("/dev/null", O_WRONLY);
  return assert_log_descriptor;
}

int __wrap_close(int descriptor) {
  if (is_assert_log(descriptor)) {
    note("close assertion log");
    assert_log_descriptor = -1;
  }
  return __real_close(descriptor);
}

int __wrap_fstat(int descriptor, struct stat *status) {
  if (!is_assert_log(descriptor)) return __real_fstat(descriptor, status);
  note("fstat assertion log");
  if (fake.assert_log_size < 0) return fail(EIO);
  *status = {};
  status->st_size = fake.assert_log_size;
  return 0;
}

ssize_t __wrap_write(int descriptor, const void *data, size_t length) {
  if (!is_assert_log(descriptor)) return __real_write(descriptor, data, length);
  fake.assert_writes.push_back(bytes_of(data, length));
  note("write assertion log %zu", length);
  return static_cast<ssize_t>(length);
}

int __wrap_backtrace(void **addresses, int size) {
  if (fake.scripted_libc) note("backtrace %d", size);
  return __real_backtrace(addresses, size);
}

void __wrap_backtrace_symbols_fd(void *const *addresses, int size, int descriptor) {
  if (!is_assert_log(descriptor)) return __real_backtrace_symbols_fd(addresses, size, descriptor);
  fake.assert_backtrace = size;
  note("backtrace_symbols_fd assertion log");
}

void __wrap_syslog(int priority, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  fake.libc_syslog.emplace_back(priority, format_text(format, arguments));
  va_end(arguments);
  note("syslog %d %s", priority, fake.libc_syslog.back().second.c_str());
}
}
