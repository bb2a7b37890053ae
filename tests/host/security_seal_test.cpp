// SPDX-License-Identifier: Apache-2.0
// Sealing, the key and the file of the sealed passwords.
#include "host/security/seal.h"

#include <sys/prctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "host/security/key.h"
#include "host/security/passwords.h"
#include "host/security/security.h"
#include "host/status.h"
#include "tests/host/security_fixture.h"

namespace security_test {

using namespace host;

class SealTest : public SecurityTest {
 protected:
  SealTest() { EXPECT_EQ(provide_security_key(false).code(), 0u); }
};

std::string sealed_for(const std::string &user, const std::string &clear) {
  const Result<std::string> sealed = seal_password(user, clear);
  EXPECT_EQ(sealed.code(), 0u);
  return sealed ? *sealed : "";
}

std::string opened(const std::string &user, const std::string &sealed) {
  ClearText clear;
  const uint32_t status = open_password(user, sealed, &clear).code();
  return status == 0 ? clear.c_str() : "status " + std::to_string(status);
}

std::string stored_for(const std::string &user) {
  const Result<sch_security_user_rec> record = security_read(user);
  return record ? record->password : "status " + std::to_string(record.code());
}

const std::string no_password = "status " + std::to_string(err_bad_value);

// Which tells of a wrong password where the key is missing as well.
TEST_F(SecurityTest, a_text_that_is_no_sealed_password_needs_no_key_to_be_refused) {
  ClearText clear;
  EXPECT_EQ(open_password("alice", "nonsense", &clear).code(), err_bad_value);
  EXPECT_EQ(open_password("alice", "1" + std::string(sealed_length - 1, 'A'), &clear).code(), err_io);
}

TEST_F(SealTest, a_password_of_every_length_opens_for_its_user) {
  for (std::size_t length = 1; length <= password_limit; length++) {
    const std::string clear(length, 'p');
    const std::string sealed = sealed_for("alice", clear);
    EXPECT_EQ(sealed.size(), sealed_length);
    EXPECT_EQ(opened("alice", sealed), clear);
  }
  EXPECT_EQ(password_limit, 53u);
}

TEST_F(SealTest, any_byte_but_the_terminator_may_be_in_a_password) {
  std::string clear;
  for (int c = 1; c <= 255; c++) {
    clear = std::string(1, static_cast<char>(c)) + "\x80";
    EXPECT_EQ(opened("alice", sealed_for("alice", clear)), clear) << c;
  }
}

TEST_F(SealTest, an_empty_password_and_one_above_the_limit_are_refused) {
  EXPECT_EQ(seal_password("alice", "").code(), err_bad_value);
  EXPECT_EQ(seal_password("alice", std::string(password_limit + 1, 'p')).code(), err_password_too_long);
}

TEST_F(SealTest, the_same_password_seals_differently_each_time_in_plain_letters) {
  const std::string first = sealed_for("alice", "secret"), second = sealed_for("alice", "secret");
  EXPECT_NE(first, second);
  EXPECT_TRUE(std::all_of(first.begin(), first.end(), [](unsigned char c) {
    return std::isalnum(c) != 0 || c == '-' || c == '_';
  })) << first;
}

TEST_F(SealTest, a_sealed_text_opens_for_nobody_else) {
  const std::string sealed = sealed_for("alice", "secret");
  for (const char *other : {"bob", "alic", "alice2", "Alice", ""})
    EXPECT_EQ(opened(other, sealed), no_password);
}

TEST_F(SealTest, a_sealed_text_changed_anywhere_does_not_open) {
  const std::string sealed = sealed_for("alice", "secret");
  for (std::size_t place = 0; place < sealed.size(); place++) {
    std::string changed = sealed;
    changed[place] = changed[place] == 'A' ? 'B' : 'A';
    EXPECT_EQ(opened("alice", changed), no_password) << place;
    EXPECT_EQ(opened("alice", sealed.substr(0, place)), no_password) << place;
  }
  EXPECT_EQ(opened("alice", sealed + "A"), no_password);
  EXPECT_EQ(opened("alice", "secret"), no_password);
}

TEST_F(SealTest, under_another_key_nothing_opens) {
  const std::string sealed = sealed_for("alice", "secret");
  ASSERT_EQ(::unlink(security_key_path().c_str()), 0);
  ASSERT_EQ(provide_security_key(false).code(), 0u);
  EXPECT_EQ(opened("alice", sealed), no_password);
}

TEST_F(SealTest, memory_is_undumpable_only_meanwhile) {
  const int before = ::prctl(PR_GET_DUMPABLE);
  {
    const NoCore no_core;
    EXPECT_EQ(::prctl(PR_GET_DUMPABLE), 0);
    {
      const NoCore nested;
      EXPECT_EQ(::prctl(PR_GET_DUMPABLE), 0);
    }
    EXPECT_EQ(::prctl(PR_GET_DUMPABLE), 0);
  }
  EXPECT_EQ(::prctl(PR_GET_DUMPABLE), before);
}

// The key file.

TEST_F(SealTest, the_key_is_the_owners_alone_and_stays) {
  EXPECT_EQ(mode_of(security_key_path()), 0600u);
  const std::string key = read_file(security_key_path());
  EXPECT_EQ(key.size(), 32u);
  EXPECT_EQ(provide_security_key(false).code(), 0u);
  EXPECT_EQ(provide_security_key(true).code(), 0u);
  EXPECT_EQ(read_file(security_key_path()), key);
  EXPECT_NE(::access((security_key_path() + ".new").c_str(), F_OK), 0);
}

TEST_F(SealTest, a_lost_key_is_not_replaced_while_passwords_are_stored) {
  ASSERT_EQ(::unlink(security_key_path().c_str()), 0);
  EXPECT_EQ(provide_security_key(true).code(), err_io);
  EXPECT_NE(::access(security_key_path().c_str(), F_OK), 0);
}

struct BadKey {
  const char *what;
  uint32_t status;
  void (*make)(const std::string &path);
};

const BadKey bad_keys[] = {
    {"open to the group", err_io, [](const std::string &path) { write_file(path, std::string(32, 'k'), 0640); }},
    {"open to others", err_io, [](const std::string &path) { write_file(path, std::string(32, 'k'), 0604); }},
    {"too short", err_store_unusable, [](const std::string &path) { write_file(path, std::string(31, 'k')); }},
    {"empty", err_store_unusable, [](const std::string &path) { write_file(path, ""); }},
    {"too long", err_io, [](const std::string &path) { write_file(path, std::string(33, 'k')); }},
    {"a directory", err_io, [](const std::string &path) { ASSERT_EQ(::mkdir(path.c_str(), 0700), 0); }},
    {"a pipe", err_io, [](const std::string &path) { ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0); }},
    {"a link", err_io,
     [](const std::string &path) {
       write_file(path + ".real", std::string(32, 'k'));
       ASSERT_EQ(::symlink((path + ".real").c_str(), path.c_str()), 0);
     }},
    {"somebody else's", err_io,
     [](const std::string &path) {
       write_file(path, std::string(32, 'k'), ::geteuid() == 0 ? 0600 : 0640);  // only root can give it away
       if (::geteuid() == 0) {
         ASSERT_EQ(::chown(path.c_str(), 1, 1), 0);
       }
     }},
};

