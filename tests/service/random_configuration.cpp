// SPDX-License-Identifier: Apache-2.0
#include "tests/service/random_configuration.h"

#include <algorithm>
#include <cstdio>
#include <vector>

namespace service_test {
namespace {

class Maker {
 public:
  explicit Maker(std::mt19937 &random) : random_(random) {}

  std::string make() {
    const bool disabled = chance(10);
    std::string text;
    if (chance(3)) text += "scheduler logfile size " + std::to_string(1 + below(15)) + "\n\n";
    if (chance(8)) text += "scheduler logfile name flash:log" + std::to_string(below(3)) + "\n\n";
    if (chance(3)) text += "scheduler transport email from " + address() + "\n";
    if (chance(3)) text += "scheduler transport email reply-to " + address() + "\n";
    if (chance(3)) text += server();
    const std::vector<std::string> jobs = names(below(9));
    for (const std::string &job : jobs)
      text += "scheduler job name " + job + "\n" + job_text() + "end-job\n\n";
    for (const std::string &schedule : names(below(9)))
      text += schedule_text(schedule, jobs);
    if (chance(4)) text += "logging level scheduler " + std::to_string(below(5)) + "\n";
    if (!disabled) return "feature scheduler\n" + text;
    return (text.empty() ? "" : "feature scheduler\n" + text) + "no feature scheduler\n";
  }

 private:
  int below(int limit) { return std::uniform_int_distribution<int>(0, limit - 1)(random_); }
  bool chance(int one_in) { return below(one_in) == 0; }
  std::string letter() { return std::string(1, static_cast<char>('a' + below(26))); }

  // Out of fifteen, so that two configurations have some in common; in any order.
  std::vector<std::string> names(int count) {
    std::vector<std::string> all;
    for (char first = 'a'; first < 'p'; first++)
      all.push_back(std::string(1, first) + (first % 2 == 0 ? "_x" : "-Y") + std::string(first % 3 * 9, '9'));
    std::ranges::shuffle(all, random_);
    all.resize(static_cast<size_t>(count));
    return all;
  }

  std::string address() { return letter() + letter() + "@" + letter() + ".example"; }

  std::string server() {
    std::string text = "scheduler transport email smtp-server ";
    const bool usual = chance(2);
    text += usual ? " mail." + letter() : letter() + ".example port " + std::to_string(26 + below(1000));
    return text + (chance(3) ? " vrf " + letter() : "") + "\n";
  }

  std::string job_text() {
    static constexpr const char *lines[] = {"echo hello",           "  indented", "",      "end ",
                                            "! no comment",         "exit 0",     "\ttab", "\"quoted\"",
                                            "scheduler job name x", "end-jobs",   "čšž"};
    std::string text;
    for (int i = below(6); i > 0; i--)
      text += std::string(lines[below(std::size(lines))]) + "\n";
    if (chance(12)) text += std::string(static_cast<size_t>(1000 + below(3000)), 'x') + "\n";
    return text;
  }

  std::string schedule_text(const std::string &name, const std::vector<std::string> &jobs) {
    std::string text = "scheduler schedule name " + name + "\n";
    for (const std::string &job : jobs)
      if (chance(2)) text += " job name " + job + "\n";
    text += chance(6) ? "  " : "  time " + time() + "\n";
    for (int i = chance(3) ? below(4) : 0; i > 0; i--)
      text += "email-addr " + std::to_string(i) + address() + "\n";
    if (chance(5)) text += "scheduler disable schedule " + name + "\n";
    return text + "\n";
  }

  template <typename... Numbers>
  std::string formatted(const char *form, Numbers... numbers) {
    char buffer[80];
    std::snprintf(buffer, sizeof buffer, form, numbers...);
    return buffer;
  }

  // Of several years, so that some have passed.
  std::string start() {
    return formatted("start %d:%02d:%02d:%02d:%02d", 2020 + below(17), 1 + below(12), 1 + below(28), below(24),
                     below(60));
  }

  std::string time() {
    switch (below(5)) {
      case 0:
        return formatted("daily %02d:%02d", below(24), below(60));
      case 1:
        return formatted("weekly %02d:%02d:%02d", 1 + below(7), below(24), below(60));
      case 2:
        return formatted("monthly %02d:%02d:%02d", 1 + below(31), below(24), below(60));
      case 3:
        return start();
      default:
        return start() + formatted(" repeat %d:%d:%d", below(40), below(24), 1 + below(59));
    }
  }

  std::mt19937 &random_;
};

}  // namespace

std::string random_configuration(std::mt19937 &random) {
  return Maker(random).make();
}

}  // namespace service_test
