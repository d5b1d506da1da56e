// Thousands of exchanges with each example script, by clients that hang up early among
// others: memory and descriptors are level after them.

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>

#include "core/frame.h"
#include "tests/support/client.h"
#include "tests/support/running_standin.h"
#include "tests/support/stream.h"

namespace tests {
namespace {

/// The example scripts, one with every fault, and none.
std::vector<Json> Scripts() {
  std::vector<Json> scripts = {Json{{"rules", Json::array()}}, Json::parse(R"({"rules": [
        {"command": "stats", "reply": {"stream": [{"text": "a"}, {"pause": 1, "text": "b"}]}},
        {"command": "crawler", "reply": {"close": "after-header"}},
        {"command": "fix-concats", "reply": {"close": "after-request"}},
        {"command": "log-level", "reply": {"text": "bytewise", "bytewise": true}},
        {"command": "what-if-upgrade", "reply": {"text": "text", "length": 9, "cutPayload": 2}},
        {"times": 1000, "reply": {"close": "before-reading"}},
        {"reply": {"status": 5, "text": "refused", "cutHeader": 6}}]})")};
  for (const auto& entry : std::filesystem::recursive_directory_iterator(
           std::filesystem::path(TREL_SOURCE_DIR) / "standin/examples")) {
    if (entry.path().extension() == ".json") {
      scripts.push_back(Json::parse(ReadFile(entry.path())));
    }
  }
  return scripts;
}

struct Held {
  long memoryKib = 0;
  long descriptors = 0;
};

Held HeldBy(pid_t process) {
  const std::string folder = "/proc/" + std::to_string(process);
  Held held;
  std::ifstream status(folder + "/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmRSS:")) {
      held.memoryKib = std::stol(line.substr(6));
    }
  }
  const std::filesystem::directory_iterator entries(folder + "/fd");
  held.descriptors = std::distance(begin(entries), end(entries));
  return held;
}

/// Sends requests of all commands, every fifth cut off. Returns once the stand-in is done
/// with all of them.
void Ask(const RunningStandin& standin, int exchanges, std::mt19937& random) {
  for (int exchange = 0; exchange < exchanges; ++exchange) {
    std::string request = standin::EncodeFrame(static_cast<std::uint32_t>(random() % 39),
                                               std::string(random() % 5000, '0'));
    const bool cut = random() % 5 == 0;
    request.resize(cut ? random() % request.size() : request.size());
    const standin::Descriptor client = ConnectTo(standin.Socket());
    WriteAll(client.Get(), request);
    if (!cut) {
      shutdown(client.Get(), SHUT_WR);
      (void)ReadExactly(client.Get(), 1 << 20);
    }
  }
  (void)standin.Exchange("");
}

void Soak(int exchanges) {
  // A sanitizer keeps freed memory for a while before it uses it again: 256 MiB of it,
  // were it not told otherwise.
  setenv("ASAN_OPTIONS", "quarantine_size_mb=16", 1);
  const long allowanceKib = ClientIsSanitized() ? 65536 : 1024;
  const std::vector<Json> scripts = Scripts();
  EXPECT_GT(scripts.size(), 2U);
  std::mt19937 random(20261121);
  for (const Json& script : scripts) {
    SCOPED_TRACE(script.dump());
    RunningStandin standin(script, {"--log", "/dev/null"});
    ASSERT_EQ(standin.FirstLine(), "ready on " + standin.Socket());
    const int each = exchanges / static_cast<int>(scripts.size());
    Ask(standin, each / 5, random);
    const Held early = HeldBy(standin.Process());
    Ask(standin, each - each / 5, random);
    const Held late = HeldBy(standin.Process());
    EXPECT_GT(early.memoryKib, 0);
    EXPECT_LT(late.memoryKib, early.memoryKib + allowanceKib);
    EXPECT_EQ(late.descriptors, early.descriptors);
    const StandinResult result = standin.Stop();
    EXPECT_THAT(result.exitValue, testing::AnyOf(0, 3)) << result.err;
  }
}

TEST(Soak, MemoryAndDescriptorsStayLevel) { Soak(5000); }

TEST(Soak, MemoryAndDescriptorsStayLevelOver100000ExchangesSlow) { Soak(100000); }

}  // namespace
}  // namespace tests
