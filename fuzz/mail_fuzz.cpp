// SPDX-License-Identifier: Apache-2.0
// A run's report with anything in its fields: each header once, parts with theirs, and no line end but the message's
// own. Input: fields, each with one byte of length; outputs with two.
#include <array>
#include <set>
#include <string_view>

#include "fuzz/input.h"
#include "service/mail/message.h"

namespace {

std::string address_or(const char *usual, const std::string &wanted) {
  return service::is_mail_address(wanted) ? wanted : usual;  // no other is mailed to
}

std::string_view take_line(std::string_view *rest) {
  const size_t end = rest->find("\r\n");
  fuzz::require(end != rest->npos, "the message ends with a line");
  const std::string_view line = rest->substr(0, end);
  rest->remove_prefix(end + 2);
  fuzz::require(line.find_first_of("\r\n") == line.npos, "no line end but the message's own");
  return line;
}

void check_headers(std::string_view *rest, std::set<std::string_view> allowed) {
  for (std::string_view line = take_line(rest); !line.empty(); line = take_line(rest)) {
    fuzz::require(allowed.erase(line.substr(0, line.find(": "))) == 1,
                  "a header is one of the message's, and once there");
    fuzz::require(line.size() <= 998, "a line is not too long");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fuzz::Input input(data, size);
  service::MailReport report;
  service::MailSettings settings;
  report.run = input.number();
  for (std::string *field : {&report.schedule, &report.owner, &report.due, &settings.host, &settings.reply_to})
    *field = input.sized_by_one_byte();
  settings.from = address_or("from@example", input.sized_by_one_byte());
  const std::string to = address_or("to@example", input.sized_by_one_byte());
  while (!input.empty()) {
    service::MailPart part = {input.sized_by_one_byte(), input.sized_by_one_byte(), input.sized_by_two_bytes()};
    report.parts.push_back(part);
  }
  const std::string message = service::compose_mail(report, settings, to, 1795262400);
  std::string_view rest = message;
  check_headers(&rest, {"From", "To", "Reply-To", "Subject", "Date", "Message-ID", "Auto-Submitted", "MIME-Version",
                        "Content-Type"});
  while (!rest.empty())
    if (take_line(&rest) == "--=_schedcli_part")
      check_headers(&rest, {"Content-Type", "Content-Disposition", "Content-Transfer-Encoding"});
  return 0;
}
