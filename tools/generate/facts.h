// What follows from a row of the command table: the sizes of its request and the
// catalogue's words for its check and its reply mode; likewise for an option's value.

#ifndef TOOLS_GENERATE_FACTS_H
#define TOOLS_GENERATE_FACTS_H

#include <cstddef>
#include <optional>
#include <string_view>

#include "client/command_table.h"
#include "texts.h"

namespace generate {

/// Bytes of a request's payload. Without `most` it is bounded by the longest
/// argument that the system passes to a program.
struct PayloadSize {
  std::size_t least;
  std::optional<std::size_t> most;
};

/// The sizes that an accepted command line can lead to.
[[nodiscard]] PayloadSize SizeOf(trel::PayloadKind kind);

/// A name for the catalogue and what it stands for.
struct NamedFact {
  std::string_view name;
  std::string_view text;
};

[[nodiscard]] NamedFact FactOf(trel::ArgumentCheck check);
[[nodiscard]] NamedFact FactOf(trel::ReplyMode mode);

/// The catalogue's and the completions' name for what stands behind an option.
[[nodiscard]] std::string_view NameOf(ValueKind kind);

}  // namespace generate

#endif  // TOOLS_GENERATE_FACTS_H
