// SPDX-License-Identifier: Apache-2.0
// The real program on the machine's own clock: it rings by itself, after a restart too, and ends or is killed with a
// job under way. No request follows the one that configures.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <ctime>
#include <fstream>

#include "host/files/file_descriptor.h"
#include "host/files/paths.h"
#include "platform/cmi.h"
#include "tests/system/service_process.h"

namespace system_test {
namespace {

// An orphan that has ended may wait for whoever inherited it to notice.
bool lives(const std::string &pid) {
  std::ifstream file("/proc/" + pid + "/stat");
  std::string number, name, state;
  return file >> number >> name >> state && state != "Z";
}

class RealService : public testing::Test {
 protected:
  RealService() {
    host::use_paths(host::resolve_paths(state_.c_str()));
    EXPECT_EQ(mkfifo(said_.c_str(), 0600), 0);
    said_by_job_ = host::FileDescriptor(open(said_.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
    EXPECT_TRUE(service_.start()) << service_.errors();
  }

  std::string shell(const std::string &command) {
    int status = 0;
    return run_shell(state_, {"-c", command}, &status);
  }

  // In one shell, but for the time, which needs a second of its own.
  void configure(const std::string &commands, time_t start) {
    int status = -1;
    const std::string told = run_shell(state_, {}, &status,
                                       "configure terminal\nfeature scheduler\nscheduler job name j\n" + commands +
                                           "\nend-job\nscheduler schedule name s\n job name j\n");
    ASSERT_EQ(status, 0) << told;
    ASSERT_EQ(begins_at(start), 0u);
  }

  static uint32_t begins_at(time_t start) {
    struct {
      sch_request_header header = {SCH_OP_MODIFY_SCHEDULE, sizeof(sch_modify_request)};
      sch_modify_request payload = {};
    } request;
    request.payload.subcommand = SCH_SCHEDULE_PERIODIC;
    std::strcpy(request.payload.schedule, "s");
    request.payload.time.type = SCH_SCHEDULE_PERIODIC;
    request.payload.time.minute = 1;
    request.payload.time.start_time = static_cast<int32_t>(start);
    void *reply = nullptr;
    uint32_t length = sizeof request;
    return cmi_req_resp(SCH_SERVICE_CONFIG, SCH_CLASS_CONFIG, &request, &reply, &length, "", "test", 136, 1, 0);
  }

  // Two minutes are beyond a due time that a slow machine has just let pass.
  std::string next_said() const {
    pollfd readable = {said_by_job_.get(), POLLIN, 0};
    char text[64] = "";
    if (poll(&readable, 1, 120000) != 1) return "(nothing)";
    const ssize_t length = read(said_by_job_.get(), text, sizeof text);
    return {text, static_cast<size_t>(length < 0 ? 0 : length)};
  }

  TemporaryDirectory directory_;
  std::string state_ = directory_.path() + "/state", said_ = directory_.path() + "/said";
  host::FileDescriptor said_by_job_;
  ServiceProcess service_{state_};
};

TEST_F(RealService, runs_what_becomes_due_without_a_further_request) {
  configure("echo ran > " + said_, time(nullptr) + 2);
  EXPECT_EQ(next_said(), "ran\n");
}

TEST_F(RealService, runs_what_becomes_due_after_its_start_without_a_request) {
  configure("echo ran > " + said_, time(nullptr) + 3);
  ASSERT_EQ(service_.stop(), 0) << service_.errors();
  ASSERT_TRUE(service_.start()) << service_.errors();
  EXPECT_EQ(next_said(), "ran\n");
}

TEST_F(RealService, asks_the_job_under_way_to_end_when_it_ends_itself_and_records_that) {
  configure("trap 'echo asked > " + said_ + "; exit 0' TERM; echo begun > " + said_ + "; while :; do sleep 1; done",
            time(nullptr) + 1);
  ASSERT_EQ(next_said(), "begun\n");
  EXPECT_EQ(service_.stop(), 0) << service_.errors();
  EXPECT_EQ(next_said(), "asked\n");
  ASSERT_TRUE(service_.start()) << service_.errors();
  const std::string log = shell("show scheduler logfile");
  EXPECT_NE(log.find("[stopped: the scheduler service ended]"), std::string::npos) << log;
  EXPECT_NE(log.find("Failed (115)"), std::string::npos) << log;
  EXPECT_EQ(log.find("interrupted"), std::string::npos) << log;
}

TEST_F(RealService, tells_after_it_was_killed_which_run_was_interrupted_and_by_then_its_job_is_gone) {
  configure("echo $$ > " + said_ + "; exec sleep 1000", time(nullptr) + 1);
  std::string job = next_said();
  job.pop_back();
  ASSERT_TRUE(lives(job)) << job;
  service_.kill_and_wait();
  ASSERT_TRUE(service_.start()) << service_.errors();
  const std::string log = shell("show scheduler logfile");
  EXPECT_NE(log.find("interrupted: the service ended during the run that began at "), std::string::npos) << log;
  EXPECT_FALSE(lives(job));
}

}  // namespace
}  // namespace system_test
