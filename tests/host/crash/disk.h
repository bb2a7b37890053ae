// SPDX-License-Identifier: Apache-2.0
// A disk that holds what it promised, and of the rest any part: the images that a crash may leave.
#pragma once

#include <cstdint>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "tests/host/crash/trace.h"

namespace crash {

using Image = std::map<std::string, std::string>;  // file names and contents

class Disk {
 public:
  // A durable write under way is not yet promised; `complete` makes it so.
  void begin(const Event &event);
  void complete(const Event &event);

  // How much of what is not promised is on the disk.
  enum class Unsynced { nothing, everything, some };
  Image crash(Unsynced unsynced, std::mt19937 *random) const;
  bool everything_is_promised() const;

 private:
  struct Operation {
    uint64_t offset = 0;
    std::string data{};
    bool truncation = false;
    bool promised = false;
  };
  struct File {
    std::string promised;
    std::vector<Operation> since;
  };
  struct Entry {       // a change of the directory
    std::string gone;  // this name is no more, unless empty
    std::string name;  // this one is the file, unless empty
    std::size_t file = 0;
  };
  using Names = std::map<std::string, std::size_t>;

  void open(const Event &event);
  void change_directory(const Entry &entry);
  void promise_names_in(const std::string &directory);
  bool is_reached(const std::string &name, const Names &names) const;
  static void apply(const Entry &entry, Names *names);
  Names surviving_names(Unsynced unsynced, std::mt19937 *random) const;
  static std::string surviving_content(const File &file, Unsynced unsynced, std::mt19937 *random);

  std::vector<File> files_;
  Names promised_names_, names_;
  std::vector<Entry> entries_;              // since their directories were synced
  std::set<std::string> made_;              // directories; each has an entry, and an empty file, as well
  std::map<int, std::size_t> descriptors_;  // open files
  std::map<int, std::string> directories_;  // open ones
};

}  // namespace crash
