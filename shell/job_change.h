// SPDX-License-Identifier: Apache-2.0
// A job's text as a whole: the job is created where there is none, and a text that it has is replaced in one change.
#pragma once

#include <string>
#include <string_view>

namespace shell {

class Session;

// A failure leaves things as they were.
int put_job(const Session &session, const std::string &name, const std::string &text);
int put_job_in_one_line(const Session &session, const std::string &name, const std::string &commands);

int remove_job(const Session &session, const std::string &name);

// One line's commands as lines. ';' separates them outside of quotes; quotes around the whole are taken off, all others
// stay for whoever runs the command.
std::string lines_of_commands(std::string_view commands);

}  // namespace shell
