// Requests count in the order in which the server takes them.

#include "script/sequence.h"

#include <utility>

#include "core/hex.h"

namespace standin {
namespace {

constexpr std::uint32_t STATUS_FAILURE = 0x0bad0001;

}  // namespace

Sequence::Sequence(std::vector<Entry> entries) : entries_(std::move(entries)) {}

bool Sequence::NextIs(Reply::Type type) const {
  return failure_.empty() && next_ < entries_.size() && entries_[next_].Is(type);
}

Outcome Sequence::TakeNext() {
  const Entry& entry = entries_[next_++];
  return {entry.reply, entry.name};
}

Outcome Sequence::AtConnect() {
  return NextIs(Reply::Type::CLOSE_BEFORE_READING) ? TakeNext() : Outcome{};
}

Outcome Sequence::AtHeader(const Header& header) {
  if (!NextIs(Reply::Type::CLOSE_AFTER_HEADER)) {
    return {};
  }
  const Entry& entry = entries_[next_];
  const bool matches = entry.command == nullptr || entry.command->code == header.word;
  return matches ? TakeNext() : Outcome{};
}

std::vector<std::string> Sequence::Compare(const Request& request) const {
  if (next_ < entries_.size()) {
    return Differences(entries_[next_], request);
  }
  return {"nothing more expected, got " + CommandOf(request)};
}

Outcome Sequence::AtRequest(const Request& request) {
  if (!failure_.empty()) {
    return {FrameReply(STATUS_FAILURE, "the script was not followed before")};
  }
  std::vector<std::string> differences = Compare(request);
  if (differences.empty()) {
    const Entry& entry = entries_[next_++];
    return {ReplyOf(entry, request), entry.name};
  }
  failure_ = "request " + std::to_string(next_ + 1) + " is not the one that the script expects:\n";
  for (const std::string& line : differences) {
    failure_ += "  " + line + "\n";
  }
  failure_ += "the request was:\n" + HexDump(request.Bytes());
  return {.reply = FrameReply(STATUS_FAILURE, "not the request that the script expects"),
          .differences = std::move(differences)};
}

void Sequence::AtFailure(const std::string& what) {
  if (failure_.empty()) {
    failure_ = "request " + std::to_string(next_ + 1) + " did not arrive whole: " + what + "\n";
  }
}

std::string Sequence::Failure() const {
  if (failure_.empty() && next_ < entries_.size()) {
    return "request " + std::to_string(next_ + 1) + " of " + std::to_string(entries_.size()) +
           " never came: " + entries_[next_].CommandWord() + "\n";
  }
  return failure_;
}

std::string Sequence::Summary() const {
  return "the script was followed: " + std::to_string(next_) + " of " +
         std::to_string(entries_.size()) + " requests";
}

}  // namespace standin
