// The main of every test program: a private, fresh settings and data home per run.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

int main(int argc, char **argv) {
  char pattern[] = "/tmp/lv-test-home-XXXXXX";
  const char *home = mkdtemp(pattern);
  if (!home) return 2;
  setenv("XDG_CONFIG_HOME", (std::string(home) + "/config").c_str(), 1);
  setenv("XDG_DATA_HOME", (std::string(home) + "/data").c_str(), 1);
  ::testing::InitGoogleTest(&argc, argv);
  const int status = RUN_ALL_TESTS();
  std::error_code ec;
  std::filesystem::remove_all(home, ec);
  return status;
}
