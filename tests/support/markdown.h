// The fenced code blocks of a Markdown page, so that tests can try its examples.

#ifndef TESTS_SUPPORT_MARKDOWN_H
#define TESTS_SUPPORT_MARKDOWN_H

#include <sstream>
#include <string>
#include <vector>

namespace tests {

/// The text of each block that begins with ``` and `language`, in the page's order.
[[nodiscard]] inline std::vector<std::string> CodeBlocks(const std::string& page,
                                                         const std::string& language) {
  std::vector<std::string> blocks;
  bool inside = false;
  std::istringstream lines(page);
  for (std::string line; std::getline(lines, line);) {
    if (inside && line == "```") {
      inside = false;
    } else if (inside) {
      blocks.back() += line + "\n";
    } else if (line == "```" + language) {
      inside = true;
      blocks.emplace_back();
    }
  }
  return blocks;
}

}  // namespace tests

#endif  // TESTS_SUPPORT_MARKDOWN_H
