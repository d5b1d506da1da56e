// Where the fields of each payload shape stand. The decoder walks these tables, and
// the script reader takes from them which fields a command has and of what kind.

#ifndef STANDIN_PROTOCOL_LAYOUT_H
#define STANDIN_PROTOCOL_LAYOUT_H

#include <cstddef>
#include <span>
#include <string_view>

#include "protocol/commands.h"

namespace standin {

/// How the bytes of a field are read. Numbers are little-endian.
enum class FieldType {
  UUID_BYTES,  ///< 16 bytes, shown as a UUID text
  UUID_CHARS,  ///< 36 characters, no terminator
  U8,
  U32,
  U64,
  F64,
  CHARS_TO_END,    ///< no terminator
  TEXT_TO_END,     ///< the payload's last byte is the terminator
  LIST_TO_END,     ///< the same, a UUID list
  LIST_AREA,       ///< a UUID list and zeros to the end of its width
  DIGITS,          ///< decimal digits and a terminator
  WORK_ITEM_NAME,  ///< the name of the work item whose digits stand there
  EVENT_PART,      ///< the number before the first colon of the text
  EVENT_NAME,
  ENTRY_PART,  ///< the number before the second colon
  ENTRY_NAME,
  UUID_PART,  ///< what follows the second colon
  RESERVED,   ///< shown as hexadecimal digits, and only if not zero
};

/// What a field is in JSON.
enum class ValueKind { TEXT, NATURAL, NUMBER, LIST };

struct FieldLayout {
  std::string_view name;
  FieldType type;
  std::size_t offset;
  std::size_t width;  ///< 0: to the end of the payload
};

struct PayloadLayout {
  std::span<const FieldLayout> fields;
  std::size_t leastSize;
  std::size_t mostSize;
};

inline constexpr std::size_t UUID_CHARS_SIZE = 36;
inline constexpr std::size_t LIST_AREA_SIZE = 94720;

[[nodiscard]] const PayloadLayout& LayoutOf(PayloadShape shape);

[[nodiscard]] ValueKind KindOf(FieldType type);

/// Name of a number, empty if it has none.
[[nodiscard]] std::string_view WorkItemName(unsigned long number);
[[nodiscard]] std::string_view EventName(unsigned long number);
[[nodiscard]] std::string_view EntryName(unsigned long number);

}  // namespace standin

#endif  // STANDIN_PROTOCOL_LAYOUT_H
