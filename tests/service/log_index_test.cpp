// SPDX-License-Identifier: Apache-2.0
#include "service/joblog/log_index.h"

#include <gtest/gtest.h>

#include <deque>
#include <random>

#include "service/joblog/joblog.h"
#include "tests/service/world.h"

namespace service_test {
namespace {

using service::LogFilter;
using service::LogIndex;
using service::LogRecordHead;

constexpr std::string_view names[] = {"a", "b", "c", "nightly", "-"};

struct Held {
  LogIndex::Position position;
  LogRecordHead head;
};

std::vector<LogIndex::Position> found(const LogIndex &index, const LogFilter &filter) {
  std::vector<LogIndex::Position> positions;
  for (auto at = index.find(filter, index.first()); at < index.end(); at = index.find(filter, at + 1))
    positions.push_back(at);
  return positions;
}

std::vector<LogIndex::Position> scanned(const std::deque<Held> &held, const LogFilter &filter) {
  std::vector<LogIndex::Position> positions;
  for (const Held &entry : held)
    if (filter.wants(entry.head.owner_tag, entry.head.schedule, entry.head.job) &&
        filter.wants(entry.head.outcome, entry.head.completion, entry.head.wait_status != 0))
      positions.push_back(entry.position);
  return positions;
}

void expect_same(const LogIndex &index, const std::deque<Held> &held, const LogFilter &filter, std::mt19937 &random) {
  const std::vector<LogIndex::Position> expected = scanned(held, filter);
  ASSERT_EQ(found(index, filter), expected);
  ASSERT_EQ(index.count(filter, index.first(), index.end()), expected.size());
  const LogIndex::Position from = index.first() + random() % (index.size() + 1);
  const auto later = std::lower_bound(expected.begin(), expected.end(), from);
  ASSERT_EQ(index.find(filter, from), later == expected.end() ? index.end() : *later);
}

void expect_outcomes(const LogIndex &index, const std::deque<Held> &held, uint64_t newest) {
  for (uint64_t outcome = 1; outcome <= newest + 1; outcome++) {
    const bool expected =
        std::any_of(held.begin(), held.end(), [outcome](const Held &entry) { return entry.head.outcome == outcome; });
    ASSERT_EQ(index.holds_outcome(outcome), expected) << outcome;
  }
  ASSERT_EQ(index.newest_outcome(), newest);
}

TEST(LogIndex, finds_what_a_scan_of_all_records_finds_while_records_come_and_go) {
  std::mt19937 random(3);
  LogIndex index(0);
  std::deque<Held> held;
  uint64_t newest = 0;
  for (int step = 0; step < 3000; step++) {
    if (!held.empty() && random() % 5 < 2) {
      index.pop_front();
      held.pop_front();
    } else {
      LogRecordHead head;
      head.owner_tag = static_cast<uint32_t>(random() % 4);
      head.schedule = names[random() % 5];
      head.job = names[random() % 5];
      if (random() % 4 != 0) head.outcome = newest += 1 + random() % 3;
      head.wait_status = random() % 2 != 0 ? 3 << 8 : 0;
      head.completion = static_cast<uint32_t>(step);
      held.push_back({index.end(), head});
      index.push_back(head);
    }
    ASSERT_EQ(index.size(), held.size());
    const LogFilter by_owner = {static_cast<uint32_t>(random() % 5)};
    const LogFilter by_both = {by_owner.owner_tag, std::string(names[random() % 5])};
    for (const LogFilter &filter :
         {LogFilter{}, by_owner, by_both, LogFilter{{}, by_both.name}, LogFilter{{}, "unknown"},
          LogFilter{.owner_tag = {}, .schedule = by_both.name}, LogFilter{.owner_tag = {}, .job = by_both.name},
          LogFilter{.owner_tag = {}, .since = step / 2}, LogFilter{.owner_tag = {}, .failed_only = true},
          LogFilter{.owner_tag = {}, .outcomes = {newest, newest / 2}}})
      expect_same(index, held, filter, random);
    if (step % 100 == 0) expect_outcomes(index, held, newest);
  }
}

struct FilterCase {
  LogFilter filter;
  bool narrows;
};

TEST(LogFilter, narrows_by_all_but_an_owner_and_a_number_of_records) {
  const FilterCase cases[] = {{{}, false},
                              {{.owner_tag = 1}, false},
                              {{.owner_tag = {}, .last = 5}, false},
                              {{.owner_tag = {}, .name = "a"}, true},
                              {{.owner_tag = {}, .schedule = "a"}, true},
                              {{.owner_tag = {}, .job = "a"}, true},
                              {{.owner_tag = {}, .since = 1}, true},
                              {{.owner_tag = {}, .failed_only = true}, true},
                              {{.owner_tag = {}, .outcomes = {1}}, true}};
  for (const FilterCase &each : cases)
    EXPECT_EQ(each.filter.narrows(), each.narrows) << &each - cases;
}

TEST(LogFilter, wants_what_fits_each_of_its_fields) {
  const LogFilter all, owners = {.owner_tag = 7}, named = {.owner_tag = {}, .name = "a"},
                       schedules = {.owner_tag = {}, .schedule = "a"}, jobs = {.owner_tag = {}, .job = "a"};
  EXPECT_TRUE(all.wants(7, "x", "y"));
  EXPECT_TRUE(owners.wants(7, "x", "y"));
  EXPECT_FALSE(owners.wants(8, "x", "y"));
  EXPECT_TRUE(named.wants(7, "a", "y"));
  EXPECT_TRUE(named.wants(7, "x", "a"));
  EXPECT_FALSE(named.wants(7, "x", "y"));
  EXPECT_TRUE(schedules.wants(7, "a", "y"));
  EXPECT_FALSE(schedules.wants(7, "x", "a"));
  EXPECT_TRUE(jobs.wants(7, "x", "a"));
  EXPECT_FALSE(jobs.wants(7, "a", "y"));
  const LogFilter late = {.owner_tag = {}, .since = 100}, failed = {.owner_tag = {}, .failed_only = true},
                  some = {.owner_tag = {}, .outcomes = {3, 5}};
  EXPECT_TRUE(all.wants(1, 0, false));
  EXPECT_TRUE(late.wants(1, 100, false));
  EXPECT_FALSE(late.wants(1, 99, true));
  EXPECT_TRUE(failed.wants(1, 0, true));
  EXPECT_FALSE(failed.wants(1, 0, false));
  EXPECT_TRUE(some.wants(5, 0, false));
  EXPECT_FALSE(some.wants(4, 0, true));
}

service::LogRecord record(uint32_t owner, size_t output) {
  service::LogRecord result;
  result.job = "job";
  result.schedule = "schedule";
  result.user = "user";
  result.owner_tag = owner;
  result.output = std::string(output, 'x');
  return result;
}

// Another client waits for one message at most, so that what a message reads is bounded, however much the log holds.
TEST(LogReader, reads_one_window_for_a_message_and_the_file_once_for_all) {
  World world;
  constexpr uint32_t size = 2 * 1024 * 1024;
  ASSERT_EQ(world.send(root(), SCH_SERVICE_CONFIG, SCH_OP_RESIZE_LOG, log_payload("", "", size)).status, 0u);
  service::JobLog &log = world.parts->log;
  for (int i = 0; i < 20000; i++)
    log.append(record(i % 1000 == 0 ? 8 : 7, 20));
  for (const uint32_t owner : {7u, 8u}) {
    service::LogReader reader = log.read({owner, ""});
    size_t messages = 0, before = 0;
    while (reader.next()) {
      messages++;
      ASSERT_LE(reader.bytes_read() - before, service::RecordWindow::size);
      before = reader.bytes_read();
    }
    EXPECT_EQ(messages, reader.count());
    EXPECT_LE(reader.bytes_read(), owner == 7 ? size + size / 20 : messages * service::RecordWindow::size);
  }
}

}  // namespace
}  // namespace service_test
