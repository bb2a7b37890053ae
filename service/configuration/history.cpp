// SPDX-License-Identifier: Apache-2.0
#include "service/configuration/history.h"
#include "control/statuses.h"

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "host/files/directory.h"
#include "host/files/paths.h"
#include "host/files/private_file.h"
#include "host/files/whole_file.h"
#include "host/status.h"
#include "host/visible.h"
#include "platform/errors.h"
#include "service/configuration/text.h"

namespace service {
namespace {

constexpr std::string_view file_end = ".conf", draft_end = ".draft";
constexpr size_t longest_word_of_origin = 200;

// For one line of a comment, whatever the client has sent.
std::string on_one_line(const std::string &text) {
  std::string line = host::visible(text.substr(0, longest_word_of_origin));
  std::ranges::replace(line, '\n', ' ');
  return line;
}

std::string file_text(const Configuration &configuration, const Origin &origin) {
  return "! at: " + std::to_string(origin.at) + "\n! by: " + on_one_line(origin.who) +
         "\n! from: " + on_one_line(origin.whence) + "\n! with: " + on_one_line(origin.what) + "\n" +
         text_of(configuration, Owners::in_comments);
}

std::optional<std::string> contents(const std::string &path) {
  std::ifstream file(path);
  std::ostringstream text;
  text << file.rdbuf();
  if (!file || !text) return std::nullopt;
  return text.str();
}

std::string value_of(std::istream &file, const std::string &key) {
  std::string line;
  std::getline(file, line);
  const std::string before = "! " + key + ": ";
  return line.starts_with(before) ? line.substr(before.size()) : "";
}

std::optional<HistoryEntry> entry_of(uint32_t number) {
  std::ifstream file(configuration_file(number, file_end));
  HistoryEntry entry = {number, {}};
  const std::string at = value_of(file, "at");
  const auto [end, error] = std::from_chars(at.data(), at.data() + at.size(), entry.origin.at);
  if (error != std::errc()) return std::nullopt;
  entry.origin.who = value_of(file, "by");
  entry.origin.whence = value_of(file, "from");
  entry.origin.what = value_of(file, "with");
  return entry;
}

std::optional<Configuration> read_file(const std::string &path) {
  const std::optional<std::string> text = contents(path);
  if (!text) return std::nullopt;
  ConfigurationRead read = read_configuration(*text, Owners::in_comments);
  if (!read.problems.empty()) return std::nullopt;
  return std::move(read.configuration);
}

// Compares without the owners' names, as a user may have been renamed.
bool is_same(const Configuration &left, const Configuration &right) {
  return text_of(left) == text_of(right);
}

host::Result<void> write(uint32_t number, std::string_view end, const Configuration &configuration,
                         const Origin &origin) {
  // err_io, not the code: the caller's permissions are not what is wrong.
  if (const host::Result<void> made = host::make_private_directory(configuration_directory()); !made)
    return host::Error{host::err_io, made.error().text};
  return host::write_whole_file(configuration_file(number, end), file_text(configuration, origin));
}

void forget_oldest() {
  const std::vector<uint32_t> numbers = configuration_files(file_end);
  for (size_t i = 0; i + kept_configurations < numbers.size(); i++)
    unlink(configuration_file(numbers[i], file_end).c_str());
}

uint32_t newest() {
  const std::vector<uint32_t> numbers = configuration_files(file_end);
  return numbers.empty() ? 0 : numbers.back();
}

}  // namespace

std::string configuration_directory() {
  return host::paths().state + "/configurations";
}

std::string configuration_file(uint32_t number, std::string_view end) {
  return configuration_directory() + "/" + std::to_string(number) + std::string(end);
}

std::vector<uint32_t> configuration_files(std::string_view wanted_end) {
  std::vector<uint32_t> numbers;
  std::error_code none;
  for (const auto &file : std::filesystem::directory_iterator(configuration_directory(), none)) {
    const std::string name = file.path().filename();
    uint32_t number = 0;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), number);
    if (error == std::errc() && std::string_view(end) == wanted_end) numbers.push_back(number);
  }
  std::ranges::sort(numbers);
  return numbers;
}

bool is_kept(uint32_t number) {
  return access(configuration_file(number, file_end).c_str(), F_OK) == 0;
}

std::vector<HistoryEntry> configuration_history() {
  std::vector<HistoryEntry> entries;
  for (const uint32_t number : configuration_files(file_end))
    if (std::optional<HistoryEntry> entry = entry_of(number)) entries.push_back(std::move(*entry));
  return entries;
}

host::Result<Configuration> configuration_of_entry(uint32_t number) {
  if (std::optional<Configuration> found = read_file(configuration_file(number, file_end))) return std::move(*found);
  return host::Error{control::err_no_such_configuration, syserr2str(control::err_no_such_configuration)};
}

host::Result<uint32_t> keep_in_history(const Configuration &in_use, const Origin &origin) {
  const uint32_t last = newest();
  if (const auto kept = read_file(configuration_file(last, file_end)); kept && is_same(*kept, in_use)) return last;
  if (const host::Result<void> written = write(last + 1, file_end, in_use, origin); !written) return written.error();
  forget_oldest();
  return last + 1;
}

host::Result<HistoryDraft> draft_history(const Configuration &before, const Origin &last_change,
                                         const Configuration &after, const Origin &origin) {
  const host::Result<uint32_t> kept = keep_in_history(before, last_change);
  if (!kept) return kept.error();
  const HistoryDraft draft = {*kept, *kept + 1};
  if (const host::Result<void> written = write(draft.after, draft_end, after, origin); !written) return written.error();
  return draft;
}

bool adopt_draft(const HistoryDraft &draft) {
  // If this fails, the next change adds this configuration to the history, but without its origin.
  const std::string path = configuration_file(draft.after, draft_end);
  (void)host::rename_file(path, configuration_file(draft.after, file_end));
  forget_oldest();
  return access(path.c_str(), F_OK) != 0;
}

void discard_draft(const HistoryDraft &draft) {
  unlink(configuration_file(draft.after, draft_end).c_str());
}

std::optional<Configuration> settle_history(const std::function<Configuration()> &in_use) {
  std::optional<Configuration> adopted;
  for (const uint32_t number : configuration_files(draft_end)) {
    std::optional<Configuration> wanted = read_file(configuration_file(number, draft_end));
    Configuration found = in_use();
    if (wanted) found.settings.logging_level = wanted->settings.logging_level;
    if (!wanted || !is_same(*wanted, found)) {
      discard_draft({0, number});
      continue;
    }
    (void)adopt_draft({0, number});
    adopted = std::move(wanted);
  }
  return adopted;
}

}  // namespace service
