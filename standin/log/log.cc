// The members of a line.

#include "log/log.h"

#include <array>
#include <cstdio>
#include <ctime>
#include <limits>
#include <string>
#include <utility>

#include "core/text.h"

namespace standin {
namespace {

constexpr std::size_t SHOWN_SIZE = 4096;

/// Coordinated universal time with microseconds.
std::string Now() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  tm parts{};
  gmtime_r(&now.tv_sec, &parts);
  std::array<char, 32> seconds{};
  (void)std::strftime(seconds.data(), seconds.size(), "%Y-%m-%dT%H:%M:%S", &parts);
  std::array<char, 24> fraction{};
  (void)std::snprintf(fraction.data(), fraction.size(), ".%06ldZ", now.tv_nsec / 1000);
  return std::string(seconds.data()) + fraction.data();
}

/// A text or a list as far as a line shows it.
Value Shown(const Value& value, std::size_t most) {
  if (const auto* const text = value.As<std::string>()) {
    return text->substr(0, most);
  }
  const auto* const list = value.As<List>();
  if (list == nullptr) {
    return value;
  }
  List shown;
  for (const Value& item : *list) {
    shown.push_back(Shown(item, most));
    most -= shown.back().Text().size();
    if (most == 0) {
      break;
    }
  }
  return shown;
}

/// Characters of a text, entries of a list.
std::uint64_t SizeOf(const Value& value) {
  const auto* const list = value.As<List>();
  return list != nullptr ? list->size() : value.Text().size();
}

std::string Line(std::uint64_t connection, std::string_view event, Object more) {
  Object line = {{"time", Now()}, {"connection", connection}, {"event", event}};
  line.insert(line.end(), std::make_move_iterator(more.begin()),
              std::make_move_iterator(more.end()));
  return ToJson(std::move(line)) + "\n";
}

}  // namespace

std::size_t Log::ShownSize() const {
  return withHex_ ? std::numeric_limits<std::size_t>::max() : SHOWN_SIZE;
}

void Log::Write(std::uint64_t connection, std::string_view event, Object more) {
  output_.Write(Line(connection, event, std::move(more)));
}

void Log::WriteRequest(std::uint64_t connection, const Request& request, const Object& more) {
  output_.Write(RequestLine(connection, request, more, ShownSize()));
}

std::string Log::RequestLine(std::uint64_t connection, const Request& request, const Object& more,
                             std::size_t most) const {
  Object line = {{"command", nullptr},
                 {"code", request.header.word},
                 {"length", request.header.length},
                 {"fields", Object()}};
  if (request.command != nullptr) {
    line.front().value = request.command->word;
  }
  Object fields;
  Object cut;
  for (const Member& field : request.fields) {
    fields.push_back({field.name, Shown(field.value, most)});
    if (fields.back().value != field.value) {
      cut.push_back({field.name, SizeOf(field.value)});
    }
  }
  line.back().value = std::move(fields);
  if (!cut.empty()) {
    line.push_back({"cut", std::move(cut)});
  }
  if (!request.warnings.empty()) {
    line.push_back({"warnings", List(request.warnings.begin(), request.warnings.end())});
  }
  line.insert(line.end(), more.begin(), more.end());
  AddHex(line, request.Bytes());
  return Line(connection, "request", std::move(line));
}

void Log::AddText(Object& line, std::string_view name, std::string_view text,
                  std::uint64_t size) const {
  const std::string_view shown = text.substr(0, ShownSize());
  line.push_back({std::string(name), shown});
  if (shown.size() < size) {
    line.push_back({"cut", Object{{std::string(name), size}}});
  }
}

void Log::AddHex(Object& line, std::string_view bytes) const {
  if (withHex_) {
    line.push_back({"hex", ToHex(bytes)});
  }
}

}  // namespace standin
