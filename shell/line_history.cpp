// SPDX-License-Identifier: Apache-2.0
#include "shell/line_history.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>

namespace shell {

namespace {

constexpr size_t file_limit = 256 * 1024;  // of what is read

std::string last_text_of(int file) {
  std::string text(file_limit, '\0');
  struct stat status {};
  if (fstat(file, &status) != 0) return {};
  const off_t from =
      status.st_size > static_cast<off_t>(file_limit) ? status.st_size - static_cast<off_t>(file_limit) : 0;
  const ssize_t length = pread(file, text.data(), text.size(), from);
  text.resize(length > 0 ? static_cast<size_t>(length) : 0);
  return from == 0 ? text : text.substr(std::min(text.find('\n') + 1, text.size()));
}

std::vector<std::string> lines_of(const std::string &text) {
  std::vector<std::string> lines;
  for (size_t begin = 0; begin < text.size();) {
    const size_t end = text.find('\n', begin);
    if (end == std::string::npos) break;  // incomplete
    lines.push_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
  return lines;
}

}  // namespace

// Refuses other users' files and devices, to which typed lines must not be written.
int LineHistory::open_file(int flags) const {
  if (path_.empty()) return -1;
  const int file = open(path_.c_str(), flags | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, S_IRUSR | S_IWUSR);
  struct stat status {};
  const bool ours = file >= 0 && fstat(file, &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == geteuid() &&
                    (status.st_mode & (S_IRWXG | S_IRWXO)) == 0;
  if (ours) return file;
  if (file >= 0) close(file);
  return -1;
}

std::vector<std::string> LineHistory::read() const {
  const int file = open_file(O_RDWR);
  if (file < 0) return {};
  std::vector<std::string> lines = lines_of(last_text_of(file));
  if (lines.size() > history_size) lines.erase(lines.begin(), lines.end() - static_cast<std::ptrdiff_t>(history_size));
  struct stat status {};
  if (fstat(file, &status) == 0 && status.st_size > static_cast<off_t>(file_limit / 2)) {
    std::string text;
    for (const std::string &line : lines)
      text += line + "\n";
    if (ftruncate(file, 0) == 0) (void)!pwrite(file, text.data(), text.size(), 0);
  }
  close(file);
  return lines;
}

void LineHistory::add(const std::string &line) const {
  const int file = open_file(O_WRONLY | O_APPEND | O_CREAT);
  if (file < 0) return;
  const std::string whole = line + "\n";
  (void)!write(file, whole.data(), whole.size());
  close(file);
}

std::string history_path() {
  if (const char *path = std::getenv("SCHEDSH_HISTORY")) return path;
  const char *state = std::getenv("XDG_STATE_HOME"), *home = std::getenv("HOME");
  std::string directory;
  if (state != nullptr && *state == '/')
    directory = state;
  else if (home != nullptr && *home == '/')
    directory = std::string(home) + "/.local/state";
  else
    return {};
  std::error_code error;
  std::filesystem::create_directories(directory, error);
  return directory + "/schedsh_history";
}

}  // namespace shell
