// What a reply must lead to, by the contract and apart from the client.

#ifndef FUZZ_REPLY_MODEL_H
#define FUZZ_REPLY_MODEL_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "contract/contract.h"
#include "tests/fake/system.h"

namespace fuzz {

/// Where the client's output goes: standard output, a file given with -o, a file
/// that cannot be made, or a standard output that takes no bytes.
enum class Output { STANDARD, FILE, NO_SUCH_FOLDER, REFUSED };

struct Scene {
  const contract::Command* command = nullptr;
  bool all = false;
  Output output = Output::STANDARD;
  std::uint32_t sendStatus = 0;
  fake::HangUp ending = fake::HangUp::PLAIN;
  std::size_t packetSize = 0;  ///< 0: a stream without bounds in it
  std::string bytes;
};

struct Expectation {
  std::uint32_t status = 0;
  std::string out;
  bool opensFile = false;
  std::string file;
  std::string err;
  bool payloadKept = false;  ///< a successful reply's payload is not released
  bool panics = false;
};

[[nodiscard]] Expectation Expect(const Scene& scene);

}  // namespace fuzz

#endif  // FUZZ_REPLY_MODEL_H
