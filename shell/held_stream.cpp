// SPDX-License-Identifier: Apache-2.0
#include "shell/held_stream.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>

namespace shell {

HeldStream::HeldStream(FILE *stream) : stream_(stream), descriptor_(fileno(stream)) {
  std::fflush(stream_);
  held_ = memfd_create("output", MFD_CLOEXEC);
  if (held_ >= 0) shown_ = fcntl(descriptor_, F_DUPFD_CLOEXEC, 0);
  if (shown_ >= 0) dup2(held_, descriptor_);
}

void HeldStream::restore() {
  if (shown_ < 0) return;
  std::fflush(stream_);
  dup2(shown_, descriptor_);
  close(shown_);
  shown_ = -1;
}

std::string HeldStream::take() {
  restore();
  std::string text;
  char buffer[4096];
  for (ssize_t length = 0; (length = pread(held_, buffer, sizeof buffer, static_cast<off_t>(text.size()))) > 0;)
    text.append(buffer, static_cast<size_t>(length));
  return text;
}

HeldStream::~HeldStream() {
  restore();
  if (held_ >= 0) close(held_);
}

}  // namespace shell
