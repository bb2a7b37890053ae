// SPDX-License-Identifier: Apache-2.0
#include "host/loop/worker.h"

#include <poll.h>
#include <signal.h>
#include <sys/eventfd.h>

#include <cerrno>
#include <cstring>

#include "host/loop/watch.h"
#include "host/status.h"

namespace host {
namespace {

// A commit that is not slow ends before it would be worth while to look for somebody to serve.
constexpr int patience_ms = 1;

// LMDB's commit takes a few KiB; the C library's own share, and what sanitizers add to each frame, are larger. Only
// pages that are touched count.
constexpr std::size_t stack_size = 256 * 1024;

FileDescriptor new_bell() {
  return FileDescriptor(eventfd(0, EFD_CLOEXEC));
}

void ring(const FileDescriptor &bell) {
  while (eventfd_write(bell.get(), 1) != 0) {
  }
}

void await(const FileDescriptor &bell) {
  eventfd_t rings = 0;
  while (eventfd_read(bell.get(), &rings) != 0) {
  }
}

bool rings_soon(const FileDescriptor &bell) {
  pollfd polled = {bell.get(), POLLIN, 0};
  return poll(&polled, 1, patience_ms) > 0;
}

// Signals are the main thread's: the new thread inherits a mask that blocks all.
int start_thread(pthread_t *thread, void *(*serve)(void *), void *argument) {
  pthread_attr_t attributes;
  if (const int code = pthread_attr_init(&attributes); code != 0) return code;
  sigset_t all, before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  int code = pthread_attr_setstacksize(&attributes, stack_size);
  if (code == 0) code = pthread_create(thread, &attributes, serve, argument);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  pthread_attr_destroy(&attributes);
  return code;
}

Error cannot_start(int code) {
  return {err_io, std::string("no thread for the disk: ") + std::strerror(code)};
}

}  // namespace

Result<std::unique_ptr<Worker>> Worker::start() {
  FileDescriptor begin = new_bell(), done = new_bell();
  if (!begin || !done) return cannot_start(errno);
  std::unique_ptr<Worker> worker(new Worker(std::move(begin), std::move(done)));
  const int code = start_thread(&worker->thread_, &Worker::serve, worker.get());
  if (code == 0) return worker;
  worker->thread_ = {};
  return cannot_start(code);
}

Worker::~Worker() {
  if (thread_ == pthread_t{}) return;
  work_ = nullptr;
  ring(begin_);
  pthread_join(thread_, nullptr);
}

void Worker::run(const std::function<void()> &work) noexcept {
  if (runs_) return work();
  runs_ = true;
  work_ = &work;
  ring(begin_);
  if (!rings_soon(done_)) Watch::serve_until_readable(done_.get());
  await(done_);
  runs_ = false;
}

void *Worker::serve(void *worker) {
  static_cast<Worker *>(worker)->work_until_stopped();
  return nullptr;
}

void Worker::work_until_stopped() {
  for (;;) {
    await(begin_);
    if (work_ == nullptr) return;
    (*work_)();
    ring(done_);
  }
}

}  // namespace host
