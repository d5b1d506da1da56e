// The four functions that the client takes from the support library
// `libqslibs.so`. The project carries an implementation of its own (qslibs.cc);
// configuring with -DTREL_QSLIBS=<shared library> links that library instead.
// The client relies on nothing beyond what is said here.

#ifndef TREL_SUPPORT_QSLIBS_H
#define TREL_SUPPORT_QSLIBS_H

#include <cstdint>

extern "C" {

/// Formats like printf(3) and writes the text to standard error. Ours writes
/// exactly the text: no prefix, no line end added. Cannot fail as far as the
/// caller is concerned. User text is passed as an argument, never as `format`.
[[gnu::format(printf, 1, 2)]] void Warning(const char* format, ...);

/// Formats like printf(3), reports the text on the diagnostic channel and ends
/// the process abnormally. Ours writes the text and one line end to standard
/// error, then calls abort(3).
[[noreturn]] [[gnu::format(printf, 1, 2)]] void Panic(const char* format, ...);

/// Copy of the terminated, non-null `text`, owned by the caller and released
/// with free(3). Never null: exhaustion panics.
[[nodiscard]] char* UtilSafeStrdup0(const char* text);

/// Printable text for any 32-bit status, those of the daemon included. The
/// caller neither frees nor changes it; it is good until the next call. No text
/// of ours contains ": ", which separates the fields of an error line.
[[nodiscard]] const char* QSR_ReturnStatusToString(std::uint32_t status);

}  // extern "C"

#endif  // TREL_SUPPORT_QSLIBS_H
