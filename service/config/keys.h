// SPDX-License-Identifier: Apache-2.0
// The keys of the configuration file: what reads it, what refuses a value, the file that is installed and the manual
// page all look here.
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
  bool or_zero = false;  // 0 stands for no limit, however small a limit may be
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
  const char *form;                           // what is allowed, for a person
  bool (*allowed)(const std::string &value);  // not asked of the empty value, which only a default can be
};
struct NamesField {
  std::vector<std::string> *value;
};

// Bound to one record of settings.
struct Key {
  const char *group, *name;
  std::variant<NumberField, ChoiceField, FlagField, TextField, NamesField> field;
  const char *what;
  bool at_start = false;  // a reload takes it over for the next start
};

inline constexpr char class_prefix[] = "class ";
inline constexpr char default_class[] = "class default";

std::vector<Key> keys_of(Settings &settings);           // but for the classes
std::vector<Key> class_keys_of(ClassSettings &record);  // group: default_class

std::string value_of(const Key &key);     // as the file has it
std::string allowed_for(const Key &key);  // "a number of seconds from 0 to 60"

// Nothing: taken. Otherwise what is wrong with the value, which stays as it was.
std::optional<std::string> set_value(const Key &key, const std::string &text);

// A configuration file with every key, its explanation and its default, all of them commented out.
std::string default_file();

}  // namespace service