TEST_F(SealTest, a_key_that_is_not_a_private_file_of_32_bytes_is_refused_and_left) {
  for (const BadKey &row : bad_keys) {
    ::remove(security_key_path().c_str());
    row.make(security_key_path());
    EXPECT_EQ(provide_security_key(false).code(), row.status) << row.what;
    EXPECT_EQ(seal_password("alice", "secret").code(), row.status) << row.what;
    EXPECT_EQ(::access(security_key_path().c_str(), F_OK), 0) << row.what;
  }
}

// The stored passwords.

TEST_F(SealTest, a_stored_password_is_read_back_sealed) {
  EXPECT_EQ(security_store(record_of("alice", "secret")).code(), 0u);
  const Result<sch_security_user_rec> record = security_read("alice");
  ASSERT_EQ(record.code(), 0u);
  EXPECT_STREQ(record->user_name, "alice");
  EXPECT_EQ(record->kind, 2u);
  EXPECT_EQ(record->form, 7u);
  EXPECT_EQ(opened("alice", record->password), "secret");
  EXPECT_EQ(mode_of(passwords_path()), 0600u);
  EXPECT_EQ(read_file(passwords_path()), "alice " + std::string(record->password) + "\n");
}

TEST_F(SealTest, who_stored_none_has_none) {
  EXPECT_EQ(security_read("alice").code(), SCH_STATUS_NO_PASSWORD);
  EXPECT_EQ(security_remove("alice").code(), SCH_STATUS_NO_PASSWORD);
}

