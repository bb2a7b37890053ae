// SPDX-License-Identifier: Apache-2.0
// Authentication through PAM, with a directory of services of the test's own and the module of listed passwords that
// libpam-wrapper brings.
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <thread>

#include "host/security/authentication.h"
#include "host/security/key.h"
#include "host/security/seal.h"
#include "host/security/security.h"
#include "host/status.h"
#include "platform/cmi.h"
#include "platform/security.h"
#include "tests/host/security_fixture.h"

namespace security_test {

using namespace host;

class PamTest : public SecurityTest {
 protected:
  PamTest() : services_(state() + "/pam.d") {
    EXPECT_EQ(provide_security_key(false).code(), 0u);
    EXPECT_EQ(::mkdir(services_.c_str(), 0700), 0);
    const std::string passwords = services_ + "/passwords";
    const std::string module = std::string(PAM_MATRIX_MODULE) + " passdb=" + passwords + "\n";
    write_file(passwords, "alice:right horse:schedcli\nfar:away:elsewhere\n");
    write_file(services_ + "/schedcli", "auth required " + module + "account required " + module);
    use_pam_services(services_.c_str());
  }
  ~PamTest() override { use_pam_services(nullptr); }
  static std::string sealed(const std::string &user, const std::string &password) {
    const Result<std::string> text = seal_password(user, password);
    EXPECT_EQ(text.code(), 0u);
    return text ? *text : "";
  }
  // The module waits for somebody who writes them.
  void let_passwords_be_awaited() {
    const std::string passwords = services_ + "/passwords";
    EXPECT_EQ(::unlink(passwords.c_str()), 0);
    EXPECT_EQ(::mkfifo(passwords.c_str(), 0600), 0);
  }

