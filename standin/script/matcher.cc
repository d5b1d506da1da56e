// One function for each way to want a value.

#include "script/matcher.h"

#include <algorithm>
#include <cctype>
#include <string_view>

#include "core/hex.h"
#include "json/json.h"

namespace standin {
namespace {

bool AreSameLetters(std::string_view one, std::string_view other) {
  return std::equal(one.begin(), one.end(), other.begin(), other.end(), [](char a, char b) {
    return std::tolower(static_cast<unsigned char>(a)) ==
           std::tolower(static_cast<unsigned char>(b));
  });
}

/// A text, or the texts of a list with commas between them, as they were sent.
std::string SentText(const Value& value) {
  std::string text(value.Text());
  if (const auto* const list = value.As<List>()) {
    for (const Value& item : *list) {
      text += (&item != list->data() ? "," : "") + std::string(item.Text());
    }
  }
  return text;
}

bool IsFound(const regex_t& expression, const std::string& text) {
  // A text may hold zero bytes: its end is given.
  regmatch_t whole{0, static_cast<regoff_t>(text.size())};
  return regexec(&expression, text.c_str(), 0, &whole, REG_STARTEND) == 0;
}

}  // namespace

bool AreSame(const Value& one, const Value& other) {
  const auto* const list = one.As<List>();
  const auto* const otherList = other.As<List>();
  if (list != nullptr && otherList != nullptr) {
    return std::equal(list->begin(), list->end(), otherList->begin(), otherList->end(), AreSame);
  }
  return one == other || (IsUuid(one.Text()) && AreSameLetters(one.Text(), other.Text()));
}

bool IsLess(const Value& one, const Value& other) {
  const auto* const natural = one.As<std::uint64_t>();
  const auto* const otherNatural = other.As<std::uint64_t>();
  if (natural != nullptr && otherNatural != nullptr) {
    return *natural < *otherNatural;
  }
  const auto number = [](const Value& value) -> std::optional<double> {
    if (const auto* const whole = value.As<std::uint64_t>()) {
      return static_cast<double>(*whole);
    }
    const auto* const real = value.As<double>();
    return real != nullptr ? std::optional(*real) : std::nullopt;
  };
  return number(one) && number(other) && *number(one) < *number(other);
}

bool Matches(const Matcher& matcher, const Value& value, const Captures& captures) {
  const auto isValue = [&](const Value& wanted) { return AreSame(wanted, value); };
  if (!matcher.oneOf.empty() && std::none_of(matcher.oneOf.begin(), matcher.oneOf.end(), isValue)) {
    return false;
  }
  if (matcher.expression && !IsFound(*matcher.expression, SentText(value))) {
    return false;
  }
  // Infinity and NaN are texts, which no range holds.
  const bool number = value.As<std::uint64_t>() != nullptr || value.As<double>() != nullptr;
  if ((matcher.min && (!number || IsLess(value, *matcher.min))) ||
      (matcher.max && (!number || IsLess(*matcher.max, value)))) {
    return false;
  }
  const auto captured = captures.find(matcher.captured);
  return matcher.captured.empty() ||
         (captured != captures.end() && AreSame(captured->second, value));
}

std::string Shown(const Value& value) {
  const auto* const text = value.As<std::string>();
  return ToJson(value) + (text != nullptr ? " (hex " + ToHex(*text) + ")" : "");
}

std::string Describe(const Matcher& matcher, const Captures& captures) {
  std::vector<std::string> wanted;
  std::string values;
  for (const Value& value : matcher.oneOf) {
    values += (values.empty() ? "" : " or ") + Shown(value);
  }
  if (!values.empty()) {
    wanted.push_back(values);
  }
  if (matcher.expression) {
    wanted.push_back("a match of " + ToJson(matcher.expressionText));
  }
  if (matcher.min) {
    wanted.push_back("at least " + ToJson(*matcher.min));
  }
  if (matcher.max) {
    wanted.push_back("at most " + ToJson(*matcher.max));
  }
  if (!matcher.captured.empty()) {
    const auto captured = captures.find(matcher.captured);
    wanted.push_back("the captured " + matcher.captured + ", " +
                     (captured != captures.end() ? Shown(captured->second) : "not captured yet"));
  }
  std::string text;
  for (const std::string& part : wanted) {
    text += (text.empty() ? "" : " and ") + part;
  }
  return text.empty() ? "any value" : text;
}

}  // namespace standin
