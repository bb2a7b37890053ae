// SPDX-License-Identifier: Apache-2.0
// The keys of the configuration file, in one table: for reading and checking it, the installed file and the manual
// page.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "service/config/settings.h"

namespace service {

struct NumberField {
  int *value;
  int least, most;
  const char *unit;      // "", or what is counted: "seconds"
  bool or_zero = false;  // 0, for no limit, is allowed even if it is below `least`
};
struct ChoiceField {
  std::function<void(size_t)> set;  // the index of a word
  std::function<size_t()> get;
  std::vector<std::string> words;
};
struct FlagField {
  bool *value;
};
struct TextField {
  std::string *value;
  const char *form;                           // what is allowed, in words
  bool (*allowed)(const std::string &value);  // never called with an empty value, which only a default can be
};
struct NamesField {
  std::vector<std::string> *value;
};

// Its field points into one record of settings.
struct Key {
  const char *group, *name;
  std::variant<NumberField, ChoiceField, FlagField, TextField, NamesField> field;
  const char *what;
  bool at_start = false;  // takes effect at the next start only
};

inline constexpr char class_prefix[] = "class ";
inline constexpr char default_class[] = "class default";

std::vector<Key> keys_of(Settings &settings);           // without those of the classes
std::vector<Key> class_keys_of(ClassSettings &record);  // group: default_class

std::string value_of(const Key &key);     // as it is written in the file
std::string allowed_for(const Key &key);  // "a number of seconds from 0 to 60"

// Sets the value. Otherwise says what is wrong with `text`, and the value is unchanged.
std::optional<std::string> set_value(const Key &key, const std::string &text);

// A configuration file that has every key with its explanation and default, all commented out.
std::string default_file();

}  // namespace service
