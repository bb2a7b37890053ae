// SPDX-License-Identifier: Apache-2.0
#include "service/options.h"

#include <algorithm>
#include <optional>

#include "service/config/keys.h"

namespace service {
namespace {

constexpr int highest_level = 255;

using control::Parsed;

constexpr control::Program program = {
    "schedd", nullptr,
    "The scheduler service: keeps jobs and schedules, and runs what is due.\n"
    "As root it serves all users; as anyone else, that user alone. It stays in the foreground.\n"
    "SIGHUP has it read its settings again, SIGUSR1 take over from standby.",
    "What is given here outdoes the file of settings.\n"
    "\n"
    "Exit status: 0 ended by SIGTERM or SIGINT, 1 failed, 2 wrong usage or wrong settings,\n"
    "3 the state directory cannot be used, or another service uses it, 4 it is of a newer version.\n"};

// The values in the types that GOption fills; the texts are freed with the record.
struct Raw {
  char *config = nullptr, *state_dir = nullptr, *interpreter = nullptr, *store_limit = nullptr, *debug = nullptr;
  gboolean check = FALSE, standby = FALSE, foreground = FALSE;

  Raw() = default;
  Raw(const Raw &) = delete;
  Raw &operator=(const Raw &) = delete;
  ~Raw() {
    for (char *text : {config, state_dir, interpreter, store_limit, debug})
      g_free(text);
  }
};

// FILENAME takes the argument's bytes as they are, in any locale.
std::vector<GOptionEntry> entries_for(Raw *raw) {
  return {
      {"config", 0, 0, G_OPTION_ARG_FILENAME, &raw->config, "the file of settings", "FILE"},
      {"check", 0, 0, G_OPTION_ARG_NONE, &raw->check, "say whether the settings are right, and end", nullptr},
      {"state-dir", 0, 0, G_OPTION_ARG_FILENAME, &raw->state_dir, "where the stores and the job log are", "DIR"},
      {"interpreter", 0, 0, G_OPTION_ARG_FILENAME, &raw->interpreter, "what runs the jobs' text; /bin/sh unless given",
       "PATH"},
      {"store-limit", 0, 0, G_OPTION_ARG_FILENAME, &raw->store_limit,
       "the most that each store's file may take, 1 to 1024; 128 unless given", "MIB"},
      {"standby", 0, 0, G_OPTION_ARG_NONE, &raw->standby,
       "run nothing until told to take over, by SIGUSR1 or 'scheduler take-over'", nullptr},
      {"foreground", 0, 0, G_OPTION_ARG_NONE, &raw->foreground, "messages of the system log also to standard error",
       nullptr},
      {"debug", 0, 0, G_OPTION_ARG_FILENAME, &raw->debug, "traces below this level to standard error", "LEVEL"},
  };
}

Parsed complain(const std::string &what) {
  return control::complain(program, what);
}

// What is wrong, or nothing.
std::optional<std::string> set_by_name(Settings *settings, const std::string &name, const std::string &value) {
  const std::vector<Key> keys = keys_of(*settings);
  const auto key = std::find_if(keys.begin(), keys.end(), [&](const Key &each) { return name == each.name; });
  return set_value(*key, value);
}

Parsed take_settings(const Raw &raw, Options *options) {
  Settings trial;
  for (const auto &[name, value] : {std::pair("interpreter", raw.interpreter), {"store-limit", raw.store_limit}}) {
    if (value == nullptr) continue;
    if (const auto wrong = set_by_name(&trial, name, value)) return complain(*wrong);
    options->settings.emplace_back(name, value);
  }
  if (raw.standby != FALSE) options->settings.emplace_back("start-as", "standby");
  return Parsed::run;
}

Parsed take_level(const char *text, int *level) {
  guint64 value = 0;
  if (g_ascii_string_to_unsigned(text, 10, 0, highest_level, &value, nullptr) == FALSE)
    return complain("'" + std::string(text) + "' is no level of 0 to 255");
  *level = static_cast<int>(value);
  return Parsed::run;
}

Parsed take_file(const char *option, const char *value, std::string *taken) {
  if (value == nullptr) return Parsed::run;
  *taken = value;
  return taken->empty() ? complain(std::string(option) + " needs a name") : Parsed::run;
}

Parsed take(const Raw &raw, Options *options) {
  options->check = raw.check != FALSE;
  options->foreground = raw.foreground != FALSE;
  if (take_file("--state-dir", raw.state_dir, &options->state_dir) != Parsed::run) return Parsed::wrong;
  if (take_file("--config", raw.config, &options->config_file) != Parsed::run) return Parsed::wrong;
  if (raw.debug != nullptr && take_level(raw.debug, &options->debug_level) != Parsed::run) return Parsed::wrong;
  return take_settings(raw, options);
}

}  // namespace

Parsed parse_options(int argc, char **argv, Options *options) {
  Raw raw;
  const Parsed parsed = control::parse_options(program, entries_for(&raw), &argc, argv);
  if (parsed != Parsed::run) return parsed;
  return argc > 1 ? complain("'" + std::string(argv[1]) + "' is no option") : take(raw, options);
}

SettingsRead read_settings(const Options &options) {
  const bool named = !options.config_file.empty();
  SettingsRead read = read_settings(named ? options.config_file : usual_settings_file(), named);
  for (const auto &[name, value] : options.settings)
    set_by_name(&read.settings, name, value);
  return read;
}

}  // namespace service
