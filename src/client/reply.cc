// Reply handling: one function for the framed modes, one for the stream.

#include "client/reply.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "support/qslibs.h"
#include "transport/message.h"

namespace trel {
namespace {

/// Most bytes of a stream that are read at a time.
constexpr std::size_t STREAM_PIECE_SIZE = 1023;

ReturnStatus ReportFailedSend(ReturnStatus status) {
  Warning("Sending command failed: %s\n", QSR_ReturnStatusToString(status));
  return status;
}

/// The payload is not terminated, so `length` bounds what is read of it.
void ReportErrorReply(ReturnStatus status, const void* payload, std::uint32_t length) {
  const char* text = payload != nullptr ? static_cast<const char*>(payload) : "(null)";
  const int most = payload != nullptr && length < INT_MAX ? static_cast<int>(length) : INT_MAX;
  Warning("Error received: %s: %.*s\n", QSR_ReturnStatusToString(status), most, text);
}

ReturnStatus HandleFramedReply(int socket, ReplyMode mode) {
  std::uint32_t length = 0;
  void* payload = nullptr;
  const ReturnStatus status = ReceiveReply(socket, &length, &payload);
  if (status != STATUS_OK) {
    ReportErrorReply(status, payload, length);
    std::free(payload);
    return status;
  }
  if (mode == ReplyMode::REPLY_PRINT) {
    // Kept on purpose: one write past standard output's buffer, whatever its
    // count; the line end goes through the buffer.
    if (write(STDOUT_FILENO, payload, length) < 0) {
      return StatusFromErrno(errno);
    }
    std::putchar('\n');
  }
  return STATUS_OK;
}

ReturnStatus HandleStream(int socket, const char* outputPath) {
  std::FILE* output = stdout;
  if (outputPath != nullptr) {
    output = std::fopen(outputPath, "w");
    if (output == nullptr) {
      return StatusFromErrno(errno);
    }
  }

  std::array<char, STREAM_PIECE_SIZE> piece;
  for (;;) {
    const ssize_t count = read(socket, piece.data(), piece.size());
    if (count < 0) {
      // The end of the process closes the output file.
      return StatusFromErrno(errno);  // NOLINT(clang-analyzer-unix.Stream)
    }
    if (count == 0) {
      return STATUS_OK;
    }
    // Kept on purpose: what follows a zero byte in a piece is dropped.
    const std::size_t printed = strnlen(piece.data(), static_cast<std::size_t>(count));
    fwrite_unlocked(piece.data(), 1, printed, output);  // one thread: no lock
  }
}

}  // namespace

ReturnStatus HandleReply(int socket, const CommandSpec& command, const ClientOptions& options,
                         ReturnStatus sendStatus) {
  const ReplyMode mode = ReplyModeOf(command, options);
  switch (mode) {
    case ReplyMode::REPLY_NONE:
      return sendStatus;
    case ReplyMode::REPLY_STREAM:
      if (sendStatus == STATUS_OK) {
        return HandleStream(socket, options.outputPath);
      }
      // Kept on purpose: of all commands with a reply, stats alone fails silently.
      return command.code == CODE_STATS ? sendStatus : ReportFailedSend(sendStatus);
    case ReplyMode::REPLY_PRINT:
    case ReplyMode::REPLY_SILENT:
      return sendStatus == STATUS_OK ? HandleFramedReply(socket, mode)
                                     : ReportFailedSend(sendStatus);
  }
  __builtin_unreachable();
}

}  // namespace trel
