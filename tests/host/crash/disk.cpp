// SPDX-License-Identifier: Apache-2.0
#include "tests/host/crash/disk.h"

#include <algorithm>

namespace crash {
namespace {

constexpr uint64_t sector_size = 512;

// Writes those sectors of `data` for which `survives` says so: a disk writes sectors whole, but not all of a write.
template <typename Survives>
void write_sectors(uint64_t offset, const std::string &data, std::string *content, Survives survives) {
  for (uint64_t at = 0; at < data.size();) {
    const uint64_t length = std::min<uint64_t>(sector_size - (offset + at) % sector_size, data.size() - at);
    if (survives()) {
      if (content->size() < offset + at + length) content->resize(offset + at + length);
      content->replace(offset + at, length, data, at, length);
    }
    at += length;
  }
}

std::string directory_of(const std::string &name) {
  const std::size_t slash = name.find_last_of('/');
  return slash == std::string::npos ? "" : name.substr(0, slash);
}

}  // namespace

void Disk::begin(const Event &event) {
  if (event.call != Call::write) return;
  const auto file = descriptors_.find(event.descriptor);
  if (file != descriptors_.end()) files_[file->second].since.push_back({event.offset, event.data});
}

void Disk::complete(const Event &event) {
  const auto found = descriptors_.find(event.descriptor);
  File *file = found == descriptors_.end() ? nullptr : &files_[found->second];
  switch (event.call) {
    case Call::open:
      return open(event);
    case Call::close:
      descriptors_.erase(event.descriptor);
      directories_.erase(event.descriptor);
      return;
    case Call::write:
      if (file != nullptr) file->since.back().promised = event.durable;
      return;
    case Call::truncate:
      if (file != nullptr) file->since.push_back({event.offset, {}, true});
      return;
    case Call::sync:
      if (file == nullptr) {
        promise_names_in(directories_.at(event.descriptor));
      } else {
        file->promised = surviving_content(*file, Unsynced::everything, nullptr);
        file->since.clear();
      }
      return;
    case Call::rename:
      return change_directory({event.name, event.new_name, names_.at(event.name)});
    case Call::unlink:
      return change_directory({event.name, {}, 0});
    case Call::make_directory:
      made_.insert(event.name);
      files_.emplace_back();
      return change_directory({{}, event.name, files_.size() - 1});
    case Call::acknowledge:
      return;
  }
}

void Disk::open(const Event &event) {
  descriptors_.erase(event.descriptor);
  directories_.erase(event.descriptor);
  if (event.directory) {
    directories_[event.descriptor] = event.name;
    return;
  }
  if (!names_.contains(event.name)) {
    files_.emplace_back();
    change_directory({{}, event.name, files_.size() - 1});
  }
  const std::size_t file = names_.at(event.name);
  descriptors_[event.descriptor] = file;
  if (event.truncates) files_[file].since.push_back({0, {}, true});
}

void Disk::change_directory(const Entry &entry) {
  apply(entry, &names_);
  entries_.push_back(entry);
}

void Disk::apply(const Entry &entry, Names *names) {
  if (!entry.gone.empty()) names->erase(entry.gone);
  if (!entry.name.empty()) (*names)[entry.name] = entry.file;
}

void Disk::promise_names_in(const std::string &directory) {
  std::erase_if(entries_, [&](const Entry &entry) {
    const bool synced = directory_of(entry.name.empty() ? entry.gone : entry.name) == directory;
    if (synced) apply(entry, &promised_names_);
    return synced;
  });
}

bool Disk::is_reached(const std::string &name, const Names &names) const {
  const std::string directory = directory_of(name);
  return directory.empty() ||
         ((!made_.contains(directory) || names.contains(directory)) && is_reached(directory, names));
}

// Of the changes of the directory the first few reach the disk, or any of them.
Disk::Names Disk::surviving_names(Unsynced unsynced, std::mt19937 *random) const {
  if (unsynced == Unsynced::everything) return names_;
  Names names = promised_names_;
  if (unsynced == Unsynced::nothing) return names;
  const bool in_order = (*random)() % 2 == 0;
  const std::size_t count = in_order ? (*random)() % (entries_.size() + 1) : entries_.size();
  for (std::size_t i = 0; i < count; ++i) {
    if (in_order || (*random)() % 2 == 0) apply(entries_[i], &names);
  }
  return names;
}

std::string Disk::surviving_content(const File &file, Unsynced unsynced, std::mt19937 *random) {
  std::string content = file.promised;
  uint64_t full_size = content.size();
  const auto odds = random == nullptr ? 0 : 1 + (*random)() % 9;
  const bool torn = random != nullptr && (*random)() % 2 == 0;
  const auto lucky = [&] { return unsynced == Unsynced::everything || (random != nullptr && (*random)() % 10 < odds); };
  for (const Operation &operation : file.since) {
    if (operation.truncation) {
      full_size = operation.offset;
      if (lucky()) content.resize(operation.offset);
      continue;
    }
    full_size = std::max<uint64_t>(full_size, operation.offset + operation.data.size());
    const bool whole = operation.promised || (!torn && lucky());
    write_sectors(operation.offset, operation.data, &content, [&] { return whole || (torn && lucky()); });
  }
  // The new size may be on the disk before the data.
  if (unsynced == Unsynced::some && full_size > content.size() && (*random)() % 4 == 0) content.resize(full_size);
  return content;
}

Image Disk::crash(Unsynced unsynced, std::mt19937 *random) const {
  std::mt19937 *chance = unsynced == Unsynced::some ? random : nullptr;
  Image image;
  const Names names = surviving_names(unsynced, chance);
  for (const auto &[name, file] : names) {
    if (made_.contains(name) || !is_reached(name, names)) continue;
    image[name] = surviving_content(files_[file], unsynced, chance);
  }
  return image;
}

bool Disk::everything_is_promised() const {
  return entries_.empty() && std::ranges::all_of(names_, [this](const auto &name) {
           return std::ranges::all_of(files_[name.second].since, &Operation::promised);
         });
}

}  // namespace crash