 private:
  std::string services_;
};

struct Attempt {
  const char *user, *password;
  uint32_t status;
};

const Attempt attempts[] = {
    {"alice", "right horse", 0},
    {"alice", "wrong horse", SCH_STATUS_AUTHENTICATION_FAILED},
    {"alice", "right hors", SCH_STATUS_AUTHENTICATION_FAILED},
    {"alice", "right horse ", SCH_STATUS_AUTHENTICATION_FAILED},
    {"mallory", "right horse", SCH_STATUS_AUTHENTICATION_FAILED},
    {"far", "away", SCH_STATUS_AUTHENTICATION_FAILED},  // known, but to another service
};

TEST_F(PamTest, only_the_listed_password_of_this_service_is_accepted) {
  for (const Attempt &row : attempts)
    EXPECT_EQ(security_authenticate(row.user, sealed(row.user, row.password)).code(), row.status)
        << row.user << " " << row.password;
}

TEST_F(PamTest, a_text_sealed_for_another_user_or_in_clear_never_reaches_pam) {
  EXPECT_EQ(security_authenticate("alice", sealed("bob", "right horse")).code(), SCH_STATUS_AUTHENTICATION_FAILED);
  EXPECT_EQ(security_authenticate("alice", "right horse").code(), SCH_STATUS_AUTHENTICATION_FAILED);
}

TEST_F(PamTest, no_child_is_left) {
  EXPECT_TRUE(security_authenticate("alice", sealed("alice", "right horse")));
  EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
}

TEST_F(PamTest, eight_run_at_once_and_the_next_is_told_to_wait) {
  ClearText password;
  std::strcpy(reinterpret_cast<char *>(password.bytes.data()), "right horse");
  std::vector<std::shared_ptr<Authentication>> running;
  for (int i = 0; i < 8; i++) {
    const auto started = Authentication::start("alice", password);
    ASSERT_EQ(started.code(), 0u);
    running.push_back(*started);
  }
  EXPECT_EQ(Authentication::start("alice", password).code(), err_busy);
  for (const auto &authentication : running)
    EXPECT_EQ(authentication->wait().code(), 0u);
  running.clear();
  EXPECT_TRUE(Authentication::start("alice", password));
}

TEST_F(PamTest, one_without_an_answer_is_ended_at_its_deadline) {
  let_passwords_be_awaited();
  ClearText password;
  std::strcpy(reinterpret_cast<char *>(password.bytes.data()), "right horse");
  const auto authentication = Authentication::start("alice", password);
  ASSERT_TRUE(authentication);
  (*authentication)->deadline_ms = 10;
  EXPECT_EQ((*authentication)->wait().code(), err_timed_out);
  EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
}

// From another process, through the service.

constexpr unsigned char mask = 0x55;

// The longest mapping that is looked at: the service has none longer, a sanitizer keeps its own books in such.
constexpr unsigned long longest_mapping = 64UL * 1024 * 1024;

unsigned char unmasked(std::byte byte) {
  return static_cast<unsigned char>(static_cast<unsigned char>(byte) ^ mask);
}

bool stands_at(const char *place, std::span<const std::byte> masked) {
  return std::ranges::all_of(masked,
                             [&](std::byte byte) { return static_cast<unsigned char>(*place++) == unmasked(byte); });
}

int occurrences_in(const std::vector<char> &memory, std::span<const std::byte> masked) {
  int count = 0;
  const char *place = memory.data();
  const char *const end = place + memory.size() - masked.size();
  while (place < end) {
    place = static_cast<const char *>(std::memchr(place, unmasked(masked[0]), static_cast<std::size_t>(end - place)));
    if (place == nullptr) break;
    count += stands_at(place++, masked) ? 1 : 0;
  }
  return count;
}

// How often the text stands in a process's writable memory. It comes masked, so as not to find itself.
int occurrences(const std::string &process, std::span<const std::byte> masked) {
  int count = 0;
  std::ifstream maps("/proc/" + process + "/maps");
  std::ifstream memory("/proc/" + process + "/mem", std::ios::binary);
  for (std::string line; std::getline(maps, line);) {
    unsigned long begin = 0, end = 0;
    char access[5] = {};
    if (std::sscanf(line.c_str(), "%lx-%lx %4s", &begin, &end, access) != 3 || std::strncmp(access, "rw", 2) != 0)
      continue;
    if (end - begin > longest_mapping) continue;
    std::vector<char> copy(end - begin);
    memory.clear();
    memory.seekg(static_cast<std::streamoff>(begin));
    memory.read(copy.data(), static_cast<std::streamsize>(copy.size()));
    count += occurrences_in(copy, masked);
  }
  return count;
}

Answer count_occurrences(const Incoming &incoming) {
  const int count = occurrences("self", incoming.body);
  const auto bytes = std::as_bytes(std::span(&count, 1));
  Answer answer;
  answer.reply = Bytes(bytes.begin(), bytes.end());
  return answer;
}

std::string own_name() {
  return user_by_uid(::geteuid())->name;
}

int store(const std::string &user, const std::string &password, uint32_t form = 0) {
  sch_security_user_rec record = record_of(user, password, form);
  return cmi_security_user_config(7, 3, &record);
}

TEST_F(PamTest, a_client_stores_reads_and_removes_through_the_service) {
  const ServiceProcess service(count_occurrences);
  const std::string user = own_name();
  EXPECT_FALSE(security_is_service());
  sch_security_user_rec record = record_of(user, "");
  EXPECT_EQ(cmi_security_user_config(7, 1, &record), static_cast<int>(SCH_STATUS_NO_PASSWORD));
  EXPECT_EQ(store(user, "hunter two"), 0);
  EXPECT_EQ(cmi_security_user_config(7, 1, &record), 0);
  EXPECT_EQ(record.form, 7u);
  EXPECT_EQ(std::strlen(record.password), sealed_length);
  EXPECT_EQ(store(user, record.password, 7), 0);
  EXPECT_EQ(cmi_security_user_config(7, 4, &record), 0);
  EXPECT_EQ(cmi_security_user_config(7, 4, &record), static_cast<int>(SCH_STATUS_NO_PASSWORD));
  EXPECT_EQ(cmi_security_user_config(7, 2, &record), static_cast<int>(err_bad_value));
  EXPECT_EQ(store(user, std::string(54, 'p')), static_cast<int>(err_password_too_long));
}

TEST_F(PamTest, what_a_client_decrypts_is_the_sealed_text_and_the_service_accepts_it) {
  const ServiceProcess service(count_occurrences);
  for (const Attempt &row : attempts) {
    if (::geteuid() != 0 && own_name() != row.user) continue;  // only root stores for others
    ASSERT_EQ(store(row.user, row.password), 0);
    sch_security_user_rec record = record_of(row.user, "");
    ASSERT_EQ(cmi_security_user_config(7, 1, &record), 0);
    char *clear = nullptr;
    uint32_t length = 0;
    ASSERT_EQ(security_conf_decrypt(record.password, static_cast<uint32_t>(std::strlen(record.password) + 1),
                                    record.form, 0, 0, &clear, &length),
              0);
    EXPECT_STREQ(clear, record.password);
    EXPECT_EQ(length, sealed_length);
    aaa_result result = {{9, 9}};
    EXPECT_EQ(aaa_scheduler_authenticate(row.user, clear, "login", "default", "host", 0, &result), 0);
    EXPECT_EQ(result.words[0], row.status);
    EXPECT_EQ(result.words[1], row.status == 0 ? 1u : 0u);
    std::free(clear);
  }
}

TEST_F(PamTest, the_service_keeps_no_clear_password_in_its_memory) {
  const ServiceProcess service(count_occurrences);
  const std::string user = own_name();
  ASSERT_EQ(store(user, "correct battery staple"), 0);
  sch_security_user_rec record = record_of(user, "");
  ASSERT_EQ(cmi_security_user_config(7, 1, &record), 0);
  aaa_result result = {{9, 9}};
  EXPECT_EQ(aaa_scheduler_authenticate(user.c_str(), record.password, "login", "default", "host", 0, &result), 0);
  EXPECT_EQ(result.words[0], SCH_STATUS_AUTHENTICATION_FAILED);

  const auto found = [](std::string text) {
    for (char &c : text)
      c = static_cast<char>(static_cast<unsigned char>(c) ^ mask);
    void *reply = nullptr;
    auto length = static_cast<uint32_t>(text.size());
    EXPECT_EQ(cmi_req_resp(1, 0, text.data(), &reply, &length, "", "", 136, 7, 0), 0u);
    int count = 0;
    if (reply != nullptr) std::memcpy(&count, reply, sizeof count);
    std::free(reply);
    return count;
  };
  EXPECT_GT(found(state()), 0);  // what is there is found
  EXPECT_EQ(found("correct battery staple"), 0);
}

#ifndef __SANITIZE_ADDRESS__  // which keeps copies of its own
// Not only once another request has written over it. The answer comes a moment before the request is wiped.
TEST_F(PamTest, no_clear_password_outlasts_its_request_in_the_services_memory) {
  const ServiceProcess service(count_occurrences);
  const std::string user = own_name(), process = std::to_string(service.id());
  const auto stands = [&](std::string text) {
    for (char &c : text)
      c = static_cast<char>(static_cast<unsigned char>(c) ^ mask);
    return occurrences(process, std::as_bytes(std::span(text))) > 0;
  };
  const std::string password = "correct horse battery staple";
  const std::string end = password.substr(16);  // what a freed block keeps of it
  const auto is_gone = [&] {
    for (int rounds = 0; stands(end) && rounds < 200; rounds++)
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return !stands(end);
  };
  EXPECT_TRUE(stands(state()));  // what is there is found
  ASSERT_EQ(store(user, password), 0);
  EXPECT_TRUE(is_gone());
  sch_security_user_rec record = record_of(user, "");
  ASSERT_EQ(cmi_security_user_config(7, 1, &record), 0);
  char *clear = nullptr;
  uint32_t length = 0;
  ASSERT_EQ(security_conf_decrypt(record.password, static_cast<uint32_t>(std::strlen(record.password) + 1), record.form,
                                  0, 0, &clear, &length),
            0);
  EXPECT_TRUE(is_gone());
  aaa_result result = {{9, 9}};
  EXPECT_EQ(aaa_scheduler_authenticate(user.c_str(), clear, "login", "default", "host", 0, &result), 0);
  std::free(clear);
  EXPECT_TRUE(is_gone());
}
#endif

// The service has nobody to ask. Its calls are those of a process of its own; what they give is told by its status.
int in_a_service(const std::function<bool()> &holds) {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(security_become_service() && security_is_service() && holds() ? 0 : 1);
  int status = 0;
  ::waitpid(child, &status, 0);
  return status;
}

TEST_F(PamTest, the_service_itself_asks_nobody) {
  EXPECT_EQ(in_a_service([] {
              sch_security_user_rec record = record_of("alice", "");
              return store("alice", "right horse") == 0 && cmi_security_user_config(7, 1, &record) == 0 &&
                     record.form == 7;
            }),
            0);
  EXPECT_EQ(in_a_service([] {
              sch_security_user_rec record = record_of("alice", "");
              aaa_result result = {{9, 9}};
              return cmi_security_user_config(7, 1, &record) == 0 &&
                     aaa_scheduler_authenticate("alice", record.password, "login", "default", "host", 0, &result) ==
                         0 &&
                     result.words[0] == 0 && result.words[1] == 1;
            }),
            0);
  EXPECT_EQ(in_a_service([] {
              aaa_result result = {{9, 9}};
              return aaa_scheduler_authenticate("alice", "wrong", "login", "default", "host", 0, &result) == 0 &&
                     result.words[0] == SCH_STATUS_AUTHENTICATION_FAILED && result.words[1] == 0;
            }),
            0);
  EXPECT_EQ(in_a_service([] {
              sch_security_user_rec record = record_of("alice", "");
              return cmi_security_user_config(7, 4, &record) == 0 &&
                     cmi_security_user_config(7, 1, &record) == static_cast<int>(SCH_STATUS_NO_PASSWORD);
            }),
            0);
}

TEST_F(PamTest, without_the_service_every_call_says_so) {
  sch_security_user_rec record = record_of("alice", "");
  EXPECT_EQ(cmi_security_user_config(7, 1, &record), static_cast<int>(err_not_running));
  aaa_result result = {{9, 9}};
  EXPECT_EQ(aaa_scheduler_authenticate("alice", "x", "login", "default", "host", 0, &result),
            static_cast<int>(err_not_running));
  EXPECT_EQ(result.words[1], 0u);
}

struct Undecryptable {
  const char *text;
  uint32_t length, form;
};

TEST_F(PamTest, what_is_no_sealed_form_is_not_decrypted) {
  const Undecryptable rows[] = {{"text", 5, 0}, {"text", 5, 5}, {"text", 4, 7}, {"te\0t", 5, 7}, {"", 0, 7}};
  for (const Undecryptable &row : rows) {
    char dummy = 0;
    char *clear = &dummy;
    uint32_t length = 1;
    EXPECT_EQ(security_conf_decrypt(row.text, row.length, row.form, 0, 0, &clear, &length), -1);
    EXPECT_EQ(clear, nullptr);
    EXPECT_EQ(length, 0u);
  }
}

}  // namespace security_test
