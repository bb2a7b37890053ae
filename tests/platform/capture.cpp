// SPDX-License-Identifier: Apache-2.0
#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>

#include "tests/platform/platform.h"

namespace platform_test {
namespace {

class Diverted {
 public:
  explicit Diverted(int descriptor)
      : descriptor_(descriptor), original_(dup(descriptor)), file_(memfd_create("captured", 0)) {
    if (original_ < 0 || file_ < 0 || dup2(file_, descriptor_) < 0) std::abort();
  }
  ~Diverted() {
    restore();
    close(file_);
  }
  Diverted(const Diverted &) = delete;
  Diverted &operator=(const Diverted &) = delete;

  std::string text() {
    restore();
    std::string all;
    char piece[4096];
    ssize_t length;
    while ((length = pread(file_, piece, sizeof piece, static_cast<off_t>(all.size()))) > 0)
      all.append(piece, static_cast<size_t>(length));
    return all;
  }

 private:
  void restore() {
    if (original_ < 0) return;
    std::fflush(nullptr);
    dup2(original_, descriptor_);
    close(original_);
    original_ = -1;
  }

  int descriptor_, original_, file_;
};

}  // namespace

Output capture(const std::function<void()> &body) {
  std::fflush(nullptr);
  Diverted out(STDOUT_FILENO), err(STDERR_FILENO);
  body();
  std::fflush(nullptr);
  return {out.text(), err.text()};
}

}  // namespace platform_test
