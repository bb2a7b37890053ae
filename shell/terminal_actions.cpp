// SPDX-License-Identifier: Apache-2.0
// Commands about this shell and its terminal.
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <sstream>

#include "shell/actions.h"
#include "shell/service_request.h"
#include "shell/session.h"

namespace shell {

namespace {

unsigned short number_of(const Match &match) {
  return static_cast<unsigned short>(std::strtoul(match.arguments.front().value.c_str(), nullptr, 10));
}

// Sets the terminal's own size, from which the pager, the editor and other programs read it.
int change_size(const Match &match, unsigned short winsize::*field, unsigned short value) {
  winsize size{};
  const bool changed = ioctl(STDIN_FILENO, TIOCGWINSZ, &size) == 0;
  size.*field = value;
  if (changed && ioctl(STDIN_FILENO, TIOCSWINSZ, &size) == 0) return 0;
  std::fprintf(stderr, "Error: %s: there is no terminal\n", words_of(match).c_str());
  return failure_status;
}

}  // namespace

int show_version(Session &, const Match &match) {
  std::puts("schedsh " SCHEDCLI_VERSION);
  host::Bytes reply;
  const int status = request(words_of(match), control::Operation::status, {}, &reply);
  std::istringstream lines(text_of(reply));
  for (std::string line; std::getline(lines, line);)
    if (line.starts_with("version")) std::printf("schedd %s\n", line.substr(line.find_last_of(" \t") + 1).c_str());
  return status;
}

// This process's clock and zone are the service's: it runs on the same machine and follows the zone (zone.h).
int show_clock(Session &, const Match &match) {
  host::Bytes reply;
  const int status = request(words_of(match), control::Operation::get_zone, {}, &reply);
  if (status != 0) return status;
  const std::string zone = text_of(reply).substr(std::min(sizeof(int32_t), reply.size()));
  const time_t now = time(nullptr);
  tm fields = {};
  localtime_r(&now, &fields);
  char text[64];
  std::strftime(text, sizeof text, "%a %Y-%m-%d %H:%M:%S %z", &fields);
  std::printf("%s %s\n", text, zone.c_str());
  return 0;
}

int set_terminal_length(Session &session, const Match &match) {
  const unsigned short lines = number_of(match);
  session.set_paging(lines != 0);
  return lines == 0 ? 0 : change_size(match, &winsize::ws_row, lines);
}

int set_terminal_width(Session &, const Match &match) {
  return change_size(match, &winsize::ws_col, number_of(match));
}

}  // namespace shell
