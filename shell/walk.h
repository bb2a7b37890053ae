// SPDX-License-Identifier: Apache-2.0
// The forms of one mode that the words so far leave possible.
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

  // A word written out wins over the abbreviation of another; beside a parameter only a word written out counts. After
  // anything but `taken` the walk is over.
  Step step(std::string_view text);

  std::vector<Term> next() const;  // what may follow, in the grammar's order, without repetition
  const Form *complete() const;    // the form that ends here, or null; the one with more words before one with fewer

 private:
  struct Reading {  // a word against what may come
    std::vector<const Form *> exact, abbreviated;
    std::vector<const Word *> meant;  // by the abbreviation
    bool has_parameter = false;
  };
  Reading read(std::string_view text) const;
  const Term *term_of(const Form &form) const;  // null: the form has ended

  std::vector<const Form *> left_;
  size_t depth_ = 0;
};

}  // namespace shell
