// Looks for each name that is needed where it may be set.

#include "script/names.h"

#include <algorithm>

namespace standin {
namespace {

/// Each is compared with all others.
constexpr std::size_t MOST_ENTRIES = 10000;

bool DoesCapture(const Entry& entry, const std::string& name) {
  return std::any_of(entry.fields.begin(), entry.fields.end(),
                     [&](const FieldMatcher& field) { return field.matcher.capture == name; });
}

/// Whether another entry captures `name` that may come before `entry`, of group `group` in
/// `own`. Other sequences may be ahead as far as they like.
bool CanBeCaptured(const std::string& name, const std::vector<Sequence>& sequences,
                   const Sequence& own, std::size_t group, const Entry& entry) {
  for (const Sequence& sequence : sequences) {
    const std::size_t end = &sequence == &own ? group + 1 : sequence.groups.size();
    for (std::size_t index = 0; index < end; ++index) {
      for (const Entry& other : sequence.groups[index]) {
        if (&other != &entry && DoesCapture(other, name)) {
          return true;
        }
      }
    }
  }
  return false;
}

bool IsSet(const std::string& state, const std::vector<Sequence>& sequences) {
  return std::any_of(sequences.begin(), sequences.end(), [&](const Sequence& sequence) {
    return std::any_of(sequence.groups.begin(), sequence.groups.end(), [&](const Group& group) {
      return std::any_of(group.begin(), group.end(),
                         [&](const Entry& entry) { return entry.then == state; });
    });
  });
}

}  // namespace

void CheckNames(const JsonReader& script, const std::vector<Sequence>& sequences,
                const std::string& first) {
  std::size_t entries = 0;
  for (const Sequence& sequence : sequences) {
    for (const Group& group : sequence.groups) {
      entries += group.size();
    }
  }
  if (entries > MOST_ENTRIES) {
    script.Refuse("has more than " + std::to_string(MOST_ENTRIES) + " entries");
  }
  for (const Sequence& sequence : sequences) {
    for (std::size_t group = 0; group < sequence.groups.size(); ++group) {
      for (const Entry& entry : sequence.groups[group]) {
        if (!entry.when.empty() && entry.when != first && !IsSet(entry.when, sequences)) {
          script.Refuse(entry.name + " can never match: nothing sets the state " + entry.when);
        }
        for (const auto& [name, matcher] : entry.fields) {
          if (!matcher.captured.empty() &&
              !CanBeCaptured(matcher.captured, sequences, sequence, group, entry)) {
            script.Refuse(entry.name + " can never match: no entry before it captures " +
                          matcher.captured);
          }
        }
      }
    }
  }
}

}  // namespace standin
