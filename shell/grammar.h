// SPDX-License-Identifier: Apache-2.0
// The shell's commands: one table for parsing, completion, help, the manual and the tests.
#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "control/operations.h"
#include "host/transport/transport.h"
#include "schedcli.h"

namespace shell {

class Session;
struct Match;

enum class Mode { exec, config, schedule };

enum class Kind {
  text,
  name,     // of a job or schedule
  address,  // of mail
  vrf,
  user,
  rest,       // the rest of the line, blanks included
  kilobytes,  // the first of the number kinds; see range_of
  port,
  level,
  count,  // of lines to show
  lines,  // of the screen
  columns,
  run,
  moment,  // of the past
  host,
  file_uri,
  path,  // has a slash, dot or colon or is "-", so that it cannot be an abbreviated word
};

struct Word {
  const char *text;
  const char *help;
};

struct Parameter {
  const char *name;
  Kind kind;
  uint32_t id;  // the handler's identifier; 0: the handler goes by the position
  const char *help;
};

// What a show command asks the service for.
struct Query {
  control::Operation operation;
  host::Bytes (*payload)(const Match &) = nullptr;                // null: it has none
  std::string (*add_own)(const std::string &document) = nullptr;  // what the shell itself adds; null: nothing
};

// Syntax: words, <parameters>, and [optional groups], which do not nest. "no" as the first word is the negated form.
struct Command {
  Mode mode;
  const char *syntax;
  const char *help;
  int (*handler)(const sch_cli_cmd_ctx *);  // the library's, called with the parameters in order; null: the shell's own
  int (*action)(Session &, const Match &);
  uint32_t subcommand;
  std::optional<Query> query;  // as a document with `| json`; none: the command shows nothing that is data

  bool negates() const;
  bool begins_job() const;         // lines of its text follow
  bool in_scheduler_tree() const;  // not available while the scheduler's parse tree is deregistered
};

std::span<const Command> commands();
std::span<const Word> words();
std::span<const Parameter> parameters();

struct Term {  // exactly one of the two is not null
  const Word *word;
  const Parameter *parameter;
};

struct Form {  // one way to write a command: each optional group is included or not
  const Command *command;
  std::vector<Term> terms;
};

const std::vector<Form> &forms();

struct Range {
  long first, last;
  bool has_bound() const { return last != std::numeric_limits<long>::max(); }
};

Range range_of(Kind kind);  // of the number kinds
bool takes(const Parameter &parameter, std::string_view text);

}  // namespace shell
