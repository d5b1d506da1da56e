// One function for each way to want a value, and for each condition that a script may state.

#include "script/matcher.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <numeric>
#include <string_view>

#include "core/text.h"

namespace standin {
namespace {

using contract::FieldType;
using contract::ValueKind;

constexpr std::size_t MOST_EXPRESSION = 1000;  // bytes
constexpr double MOST_REPEATED = 100000;       // the same, with all repeats written out

bool AreSameLetters(std::string_view one, std::string_view other) {
  return std::equal(one.begin(), one.end(), other.begin(), other.end(), [](char a, char b) {
    return std::tolower(static_cast<unsigned char>(a)) ==
           std::tolower(static_cast<unsigned char>(b));
  });
}

/// A text, or the texts of a list with commas between them, as they were sent.
std::string SentText(const Value& value) {
  const auto* const list = value.As<List>();
  return list != nullptr ? Join(*list, ",", &Value::Text) : std::string(value.Text());
}

bool IsFound(const regex_t& expression, const std::string& text) {
  // A text may hold zero bytes: its end is given.
  regmatch_t whole{0, static_cast<regoff_t>(text.size())};
  return regexec(&expression, text.c_str(), 0, &whole, REG_STARTEND) == 0;
}

bool AreSame(const Value& one, const Value& other) {
  const auto* const list = one.As<List>();
  const auto* const otherList = other.As<List>();
  if (list != nullptr && otherList != nullptr) {
    return std::equal(list->begin(), list->end(), otherList->begin(), otherList->end(), AreSame);
  }
  return one == other || (IsUuid(one.Text()) && AreSameLetters(one.Text(), other.Text()));
}

bool IsNumber(const Value& value) {
  return value.As<std::uint64_t>() != nullptr || value.As<double>() != nullptr;
}

/// Of two numbers.
bool IsLess(const Value& one, const Value& other) {
  const auto* const natural = one.As<std::uint64_t>();
  const auto* const otherNatural = other.As<std::uint64_t>();
  if (natural != nullptr && otherNatural != nullptr) {
    return *natural < *otherNatural;
  }
  const auto real = [](const Value& value) {
    const auto* const whole = value.As<std::uint64_t>();
    return whole != nullptr ? static_cast<double>(*whole) : *value.As<double>();
  };
  return real(one) < real(other);
}

/// The largest number that fits a field of this width.
std::uint64_t MostOf(const contract::Field& field) {
  constexpr std::uint64_t most = std::numeric_limits<std::uint64_t>::max();
  const double count =
      std::pow(field.type == FieldType::DIGITS ? 10 : 256, static_cast<double>(field.width));
  return count < static_cast<double>(most) ? static_cast<std::uint64_t>(count) - 1 : most;
}

void CheckText(const JsonReader& json, const contract::Field& field) {
  const std::string& text = json.Text();
  const bool uuid = field.type == FieldType::UUID_BYTES || field.type == FieldType::UUID_TEXT;
  if (uuid && !IsUuid(text)) {
    json.Refuse("must be a UUID, such as 00112233-4455-6677-8899-aabbccddeeff");
  }
  if (field.type != FieldType::CHARS && text.find('\0') != std::string::npos) {
    json.Refuse("must have no zero byte: it would end the text");
  }
  if (field.type == FieldType::NAME && !text.empty()) {
    const auto& known = field.names->numbers;
    const auto isIt = [&](const contract::NamedNumber& row) { return row.name == text; };
    if (std::none_of(known.begin(), known.end(), isIt)) {
      json.Refuse("must be empty or one of " + Join(known, ", ", &contract::NamedNumber::name));
    }
  }
}

void CheckItem(const JsonReader& json) {
  if (json.Text().find_first_of(std::string{',', '\0'}) != std::string::npos) {
    json.Refuse("must have no comma and no zero byte: they end an item");
  }
}

/// Throws if the field can never have this value.
void CheckValue(const JsonReader& json, const contract::Field& field) {
  const Value& value = json.Get();
  switch (field.value) {
    case ValueKind::TEXT:
      CheckText(json, field);
      break;
    case ValueKind::NATURAL:
      (void)json.Natural(0, MostOf(field));
      break;
    case ValueKind::NUMBER:
      if (!IsNumber(value) && value.Text() != "nan" && value.Text() != "inf" &&
          value.Text() != "-inf") {
        json.Refuse("must be a number, or nan, inf or -inf as a text");
      }
      break;
    case ValueKind::LIST:
      json.ForEachItem(CheckItem);
      break;
  }
}

void ReadRange(const JsonReader& json, const contract::Field& field, Matcher& matcher) {
  const auto read = [&](const char* name) -> std::optional<Value> {
    if (!json.Has(name)) {
      return std::nullopt;
    }
    const JsonReader bound = json.Member(name);
    CheckValue(bound, field);
    if (!IsNumber(bound.Get())) {
      bound.Refuse("must be a number");
    }
    return bound.Get();
  };
  matcher.min = read("min");
  matcher.max = read("max");
  if (matcher.min && matcher.max && IsLess(*matcher.max, *matcher.min)) {
    json.Refuse("can never match: max is less than min");
  }
}

void ReadOneOf(const JsonReader& json, const contract::Field& field, Matcher& matcher) {
  json.ForEachItem([&](const JsonReader& item) {
    CheckValue(item, field);
    matcher.oneOf.push_back(item.Get());
  });
  if (matcher.oneOf.empty()) {
    json.Refuse("can never match: it is empty");
  }
}

/// The last character before the end of the bracket expression that begins at `at`, as regex(7)
/// has them, or of the text if it has no end.
const char* EndOfBrackets(const char* at) {
  at += at[1] == '^' ? 2 : 1;
  for (at += *at == ']' ? 1 : 0; *at != ']' && *at != '\0'; ++at) {
    if (*at == '[' && (at[1] == ':' || at[1] == '.' || at[1] == '=')) {
      const char* const end = std::strstr(at + 2, std::string({at[1], ']'}).c_str());
      at = end != nullptr ? end + 1 : at;
    }
  }
  return at - 1;
}

/// How large the C library makes an expression, which it writes out with all repeats. No number
/// if one of these is none, which the library refuses only once it has written out the rest.
double SizeOf(const std::string& expression) {
  std::vector<double> open = {0};
  double last = 0;  ///< what a repeat would repeat
  for (const char* at = expression.c_str(); *at != '\0'; ++at) {
    const bool isRepeat = std::strchr("*?+{", *at) != nullptr;
    double more = 1;
    if (*at == '(') {
      open.push_back(0);
      continue;
    }
    if (*at == ')') {
      more = open.back();
      if (open.size() > 1) {
        open.pop_back();
      }
    } else if (*at == '\\' && at[1] != '\0') {
      ++at;
    } else if (*at == '[') {
      at = EndOfBrackets(at);
    } else if (*at == '+') {
      more = last;
    } else if (*at == '{') {
      char* end = nullptr;
      double times = std::max(0.0, std::strtod(at + 1, &end));
      if (*end == ',') {
        times = std::max(times, std::strtod(end + 1, &end));
      }
      more = last * times;
      at = *end == '}' ? end : at;
    }
    last = isRepeat ? last + more : more;
    open.back() += more;
  }
  return std::accumulate(open.begin(), open.end(), 0.0);
}

void ReadExpression(const JsonReader& json, Matcher& matcher) {
  matcher.expressionText = json.Text();
  if (matcher.expressionText.size() > MOST_EXPRESSION ||
      !(SizeOf(matcher.expressionText) <= MOST_REPEATED)) {
    json.Refuse("is too large an expression, or repeats too much");
  }
  if (matcher.expressionText.find('\0') != std::string::npos) {
    json.Refuse("must have no zero byte");
  }
  auto expression = std::make_unique<regex_t>();
  const int error =
      regcomp(expression.get(), matcher.expressionText.c_str(), REG_EXTENDED | REG_NOSUB);
  if (error != 0) {
    std::array<char, 100> why{};
    regerror(error, expression.get(), why.data(), why.size());
    json.Refuse(std::string("is no extended regular expression: ") + why.data());
  }
  matcher.expression = {expression.release(), [](regex_t* compiled) {
                          regfree(compiled);
                          delete compiled;
                        }};
}

}  // namespace

Matcher ReadMatcher(const JsonReader& json, const contract::Field& field) {
  Matcher matcher;
  const auto* const members = json.Get().As<Object>();
  if (members == nullptr) {
    CheckValue(json, field);
    matcher.oneOf.push_back(json.Get());
    return matcher;
  }
  if (field.value == ValueKind::TEXT || field.value == ValueKind::LIST) {
    json.OnlyMembers({"any", "oneOf", "matches", "capture", "captured"});
  } else {
    json.OnlyMembers({"any", "oneOf", "min", "max", "capture", "captured"});
  }
  if (members->empty()) {
    json.Refuse("has no condition; any value is {\"any\": true}");
  }
  (void)json.IsSet("any");
  if (json.Has("oneOf")) {
    ReadOneOf(json.Member("oneOf"), field, matcher);
  }
  if (json.Has("matches")) {
    ReadExpression(json.Member("matches"), matcher);
  }
  ReadRange(json, field, matcher);
  matcher.capture = json.NameIn("capture");
  matcher.captured = json.NameIn("captured");
  return matcher;
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
  if ((matcher.min && (!IsNumber(value) || IsLess(value, *matcher.min))) ||
      (matcher.max && (!IsNumber(value) || IsLess(*matcher.max, value)))) {
    return false;
  }
  const auto captured = captures.find(matcher.captured);
  return matcher.captured.empty() ||
         (captured != captures.end() && AreSame(captured->second, value));
}

bool WantSame(const Matcher& one, const Matcher& other) {
  return one.expressionText == other.expressionText && one.min == other.min &&
         one.max == other.max && one.captured == other.captured &&
         std::equal(one.oneOf.begin(), one.oneOf.end(), other.oneOf.begin(), other.oneOf.end(),
                    AreSame);
}

std::string Shown(const Value& value) {
  const auto* const text = value.As<std::string>();
  return ToJson(value) + (text != nullptr ? " (hex " + ToHex(*text) + ")" : "");
}

std::string Describe(const Matcher& matcher, const Captures& captures) {
  std::vector<std::string> wanted;
  if (!matcher.oneOf.empty()) {
    wanted.push_back(Join(matcher.oneOf, " or ", Shown));
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
  return wanted.empty() ? "any value" : Join(wanted, " and ");
}

}  // namespace standin
