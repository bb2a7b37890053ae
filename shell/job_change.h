// SPDX-License-Identifier: Apache-2.0
// Replaces a job's whole text in one change; creates the job if it does not exist.
#pragma once

#include <string>
#include <string_view>

namespace shell {

class Session;

// After a failure nothing has changed.
int put_job(const Session &session, const std::string &name, const std::string &text);
int put_job_in_one_line(const Session &session, const std::string &name, const std::string &commands);

int remove_job(const Session &session, const std::string &name);

// Splits the commands of one line at ';' outside of quotes. Quotes around all of them are removed; others are left to
// the interpreter.
std::string lines_of_commands(std::string_view commands);

}  // namespace shell
