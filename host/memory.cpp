// SPDX-License-Identifier: Apache-2.0
#include "platform/memory.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <new>
#include <string>
#include <unordered_set>
#include <utility>

#include "host/debug.h"
#include "platform/syslog.h"
#include "schedcli.h"

namespace {

constexpr uint32_t tail_mark = 0x7363686d;
constexpr int priority_critical = 2;

struct alignas(std::max_align_t) Header {
  uint32_t owner, type, size;
};

struct Account {
  uint64_t live_blocks = 0, live_bytes = 0, peak_bytes = 0, allocations = 0, failures = 0;
};

struct TypeName {
  uint32_t owner, type;
  const char *what;
};

constexpr uint32_t scheduler_owner = 224;
constexpr TypeName type_names[] = {
    {scheduler_owner, SCH_MEMORY_JOB_STATUS, "runtime job status entry"},
    {scheduler_owner, SCH_MEMORY_KEY, "configuration key"},
    {scheduler_owner, SCH_MEMORY_JOB_HEADER, "job header"},
    {scheduler_owner, SCH_MEMORY_FRAGMENT, "job fragment"},
    {scheduler_owner, SCH_MEMORY_JOINED_TEXT, "joined job text for configuration"},
    {scheduler_owner, SCH_MEMORY_SCHEDULE, "schedule record, entry, e-mail entry"},
};

struct Tracker {
  std::mutex mutex;
  std::map<std::pair<uint32_t, uint32_t>, Account> accounts;  // by owner and type
  std::unordered_set<const void *> live;  // asked before a header is read: a pointer that is not ours has none
  uint64_t misuses = 0;
};

Tracker &tracker() {
  static auto &instance = *new Tracker;  // outlives every static object that still frees
  return instance;
}

void write_tail(std::byte *payload, uint32_t size) {
  std::memcpy(payload + size, &tail_mark, sizeof tail_mark);
}

bool tail_is_whole(const std::byte *payload, uint32_t size) {
  return std::memcmp(payload + size, &tail_mark, sizeof tail_mark) == 0;
}

void count_allocation(Account &account, uint32_t size) {
  account.allocations++;
  account.live_blocks++;
  account.live_bytes += size;
  account.peak_bytes = std::max(account.peak_bytes, account.live_bytes);
}

bool enter(Tracker &all, const std::byte *payload, const Header &header) noexcept {
  try {
    const std::lock_guard lock(all.mutex);
    Account &account = all.accounts[{header.owner, header.type}];
    all.live.insert(payload);
    count_allocation(account, header.size);
    return true;
  } catch (const std::bad_alloc &) {
    return false;
  }
}

void count_failure(Tracker &all, uint32_t owner, uint32_t type) noexcept {
  try {
    const std::lock_guard lock(all.mutex);
    all.accounts[{owner, type}].failures++;
  } catch (const std::bad_alloc &) {  // the statistics lose one count
  }
}

// Outside the lock: the sender of the message may allocate.
void report_misuse(Tracker &all, const char *what, const void *memory) {
  {
    const std::lock_guard lock(all.mutex);
    all.misuses++;
  }
  tarn_syslog(priority_critical, "memory tracker: %s at %p", what, memory);
}

const char *name_of(uint32_t owner, uint32_t type) {
  for (const TypeName &entry : type_names) {
    if (entry.owner == owner && entry.type == type) return entry.what;
  }
  return "other";
}

std::string row(const std::pair<uint32_t, uint32_t> &key, const Account &account) {
  char line[192];
  std::snprintf(
      line, sizeof line, "%5u %4u  %-36s %10llu %12llu %12llu %12llu %8llu\n", key.first, key.second,
      name_of(key.first, key.second), static_cast<unsigned long long>(account.live_blocks),
      static_cast<unsigned long long>(account.live_bytes), static_cast<unsigned long long>(account.peak_bytes),
      static_cast<unsigned long long>(account.allocations), static_cast<unsigned long long>(account.failures));
  return line;
}

std::string heading() {
  char line[192];
  std::snprintf(line, sizeof line, "%5s %4s  %-36s %10s %12s %12s %12s %8s\n", "owner", "type", "what", "blocks",
                "bytes", "peak bytes", "allocations", "failed");
  return line;
}

}  // namespace

extern "C" void *mtrack_alloc(uint32_t owner, uint32_t mem_type, uint32_t size) {
  Tracker &all = tracker();
  auto *block = static_cast<std::byte *>(std::malloc(sizeof(Header) + size_t{size} + sizeof tail_mark));
  if (block == nullptr) {
    count_failure(all, owner, mem_type);
    return nullptr;
  }
  const Header *header = new (block) Header{owner, mem_type, size};
  std::byte *payload = block + sizeof(Header);
  write_tail(payload, size);
  if (enter(all, payload, *header)) return payload;
  std::free(block);
  return nullptr;
}

extern "C" void mtrack_free(void *memory) {
  if (memory == nullptr) return;
  Tracker &all = tracker();
  auto *payload = static_cast<std::byte *>(memory);
  std::byte *block = payload - sizeof(Header);
  bool known = false, whole = false;
  {
    const std::lock_guard lock(all.mutex);
    known = all.live.erase(memory) == 1;
    if (known) {
      const auto *header = std::launder(reinterpret_cast<const Header *>(block));
      Account &account = all.accounts[{header->owner, header->type}];
      account.live_blocks--;
      account.live_bytes -= header->size;
      whole = tail_is_whole(payload, header->size);
    }
  }
  if (!known) return report_misuse(all, "freed twice or never allocated", memory);
  if (!whole) report_misuse(all, "written past its end", memory);
  std::free(block);
}

namespace host {

std::string memory_statistics() {
  Tracker &all = tracker();
  const std::lock_guard lock(all.mutex);
  std::string text = heading();
  for (const auto &[key, account] : all.accounts)
    text += row(key, account);
  text += "misuses: " + std::to_string(all.misuses) + "\n";
  return text;
}

}  // namespace host