TEST_F(SealTest, a_password_is_replaced_and_removed_alone) {
  EXPECT_EQ(security_store(record_of("alice", "first")).code(), 0u);
  EXPECT_EQ(security_store(record_of("bob", "builder")).code(), 0u);
  EXPECT_EQ(security_store(record_of("alice", "second")).code(), 0u);
  EXPECT_EQ(opened("alice", stored_for("alice")), "second");
  EXPECT_EQ(security_remove("alice").code(), 0u);
  EXPECT_EQ(security_read("alice").code(), SCH_STATUS_NO_PASSWORD);
  EXPECT_EQ(opened("bob", stored_for("bob")), "builder");
}

TEST_F(SealTest, a_sealed_password_is_stored_for_its_own_user_only) {
  const std::string sealed = sealed_for("alice", "secret");
  EXPECT_EQ(security_store(record_of("alice", sealed, 7)).code(), 0u);
  EXPECT_EQ(security_store(record_of("bob", sealed, 7)).code(), err_bad_value);
  EXPECT_EQ(security_store(record_of("alice", "secret", 7)).code(), err_bad_value);
  EXPECT_EQ(stored_for("alice"), sealed);
  EXPECT_EQ(security_read("bob").code(), SCH_STATUS_NO_PASSWORD);
}

TEST_F(SealTest, records_that_are_not_what_they_say_are_refused) {
  const std::string full(128, 'n');
  const std::pair<sch_security_user_rec, uint32_t> rows[] = {
      {record_of("", "secret"), err_bad_value},
      {record_of("0", "secret"), err_bad_value},
      {record_of("al ice", "secret"), err_bad_value},
      {record_of("alice\nbob", "secret"), err_bad_value},
      {record_of(full, "secret"), err_bad_value},
      {record_of("alice", full), err_bad_value},
      {record_of("alice", ""), err_bad_value},
      {record_of("alice", "secret", 5), err_bad_value},
      {record_of("alice", std::string(127, 'p')), err_password_too_long},
      {record_of("alice", std::string(54, 'p')), err_password_too_long},
  };
  for (const auto &[record, status] : rows)
    EXPECT_EQ(security_store(record).code(), status) << record.user_name;
  EXPECT_NE(::access(passwords_path().c_str(), F_OK), 0);
}

TEST_F(SealTest, more_passwords_than_the_file_may_have_are_refused_and_change_nothing) {
  constexpr std::size_t most = 4 * 1024 * 1024, around = 3;  // "a", a blank and a line end
  EXPECT_EQ(write_passwords({{"a", std::string(most - around, 'x')}}).code(), 0u);
  EXPECT_EQ(write_passwords({{"a", std::string(most - around + 1, 'y')}}).code(), err_too_large);
  const std::string content = read_file(passwords_path());
  EXPECT_EQ(content.size(), most);
  EXPECT_EQ(content.substr(0, 3), "a x");
  EXPECT_EQ(read_passwords().code(), err_store_unusable);
  write_file(passwords_path(), content + "\n");
  EXPECT_EQ(read_passwords().code(), err_io);
}

