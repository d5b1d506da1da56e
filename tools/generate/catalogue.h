// commands.json: the commands, options, work items and exit values for other programs.

#ifndef TOOLS_GENERATE_CATALOGUE_H
#define TOOLS_GENERATE_CATALOGUE_H

#include <string>

namespace generate {

[[nodiscard]] std::string Catalogue();

}  // namespace generate

#endif  // TOOLS_GENERATE_CATALOGUE_H
