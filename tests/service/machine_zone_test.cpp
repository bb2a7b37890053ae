// SPDX-License-Identifier: Apache-2.0
// Where the machine's zone stands, and how a change of it is noticed; and zones that cannot be read.
#include "service/calendar/machine_zone.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "service/calendar/service_zone.h"
#include "service/calendar/zone_file.h"

namespace service {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

std::string contents(const fs::path &file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

void write(const fs::path &file, const std::string &text) {
  std::ofstream(file, std::ios::binary) << text;
}

const fs::path database = "/usr/share/zoneinfo";

struct Machine : ::testing::Test {
  fs::path etc = make();
  fs::path localtime = etc / "localtime";

  static fs::path make() {
    std::string path = fs::temp_directory_path() / "machine_zone_XXXXXX";
    return mkdtemp(path.data()) == nullptr ? fs::path() : fs::path(path);
  }
  ~Machine() override { fs::remove_all(etc); }

  std::string zone() const { return machine_zone(etc); }
  std::string identity() const { return identity_of(files_of_machine_zone(etc)); }
};

TEST_F(Machine, a_link_names_its_zone) {
  fs::create_symlink(database / "Europe/Berlin", localtime);
  EXPECT_EQ(zone(), "Europe/Berlin");
}

TEST_F(Machine, a_link_that_climbs_names_its_zone) {
  const fs::path zone_file = database / "America/Argentina/Ushuaia";
  fs::create_symlink(fs::proximate(zone_file, fs::canonical(etc)), localtime);
  EXPECT_EQ(zone(), "America/Argentina/Ushuaia");
}

TEST_F(Machine, a_copy_has_the_name_that_stands_beside_it) {
  fs::copy_file(database / "Asia/Tokyo", localtime);
  write(etc / "timezone", "Asia/Tokyo\n");
  EXPECT_EQ(zone(), "Asia/Tokyo");
}

TEST_F(Machine, a_copy_beside_another_zones_name_goes_by_its_path) {
  fs::copy_file(database / "Asia/Tokyo", localtime);
  write(etc / "timezone", "Europe/Berlin\n");
  EXPECT_EQ(zone(), ":" + localtime.string());
  const host::Result<Zone> loaded = Zone::load(zone());
  ASSERT_TRUE(loaded.ok());
  EXPECT_EQ(loaded->offset_at(0), 9 * 3600);
}

// What stands in TZ before a colon, and what cannot be shown, would not be read as this name.
TEST_F(Machine, a_link_to_what_can_be_no_zones_name_goes_by_its_path) {
  fs::create_directory(etc / "zoneinfo");
  for (const char *name : {"of:colon", "of blank", "of\ttab", "of\x7f", "of\xc3\xa4"}) {
    fs::copy_file(database / "Asia/Tokyo", etc / "zoneinfo" / name);
    fs::create_symlink(etc / "zoneinfo" / name, localtime);
    EXPECT_EQ(zone(), ":" + localtime.string()) << name;
    fs::remove(localtime);
  }
  for (const char *name : {"of!", "of~"}) {
    fs::copy_file(database / "Asia/Tokyo", etc / "zoneinfo" / name);
    fs::create_symlink(etc / "zoneinfo" / name, localtime);
    EXPECT_EQ(zone(), name);
    fs::remove(localtime);
  }
}

TEST_F(Machine, a_copy_beside_a_path_or_nothing_goes_by_its_own_path) {
  fs::copy_file(database / "Asia/Tokyo", localtime);
  for (const char *said : {"/usr/share/zoneinfo/Asia/Tokyo\n", "Asia/Tokyo of old\n", "\n", ""}) {
    write(etc / "timezone", said);
    EXPECT_EQ(zone(), ":" + localtime.string()) << said;
  }
  write(localtime, "");
  write(etc / "timezone", "Europe/Atlantis\n");
  EXPECT_EQ(zone(), ":" + localtime.string());
}

TEST_F(Machine, its_files_are_the_name_the_link_and_what_that_leads_to) {
  fs::create_symlink("there", localtime);
  write(etc / "there", "");
  const std::string folder = etc.string() + "/";
  EXPECT_THAT(files_of_machine_zone(etc),
              ::testing::ElementsAre(folder + "timezone", folder + "localtime", folder + "there"));
  fs::remove(etc / "there");
  fs::create_symlink("localtime", etc / "there");
  EXPECT_THAT(files_of_machine_zone(etc), ::testing::SizeIs(1 + 8));  // a chain without an end
}

TEST_F(Machine, a_zones_files_are_those_of_the_database_or_at_its_path) {
  EXPECT_EQ(files_of_zone("Europe/Berlin").front(), (database / "Europe/Berlin").string());
  EXPECT_EQ(files_of_zone(":Europe/Berlin").front(), (database / "Europe/Berlin").string());
  for (const char *name : {"", ":", "Europe", "CET-1CEST"})
    EXPECT_THAT(files_of_zone(name), ::testing::IsEmpty()) << name;
  write(etc / "own", "");
  EXPECT_THAT(files_of_zone(":" + (etc / "own").string()), ::testing::ElementsAre((etc / "own").string()));
  setenv("TZDIR", etc.c_str(), 1);
  EXPECT_THAT(files_of_zone("own"), ::testing::ElementsAre((etc / "own").string()));
  setenv("TZDIR", "", 1);
  EXPECT_EQ(files_of_zone("Europe/Berlin").front(), (database / "Europe/Berlin").string());
  unsetenv("TZDIR");
}

TEST_F(Machine, without_a_file_it_is_utc) {
  EXPECT_EQ(zone(), "UTC");
}

TEST_F(Machine, a_link_to_another_zone_is_noticed) {
  fs::create_symlink(database / "Europe/Berlin", localtime);
  const std::string before = identity();
  EXPECT_EQ(identity(), before);
  fs::remove(localtime);
  EXPECT_NE(identity(), before);
  fs::create_symlink(database / "Asia/Tokyo", localtime);
  EXPECT_NE(identity(), before);
}

TEST_F(Machine, a_copy_that_is_replaced_or_written_over_is_noticed) {
  fs::copy_file(database / "Europe/Berlin", localtime);
  const std::string before = identity();
  write(localtime, contents(database / "Asia/Tokyo"));
  const std::string rewritten = identity();
  EXPECT_NE(rewritten, before);
  fs::copy_file(database / "Asia/Tokyo", etc / "new");
  fs::rename(etc / "new", localtime);
  EXPECT_NE(identity(), rewritten);
}

TEST_F(Machine, a_zone_file_behind_the_link_that_is_replaced_is_noticed) {
  fs::copy_file(database / "Europe/Berlin", etc / "Berlin");
  fs::create_symlink("Berlin", localtime);
  const std::string before = identity();
  fs::copy_file(database / "Europe/Paris", etc / "new");
  fs::rename(etc / "new", etc / "Berlin");
  EXPECT_NE(identity(), before);
}

TEST(ZoneFile, every_cut_is_refused_and_the_whole_is_not) {
  const std::string whole = contents(database / "Europe/Berlin");
  ASSERT_GT(whole.size(), 500u);
  EXPECT_TRUE(is_whole_zone_file(whole));
  for (size_t size = 0; size < whole.size(); size++)
    EXPECT_FALSE(is_whole_zone_file(whole.substr(0, size))) << size;
}

// As many of each part as the six counts of a header say, in their order there; each type of a time is the first.
std::string block(char version, const std::array<uint32_t, 6> &counts, size_t time_size) {
  std::string text = std::string("TZif") + version + std::string(15, '\0');
  for (const uint32_t count : counts)
    text += std::string(3, '\0') + static_cast<char>(count);
  const auto [universal, standard, leaps, times, types, letters] = counts;
  return text +
         std::string(times * (time_size + 1) + types * 6 + letters + leaps * (time_size + 4) + standard + universal,
                     '\0');
}

TEST(ZoneFile, of_the_first_version_is_one_block_and_nothing_else) {
  for (size_t changed = 0; changed < 6; changed++) {
    std::array<uint32_t, 6> counts = {1, 2, 3, 4, 5, 6};
    const std::string whole = block('\0', counts, 4);
    EXPECT_TRUE(is_whole_zone_file(whole));
    EXPECT_FALSE(is_whole_zone_file(whole + "\n"));
    for (const char more : {'\x01', '\x07'}) {  // what is announced and what is there differ
      std::string other = whole;
      other[20 + changed * 4 + 3] = more;
      EXPECT_EQ(is_whole_zone_file(other), other == whole) << changed;
    }
  }
  EXPECT_FALSE(is_whole_zone_file(block('\0', {0, 0, 0, 0, 0, 0}, 4)));
  EXPECT_TRUE(is_whole_zone_file(block('\0', {0, 0, 0, 0, 1, 0}, 4)));
  EXPECT_FALSE(is_whole_zone_file("TZiF" + block('\0', {0, 0, 0, 0, 1, 0}, 4).substr(4)));
}

TEST(ZoneFile, of_a_later_version_has_a_second_block_and_a_line) {
  const std::string first = block('2', {0, 0, 0, 0, 1, 0}, 4), second = block('2', {1, 2, 3, 4, 5, 6}, 8);
  EXPECT_TRUE(is_whole_zone_file(first + second + "\n\n"));
  EXPECT_TRUE(is_whole_zone_file(first + second + "\nUTC0\n"));
  for (const char *end : {"", "\n", "\nUTC0", "UTC0\n"})
    EXPECT_FALSE(is_whole_zone_file(first + second + end)) << end;
  EXPECT_FALSE(is_whole_zone_file(first + "\nUTC0\n"));
  for (size_t changed = 0; changed < 6; changed++) {
    std::string other = second;
    other[20 + changed * 4 + 3]++;
    EXPECT_FALSE(is_whole_zone_file(first + other + "\n\n")) << changed;
  }
}

TEST(ZoneFile, a_type_beyond_the_table_is_refused) {
  std::string damaged = contents(database / "Europe/Berlin");
  const size_t second = damaged.find("TZif", 4);
  const auto count = [&](size_t at) {
    return static_cast<size_t>(static_cast<unsigned char>(damaged[at + 2])) * 256 +
           static_cast<unsigned char>(damaged[at + 3]);
  };
  const size_t first_type = second + 44 + count(second + 32) * 8;
  damaged[first_type] = static_cast<char>(count(second + 36));
  EXPECT_FALSE(is_whole_zone_file(damaged));
}

TEST(ZoneFile, a_damaged_one_is_an_error_and_not_the_end) {
  const fs::path file = fs::temp_directory_path() / "damaged_zone";
  write(file, contents(database / "Europe/Berlin").substr(0, 500));
  EXPECT_FALSE(Zone::load(file).ok());
  EXPECT_THAT(Zone::load(file).error().text, HasSubstr("damaged_zone"));
  fs::remove(file);
}

TEST(ServiceZone, one_that_does_not_exist_is_named_with_who_asked_for_it) {
  ASSERT_TRUE(set_service_zone("Asia/Tokyo").ok());
  const host::Result<void> refused = set_service_zone("Europe/Atlantis");
  ASSERT_FALSE(refused.ok());
  EXPECT_THAT(refused.error().text, HasSubstr("Europe/Atlantis"));
  EXPECT_THAT(refused.error().text, HasSubstr("the configuration"));
  EXPECT_EQ(service_zone().identifier(), "Asia/Tokyo");
  EXPECT_STREQ(std::getenv("TZ"), "Asia/Tokyo");
}

TEST(Zone, has_the_offset_of_its_first_rule_before_that_too) {
  const host::Result<Zone> tokyo = Zone::load("Asia/Tokyo");
  ASSERT_TRUE(tokyo.ok());
  EXPECT_EQ(tokyo->offset_at(-100 * 86400), 9 * 3600);
}

TEST(Zone, may_be_a_rule_that_begins_with_a_name) {
  EXPECT_TRUE(Zone::load("CET-1CEST,M3.5.0,M10.5.0/3").ok());
  EXPECT_TRUE(Zone::load("<+0530>-5:30").ok());
  for (const char *name : {"", ":", "+5", "5", "Europe", "/nowhere"})
    EXPECT_FALSE(Zone::load(name).ok()) << name;
}

TEST(ServiceZone, the_process_lives_in_it) {
  ASSERT_TRUE(set_service_zone("Australia/Lord_Howe").ok());
  const time_t january = 1799755200;
  tm calendar = {};
  localtime_r(&january, &calendar);
  EXPECT_EQ(calendar.tm_gmtoff, 11 * 3600);
  EXPECT_EQ(service_zone().offset_at(january), 11 * 3600);
}

TEST(ServiceZone, a_file_that_is_replaced_is_read_again_by_us_and_by_the_c_library) {
  const fs::path file = fs::temp_directory_path() / "zone_that_changes";
  fs::copy_file(database / "Europe/Berlin", file, fs::copy_options::overwrite_existing);
  ASSERT_TRUE(set_service_zone(file).ok());
  EXPECT_FALSE(refresh_service_zone());
  fs::copy_file(database / "Europe/Berlin", file, fs::copy_options::overwrite_existing);
  EXPECT_FALSE(refresh_service_zone());                           // it is another file, and the same zone
  write(file, contents(database / "Asia/Tokyo").substr(0, 300));  // in the middle of being written
  EXPECT_FALSE(refresh_service_zone());
  EXPECT_EQ(service_zone().offset_at(1799755200), 3600);
  write(file, contents(database / "Asia/Tokyo"));
  EXPECT_TRUE(refresh_service_zone());
  EXPECT_EQ(service_zone().offset_at(1799755200), 9 * 3600);
  tm calendar = {};
  const time_t january = 1799755200;
  localtime_r(&january, &calendar);
  EXPECT_EQ(calendar.tm_gmtoff, 9 * 3600);
  fs::remove(file);
}

}  // namespace
}  // namespace service
