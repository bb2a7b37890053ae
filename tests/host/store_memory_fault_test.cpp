// SPDX-License-Identifier: Apache-2.0
// Memory that ends at any allocation of a call.
#include <new>

#include "tests/host/store_fixture.h"

namespace {

constinit int left = -1;  // allocations until one fails; negative: none does

}  // namespace

void *operator new(std::size_t size) {
  if (left == 0) throw std::bad_alloc();
  if (left > 0) --left;
  if (void *memory = malloc(size); memory != nullptr) return memory;
  throw std::bad_alloc();
}
void operator delete(void *memory) noexcept {
  free(memory);
}
void operator delete(void *memory, std::size_t) noexcept {
  free(memory);
}

namespace store_test {
namespace {

class MemoryFaultTest : public StoreTest {
 protected:
  // The call with its nth allocation failing; true: it gave status 0.
  static bool succeeds(int allocations, const std::function<uint32_t()> &call) {
    bool result = false;
    left = allocations;
    try {
      result = call() == 0;
    } catch (const std::bad_alloc &) {
    }
    left = -1;
    return result;
  }
};

TEST_F(MemoryFaultTest, change_without_memory_leaves_nothing_and_no_batch_behind) {
  const pss_handle store = create("running:a");
  put(store, "a", "before");
  const std::string name = "a", text(3000, 'v');
  const pss_buf key = buffer(name), value = buffer(text);
  const std::function<uint32_t()> calls[] = {
      [&] { return pss_store(store, 1, &key, &value); },
      [&] { return pss_version_set(store, 1, 2); },
      [&] { return pss_delete(store, &key); },
  };
  for (const auto &call : calls) {
    int allocations = 0;
    for (; !succeeds(allocations, call); ++allocations) {
      EXPECT_EQ(records(store).size(), 1U) << allocations;
      ASSERT_EQ(host::store_begin(store).code(), 0U) << allocations;
      host::store_abort(store);
    }
    EXPECT_GT(allocations, 0);
  }
  EXPECT_EQ(records(store), Records{});
}

TEST_F(MemoryFaultTest, read_without_memory_does_not_keep_the_next_one_from_reading) {
  const pss_handle store = create("running:a");
  const std::string name = "a";
  put(store, name, std::string(3000, 'v'));
  const pss_buf key = buffer(name);
  uint32_t status = 0;
  const auto read = [&] { return pss2_fetch(store, &key, &status) != nullptr ? 0U : status; };
  int allocations = 0;
  while (!succeeds(allocations, read))
    ASSERT_LT(++allocations, 100);
  EXPECT_GT(allocations, 0);
  EXPECT_EQ(get(store, name), std::string(3000, 'v'));
}

TEST_F(MemoryFaultTest, batch_without_memory_is_kept_whole_or_not_at_all) {
  const pss_handle store = create("running:a");
  const std::string names[] = {"a", "b"}, text(3000, 'v');
  const pss_buf keys[] = {buffer(names[0]), buffer(names[1])}, value = buffer(text);
  const auto batch = [&] {
    uint32_t status = host::store_begin(store).code();
    for (const pss_buf &key : keys)
      if (status == 0) status = pss_store(store, 1, &key, &value);
    return status == 0 ? host::store_commit(store).code() : status;
  };
  int allocations = 0;
  for (; !succeeds(allocations, batch); ++allocations) {
    (void)host::store_commit(store);  // as a caller who knows of no failure
    EXPECT_EQ(records(store), Records{}) << allocations;
  }
  EXPECT_GT(allocations, 1);
  EXPECT_EQ(records(store), (Records{{"a", text}, {"b", text}}));
}

}  // namespace
}  // namespace store_test
