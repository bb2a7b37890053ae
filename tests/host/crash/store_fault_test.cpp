// SPDX-License-Identifier: Apache-2.0
// Each call that the store makes on its files fails once: the request it was made for fails and changes nothing, and
// succeeds when it is made again.
#include <cerrno>

#include "tests/host/crash/recorder.h"
#include "tests/host/crash/workload.h"
#include "tests/host/store_fixture.h"

namespace crash {
namespace {

constexpr int request_count = 30;

struct Failure {
  const char *name;
  int error;
};

class StoreFaultTest : public store_test::StoreTest, public testing::WithParamInterface<Failure> {
 protected:
  enum Outcome { all_went_well, request_failed_and_was_repeated, not_repeatable, changed_by_a_failure, lost, end = 10 };

  static std::optional<Records> content(const char *uri) {
    uint32_t error = 0;
    if (!host::store_exists(uri)) return std::nullopt;
    const pss_handle store = pss_open(uri, &error);
    if (store == 0) return Records{{"not opened", host::store_last_error()}};
    const auto found = records(store);
    pss_close(store);
    return Records(found.begin(), found.end());
  }
  static Stores content() {
    spare_calls(true);
    Stores found{content(running_uri), content(startup_uri)};
    spare_calls(false);
    return found;
  }

  // A replaced file whose new name could not be made durable is a failure, but the new file is there.
  static bool is_right_after_failure(const Request &request, const Stores &before, const Stores &after) {
    const Stores found = content();
    const bool replaces = request.changes.empty();
    return found == before || (replaces && found == after);
  }

  int run(int call) const {
    start_failing(directory, {call, GetParam().error});
    int outcome = all_went_well;
    pss_handle store = 0;
    for (std::size_t i = 0; i < requests.size(); ++i) {
      if (perform(requests[i], &store, Batches::whole) != 0) {
        outcome = request_failed_and_was_repeated;
        if (!has_failed() || host::store_last_error().empty()) return not_repeatable;
        if (!is_right_after_failure(requests[i], states[i], states[i + 1])) return changed_by_a_failure;
        host::store_abort(store);
        if (perform(requests[i], &store, Batches::whole) != 0) return not_repeatable;
      }
      if (content() != states[i + 1]) return lost;
    }
    return has_failed() ? outcome : static_cast<int>(end);
  }

  std::vector<Request> requests = workload(7, request_count);
  std::vector<Stores> states = states_after(requests);
};

TEST_P(StoreFaultTest, failed_call_fails_its_request_alone) {
  int failures = 0, call = 1;
  for (;; ++call) {
    const int outcome = in_another_process([this, call] { return run(call); });
    for (const auto &entry : std::filesystem::directory_iterator(directory))
      std::filesystem::remove_all(entry);
    if (outcome == end) break;
    ASSERT_TRUE(outcome == all_went_well || outcome == request_failed_and_was_repeated)
        << "call " << call << ": " << outcome;
    failures += outcome == request_failed_and_was_repeated ? 1 : 0;
  }
  EXPECT_GT(call, request_count * 4);
  EXPECT_GT(failures, request_count);
}

INSTANTIATE_TEST_SUITE_P(, StoreFaultTest,
                         testing::Values(Failure{"broken_disk", EIO}, Failure{"full_disk", ENOSPC},
                                         Failure{"cut_write", 0}),
                         [](const auto &each) { return each.param.name; });

}  // namespace
}  // namespace crash
