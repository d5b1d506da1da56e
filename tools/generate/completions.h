// What the templates of the three completions leave open. Each shell has its own
// idiom; the rows and their order are the same.

#ifndef TOOLS_GENERATE_COMPLETIONS_H
#define TOOLS_GENERATE_COMPLETIONS_H

#include <map>
#include <string>

namespace generate {

[[nodiscard]] std::map<std::string, std::string> BashSections();
[[nodiscard]] std::map<std::string, std::string> ZshSections();
[[nodiscard]] std::map<std::string, std::string> FishSections();

}  // namespace generate

#endif  // TOOLS_GENERATE_COMPLETIONS_H
