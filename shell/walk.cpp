// SPDX-License-Identifier: Apache-2.0
#include "shell/walk.h"

#include <algorithm>

namespace shell {

namespace {

bool same(const Term &a, const Term &b) {
  return a.word == b.word && a.parameter == b.parameter;
}

size_t count_words(const Form &form) {
  return static_cast<size_t>(
      std::count_if(form.terms.begin(), form.terms.end(), [](const Term &term) { return term.word != nullptr; }));
}

bool names_one_word(const std::vector<const Word *> &found) {
  return std::all_of(found.begin(), found.end(), [&](const Word *word) { return word == found.front(); });
}

}  // namespace

std::string shown(const Term &term) {
  if (term.word != nullptr) return term.word->text;
  const Range range = range_of(term.parameter->kind);
  std::string text = std::string("<") + term.parameter->name;
  if (range.last != 0 && range.has_bound())
    text += " " + std::to_string(range.first) + ".." + std::to_string(range.last);
  return text + ">";
}

Walk::Walk(Mode mode, bool scheduler_tree) {
  for (const Form &form : forms()) {
    if (form.command->mode == mode && (scheduler_tree || !form.command->in_scheduler_tree())) left_.push_back(&form);
  }
}

const Term *Walk::term_of(const Form &form) const {
  if (depth_ < form.terms.size()) return &form.terms[depth_];
  const Parameter *last = form.terms.back().parameter;
  return last != nullptr && last->kind == Kind::rest ? &form.terms.back() : nullptr;
}

Walk::Reading Walk::read(std::string_view text) const {
  Reading reading;
  for (const Form *form : left_) {
    const Term *term = term_of(*form);
    if (term == nullptr) continue;
    if (term->parameter != nullptr) {
      reading.has_parameter = true;
      if (takes(*term->parameter, text)) reading.exact.push_back(form);
    } else if (text == term->word->text) {
      reading.exact.push_back(form);
    } else if (!text.empty() && std::string_view(term->word->text).starts_with(text)) {
      reading.abbreviated.push_back(form);
      reading.meant.push_back(term->word);
    }
  }
  return reading;
}

Walk::Step Walk::step(std::string_view text) {
  Reading reading = read(text);
  if (reading.exact.empty()) {
    if (reading.meant.empty()) return reading.has_parameter ? Step::bad_value : Step::unknown;
    if (!names_one_word(reading.meant)) return Step::ambiguous;
    reading.exact = std::move(reading.abbreviated);
  }
  left_ = std::move(reading.exact);
  depth_++;
  return Step::taken;
}

std::vector<Term> Walk::next() const {
  std::vector<Term> terms;
  for (const Form *form : left_) {
    const Term *term = term_of(*form);
    if (term == nullptr) continue;
    const bool known = std::any_of(terms.begin(), terms.end(), [&](const Term &seen) { return same(seen, *term); });
    if (!known) terms.push_back(*term);
  }
  return terms;
}

const Form *Walk::complete() const {
  const Form *best = nullptr;
  for (const Form *form : left_) {
    const bool ends = depth_ == form->terms.size() || (depth_ > form->terms.size() && term_of(*form) != nullptr);
    if (ends && (best == nullptr || count_words(*form) > count_words(*best))) best = form;
  }
  return best;
}

}  // namespace shell
