// The examples of docs/standin.md do what the page says.

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>

#include "tests/support/client.h"
#include "tests/support/markdown.h"
#include "tests/support/running_standin.h"

namespace tests {
namespace {

std::string FolderOf(const std::string& program) {
  return std::filesystem::path(program).parent_path();
}

TEST(Guide, EveryExampleThatRunsACommandSucceeds) {
  int examples = 0;
  for (std::string block : CodeBlocks(ReadFile(TREL_SOURCE_DIR "/docs/standin.md"), "sh")) {
    if (!block.starts_with("trel-standin ") || block.find(" -- ") == std::string::npos) {
      continue;
    }
    ++examples;
    const TempFolder folder;
    const std::string here = folder / "";
    for (std::size_t at = 0; (at = block.find("/tmp/", at)) != std::string::npos;
         at += here.size()) {
      block.replace(at, 5, here);
    }
    const std::string path =
        "PATH=" + FolderOf(StandinPath()) + ":" + FolderOf(ClientPath()) + ":$PATH; export PATH\n";
    const ProcessResult run = RunProcess({.arguments = {"/bin/sh", "-ec", path + block},
                                          .prepare = [] { (void)!chdir(TREL_SOURCE_DIR); }});
    EXPECT_EQ(run.exitValue, 0) << block << run.err;
  }
  EXPECT_GE(examples, 1);
}

}  // namespace
}  // namespace tests
