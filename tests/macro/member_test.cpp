// Member scripts fetched from a file:// member folder, kept as a ".lvs" cache and used from there afterwards.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "core/vemo.h"
#include "macrotest.h"
#include "support/wavfile.h"

using macrotest::RunText;

namespace {

TEST(MacroMemberScripts, FetchedOnceThenTakenFromTheCache) {
  UIItem root;
  fixtures::temp_dir config, app, members;
  const char *old = std::getenv("XDG_CONFIG_HOME");
  const std::string oldconfig = old ? old : "";
  setenv("XDG_CONFIG_HOME", config.path().c_str(), 1);
  const std::string oldapp = vemo::AppDir();
  vemo::SetAppDir((app.path() + "/").c_str());

  macrotest::WriteText(members.file("double.lvm"), "<lvs>\n x = arg1 ; x *= 2 ; return x");
  macrotest::WriteText(members.file("plain.lvm"), "<lvm> return not-a-member-script");
  ASSERT_TRUE(vemo::SetDatasetValue("Internet", "MemberScripts", ("file://" + members.path()).c_str()));
  EXPECT_EQ(RunText(&root, "r = call double.lvm 21 ; return r").value, "42.000000");
  EXPECT_EQ(fixtures::ReadFileText(app.file("double.lvs")), "<lvs>\n x = arg1 ; x *= 2 ; return x");
  // Not found, or no member script: a failure that leaves nothing behind.
  macrotest::ExpectFailure(&root, "call absent.lvm", "Unable to load macro file \"absent.lvm\".");
  EXPECT_FALSE(RunText(&root, "call plain.lvm").ok);
  for (const char *left : {"absent.lvm", "absent.lvs", "plain.lvm", "plain.lvs"})
    EXPECT_FALSE(std::filesystem::exists(app.file(left))) << left;

  // With the member folder gone the cache serves.
  std::remove(members.file("double.lvm").c_str());
  std::remove(app.file("double.lvm").c_str());
  EXPECT_EQ(RunText(&root, "r = call double.lvm 4 ; return r").value, "8.000000");

  vemo::SetAppDir(oldapp.c_str());
  if (old)
    setenv("XDG_CONFIG_HOME", oldconfig.c_str(), 1);
  else
    unsetenv("XDG_CONFIG_HOME");
}

}  // namespace
