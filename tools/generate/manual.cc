// mdoc text from the tables.

#include "manual.h"

#include <cstdint>
#include <sstream>

#include "facts.h"
#include "texts.h"

namespace generate {
namespace {

/// A list of values with what each means.
void PrintList(std::ostream& out, std::span<const Meaning> values) {
  if (values.empty()) {
    return;
  }
  out << ".Bl -tag -width Ds -compact -offset indent\n";
  for (const Meaning& value : values) {
    out << ".It Cm " << value.value << '\n' << value.text << '\n';
  }
  out << ".El\n";
}

void PrintWorkItems(std::ostream& out) {
  out << ".Bl -column -compact -offset indent PROACTIVE_REBALANCE 99\n";
  for (const trel::WorkItemName& row : trel::WORK_ITEM_NAMES) {
    out << ".It Cm " << row.name << " Ta " << static_cast<std::uint32_t>(row.type) << '\n';
  }
  out << ".El\n";
}

/// The commands on which the option has an effect.
void PrintReaders(std::ostream& out, char letter) {
  std::string readers;
  for (const CommandText& text : COMMAND_TEXTS) {
    if (text.options.find(letter) != std::string_view::npos) {
      readers += readers.empty() ? "" : " ,\n";
      readers += std::string(".Ic ") + trel::COMMAND_TABLE[text.code - 1].word;
    }
  }
  if (!readers.empty()) {
    out << "Read by\n" << readers << " .\n";
  }
}

std::string Duration(std::uint32_t seconds) {
  if (seconds >= 3600) {
    return std::to_string(seconds / 3600) + " hours";
  }
  return seconds >= 60 ? std::to_string(seconds / 60) + " minutes"
                       : std::to_string(seconds) + " seconds";
}

void PrintReply(std::ostream& out, const trel::CommandSpec& row) {
  const std::string wait = Duration(row.receiveTimeoutSeconds);
  switch (row.replyMode) {
    case trel::ReplyMode::REPLY_STREAM:
      out << "The reply is streamed;\nthe next piece of it is waited for up to " << wait << ".\n";
      return;
    case trel::ReplyMode::REPLY_PRINT:
      out << "The reply is waited for up to " << wait << " and printed";
      if (row.code == trel::CODE_GET_OBJ_CRAWLER_STATE) {
        out << ";\nwith\n.Fl a\nit is streamed instead";
      }
      out << ".\n";
      return;
    case trel::ReplyMode::REPLY_SILENT:
      out << "The reply is waited for up to " << wait
          << ";\nnothing is printed unless it tells of an error.\n";
      return;
    case trel::ReplyMode::REPLY_NONE:
      out << "No reply is waited for.\n";
      return;
  }
}

void PrintWords(std::ostream& out, const CommandText& text) {
  for (const WordText& word : text.words) {
    out << ".Bl -tag -width Ds -compact -offset indent\n.It Ar " << word.name << '\n'
        << word.summary;
    if (!word.unset.empty()) {
      out << "; " << word.unset << " without it";
    }
    out << "\n.El\n";
  }
}

}  // namespace

std::string ManualOptions() {
  std::ostringstream out;
  for (std::size_t row = 0; row < trel::OPTION_COUNT; ++row) {
    const OptionText& text = OPTION_TEXTS[row];
    const std::string argument = text.argument.empty() ? "" : " Ar " + std::string(text.argument);
    const std::string joined =
        text.argument.empty() ? "" : " Ns = Ns Ar " + std::string(text.argument);
    out << ".It Fl " << text.letter << argument << " , Fl Fl " << trel::LONG_OPTIONS[row].name
        << joined << '\n'
        << text.manual << '\n';
    PrintReaders(out, text.letter);
    PrintList(out, text.values);
    if (text.kind == ValueKind::NAME) {
      PrintWorkItems(out);
    }
  }
  return out.str();
}

std::string ManualCommands(bool listed) {
  std::ostringstream out;
  for (const trel::CommandSpec& row : trel::COMMAND_TABLE) {
    if ((row.helpDescription != nullptr) != listed) {
      continue;
    }
    const CommandText& text = COMMAND_TEXTS[row.code - 1];
    out << ".It Ic " << row.word << (text.synopsis.empty() ? "" : " ") << text.synopsis << '\n'
        << text.manual << '\n';
    PrintWords(out, text);
    PrintReply(out, row);
  }
  return out.str();
}

}  // namespace generate
