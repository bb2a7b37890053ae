// SPDX-License-Identifier: Apache-2.0
#include "control/options.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <deque>
#include <memory>
#include <string_view>

namespace control {

namespace {

using Context = std::unique_ptr<GOptionContext, decltype(&g_option_context_free)>;
using Text = std::unique_ptr<char, decltype(&g_free)>;

Context make_context(const Program &program, const std::vector<GOptionEntry> &entries) {
  g_set_prgname(program.name);
  Context context(g_option_context_new(program.parameters), g_option_context_free);
  g_option_context_set_help_enabled(context.get(), FALSE);  // GLib's own --help would end the process
  g_option_context_add_main_entries(context.get(), entries.data(), nullptr);
  g_option_context_set_summary(context.get(), program.summary);
  g_option_context_set_description(context.get(), program.description);
  return context;
}

bool begins(const GOptionEntry &entry, std::string_view text) {
  return std::string_view(entry.long_name).starts_with(text);
}

// Long options may be shortened as long as they stay unambiguous, which GOption does not do by itself: each such prefix
// becomes a hidden entry of its own. GOption keeps pointers to the names, a deque does not move what it holds.
void add_prefixes(std::vector<GOptionEntry> *entries, std::deque<std::string> *names) {
  const std::vector<GOptionEntry> whole = *entries;
  for (GOptionEntry entry : whole) {
    const std::string name = entry.long_name;
    for (size_t length = 1; length < name.size(); length++) {
      const std::string prefix = name.substr(0, length);
      if (std::count_if(whole.begin(), whole.end(), [&](auto &other) { return begins(other, prefix); }) != 1) continue;
      entry.long_name = names->emplace_back(prefix).c_str();
      entry.short_name = 0;
      entry.flags |= G_OPTION_FLAG_HIDDEN;
      entries->push_back(entry);
    }
  }
}

Parsed print(const Program &program, const std::string &text) {
  if (std::fputs(text.c_str(), stdout) >= 0 && std::fflush(stdout) == 0) return Parsed::done;
  std::fprintf(stderr, "%s: standard output: %s\n", program.name, std::strerror(errno));
  return Parsed::wrong;
}

}  // namespace

Parsed complain(const Program &program, const std::string &what) {
  std::fprintf(stderr, "%s: %s; see %s --help\n", program.name, what.c_str(), program.name);
  return Parsed::wrong;
}

Parsed parse_options(const Program &program, std::vector<GOptionEntry> entries, int *argc, char **argv) {
  gboolean version = FALSE, help = FALSE;
  entries.push_back({"version", 0, 0, G_OPTION_ARG_NONE, &version, "print the version", nullptr});
  entries.push_back({"help", 0, 0, G_OPTION_ARG_NONE, &help, "print this text", nullptr});
  std::deque<std::string> names;
  add_prefixes(&entries, &names);
  entries.push_back({nullptr, 0, 0, G_OPTION_ARG_NONE, nullptr, nullptr, nullptr});
  const Context context = make_context(program, entries);
  GError *error = nullptr;
  if (g_option_context_parse(context.get(), argc, &argv, &error) == FALSE) {
    const Parsed parsed = complain(program, error->message);
    g_error_free(error);
    return parsed;
  }
  if (help != FALSE) return print(program, Text(g_option_context_get_help(context.get(), TRUE, nullptr), g_free).get());
  return version != FALSE ? print(program, std::string(program.name) + " " SCHEDCLI_VERSION "\n") : Parsed::run;
}

}  // namespace control
