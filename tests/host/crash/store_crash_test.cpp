// SPDX-License-Identifier: Apache-2.0
// Crashes the store at every point of a workload, in every way that a disk may behave, and opens what is left.
#include <functional>
#include <unordered_set>

#include "tests/host/crash/disk.h"
#include "tests/host/crash/recorder.h"
#include "tests/host/crash/workload.h"
#include "tests/host/store_fixture.h"

namespace crash {
namespace {

constexpr int request_count = 140;
constexpr std::size_t wanted_images = 10000;
constexpr int chances = 60;  // images that are drawn at a point where something is not promised

struct Result {
  std::size_t images = 0;
  std::size_t bad = 0;
  std::string first_fault;
};

class StoreCrashTest : public store_test::StoreTest {
 protected:
  std::vector<Event> trace(Dropped dropped, Batches batches = Batches::whole) {
    const std::string trace_path = directory + "/trace", work = directory + "/work";
    std::filesystem::remove_all(work);
    EXPECT_EQ(in_another_process([&] {
                host::use_paths(host::resolve_paths(work.c_str()));
                std::filesystem::create_directory(work);
                std::filesystem::permissions(work, std::filesystem::perms::owner_all);
                start_recording(work, trace_path, dropped);
                return perform(requests, batches);
              }),
              0);
    return read_trace(trace_path);
  }

  Image files_of_the_work() const {
    Image files;
    for (const auto &entry : std::filesystem::directory_iterator(directory + "/work")) {
      const std::string name = entry.path().filename();
      if (!name.ends_with("-lock")) files[name] = store_test::file_content(entry.path());
    }
    return files;
  }

  // Every image that the trace allows, checked once.
  Result crash_everywhere(const std::vector<Event> &events, bool stop_at_fault) {
    Result result;
    std::mt19937 random(1);
    std::unordered_set<std::size_t> seen;
    Disk disk;
    std::size_t acknowledged = 0;
    const auto crash_here = [&](Disk::Unsynced unsynced) {
      const Image image = disk.crash(unsynced, &random);
      if (!seen.insert(digest(image, acknowledged)).second) return;
      ++result.images;
      const std::string fault = check(image, acknowledged);
      if (fault.empty()) return;
      ++result.bad;
      if (result.first_fault.empty()) result.first_fault = fault;
    };
    const auto crash_in_many_ways = [&] {
      crash_here(Disk::Unsynced::nothing);
      crash_here(Disk::Unsynced::everything);
      for (int i = 0; i < chances && !disk.everything_is_promised(); ++i)
        crash_here(Disk::Unsynced::some);
    };
    for (const Event &event : events) {
      disk.begin(event);
      if (event.durable) crash_in_many_ways();
      disk.complete(event);
      if (event.call == Call::acknowledge) ++acknowledged;
      if (event.call != Call::open && event.call != Call::close) crash_in_many_ways();
      if (stop_at_fault && result.bad > 0) break;
    }
    EXPECT_TRUE(stop_at_fault || acknowledged == requests.size());
    return result;
  }

  static std::size_t digest(const Image &image, std::size_t acknowledged) {
    std::size_t digest = acknowledged;
    for (const auto &[name, content] : image) {
      digest = digest * 1099511628211U + std::hash<std::string>()(name);
      digest = digest * 1099511628211U + std::hash<std::string>()(content);
    }
    return digest;
  }

  // What is wrong with the stores of an image; empty: the acknowledged requests and nothing half are there.
  std::string check(const Image &image, std::size_t acknowledged) {
    for (const auto &entry : std::filesystem::directory_iterator(image_directory))
      std::filesystem::remove(entry);
    for (const auto &[name, content] : image)
      store_test::write_file(image_directory + "/" + name, content);
    Stores found;
    for (const auto &[uri, store] : {std::pair{running_uri, &found.running}, {startup_uri, &found.startup}}) {
      if (!host::store_exists(uri)) continue;
      if (const std::string fault = read(uri, store); !fault.empty()) return fault;
    }
    const bool under_way = acknowledged + 1 < states.size() && found == states[acknowledged + 1];
    if (found == states[acknowledged] || under_way) return "";
    return "after " + std::to_string(acknowledged) + " requests the stores hold something else";
  }

  // Reads the store and sees that it can be written.
  static std::string read(const char *uri, std::optional<Records> *records) {
    uint32_t error = 0;
    const pss_handle store = pss_open(uri, &error);
    if (store == 0) return host::store_last_error();
    const auto found = StoreTest::records(store);
    records->emplace(found.begin(), found.end());
    const bool written = put(store, "written", "after the crash") == 0 && get(store, "written") == "after the crash";
    pss_close(store);
    return written ? "" : host::store_last_error();
  }

  void SetUp() override {
    std::filesystem::create_directory(image_directory);
    std::filesystem::permissions(image_directory, std::filesystem::perms::owner_all);
    host::use_paths(host::resolve_paths(image_directory.c_str()));
  }

  std::vector<Request> requests = workload(7, request_count);
  std::vector<Stores> states = states_after(requests);
  std::string image_directory = directory + "/image";
};

TEST_F(StoreCrashTest, every_image_of_a_crash_holds_what_was_acknowledged_and_nothing_half) {
  const std::vector<Event> events = trace({});
  const Result result = crash_everywhere(events, false);
  EXPECT_EQ(result.bad, 0U) << result.first_fault;
  EXPECT_GE(result.images, wanted_images);
  RecordProperty("images", static_cast<int>(result.images));
  printf("%zu calls, %zu different images\n", events.size(), result.images);
}

TEST_F(StoreCrashTest, trace_holds_every_change_of_the_files) {
  Disk disk;
  for (const Event &event : trace({})) {
    disk.begin(event);
    disk.complete(event);
  }
  EXPECT_TRUE(disk.crash(Disk::Unsynced::everything, nullptr) == files_of_the_work());
  EXPECT_TRUE(disk.everything_is_promised());
}

TEST_F(StoreCrashTest, request_that_is_stored_in_pieces_is_found) {
  const Result result = crash_everywhere(trace({}, Batches::in_pieces), true);
  EXPECT_NE(result.first_fault.find("hold something else"), std::string::npos);
}

struct Removed {
  const char *name;
  Dropped dropped;
};

class StoreWithoutSyncsTest : public StoreCrashTest, public testing::WithParamInterface<Removed> {};

// The test would not be worth much if it did not find these.
TEST_P(StoreWithoutSyncsTest, loses_what_was_acknowledged) {
  EXPECT_GT(crash_everywhere(trace(GetParam().dropped), true).bad, 0U);
}

INSTANTIATE_TEST_SUITE_P(, StoreWithoutSyncsTest,
                         testing::Values(Removed{"all", {true, true, true}}, Removed{"of_files", {true, false, false}},
                                         Removed{"of_durable_writes", {false, true, false}},
                                         Removed{"of_directories", {false, false, true}}),
                         [](const auto &each) { return each.param.name; });

}  // namespace
}  // namespace crash