TEST_F(SealTest, a_damaged_password_file_is_refused_and_left) {
  const std::string sealed = sealed_for("alice", "secret");
  const std::string rows[] = {
      "alice\n",
      "alice " + sealed,
      "alice " + sealed + "x\n",
      " " + sealed + "\n",
      "0 " + sealed + "\n",
      "alice " + sealed + "\n\n",
      "alice " + sealed + "\nalice " + sealed + "\n",
      "\n",
      std::string("\0\0\0\n", 4),
  };
  for (const std::string &content : rows) {
    write_file(passwords_path(), content);
    EXPECT_EQ(security_read("alice").code(), err_store_unusable) << content;
    EXPECT_EQ(security_store(record_of("alice", "secret")).code(), err_store_unusable) << content;
    EXPECT_EQ(security_remove("alice").code(), err_store_unusable) << content;
    EXPECT_EQ(read_file(passwords_path()), content);
  }
  write_file(passwords_path(), "alice " + sealed + "\n", 0644);
  EXPECT_EQ(security_read("alice").code(), err_io);
}

TEST_F(SealTest, where_nothing_can_be_written_nothing_is_changed) {
  EXPECT_EQ(security_store(record_of("alice", "secret")).code(), 0u);
  const std::string before = read_file(passwords_path());
  // A directory in the place of the new file stops root as well.
  ASSERT_EQ(::mkdir((passwords_path() + ".new").c_str(), 0700), 0);
  EXPECT_EQ(security_store(record_of("bob", "builder")).code(), err_io);
  EXPECT_EQ(security_remove("alice").code(), err_io);
  EXPECT_EQ(read_file(passwords_path()), before);
}

TEST_F(SealTest, a_file_that_a_crash_left_half_written_is_replaced) {
  write_file(passwords_path() + ".new", "half", 0644);
  EXPECT_EQ(security_store(record_of("alice", "secret")).code(), 0u);
  EXPECT_EQ(mode_of(passwords_path()), 0600u);
  EXPECT_NE(::access((passwords_path() + ".new").c_str(), F_OK), 0);
}

// The requests of callers.

uint32_t number_of(HostOperation operation) {
  return static_cast<uint32_t>(operation);
}

TEST_F(SealTest, only_whoever_may_comes_near_a_record) {
  for (const bool may : {true, false}) {
    ASSERT_EQ(security_store(record_of("alice", "secret")).code(), 0u);
    const auto may_use = [may](const std::string &user) {
      EXPECT_EQ(user, "alice");
      return may;
    };
    const sch_security_user_rec record = record_of("alice", "other");
    const auto ask = [&](HostOperation operation) {
      return answer_security_request(number_of(operation), std::as_bytes(std::span(&record, 1)), may_use);
    };
    const uint32_t status = may ? 0 : err_not_permitted;
    const Answer read = ask(HostOperation::security_read);
    EXPECT_EQ(read.status, status);
    EXPECT_EQ(read.reply.has_value(), may);
    EXPECT_EQ(ask(HostOperation::security_store).status, status);
    EXPECT_EQ(ask(HostOperation::security_remove).status, status);
    EXPECT_EQ(ask(HostOperation::security_authenticate).status, may ? SCH_STATUS_AUTHENTICATION_FAILED : status);
  }
}

TEST_F(SealTest, a_payload_that_is_no_record_is_refused) {
  sch_security_user_rec record = record_of("alice", "secret");
  const auto payload = std::as_bytes(std::span(&record, 1));
  const auto status = [](uint32_t operation, std::span<const std::byte> given) {
    return answer_security_request(operation, given, [](const std::string &) { return true; }).status;
  };
  const uint32_t read = number_of(HostOperation::security_read), store = number_of(HostOperation::security_store);
  for (const std::size_t size : {std::size_t{0}, std::size_t{1}, payload.size() - 1})
    EXPECT_EQ(status(read, payload.first(size)), err_bad_request) << size;
  EXPECT_EQ(status(number_of(HostOperation::memory_statistics), payload), err_unknown_opcode);
  record.kind = 1;
  EXPECT_EQ(status(store, payload), err_bad_request);
  record = record_of(std::string(128, 'n'), "secret");
  EXPECT_EQ(status(store, payload), err_bad_request);
}

}  // namespace security_test
