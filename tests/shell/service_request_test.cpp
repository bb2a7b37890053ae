// SPDX-License-Identifier: Apache-2.0
#include "shell/service_request.h"

#include <gmock/gmock.h>
#include <stdlib.h>

#include <cstring>
#include <filesystem>
#include <fstream>

#include "host/files/paths.h"
#include "host/status.h"
#include "host/store/store.h"
#include "tests/shell/recorder.h"

namespace shell {
namespace {

using control::ObjectKind;
using control::Operation;
using recorder::bytes_of;
using testing::ElementsAre;
using testing::IsEmpty;

class ServiceRequest : public testing::Test {
 protected:
  ServiceRequest() { recorder::reset(); }
};

const Parameter &parameter_called(std::string_view name) {
  for (const Parameter &parameter : parameters())
    if (parameter.name == name) return parameter;
  throw std::invalid_argument(std::string(name));
}

TEST_F(ServiceRequest, for_names_asks_for_those_of_the_parameter) {
  recorder::control_reply = bytes_of("backup\nbacklog\n");
  const std::pair<const char *, ObjectKind> rows[] = {
      {"job", ObjectKind::job}, {"schedule", ObjectKind::schedule}, {"user", ObjectKind::user}};
  for (const auto &[name, kind] : rows) {
    EXPECT_THAT(existing_names(parameter_called(name), "back"), ElementsAre("backup", "backlog"));
    const std::string payload = recorder::control_payloads[Operation::names].back();
    EXPECT_EQ(payload, std::string(1, static_cast<char>(kind)) + std::string(3, '\0') + "back") << name;
  }
  EXPECT_THAT(existing_names(parameter_called("port"), ""), IsEmpty());
  EXPECT_EQ(recorder::calls.size(), std::size(rows));
  recorder::control_status = host::err_not_running;
  EXPECT_THAT(existing_names(parameter_called("job"), ""), IsEmpty());
}

TEST_F(ServiceRequest, for_stores_knows_those_that_there_are) {
  char pattern[] = "/tmp/schedsh_stores.XXXXXX";
  const std::string directory = mkdtemp(pattern);
  host::use_paths(host::resolve_paths(directory.c_str()));
  for (const char *store : {host::running_store, host::startup_store}) {
    const std::filesystem::path path = host::store_path(store);
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path).close();
  }
  const Parameter &store = parameter_called("store");
  EXPECT_THAT(existing_names(store, ""), ElementsAre(host::running_store, host::startup_store));
  EXPECT_THAT(existing_names(store, "st"), ElementsAre(host::startup_store));
  EXPECT_THAT(existing_names(store, "debug"), IsEmpty());
  std::filesystem::remove_all(directory);
}

TEST_F(ServiceRequest, for_limits_gives_the_usual_ones_where_no_answer_fits) {
  const control::ConfiguredLimits usual;
  const control::ConfiguredLimits given = {1, 2, 3, 4, 5};
  const std::string whole(reinterpret_cast<const char *>(&given), sizeof given);
  const auto got = [] {
    const control::ConfiguredLimits limits = limits_in_use();
    return std::string(reinterpret_cast<const char *>(&limits), sizeof limits);
  };
  recorder::control_reply = bytes_of(whole);
  EXPECT_EQ(got(), whole);
  const std::string defaults(reinterpret_cast<const char *>(&usual), sizeof usual);
  for (const std::string &reply : {whole + "x", whole.substr(1)}) {
    recorder::control_reply = bytes_of(reply);
    EXPECT_EQ(got(), defaults);
  }
  recorder::control_status = host::err_not_running;
  EXPECT_EQ(got(), defaults);
}

TEST_F(ServiceRequest, that_fails_tells_of_what_and_gives_the_status) {
  testing::internal::CaptureStderr();
  EXPECT_EQ(failed("job x", {17, "no such job"}), 17);
  recorder::control_status = host::err_not_running;
  host::Bytes reply = bytes_of("untouched");
  EXPECT_EQ(request("it", Operation::status, {}, &reply), static_cast<int>(host::err_not_running));
  EXPECT_EQ(reply, bytes_of("untouched"));
  EXPECT_EQ(show_text("it", Operation::status), static_cast<int>(host::err_not_running));
  EXPECT_EQ(find_named(ObjectKind::job, "x").code(), host::err_not_running);
  const std::string refused =
      "Error: it: the scheduler service is not running; start schedd, or check the state directory\n";
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: job x: no such job\n" + refused + refused);
}

}  // namespace
}  // namespace shell
