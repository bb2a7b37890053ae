// SPDX-License-Identifier: Apache-2.0
#include "host/feature.h"

#include <sys/wait.h>

#include <csignal>
#include <cstring>

#include "host/loop/loop.h"
#include "host/transport/transport.h"
#include "platform/feature.h"
#include "schedcli.h"
#include "tests/host/store_fixture.h"

namespace store_test {
namespace {

// A service that is enabled or disabled and says so when it is asked for what it is already.
class FeatureTest : public StoreTest {
 protected:
  FeatureTest() {
    int ready[2];
    EXPECT_EQ(pipe(ready), 0);
    child_ = fork();
    if (child_ == 0) serve(ready[1]);
    char answer = 0;
    EXPECT_EQ(read(ready[0], &answer, 1), 1);
    EXPECT_EQ(answer, 'y');
  }
  ~FeatureTest() override {
    kill(child_, SIGKILL);
    waitpid(child_, nullptr, 0);
  }

  static uint32_t set(uint32_t operation, const char *feature = "scheduler") {
    return fm_cmi_set_feature_wait(1, feature, "user", "peer", operation);
  }

 private:
  [[noreturn]] static void serve(int ready) {
    std::filesystem::create_directories(host::paths().run);
    bool enabled = false;
    const auto handler = [&enabled](const host::Incoming &request) {
      uint32_t operation = 0;
      memcpy(&operation, request.body.data(), sizeof operation);
      const bool enable = operation == static_cast<uint32_t>(host::HostOperation::enable_feature);
      host::Answer answer;
      if (enabled == enable) answer.status = enable ? host::err_feature_enabled : host::err_feature_disabled;
      enabled = enable;
      return answer;
    };
    host::Loop loop;
    host::Server::Options options;
    options.socket_path = host::paths().socket;
    const auto server = host::Server::listen(options, handler);
    if (write(ready, server ? "y" : "n", 1) != 1) _exit(1);
    loop.run();
    _exit(0);
  }

  pid_t child_ = 0;
};

TEST_F(FeatureTest, feature_is_enabled_and_disabled_by_the_service) {
  EXPECT_EQ(set(3), 0U);
  EXPECT_EQ(set(4), 0U);
}

TEST_F(FeatureTest, feature_that_is_so_already_has_the_tolerated_statuses) {
  EXPECT_EQ(set(4), 0x40aa0006U);
  EXPECT_EQ(set(3), 0U);
  EXPECT_EQ(set(3), 0x40aa0005U);
}

TEST_F(FeatureTest, librarys_handler_tolerates_what_is_so_already) {
  sch_cli_cmd_ctx context{};
  EXPECT_EQ(sch_enable_scheduler(&context), 0);
  EXPECT_EQ(sch_enable_scheduler(&context), 0);
  context.negate = 1;
  EXPECT_EQ(sch_enable_scheduler(&context), 0);
  EXPECT_EQ(sch_enable_scheduler(&context), 0);
}

TEST_F(FeatureTest, other_features_and_operations_are_unknown) {
  EXPECT_EQ(set(3, "other"), host::err_feature_unknown);
  EXPECT_EQ(set(3, nullptr), host::err_feature_unknown);
  EXPECT_EQ(set(3, "scheduler2"), host::err_feature_unknown);
  EXPECT_EQ(set(5), host::err_unknown_opcode);
  EXPECT_EQ(set(22), host::err_unknown_opcode);
  EXPECT_EQ(set(3), 0U);
}

TEST(FeatureWithoutServiceTest, enabling_without_a_service_says_that_none_runs) {
  host::use_paths(host::resolve_paths("/nonexistent"));
  EXPECT_EQ(fm_cmi_set_feature_wait(1, "scheduler", "user", "peer", 3), host::err_not_running);
}

TEST(ParseTreeTest, shell_that_registered_a_hook_is_told_of_a_deregistered_tree) {
  EXPECT_EQ(vsh_deregister_parse_tree(5, "scheduler"), -1);
  std::string told;
  host::set_parse_tree_hook([&told](uint32_t shell, const std::string &tree) {
    told = std::to_string(shell) + " " + tree;
    return 0;
  });
  EXPECT_EQ(vsh_deregister_parse_tree(5, "scheduler"), 0);
  EXPECT_EQ(told, "5 scheduler");
  EXPECT_EQ(vsh_deregister_parse_tree(5, nullptr), -1);
  host::set_parse_tree_hook(nullptr);
}

}  // namespace
}  // namespace store_test
