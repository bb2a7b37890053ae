// SPDX-License-Identifier: Apache-2.0
#include "service/metrics/exposition.h"

#include <cstdio>

namespace service {
namespace {

std::string escaped(std::string_view value) {
  std::string text;
  for (const char letter : value) {
    if (letter == '\n')
      text += "\\n";
    else if (letter == '"' || letter == '\\')
      text += {'\\', letter};
    else
      text += letter;
  }
  return text;
}

std::string line(std::string_view name, const Exposition::Labels &labels, const std::string &value) {
  std::string text(name);
  for (const auto &[label, content] : labels)
    text += (text.size() == name.size() ? "{" : ",") + std::string(label) + "=\"" + escaped(content) + "\"";
  if (!labels.empty()) text += "}";
  return text + " " + value + "\n";
}

std::string seconds(int64_t milliseconds) {
  char text[32];
  std::snprintf(text, sizeof text, "%lld.%03d", static_cast<long long>(milliseconds / 1000),
                static_cast<int>(milliseconds % 1000));
  return text;
}

// "0.1", "60.0": as OpenMetrics wants a bound.
std::string bound_text(int64_t milliseconds) {
  std::string text = seconds(milliseconds);
  while (text.ends_with('0') && !text.ends_with(".0"))
    text.pop_back();
  return text;
}

}  // namespace

void Exposition::head(std::string_view name, std::string_view help) {
  family_ = name;
  text_ += "# HELP " + family_ + " " + escaped(help) + "\n";
}

void Exposition::gauges(std::string_view name, std::string_view help) {
  head(name, help);
  text_ += "# TYPE " + family_ + " gauge\n";
}

void Exposition::counters(std::string_view name, std::string_view help) {
  head(name, help);
}

void Exposition::sample(uint64_t value, const Labels &labels) {
  text_ += line(family_, labels, std::to_string(value));
}

void Exposition::histogram(std::string_view name, std::string_view help, const Histogram &histogram) {
  head(name, help);
  text_ += "# TYPE " + family_ + " histogram\n";
  const auto bounds = histogram.bounds_ms();
  for (size_t index = 0; index < bounds.size(); index++)
    text_ += line(family_ + "_bucket", {{"le", bound_text(bounds[index])}}, std::to_string(histogram.within(index)));
  text_ += line(family_ + "_bucket", {{"le", "+Inf"}}, std::to_string(histogram.count()));
  text_ += line(family_ + "_sum", {}, seconds(histogram.sum_ms()));
  text_ += line(family_ + "_count", {}, std::to_string(histogram.count()));
}

}  // namespace service
