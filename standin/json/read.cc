// The reading half of json.h, by the events of nlohmann-json.

#include <algorithm>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "json/json.h"

namespace standin {
namespace {

using Library = nlohmann::json;

// What a text may make of memory and time, whatever it holds.
constexpr std::size_t MOST_LEVELS = 100;
constexpr std::size_t MOST_VALUES = 250'000;
constexpr std::size_t MOST_MEMBERS = 1000;  ///< of one object
constexpr std::size_t MOST_SHOWN = 200;     ///< bytes of a message

/// Builds a Value. False from an event ends the reading.
class Builder : public nlohmann::json_sax<Library> {
 public:
  [[nodiscard]] Value Take() { return std::move(root_); }
  [[nodiscard]] const std::string& Error() const { return error_; }

  bool null() override { return Put(nullptr); }
  bool boolean(bool truth) override { return Put(truth); }
  bool number_integer(number_integer_t number) override { return Put(static_cast<double>(number)); }
  bool number_unsigned(number_unsigned_t number) override { return Put(number); }
  bool number_float(number_float_t number, const string_t& /*text*/) override {
    return Put(number);
  }
  bool string(string_t& text) override { return Put(std::move(text)); }
  bool binary(binary_t& /*bytes*/) override { return false; }
  bool start_object(std::size_t /*members*/) override { return Open(Object()); }
  bool end_object() override { return Close(); }
  bool start_array(std::size_t /*items*/) override { return Open(List()); }
  bool end_array() override { return Close(); }
  bool key(string_t& name) override {
    const auto& object = *open_.back()->As<Object>();
    if (Find(object, name) != nullptr) {
      error_ = "two members are called \"" + name + "\"";
    } else if (object.size() == MOST_MEMBERS) {
      error_ = "an object of more than " + std::to_string(MOST_MEMBERS) + " members";
    }
    name_ = std::move(name);
    return error_.empty();
  }
  bool parse_error(std::size_t /*offset*/, const std::string& /*token*/,
                   const Library::exception& error) override {
    // After "[json.exception.parse_error.101] "; the text may hold all of a token.
    error_ = error.what();
    error_ = error_.substr(error_.find(' ') + 1, MOST_SHOWN);
    return false;
  }

 private:
  /// Where the next value goes.
  Value& Place() {
    if (open_.empty()) {
      return root_;
    }
    if (auto* const list = std::get_if<List>(&open_.back()->is)) {
      return list->emplace_back();
    }
    return std::get<Object>(open_.back()->is).emplace_back(Member{std::move(name_), {}}).value;
  }
  bool Put(Value value) {
    Place() = std::move(value);
    return Count();
  }
  bool Count() {
    if (++values_ > MOST_VALUES) {
      error_ = "more than " + std::to_string(MOST_VALUES) + " values";
    }
    return error_.empty();
  }
  bool Open(Value value) {
    if (open_.size() == MOST_LEVELS) {
      error_ = "more than " + std::to_string(MOST_LEVELS) + " levels of brackets";
      return false;
    }
    Value& place = Place();
    place = std::move(value);
    // A value that is open is the last of its parent: nothing moves it.
    open_.push_back(&place);
    return Count();
  }
  bool Close() {
    open_.pop_back();
    return true;
  }

  Value root_;
  std::vector<Value*> open_;
  std::string name_;
  std::string error_;
  std::size_t values_ = 0;
};

}  // namespace

Value ParseJson(std::string_view text) {
  // The library would take it for the end.
  const std::size_t zero = text.find('\0');
  if (zero != std::string_view::npos) {
    throw std::runtime_error("a zero byte after " + std::to_string(zero) + " bytes");
  }
  Builder builder;
  if (!Library::sax_parse(text, &builder)) {
    throw std::runtime_error(builder.Error());
  }
  return builder.Take();
}

bool IsJson(std::string_view text) { return Library::accept(text); }

}  // namespace standin
