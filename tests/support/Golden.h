// Comparison of a long text with the one that was accepted before.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

namespace datacollector {

// Expects `text` to be that of the golden file `name` below `folder` of the checkout. With the environment
// variable DATACOLLECTOR_ACCEPT_GOLDEN the text is written to that directory instead, as the new golden file.
inline void ExpectGolden(const std::string& folder, const std::string& name, const std::string& text) {
  if (const char* accepted = std::getenv("DATACOLLECTOR_ACCEPT_GOLDEN")) {
    std::ofstream(std::string(accepted) + "/" + name, std::ios::binary) << text;
    return;
  }
  const std::string path = std::string(DATACOLLECTOR_SOURCE_DIR) + "/" + folder + "/" + name;
  std::ifstream file(path, std::ios::binary);
  ASSERT_TRUE(file.is_open()) << "no golden file " << path;
  const std::string golden{std::istreambuf_iterator<char>(file), {}};
  EXPECT_EQ(text, golden) << path << " differs; to accept the new text, set DATACOLLECTOR_ACCEPT_GOLDEN";
}

}  // namespace datacollector
