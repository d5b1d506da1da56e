// What of the payload's functions no command line shows.

#include "client/payload.h"

#include <gtest/gtest.h>

#include "tests/support/bytes.h"
#include "tests/unit/fake_run.h"

namespace trel {
namespace {

using tests::FromHex;
using tests::SameBytes;
using tests::Zeros;

TEST(FormatUuidText, WritesLowerCaseDigitsInStorageOrderAndATerminator) {
  const std::string bytes = FromHex("0123456789abcdef fedcba9876543210");
  Uuid uuid;
  std::copy(bytes.begin(), bytes.end(), uuid.begin());
  UuidTextBuffer text;
  text.fill('#');
  FormatUuidText(uuid, text);
  EXPECT_TRUE(SameBytes("01234567-89ab-cdef-fedc-ba9876543210" + Zeros(1),
                        std::string_view(text.data(), text.size())));
}

TEST(CountUuidListEntries, GoesByTheLengthAlone) {
  EXPECT_EQ(CountUuidListEntries(""), 0U);
  EXPECT_EQ(CountUuidListEntries(std::string(35, ',').c_str()), 0U);
  EXPECT_EQ(CountUuidListEntries(std::string(36, 'x').c_str()), 1U);
  EXPECT_EQ(CountUuidListEntries(std::string(72, 'x').c_str()), 1U);
  EXPECT_EQ(CountUuidListEntries(std::string(73, 'x').c_str()), 2U);
}

/// What the daemon is sent when `send` is called in the fake system.
template <typename Function>
std::string Sent(Function send) {
  fake::ResetSystem();
  (void)fake::Contain([&] { EXPECT_EQ(send(), STATUS_OK); });
  return fake::TheSystem().sent;
}

TEST(CallbackBlock, ReadsNothingFromTheEndOn) {
  std::string update = "update";
  char* words[] = {update.data(), update.data(), nullptr};
  const std::string sent =
      Sent([&] { return SendCallbackBlockRequest(2, words, 2, fake::DAEMON_SOCKET, Uuid{}); });
  EXPECT_EQ(sent.substr(8, 4), "0:0:");
}

TEST(RebalanceParams, WithoutWordsTakeNoNumberFromTheProgramsName) {
  std::string name = "7";
  char* nameAlone[] = {name.data(), nullptr};
  ClientOptions options;
  const std::string sent = Sent([&] {
    return SendRebalanceParams({fake::DAEMON_SOCKET, 10, options, 1, nameAlone});
  });
  EXPECT_TRUE(SameBytes(tests::InMemory(std::uint64_t{86400}), sent.substr(8, 8)));
}

}  // namespace
}  // namespace trel
