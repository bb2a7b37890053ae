// SPDX-License-Identifier: Apache-2.0
// The metrics of the real service, read by the programs that will read them: promtool, the parser of OpenMetrics, and
// node_exporter's textfile collector.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <regex>

#include "tests/system/service_process.h"

namespace system_test {
namespace {

std::string text_of_file(const std::string &path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

sockaddr_in loopback(in_port_t port) {
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

in_port_t free_port() {
  const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address = loopback(0);
  socklen_t size = sizeof address;
  bind(socket, reinterpret_cast<sockaddr *>(&address), size);
  getsockname(socket, reinterpret_cast<sockaddr *>(&address), &size);
  close(socket);
  return ntohs(address.sin_port);
}

std::string page_at(in_port_t port) {
  const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const sockaddr_in address = loopback(port);
  std::string page;
  if (connect(socket, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0) {
    const std::string request = "GET /metrics HTTP/1.0\r\n\r\n";
    if (write(socket, request.data(), request.size()) == static_cast<ssize_t>(request.size())) {
      char piece[4096];
      for (ssize_t size = 0; (size = read(socket, piece, sizeof piece)) > 0;)
        page.append(piece, static_cast<size_t>(size));
    }
  }
  close(socket);
  return page;
}

class NodeExporter {
 public:
  explicit NodeExporter(const std::string &directory) : port_(free_port()), pid_(fork()) {
    if (pid_ != 0) return;
    const std::string collects = "--collector.textfile.directory=" + directory,
                      listens = "--web.listen-address=127.0.0.1:" + std::to_string(port_);
    execlp("prometheus-node-exporter", "prometheus-node-exporter", "--collector.disable-defaults",
           "--collector.textfile", collects.c_str(), listens.c_str(), "--log.level=error", nullptr);
    _exit(127);
  }
  ~NodeExporter() {
    if (pid_ <= 0) return;
    kill(pid_, SIGTERM);
    waitpid(pid_, nullptr, 0);
  }
  NodeExporter(const NodeExporter &) = delete;
  NodeExporter &operator=(const NodeExporter &) = delete;

  // What it says once it answers; empty: it ended.
  std::string page() {
    for (;;) {
      if (std::string page = page_at(port_); !page.empty()) return page;
      if (waitpid(pid_, nullptr, WNOHANG) == 0) continue;
      pid_ = -1;
      return "";
    }
  }

 private:
  in_port_t port_;
  pid_t pid_;
};

class Metrics : public testing::Test {
 protected:
  Metrics() {
    std::filesystem::create_directory(collected_);
    EXPECT_TRUE(service_.start()) << service_.errors();
    run_shell(state_, {}, &status_,
              "feature scheduler\n"
              "scheduler job name good commands true\n"
              "scheduler job name bad commands exit 3\n"
              "scheduler schedule name mixed\njob name good\njob name bad\ntime daily 3:00\n"
              "scheduler schedule name fine\njob name good\ntime daily 3:00\n"
              "scheduler schedule name idle\ntime daily 3:00\n"
              "scheduler disable schedule idle\n"
              "end\nscheduler run schedule mixed\nscheduler run schedule fine\n");
    EXPECT_EQ(status_, 0);
    while (shell("show scheduler history").find("running") != std::string::npos && status_ == 0) {
    }
  }

  std::string shell(const std::string &command) { return run_shell(state_, {"-c", command}, &status_); }
  std::string metrics() { return shell("show scheduler metrics"); }

  // The program's exit status and what it says of the metrics, which it reads from its standard input.
  std::string judged_by(const std::string &program, const std::string &text) {
    const std::string file = directory_.path() + "/text", said = directory_.path() + "/said";
    std::ofstream(file) << text;
    const int result = std::system((program + " <'" + file + "' >'" + said + "' 2>&1").c_str());
    return std::to_string(WEXITSTATUS(result)) + " " + text_of_file(said);
  }

  // The script that the timer starts.
  int collect() {
    const std::string script = "SCHEDSH='" SCHEDSH_PROGRAM " --state-dir " + state_ + "' " METRICS_SCRIPT " '" +
                               collected_ + "' 2>'" + directory_.path() + "/said'";
    return WEXITSTATUS(std::system(script.c_str()));
  }

  TemporaryDirectory directory_;
  std::string state_ = directory_.path() + "/state", collected_ = directory_.path() + "/collected";
  ServiceProcess service_{state_};
  int status_ = -1;
};

void expect_line(const std::string &text, const std::string &line) {
  EXPECT_NE(("\n" + text).find("\n" + line + "\n"), std::string::npos) << line << " is missing in\n" << text;
}

TEST_F(Metrics, tell_what_has_run_and_what_will) {
  const std::string text = metrics();
  EXPECT_EQ(status_, 0);
  expect_line(text, "schedcli_active 1");
  expect_line(text, "schedcli_enabled 1");
  expect_line(text, "schedcli_schedules 3");
  expect_line(text, "schedcli_outcomes_total{outcome=\"success\"} 2");
  expect_line(text, "schedcli_outcomes_total{outcome=\"failed\"} 1");
  expect_line(text, "schedcli_outcomes_total{outcome=\"missed\"} 0");
  expect_line(text, "schedcli_stored_outcomes_total 3");
  expect_line(text, "schedcli_schedule_last_outcome{schedule=\"mixed\",outcome=\"failed\"} 1");
  expect_line(text, "schedcli_schedule_last_outcome{schedule=\"fine\",outcome=\"success\"} 1");
  expect_line(text, "schedcli_job_duration_seconds_bucket{le=\"+Inf\"} 3");
  expect_line(text, "schedcli_job_duration_seconds_count 3");
  expect_line(text, "schedcli_run_lateness_seconds_count 0");  // they were asked for
  expect_line(text, "schedcli_mail_queue_messages 0");
  EXPECT_TRUE(std::regex_search(text, std::regex("schedcli_user_schedules\\{user=\"[^\"]+\"\\} 3\n"))) << text;
  EXPECT_TRUE(std::regex_search(text, std::regex("next_due_timestamp_seconds\\{schedule=\"mixed\"\\} [0-9]{10}\n")));
  EXPECT_EQ(text.find("next_due_timestamp_seconds{schedule=\"idle\"}"), std::string::npos);
  EXPECT_EQ(text.find("last_outcome{schedule=\"idle\""), std::string::npos);
  EXPECT_TRUE(text.ends_with("\n# EOF\n"));
}

TEST_F(Metrics, count_anew_after_a_restart_but_for_what_is_stored) {
  ASSERT_EQ(service_.stop(), 0);
  ASSERT_TRUE(service_.start());
  const std::string text = metrics();
  expect_line(text, "schedcli_outcomes_total{outcome=\"success\"} 0");
  expect_line(text, "schedcli_stored_outcomes_total 3");
  expect_line(text, "schedcli_schedule_last_outcome{schedule=\"mixed\",outcome=\"failed\"} 1");
}

TEST_F(Metrics, follow_a_schedule_that_runs_again) {
  ASSERT_NE(metrics().find("{schedule=\"fine\",outcome=\"success\"} 1"), std::string::npos);
  run_shell(state_, {}, &status_, "scheduler job name good commands false\nend\nscheduler run schedule fine\n");
  while (shell("show scheduler history").find("running") != std::string::npos && status_ == 0) {
  }
  expect_line(metrics(), "schedcli_schedule_last_outcome{schedule=\"fine\",outcome=\"failed\"} 1");
}

TEST_F(Metrics, are_read_by_both_formats) {
  const std::string text = metrics();
  EXPECT_EQ(judged_by("promtool check metrics", text), "0 ");
  const std::string parser =
      "/usr/bin/python3 -c 'import sys; from prometheus_client.openmetrics.parser import "
      "text_string_to_metric_families as p; "
      "print(len(list(p(sys.stdin.read()))) > 15)'";
  EXPECT_EQ(judged_by(parser, text), "0 True\n");
}

TEST_F(Metrics, reach_a_scraper_through_the_textfile_collector) {
  std::ofstream(collected_ + "/others.prom") << "this is {{ not a metric\n";  // somebody else's does not hurt
  ASSERT_EQ(collect(), 0) << text_of_file(directory_.path() + "/said");
  struct stat found {};
  ASSERT_EQ(stat((collected_ + "/schedcli.prom").c_str(), &found), 0);
  EXPECT_EQ(found.st_mode & 0777, 0644u);
  NodeExporter exporter(collected_);
  const std::string page = exporter.page();
  expect_line(page, "schedcli_outcomes_total{outcome=\"success\"} 2");
  expect_line(page, "schedcli_job_duration_seconds_bucket{le=\"+Inf\"} 3");
  EXPECT_NE(page.find("node_textfile_mtime_seconds{file=\"" + collected_ + "/schedcli.prom\"}"), std::string::npos);
}

TEST_F(Metrics, that_cannot_be_had_leave_the_last_ones_and_nothing_half) {
  ASSERT_EQ(collect(), 0);
  const std::string before = text_of_file(collected_ + "/schedcli.prom");
  ASSERT_EQ(service_.stop(), 0);
  EXPECT_NE(collect(), 0);
  EXPECT_EQ(text_of_file(collected_ + "/schedcli.prom"), before);
  EXPECT_FALSE(std::filesystem::exists(collected_ + "/schedcli.prom.new"));
}

TEST_F(Metrics, are_written_through_no_link_that_was_put_there) {
  const std::string victim = directory_.path() + "/victim";
  std::ofstream(victim) << "mine\n";
  std::filesystem::create_symlink(victim, collected_ + "/schedcli.prom.new");
  std::filesystem::create_symlink(victim, collected_ + "/schedcli.prom");
  EXPECT_EQ(collect(), 0);
  EXPECT_EQ(text_of_file(victim), "mine\n");
  EXPECT_FALSE(std::filesystem::is_symlink(collected_ + "/schedcli.prom"));
}

// Every metric that the alerts and the dashboard ask for is one that the service has.
TEST_F(Metrics, have_what_alerts_and_dashboard_ask_for) {
  EXPECT_EQ(judged_by("promtool check rules " METRICS_FOLDER "/schedcli.rules.yml", "").substr(0, 2), "0 ");
  EXPECT_EQ(judged_by("python3 -m json.tool", text_of_file(METRICS_FOLDER "/schedcli-dashboard.json")).substr(0, 2),
            "0 ");
  const std::string text = metrics();
  const std::string asked =
      text_of_file(METRICS_FOLDER "/schedcli.rules.yml") + text_of_file(METRICS_FOLDER "/schedcli-dashboard.json");
  const std::regex name("schedcli_[a-z_]+");
  size_t names = 0;
  for (std::sregex_iterator found(asked.begin(), asked.end(), name), end; found != end; ++found, names++)
    EXPECT_TRUE(std::regex_search(text, std::regex("\n" + found->str() + "[ {]"))) << found->str();
  EXPECT_GT(names, 10u);
}

}  // namespace
}  // namespace system_test
