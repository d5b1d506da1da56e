// Every example of the contract through the real binary: what it sends, the time-out it has set,
// what it makes of a plain success.

#include "contract/contract.h"

#include <gtest/gtest.h>

#include <cctype>
#include <ostream>
#include <string>
#include <vector>

#include "core/frame.h"
#include "support/bytes.h"
#include "support/client.h"
#include "support/peer_socket.h"

namespace tests {
namespace {

using contract::ReplyMode;
using standin::Call;
using standin::ReadRequest;
using standin::SendBytes;
using standin::Step;

struct Case {
  const contract::Command* command;
  const contract::Example* example;
};

void PrintTo(const Case& row, std::ostream* out) { *out << row.example->name; }

std::vector<Case> Cases() {
  std::vector<Case> cases;
  for (const contract::Command& command : contract::Get().commands) {
    for (const contract::Example& example : command.examples) {
      cases.push_back({&command, &example});
    }
  }
  return cases;
}

/// The reply mode of this request: a single-digit field decides where a command has two.
ReplyMode ModeOf(const contract::Command& command, const std::string& request) {
  if (!command.with) {
    return command.reply.mode;
  }
  const std::size_t offset = command.payload->FieldNamed(command.with->field)->offset;
  return request.at(standin::HEADER_SIZE + offset) == '0' ? command.reply.mode
                                                          : command.with->reply.mode;
}

class ContractExample : public testing::TestWithParam<Case> {};

INSTANTIATE_TEST_SUITE_P(All, ContractExample, testing::ValuesIn(Cases()), [](const auto& row) {
  std::string name = row.param.example->name;
  for (char& character : name) {
    character = std::isalnum(static_cast<unsigned char>(character)) != 0 ? character : '_';
  }
  return name;
});

TEST_P(ContractExample, SendsItsBytesAndPrintsWhatItsModePrints) {
  const auto& [command, example] = GetParam();
  const std::string request = example->Request();
  const ReplyMode mode = ModeOf(*command, request);
  timeval timeout{};
  std::vector<Step> steps = {ReadRequest{}};
  if (mode != ReplyMode::NONE) {
    // A client that reads no reply is gone before anybody can look at its socket.
    steps.emplace_back(Call{[&](int fd) { timeout = ReceiveTimeoutOfPeer(fd); }});
    steps.emplace_back(
        SendBytes{mode == ReplyMode::STREAM ? "text" : standin::EncodeFrame(0, "text")});
  }
  const ClientResult run = RunClientAgainst({.words = example->args, .steps = steps});
  EXPECT_TRUE(SameBytes(request, run.request));
  EXPECT_EQ(timeout.tv_sec, mode != ReplyMode::NONE ? command->timeoutSeconds : 0);
  EXPECT_EQ(timeout.tv_usec, 0);
  EXPECT_EQ(run.out, mode == ReplyMode::PRINT ? "text\n" : mode == ReplyMode::STREAM ? "text" : "");
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.exitValue, 0);
}

}  // namespace
}  // namespace tests
