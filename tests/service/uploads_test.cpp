// SPDX-License-Identifier: Apache-2.0
// Texts that arrive in pieces: how many, how large, whose, and for how long.
#include "service/configuration/uploads.h"

#include <gtest/gtest.h>

#include "host/status.h"

namespace service_test {
namespace {

constexpr uid_t anna = 1000, bert = 1001;
constexpr time_t now = 1795262400;

struct Pieces : ::testing::Test {
  service::Uploads uploads;
  // The text's id; otherwise the status.
  std::string put(uint32_t id, const std::string &piece, time_t at = now, uid_t user = anna) {
    const host::Result<uint32_t> added = uploads.add(id, user, piece, at);
    return added ? std::to_string(*added) : "status " + std::to_string(added.code());
  }
  std::string take(uint32_t id, uid_t user = anna) {
    const host::Result<std::string> text = uploads.take(id, user);
    return text ? *text : "status " + std::to_string(text.code());
  }
};

const std::string unknown = "status " + std::to_string(host::err_bad_request),
                  busy = "status " + std::to_string(host::err_busy),
                  too_large = "status " + std::to_string(host::err_too_large);

TEST_F(Pieces, are_put_together_and_taken_once) {
  EXPECT_EQ(put(0, "one "), "1");
  EXPECT_EQ(put(0, "other"), "2");
  EXPECT_EQ(put(1, "two"), "1");
  EXPECT_EQ(take(1), "one two");
  EXPECT_EQ(take(1), unknown);
  EXPECT_EQ(put(1, "more"), unknown);
  EXPECT_EQ(take(2), "other");
  EXPECT_EQ(put(0, "next"), "3");
}

TEST_F(Pieces, are_their_users_alone) {
  ASSERT_EQ(put(0, "annas"), "1");
  EXPECT_EQ(put(1, "berts", now, bert), unknown);
  EXPECT_EQ(take(1, bert), unknown);
  EXPECT_EQ(take(1), "annas");
}

TEST_F(Pieces, are_forgotten_after_a_minute_without_another) {
  ASSERT_EQ(put(0, "a"), "1");
  ASSERT_EQ(put(0, "b"), "2");
  EXPECT_EQ(put(1, "a", now + 60), "1");
  EXPECT_EQ(put(1, "a", now + 120), "1");
  EXPECT_EQ(put(2, "b", now + 120), unknown);
  EXPECT_EQ(put(1, "a", now + 181), unknown);
}

TEST_F(Pieces, are_of_sixteen_texts_at_most) {
  for (int i = 1; i <= 16; i++)
    EXPECT_EQ(put(0, "x"), std::to_string(i));
  EXPECT_EQ(put(0, "x"), busy);
  EXPECT_EQ(put(16, "y"), "16");
  EXPECT_EQ(take(16), "xy");
  EXPECT_EQ(put(0, "x"), "17");
}

TEST_F(Pieces, have_room_for_32_mebibytes_together) {
  const std::string most((32 << 20) - 1, 'x');
  ASSERT_EQ(put(0, most), "1");
  EXPECT_EQ(put(0, "y"), "2");
  EXPECT_EQ(put(0, "z"), too_large);
  EXPECT_EQ(put(2, "y"), too_large);
  EXPECT_EQ(put(2, ""), unknown);  // a text that lost a piece is none
  EXPECT_EQ(take(1), most);
}

}  // namespace
}  // namespace service_test
