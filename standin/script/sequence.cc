// Requests count in the order in which the server takes them.

#include "script/sequence.h"

#include <utility>

#include "core/hex.h"

namespace standin {
namespace {

constexpr std::uint32_t STATUS_FAILURE = 0x0bad0001;

}  // namespace

Sequence::Sequence(std::vector<Entry> entries) : entries_(std::move(entries)) {}

bool Sequence::NextIs(Answer::Kind kind) const {
  return failure_.empty() && next_ < entries_.size() && entries_[next_].Is(kind);
}

std::optional<Answer> Sequence::AtConnect() {
  const std::lock_guard lock(mutex_);
  return NextIs(Answer::Kind::CLOSE_BEFORE_READING) ? entries_[next_++].answer : std::nullopt;
}

std::optional<Answer> Sequence::AtHeader(const Header& header) {
  const std::lock_guard lock(mutex_);
  if (!NextIs(Answer::Kind::CLOSE_AFTER_HEADER)) {
    return std::nullopt;
  }
  const Entry& entry = entries_[next_];
  const bool meant = entry.command == nullptr || entry.command->code == header.word;
  return meant ? entries_[next_++].answer : std::nullopt;
}

std::vector<std::string> Sequence::Compare(const Request& request) const {
  if (next_ < entries_.size()) {
    return Differences(entries_[next_], request);
  }
  const std::string_view word = request.command != nullptr ? request.command->word : "no command";
  return {"nothing more expected, got " + std::string(word) + " (code " +
          std::to_string(request.header.word) + ")"};
}

Verdict Sequence::AtRequest(const Request& request) {
  const std::lock_guard lock(mutex_);
  if (!failure_.empty()) {
    return {FrameAnswer(STATUS_FAILURE, "the script was not followed before"), {}};
  }
  std::vector<std::string> differences = Compare(request);
  if (differences.empty()) {
    return {AnswerOf(entries_[next_++], request), {}};
  }
  failure_ = "request " + std::to_string(next_ + 1) + " is not the one that the script expects:\n";
  for (const std::string& line : differences) {
    failure_ += "  " + line + "\n";
  }
  failure_ += "the request was:\n" + HexDump(request.Bytes());
  return {FrameAnswer(STATUS_FAILURE, "not the request that the script expects"),
          std::move(differences)};
}

void Sequence::AtFailure(const std::string& what) {
  const std::lock_guard lock(mutex_);
  if (failure_.empty()) {
    failure_ = "request " + std::to_string(next_ + 1) + " did not arrive whole: " + what + "\n";
  }
}

bool Sequence::HasFailed() const {
  const std::lock_guard lock(mutex_);
  return !failure_.empty();
}

std::string Sequence::Failure() const {
  const std::lock_guard lock(mutex_);
  if (failure_.empty() && next_ < entries_.size()) {
    return "request " + std::to_string(next_ + 1) + " of " + std::to_string(entries_.size()) +
           " never came: " + std::string(entries_[next_].CommandWord()) + "\n";
  }
  return failure_;
}

std::string Sequence::Summary() const {
  const std::lock_guard lock(mutex_);
  return "the script was followed: " + std::to_string(next_) + " of " +
         std::to_string(entries_.size()) + " requests";
}

}  // namespace standin
