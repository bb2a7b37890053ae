// SPDX-License-Identifier: Apache-2.0
#include "shell/draft.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>

namespace shell {

Draft::Draft(const std::string &text) {
  const char *directory = std::getenv("TMPDIR");
  path_ = std::string(directory != nullptr && *directory != 0 ? directory : "/tmp") + "/schedsh-job.XXXXXX";
  const int file = mkstemp(path_.data());
  if (file < 0) {
    path_.clear();
    return;
  }
  close(file);
  std::ofstream(path_, std::ios::binary) << text;
}

Draft::~Draft() {
  if (!path_.empty()) unlink(path_.c_str());
}

std::string Draft::text() const {
  std::ifstream file(path_, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void Draft::keep(const char *why) {
  const std::string where = path_.empty() ? std::string() : "; your text is kept in " + path_;
  std::fprintf(stderr, "Error: %s%s\n", why, where.c_str());
  path_.clear();
}

}  // namespace shell
