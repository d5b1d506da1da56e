// The tables of fields and of names. Columns: name, type, offset, width in bytes.

#include "protocol/layout.h"

#include <array>
#include <limits>
#include <stdexcept>

namespace standin {
namespace {

using enum FieldType;

constexpr std::size_t ANY_SIZE = std::numeric_limits<std::size_t>::max();

constexpr FieldLayout UUID_TEXT_FIELDS[] = {{"uuid", UUID_CHARS, 0, 36}};
constexpr FieldLayout JSON_FIELDS[] = {{"json", TEXT_TO_END, 0, 0}};
constexpr FieldLayout LEVEL_FIELDS[] = {{"level", CHARS_TO_END, 0, 0}};
constexpr FieldLayout REBALANCE_FIELDS[] = {
    {"timeSpan", U64, 0, 8},
    {"varianceThreshold", F64, 8, 8},
    {"timeThreshold", U64, 16, 8},
    {"rateThreshold", U64, 24, 8},
};
constexpr FieldLayout DECOM_FIELDS[] = {
    {"uuid", UUID_BYTES, 0, 16},
    {"decomMode", U32, 16, 4},
    {"ensureDurability", U8, 20, 1},
    {"reserved", RESERVED, 21, 3},
};
constexpr FieldLayout UPGRADE_FIELDS[] = {
    {"uuid", UUID_BYTES, 0, 16},      {"decomMode", U32, 16, 4},     {"reason", U32, 20, 4},
    {"wipeDisk", U8, 24, 1},          {"reserved", RESERVED, 25, 3}, {"uuidCount", U32, 28, 4},
    {"uuidList", LIST_TO_END, 32, 0},
};
constexpr FieldLayout RECONFIGURE_FIELDS[] = {
    {"uuid", UUID_BYTES, 0, 16},
    {"filePath", TEXT_TO_END, 16, 0},
};
constexpr FieldLayout PATH_FIELDS[] = {{"filePath", TEXT_TO_END, 0, 0}};
constexpr FieldLayout RECOVERY_FIELDS[] = {
    {"uuid", UUID_CHARS, 0, 36},
    {"recoveryMode", DIGITS, 36, 5},
};
constexpr FieldLayout CRAWLER_FIELDS[] = {
    {"uuid", UUID_CHARS, 0, 36},
    {"all", DIGITS, 36, 5},
};
constexpr FieldLayout WORK_ITEM_FIELDS[] = {
    {"workItem", DIGITS, 0, 4},
    {"workItemName", WORK_ITEM_NAME, 0, 4},
};
constexpr FieldLayout CALLBACK_FIELDS[] = {
    {"eventType", EVENT_PART, 0, 1024}, {"eventName", EVENT_NAME, 0, 1024},
    {"entryType", ENTRY_PART, 0, 1024}, {"entryName", ENTRY_NAME, 0, 1024},
    {"uuid", UUID_PART, 0, 1024},
};
constexpr FieldLayout MOVE_FIELDS[] = {
    {"uuid", UUID_BYTES, 0, 16},
    {"destinationCount", U32, 16, 4},
    {"exclusionCount", U32, 20, 4},
    {"destinationList", LIST_AREA, 24, LIST_AREA_SIZE},
    {"exclusionList", LIST_AREA, 94744, LIST_AREA_SIZE},
};
constexpr FieldLayout EXCLUSION_FIELDS[] = {
    {"exclusionMode", U32, 0, 4},
    {"exclusionCount", U32, 4, 4},
    {"exclusionList", LIST_AREA, 8, LIST_AREA_SIZE},
};

}  // namespace

const PayloadLayout& LayoutOf(PayloadShape shape) {
  // In the order of PayloadShape.
  static constexpr std::array<PayloadLayout, 15> LAYOUTS = {{
      {{}, 0, 0},
      {UUID_TEXT_FIELDS, 36, 36},
      {JSON_FIELDS, 1, ANY_SIZE},
      {LEVEL_FIELDS, 0, ANY_SIZE},
      {REBALANCE_FIELDS, 32, 32},
      {DECOM_FIELDS, 24, 24},
      {UPGRADE_FIELDS, 33, 94752},
      {RECONFIGURE_FIELDS, 17, 4113},
      {PATH_FIELDS, 1, 4097},
      {RECOVERY_FIELDS, 41, 41},
      {CRAWLER_FIELDS, 41, 41},
      {WORK_ITEM_FIELDS, 4, 4},
      {CALLBACK_FIELDS, 1024, 1024},
      {MOVE_FIELDS, 189464, 189464},
      {EXCLUSION_FIELDS, 94728, 94728},
  }};
  return LAYOUTS.at(static_cast<std::size_t>(shape));
}

ValueKind KindOf(FieldType type) {
  switch (type) {
    case U8:
    case U32:
    case U64:
    case DIGITS:
    case EVENT_PART:
    case ENTRY_PART:
      return ValueKind::NATURAL;
    case F64:
      return ValueKind::NUMBER;
    case LIST_TO_END:
    case LIST_AREA:
      return ValueKind::LIST;
    case UUID_BYTES:
    case UUID_CHARS:
    case CHARS_TO_END:
    case TEXT_TO_END:
    case WORK_ITEM_NAME:
    case EVENT_NAME:
    case ENTRY_NAME:
    case UUID_PART:
    case RESERVED:
      return ValueKind::TEXT;
  }
  throw std::logic_error("a field type without a kind");
}

std::string_view WorkItemName(unsigned long number) {
  // The number 4 is not used.
  static constexpr std::array<std::string_view, 24> NAMES = {
      "",
      "PLACEMENT",
      "DECOM_CLEANUP",
      "CLEANUP",
      "",
      "VOTES_REBALANCE",
      "FIX_FD_IDS",
      "MOVE",
      "REACTIVE_REBALANCE",
      "DECOM",
      "FORCE_REPAIR",
      "FORCE_RECONFIGURE",
      "RECOVERY",
      "REPAIR",
      "CHANGE",
      "CHANGE_PENDING",
      "COMPLIANCE",
      "CONCAT",
      "PROACTIVE_REBALANCE",
      "DELTA_DECOM",
      "FORMAT_CHANGE",
      "UNPLANNED_DELTA",
      "MANUAL_MOVE",
      "CONCAT_IN_MIDDLE",
  };
  return number < NAMES.size() ? NAMES[number] : "";
}

std::string_view EventName(unsigned long number) {
  static constexpr std::array<std::string_view, 4> NAMES = {"", "update", "add", "delete"};
  return number < NAMES.size() ? NAMES[number] : "";
}

std::string_view EntryName(unsigned long number) {
  // Objects have the number 2; nothing has the number 1.
  static constexpr std::array<std::string_view, 5> NAMES = {"", "", "object", "disk", "node"};
  return number < NAMES.size() ? NAMES[number] : "";
}

}  // namespace standin
