// SPDX-License-Identifier: Apache-2.0
// A thread for calls that wait for the disk. While they do, the loop of the calling thread goes on with what it may
// serve then.
#pragma once

#include <pthread.h>

#include <functional>
#include <memory>
#include <utility>

#include "host/files/file_descriptor.h"
#include "host/result.h"

namespace host {

class Worker {
 public:
  static Result<std::unique_ptr<Worker>> start();
  ~Worker();
  Worker(const Worker &) = delete;
  Worker &operator=(const Worker &) = delete;

  // Calls `work` in the worker's thread and returns when it has returned. It must not throw. When that takes long the
  // calling thread, which must have a loop, serves it meanwhile (Watch::serve_until_readable). What is served so and
  // asks for work itself does it in its own thread.
  void run(const std::function<void()> &work) noexcept;

 private:
  Worker(FileDescriptor begin, FileDescriptor done) : begin_(std::move(begin)), done_(std::move(done)) {}
  static void *serve(void *worker);
  void work_until_stopped();

  FileDescriptor begin_, done_;
  const std::function<void()> *work_ = nullptr;  // null when begin_ is rung: the thread ends
  bool runs_ = false;
  pthread_t thread_ = {};
};

}  // namespace host
