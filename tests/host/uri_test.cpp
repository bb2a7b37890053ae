// SPDX-License-Identifier: Apache-2.0
#include "host/files/uri.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <array>
#include <cerrno>

#include "host/files/file_descriptor.h"
#include "platform/uri.h"
#include "tests/host/store_fixture.h"

namespace store_test {
namespace {

class UriTest : public StoreTest {
 protected:
  std::string path_of(const std::string &text) {
    const auto uri = host::parse_file_uri(text);
    std::array<char, host::file_path_size> path{};
    if (!uri) return "(none)";
    const int result = uri_map_targetfs_path_get(&*uri, path.data(), path.size());
    EXPECT_EQ(result == 0, path[0] != '\0');
    return path.data();
  }
  static std::string error_of(const std::string &text) {
    const auto uri = host::parse_file_uri(text);
    EXPECT_EQ(uri.code(), host::err_bad_value) << text;
    return uri ? "" : uri.error().text;
  }
};

TEST_F(UriTest, file_is_below_the_root_of_its_scheme) {
  EXPECT_EQ(path_of("flash:log.dat"), directory + "/flash/log.dat");
  EXPECT_EQ(path_of("flash:/log.dat"), directory + "/flash/log.dat");
  EXPECT_EQ(path_of("flash:a/b/log"), directory + "/flash/a/b/log");
  EXPECT_EQ(path_of("volatile:log.dat"), directory + "/run/volatile/log.dat");
  EXPECT_EQ(path_of("flash:..log"), directory + "/flash/..log");
}

TEST_F(UriTest, uri_is_written_as_one_text) {
  std::array<char, host::file_path_size> text{};
  const auto uri = host::parse_file_uri("flash:/a/log.dat");
  ASSERT_TRUE(uri);
  EXPECT_EQ(snprintf_uri_len(text.data(), text.size(), &*uri), 15);
  EXPECT_STREQ(text.data(), "flash:a/log.dat");
  EXPECT_EQ(host::parse_file_uri(text.data())->name, uri->name);
}

TEST_F(UriTest, text_that_names_no_file_here_is_refused_with_the_reason) {
  const std::pair<std::string, const char *> cases[] = {
      {"", "is no file"},
      {"log.dat", "is no file"},
      {"/etc/passwd", "is no file"},
      {"disk:log.dat", "is no file"},
      {"FLASH:log.dat", "is no file"},
      {"flash", "is no file"},
      {"flash:", "names no file"},
      {"flash:/", "names no file"},
      {"flash:..", "\"..\""},
      {"flash:../etc/passwd", "\"..\""},
      {"flash:a/../../b", "\"..\""},
      {"flash:a/..", "\"..\""},
      {"flash:.", "\"..\""},
      {"flash:a//b", "empty part"},
      {"flash:a/", "empty part"},
      {"flash://a", "empty part"},
      {"flash:a b", "a character"},
      {"flash:a\nb", "a character"},
      {std::string("flash:a\0b", 9), "a character"},
      {"flash:a;b", "a character"},
      {"flash:\xc3\xa4", "a character"},
      {"flash:" + std::string(300, 'a'), "too long"},
  };
  for (const auto &[text, words] : cases) {
    EXPECT_NE(error_of(text).find(words), std::string::npos) << text << ": " << error_of(text);
  }
}

TEST_F(UriTest, name_may_have_each_letter_and_digit_and_few_signs) {
  const std::string allowed = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._-+@%,/";
  for (int c = 0; c < 256; ++c) {
    const std::string name = {'a', static_cast<char>(c), 'z'};
    EXPECT_EQ(host::parse_file_uri("flash:" + name).ok(), allowed.find(name[1]) != std::string::npos) << c;
  }
}

TEST_F(UriTest, longest_name_fills_a_record_and_one_more_is_too_long) {
  const std::string root = directory + "/flash/";
  const std::string longest(host::file_path_size - 1 - root.size(), 'a');
  EXPECT_EQ(path_of("flash:" + longest), root + longest);
  EXPECT_EQ(error_of("flash:" + longest + "a"), "flash:" + longest + "a: is too long");
}

TEST_F(UriTest, link_does_not_lead_out) {
  std::filesystem::create_directories(directory + "/flash/inner");
  std::filesystem::create_directory(directory + "/outside");
  write_file(directory + "/outside/file", "secret");
  std::filesystem::create_symlink(directory + "/outside", directory + "/flash/out");
  std::filesystem::create_symlink("../../outside/file", directory + "/flash/inner/file");
  std::filesystem::create_symlink("/proc/self/cwd", directory + "/flash/magic");
  std::filesystem::create_symlink("inner", directory + "/flash/within");
  for (const char *text : {"flash:out/file", "flash:inner/file", "flash:magic/file", "flash:out", "flash:within/new"}) {
    EXPECT_NE(error_of(text).find("symbolic link"), std::string::npos) << text;
  }
}

TEST_F(UriTest, buffer_that_is_too_small_is_left_empty) {
  const host::FileUri uri{"flash:", "log"};
  std::array<char, 16> text;
  text.fill('x');
  EXPECT_EQ(uri_map_targetfs_path_get(&uri, text.data(), text.size()), -1);
  EXPECT_STREQ(text.data(), "");
  EXPECT_EQ(snprintf_uri_len(text.data(), 9, &uri), -1);
  EXPECT_STREQ(text.data(), "");
  EXPECT_EQ(snprintf_uri_len(text.data(), 10, &uri), 9);
  EXPECT_STREQ(text.data(), "flash:log");
  EXPECT_EQ(snprintf_uri_len(text.data(), 0, &uri), -1);
  EXPECT_EQ(snprintf_uri_len(text.data(), text.size(), nullptr), -1);
  EXPECT_EQ(uri_map_targetfs_path_get(nullptr, text.data(), text.size()), -1);
}

TEST_F(UriTest, record_that_was_not_parsed_is_checked_too) {
  const host::FileUri uri{"flash:", "../../etc/passwd"};
  std::array<char, host::file_path_size> path{};
  EXPECT_EQ(uri_map_targetfs_path_get(&uri, path.data(), path.size()), -1);
  EXPECT_STREQ(path.data(), "");
}

}  // namespace
}  // namespace store_test
