// trel-generate <templates> <folder>: writes the catalogue, the manual and the
// completions, made from the client's own tables, into the folder.

#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>

#include "catalogue.h"
#include "completions.h"
#include "manual.h"

namespace {

namespace fs = std::filesystem;

/// What stands in a template as a line @NAME@, by name.
using Sections = std::map<std::string, std::string>;

void Write(const fs::path& path, const std::string& text) {
  fs::create_directories(path.parent_path());
  std::ofstream file(path, std::ios::binary);
  file << text << std::flush;
  if (!file) {
    throw std::runtime_error("cannot write " + path.string());
  }
}

/// The template with each line @NAME@ replaced by that section, none left out.
std::string Fill(const fs::path& path, Sections sections) {
  std::ifstream file(path);
  if (!file) {
    throw std::runtime_error("cannot read " + path.string());
  }
  std::string text;
  for (std::string line; std::getline(file, line);) {
    if (line.size() > 2 && line.front() == '@' && line.back() == '@') {
      const auto section = sections.extract(line.substr(1, line.size() - 2));
      if (section.empty()) {
        throw std::runtime_error(path.string() + ": there is no section " + line);
      }
      text += section.mapped();
    } else {
      text += line + '\n';
    }
  }
  if (!sections.empty()) {
    throw std::runtime_error(path.string() + " lacks the section " + sections.begin()->first);
  }
  return text;
}

void Generate(const fs::path& templates, const fs::path& folder) {
  Write(folder / "generated/commands.json", generate::Catalogue());
  Write(folder / "generated/trel-tool.8",
        Fill(templates / "trel-tool.8.in", {{"OPTIONS", generate::ManualOptions()},
                                            {"COMMANDS", generate::ManualCommands(true)},
                                            {"UNLISTED", generate::ManualCommands(false)}}));
  Write(folder / "generated/completions/trel-tool.bash",
        Fill(templates / "trel-tool.bash.in", generate::BashSections()));
  Write(folder / "generated/completions/_trel-tool",
        Fill(templates / "_trel-tool.in", generate::ZshSections()));
  Write(folder / "generated/completions/trel-tool.fish",
        Fill(templates / "trel-tool.fish.in", generate::FishSections()));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: trel-generate <templates> <folder>\n";
    return EXIT_FAILURE;
  }
  try {
    Generate(argv[1], argv[2]);
  } catch (const std::exception& error) {
    std::cerr << "trel-generate: " << error.what() << '\n';
    return EXIT_FAILURE;
  }
  return EXIT_SUCCESS;
}
