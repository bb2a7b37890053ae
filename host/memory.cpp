// SPDX-License-Identifier: Apache-2.0
#include "platform/memory.h"
#include "host/guard.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <new>
#include <string>
#include <utility>

#include "host/debug.h"
#include "host/memory.h"
#include "platform/syslog.h"
#include "schedcli.h"

namespace {

constexpr uint32_t live_mark = 0x7363686c, tail_mark = 0x7363686d;
constexpr int priority_critical = 2;

struct Account {
  uint64_t live_blocks = 0, live_bytes = 0, peak_bytes = 0, allocations = 0, failures = 0;
};

// Precedes each block. The mark tells a live block from a freed one and from a pointer that this tracker never gave.
struct alignas(std::max_align_t) Header {
  Account *account;
  uint32_t size, mark;
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
  std::map<std::pair<uint32_t, uint32_t>, Account> accounts;  // by owner and type; never erased, blocks point to them
  uint64_t misuses = 0;
};

Tracker &tracker() {
  static auto &instance = *new Tracker;  // outlives every static object that still frees
  return instance;
}

// Depends on the address, so that a copy of a block with its header is not taken for a block.
uint32_t mark_of(const Header *header) {
  return live_mark ^ static_cast<uint32_t>(reinterpret_cast<uintptr_t>(header) / sizeof(Header));
}

// Callers may pass a freed or foreign pointer, which is what this finds out: so reading freed memory is meant. So is
// the write just before the memory is freed, which the compiler would otherwise leave out.
#define READS_FREED_MEMORY __attribute__((no_sanitize("address", "thread"), noinline))
READS_FREED_MEMORY bool is_live(const Header *header) {
  const bool aligned = reinterpret_cast<uintptr_t>(header) % alignof(Header) == 0;
  return aligned && *const_cast<const volatile uint32_t *>(&header->mark) == mark_of(header);
}

void write_mark(Header *header, uint32_t mark) {
  *const_cast<volatile uint32_t *>(&header->mark) = mark;
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

Account *account_of(Tracker &all, uint32_t owner, uint32_t type) {  // null: no memory for a new one
  return host::guarded([&] { return &all.accounts[{owner, type}]; }, [] { return nullptr; });
}

bool enter(Tracker &all, Header *header, uint32_t owner, uint32_t type) {
  const std::lock_guard lock(all.mutex);
  header->account = account_of(all, owner, type);
  if (header->account == nullptr) return false;
  count_allocation(*header->account, header->size);
  write_mark(header, mark_of(header));
  return true;
}

void count_failure(Tracker &all, uint32_t owner, uint32_t type) {
  const std::lock_guard lock(all.mutex);
  if (Account *account = account_of(all, owner, type)) account->failures++;  // otherwise the statistics lose one count
}

// Not under the lock: sending the message may allocate tracked memory.
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
  auto *header = new (block) Header{nullptr, size, 0};
  std::byte *payload = block + sizeof(Header);
  write_tail(payload, size);
  if (enter(all, header, owner, mem_type)) return payload;
  std::free(block);
  return nullptr;
}

extern "C" void mtrack_free(void *memory) {
  if (memory == nullptr) return;
  Tracker &all = tracker();
  auto *payload = static_cast<std::byte *>(memory);
  auto *header = reinterpret_cast<Header *>(payload - sizeof(Header));
  bool known = false, whole = false;
  {
    const std::lock_guard lock(all.mutex);
    known = is_live(header);
    if (known) {
      write_mark(header, 0);
      header->account->live_blocks--;
      header->account->live_bytes -= header->size;
      whole = tail_is_whole(payload, header->size);
    }
  }
  if (!known) return report_misuse(all, "freed twice or never allocated", memory);
  if (!whole) report_misuse(all, "written past its end", memory);
  std::free(header);
}

namespace host {

uint32_t tracked_size(const void *block) {
  return reinterpret_cast<const Header *>(static_cast<const std::byte *>(block) - sizeof(Header))->size;
}

size_t tracked_bytes() {
  Tracker &all = tracker();
  const std::lock_guard lock(all.mutex);
  size_t bytes = 0;
  for (const auto &[key, account] : all.accounts)
    bytes += static_cast<size_t>(account.live_bytes);
  return bytes;
}

MemoryUses memory_uses() {
  Tracker &all = tracker();
  const std::lock_guard lock(all.mutex);
  MemoryUses uses;
  for (const auto &[key, account] : all.accounts)
    uses.types.push_back({key.first, key.second, name_of(key.first, key.second), account.live_blocks,
                          account.live_bytes, account.peak_bytes, account.allocations, account.failures});
  uses.misuses = all.misuses;
  return uses;
}

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
