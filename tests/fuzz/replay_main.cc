// Runs a target once over each file of the named folders, without libFuzzer: for
// sanitizers that need all C++ code in the program to be compiled with them.

#include <dirent.h>

#include <cstdint>
#include <cstdio>
#include <string>

#include "tests/fuzz/input_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv) {
  int count = 0;
  for (int index = 1; index < argc; ++index) {
    const std::string folder = argv[index];
    DIR* entries = opendir(folder.c_str());
    if (entries == nullptr) {
      std::perror(argv[index]);
      return 1;
    }
    while (const dirent* entry = readdir(entries)) {
      if (entry->d_type == DT_REG) {
        const std::string input = fuzz::ReadFile(folder + "/" + entry->d_name);
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
        ++count;
      }
    }
    closedir(entries);
  }
  std::printf("%d inputs\n", count);
  return count > 0 ? 0 : 1;
}
