// SPDX-License-Identifier: Apache-2.0
// Follows a line word by word: the forms of one mode that match so far.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "shell/grammar.h"
#include "shell/words.h"

namespace shell {

std::string shown(const Term &term);  // word, <parameter> or <parameter first..last>

class Walk {
 public:
  enum class Step { taken, unknown, ambiguous, bad_value };

  Walk(Mode mode, bool scheduler_tree);

  // A complete word wins over the abbreviation of another. Where a parameter is possible, words must be complete. After
  // any result but `taken` the walk is over.
  Step step(std::string_view text);

  std::vector<Term> next() const;  // what may follow, in the grammar's order, without repetition
  const Form *complete() const;    // the form that ends here, or null; of several the one with more words

 private:
  struct Reading {  // how one word matches
    std::vector<const Form *> exact, abbreviated;
    std::vector<const Word *> meant;  // the words that it abbreviates
    bool has_parameter = false;
  };
  Reading read(std::string_view text) const;
  const Term *term_of(const Form &form) const;  // null: the form has ended

  std::vector<const Form *> left_;
  size_t depth_ = 0;
};

}  // namespace shell
