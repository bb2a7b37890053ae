// SPDX-License-Identifier: Apache-2.0
// Who a caller is. Needs root, to be several users; skipped, and reported so, without.
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <chrono>

#include "host/files/paths.h"
#include "host/status.h"
#include "tests/host/transport_fixture.h"

namespace transport_test {

using namespace host;

constexpr int most_clients = 1200, most_of_a_user = 128, most_streams = 16;

class IdentityTest : public TransportTest {
 protected:
  void SetUp() override {
    if (::geteuid() != 0) GTEST_SKIP() << "needs root, to be several users";
    const passwd *entry = ::getpwnam("nobody");
    ASSERT_NE(entry, nullptr);
    nobody_ = entry->pw_uid;
  }
  static Answer tell(const Incoming &incoming) {
    const Caller &caller = incoming.caller;
    Answer answer;
    answer.reply = to_bytes(caller.user_name + " " + std::to_string(caller.uid) + " " + std::to_string(caller.gid) +
                            " by " + std::to_string(caller.peer_uid) + " " +
                            (caller.pid == ::getpid() ? "self" : "other") + " " + caller.peer_name);
    return answer;
  }
  uid_t nobody_ = 0;
};

// What `speak` says when the process is `uid`; the exit status carries no more than fits.
std::string as_user(uid_t uid, const std::function<std::string()> &speak) {
  int ends[2];
  EXPECT_EQ(::pipe(ends), 0);
  const FileDescriptor reading(ends[0]);
  FileDescriptor writing(ends[1]);
  const pid_t child = ::fork();
  if (child == 0) {
    if (::setgroups(0, nullptr) != 0 || ::setresgid(uid, uid, uid) != 0 || ::setresuid(uid, uid, uid) != 0) ::_exit(9);
    const std::string text = speak();
    ::_exit(::write(ends[1], text.data(), text.size()) == static_cast<ssize_t>(text.size()) ? 0 : 1);
  }
  writing = FileDescriptor();
  char buffer[256];
  const ssize_t size = ::read(reading.get(), buffer, sizeof buffer);
  int status = 0;
  ::waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  return {buffer, static_cast<std::size_t>(std::max<ssize_t>(size, 0))};
}

std::string hex(uint32_t status) {
  char text[16];
  std::snprintf(text, sizeof text, "%08x", status);
  return text;
}

std::string status_or_text(const char *user) {
  const Reply reply = request("who", 5950, user, "vty1");
  return reply.status == 0 ? reply.text : hex(reply.status);
}

struct Rule {
  const char *frame_user;
  std::string answer;
};

const char full_name[32] = {'r', 'o', 'o', 't', 'r', 'o', 'o', 't', 'r', 'o', 'o', 't', 'r', 'o', 'o', 't',
                            'r', 'o', 'o', 't', 'r', 'o', 'o', 't', 'r', 'o', 'o', 't', 'r', 'o', 'o', 't'};

TEST_F(IdentityTest, root_speaks_for_itself_and_for_existing_users) {
  const auto server = serve(tell);
  const std::string denied = hex(err_not_permitted);
  const Rule rules[] = {
      {nullptr, "root 0 0 by 0 self vty1"},
      {"", "root 0 0 by 0 self vty1"},
      {"root", "root 0 0 by 0 self vty1"},
      {"nobody", "nobody 65534 65534 by 0 self vty1"},
      {"daemon", "daemon 1 1 by 0 self vty1"},
      {"no-such-user", denied},
      {"0", denied},
      {"65534", denied},
      {"0x0", denied},
      {"+0", denied},
      {"-1", denied},
      {" nobody", denied},
      {"nobody ", denied},
      {full_name, denied},
  };
  for (const Rule &rule : rules)
    EXPECT_EQ(status_or_text(rule.frame_user), rule.answer) << (rule.frame_user ? rule.frame_user : "null");
}

TEST_F(IdentityTest, another_user_speaks_for_nobody_else) {
  const auto server = serve(tell);
  const std::string denied = hex(err_not_permitted);
  const Rule rules[] = {
      {"", "nobody 65534 65534 by 65534 other vty1"},
      {"nobody", "nobody 65534 65534 by 65534 other vty1"},
      {"root", denied},
      {"daemon", denied},
      {"no-such-user", denied},
  };
  for (const Rule &rule : rules)
    EXPECT_EQ(as_user(nobody_, [&] { return status_or_text(rule.frame_user); }), rule.answer) << rule.frame_user;
}

TEST_F(IdentityTest, a_uid_without_a_name_is_nobody_at_all) {
  const auto server = serve(tell);
  EXPECT_EQ(as_user(4000000, [] { return status_or_text(""); }), hex(err_not_permitted));
}

TEST_F(IdentityTest, a_users_own_service_lets_only_that_user_and_root_in) {
  Server::Options options;
  options.socket_path = socket_path();
  options.only_uid = nobody_;
  const RunningServer server(options, tell);
  struct stat info = {};
  ASSERT_EQ(::stat(socket_path().c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 07777, 0600u);
  EXPECT_EQ(status_or_text(""), "root 0 0 by 0 self vty1");
  EXPECT_EQ(as_user(1, [] { return status_or_text(""); }), hex(err_not_permitted));

  // The server refuses them also when the socket's mode does not.
  ASSERT_EQ(::chmod(socket_path().c_str(), 0666), 0);
  EXPECT_EQ(as_user(nobody_, [] { return status_or_text(""); }), "nobody 65534 65534 by 65534 other vty1");
  EXPECT_EQ(as_user(1, [] { return status_or_text(""); }), hex(err_not_permitted));
}

// Whoever may not come in is not told to come again.
TEST_F(IdentityTest, a_full_service_of_one_user_tells_another_that_it_is_not_for_it) {
  raise_open_files(4096);
  Server::Options options;
  options.socket_path = socket_path();
  options.only_uid = nobody_;
  RunningServer server(options, tell);
  ASSERT_EQ(::chmod(socket_path().c_str(), 0666), 0);
  std::vector<std::unique_ptr<RawClient>> clients;
  for (int i = 0; i < most_clients; i++)
    clients.push_back(std::make_unique<RawClient>(socket_path()));
  ASSERT_TRUE(server.reaches_clients(most_clients));
  EXPECT_EQ(as_user(nobody_, [] { return status_or_text(""); }), hex(err_busy));
  EXPECT_EQ(as_user(1, [] { return status_or_text(""); }), hex(err_not_permitted));
}

TEST_F(IdentityTest, the_systems_service_is_open_to_every_user) {
  const auto server = serve(tell);
  struct stat info = {};
  ASSERT_EQ(::stat(socket_path().c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 07777, 0666u);
}

TEST_F(IdentityTest, the_systems_service_can_be_reached_in_a_private_directory_and_a_users_own_cannot) {
  ASSERT_EQ(::chmod(directory().c_str(), 0700), 0);
  {
    Server::Options options;
    options.socket_path = socket_path();
    options.only_uid = 0;
    const RunningServer server(options, tell);
    EXPECT_EQ(as_user(nobody_, [] { return status_or_text(""); }), hex(err_not_permitted));
  }
  const auto server = serve(tell);
  EXPECT_EQ(as_user(nobody_, [] { return status_or_text(""); }), "nobody 65534 65534 by 65534 other vty1");
}

TEST_F(IdentityTest, a_service_of_another_user_is_not_trusted) {
  // Another user who serves at the path does not learn what is asked. Only root is trusted there.
  ASSERT_EQ(::chmod(directory().c_str(), 0777), 0);
  const pid_t impostor = ::fork();
  ASSERT_GE(impostor, 0);
  if (impostor == 0) {
    if (::setresuid(1, 1, 1) != 0) ::_exit(1);
    {
      const PlayedService played(socket_path(), 1, [](int) {});
    }
    ::_exit(0);
  }
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(patience_ms);
  while (::access(socket_path().c_str(), F_OK) != 0 && std::chrono::steady_clock::now() < end) {
  }
  EXPECT_EQ(::chmod(socket_path().c_str(), 0666), 0);
  std::string answer;
  while ((answer = as_user(nobody_, [] { return status_or_text(""); })) == hex(err_not_running)) {
  }
  EXPECT_EQ(answer, hex(err_not_permitted));
  ::waitpid(impostor, nullptr, 0);
}

TEST_F(IdentityTest, one_user_cannot_take_every_place) {
  const auto server = serve(tell);
  EXPECT_EQ(as_user(nobody_,
                    [&] {
                      std::vector<std::unique_ptr<RawClient>> clients;
                      for (int i = 0; i < most_of_a_user; i++)
                        clients.push_back(std::make_unique<RawClient>(socket_path()));
                      return status_or_text("");
                    }),
            hex(err_too_many_connections));
  EXPECT_EQ(as_user(1, [] { return status_or_text("").substr(0, 6); }), "daemon");
}

TEST_F(IdentityTest, the_last_places_are_roots_alone) {
  raise_open_files(4096);
  const auto server = serve(tell);
  constexpr int usual = most_clients - 16;  // of root alone
  std::vector<std::unique_ptr<RawClient>> clients;
  for (int i = 0; i < usual - 1; i++)
    clients.push_back(std::make_unique<RawClient>(socket_path()));
  ASSERT_TRUE(server->reaches_clients(usual - 1));
  EXPECT_EQ(as_user(nobody_, [] { return status_or_text("").substr(0, 6); }), "nobody");
  ASSERT_TRUE(server->reaches_clients(usual - 1));
  clients.push_back(std::make_unique<RawClient>(socket_path()));
  ASSERT_TRUE(server->reaches_clients(usual));
  EXPECT_EQ(as_user(nobody_, [] { return status_or_text(""); }), hex(err_busy));
  EXPECT_EQ(status_or_text("").substr(0, 4), "root");
}

TEST_F(IdentityTest, a_users_connections_are_given_back_when_they_end) {
  const auto server = serve(tell);
  const auto come_and_go = [&] {
    for (int i = 0; i < 2 * most_of_a_user; i++) {
      const RawClient client(socket_path());
      if (!client.send(request_header(3), "who") || client.receive()->header.status != 0) return std::string("refused");
    }
    return std::string("served");
  };
  EXPECT_EQ(as_user(nobody_, come_and_go), "served");
}

Answer endless(const Incoming &incoming) {
  Answer answer;
  if (incoming.service == 5951) answer.next = []() -> std::optional<Bytes> { return Bytes(60000); };
  return answer;
}

// The statuses of the first answers to so many clients that ask for endless streams and take no more of them.
std::string open_streams(const std::string &path, int count) {
  std::vector<std::unique_ptr<RawClient>> clients;
  std::string refused;
  for (int i = 0; i < count; i++) {
    clients.push_back(std::make_unique<RawClient>(path));
    if (!clients.back()->send(request_header(0, 5951))) return "not sent";
    const uint32_t status = clients.back()->receive()->header.status;
    if (status != 0) refused += std::to_string(i) + ":" + hex(status) + " ";
  }
  return refused;
}

TEST_F(IdentityTest, one_user_has_so_many_streams_and_no_more_and_root_any_number) {
  const auto server = serve(endless);
  const std::string one_too_many = std::to_string(most_streams) + ":" + hex(err_too_many_streams) + " ";
  EXPECT_EQ(as_user(nobody_, [&] { return open_streams(socket_path(), most_streams + 1); }), one_too_many);
  EXPECT_EQ(as_user(1, [&] { return open_streams(socket_path(), most_streams); }), "");
  EXPECT_EQ(open_streams(socket_path(), most_streams + 4), "");
}

// A user's clients that each read a short stream to its end, twice as many as may read at once.
TEST_F(IdentityTest, a_stream_that_was_read_to_its_end_makes_room_for_another_on_any_connection) {
  const auto server = serve([](const Incoming &) {
    Answer answer;
    answer.next = [rest = 2]() mutable { return rest-- > 0 ? std::optional(Bytes(10)) : std::nullopt; };
    return answer;
  });
  const auto read_many = [&] {
    std::vector<std::unique_ptr<RawClient>> clients;
    for (int i = 0; i < 2 * most_streams; i++) {
      clients.push_back(std::make_unique<RawClient>(socket_path()));
      if (!clients.back()->send(request_header(0, 5951))) return std::string("not sent");
      for (FrameKind kind = FrameKind::reply; kind != FrameKind::stream_end;) {
        const auto received = clients.back()->receive();
        if (received->header.status != 0) return hex(received->header.status);
        kind = received->header.kind;
      }
    }
    return std::string("all read");
  };
  EXPECT_EQ(as_user(nobody_, read_many), "all read");
}

}  // namespace transport_test
