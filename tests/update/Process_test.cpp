#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "ProcessTestDir.h"
#include "runtime/cmErrors.h"
#include "runtime/cmException.h"
#include "update/cmProcess.h"
#include "update/cmProcessPath.h"

namespace {

std::string str(const cmString& s) { return s.isEmpty() ? std::string() : std::string(s.data(), size_t(s.length())); }
cmString cms(const std::string& s) { return cmString(s.data(), int64_t(s.size())); }

TEST(ProcessQuoteProgram, Table) {
  const struct {
    const char* in;
    const char* out;
  } cases[] = {
      {"", ""},
      {"/usr/bin/svn", "/usr/bin/svn"},
      {" \t/usr/bin/svn \t", "/usr/bin/svn"},
      {"/opt/my tools/svn", "\"/opt/my tools/svn\""},
      {"  /opt/my tools/svn ", "\"/opt/my tools/svn\""},
      {"\"/opt/my tools/svn\"", "\"/opt/my tools/svn\""},  // already quoted: left
      {"\"/opt/my tools/svn", "\"/opt/my tools/svn\""},    // a missing closing quote is added
      {"\"", "\"\""},
      {"a&b", "\"a&b\""},
      {"a^^b", "\"a^^b\""},
      {"a^b", "a^b"},
  };
  for (const auto& c : cases) EXPECT_EQ(str(QuoteProgram(cmString(c.in))), c.out) << "[" << c.in << "]";
}

TEST(ProcessShellPath, DefaultAndOverride) {
  {
    ScopedEnv unset("TOLVANESHELL", nullptr);
    EXPECT_EQ(str(GetShellPath()), "/bin/sh");
  }
  {
    ScopedEnv empty("TOLVANESHELL", "");
    EXPECT_EQ(str(GetShellPath()), "/bin/sh");
  }
  ScopedEnv other("TOLVANESHELL", "/usr/bin/dash");
  EXPECT_EQ(str(GetShellPath()), "/usr/bin/dash");
}

class ProcessFind : public testing::Test {
 protected:
  void SetUp() override {
    one_ = dir_.write("bin one/tool", "#!/bin/sh\n", true);
    dir_.write("bin two/tool", "#!/bin/sh\n", true);
    dir_.write("bin one/data", "not a program\n", false);
    dir_.write("bin one/run.sh", "#!/bin/sh\n", true);
    dir_.write("bin one/notes.txt", "#!/bin/sh\n", true);
    std::filesystem::create_directories(dir_.file("bin one/sub"));
  }
  ProcessTestDir dir_{"find"};
  std::string one_;
};

TEST_F(ProcessFind, SearchesTheListInOrder) {
  // Empty entries are skipped and blanks around entries trimmed.
  const std::string list = " " + dir_.file("missing") + " ::  " + dir_.file("bin one") + " :" + dir_.file("bin two") + "/";
  ScopedEnv path("RH_TEST_PATH", list.c_str());
  const struct {
    const char* name;
    std::string expected;
  } cases[] = {
      {"tool", one_},
      {"data", ""},  // not executable
      {"sub", ""},   // a directory
      {"absent", ""},
      {"", ""},
  };
  for (const auto& c : cases)
    EXPECT_EQ(str(FindProgramOnPath(cmString(c.name), 0, "RH_TEST_PATH", false, false, nullptr)), c.expected)
        << c.name;
}

TEST_F(ProcessFind, ANameWithADirectoryIsOnlyTriedAsItStands) {
  ScopedEnv path("RH_TEST_PATH", dir_.file("bin one").c_str());
  const std::string two = dir_.file("bin two/tool");
  EXPECT_EQ(str(FindProgramOnPath(cms(two), 0, "RH_TEST_PATH", false, false, nullptr)), two);
  EXPECT_EQ(str(FindProgramOnPath(cms(dir_.file("nowhere/tool")), 0, "RH_TEST_PATH", false, false, nullptr)), "");
  EXPECT_EQ(str(FindProgramOnPath(cms(dir_.file("bin one/data")), 0, "RH_TEST_PATH", true, false, nullptr)), "");
}

TEST_F(ProcessFind, ExtensionLists) {
  ScopedEnv path("RH_TEST_PATH", dir_.file("bin one").c_str());
  EXPECT_EQ(str(FindProgramOnPath(cmString("run"), 0, "RH_TEST_PATH", false, false, ".bat .sh")),
            dir_.file("bin one/run.sh"));
  EXPECT_EQ(str(FindProgramOnPath(cmString("run.sh"), 0, "RH_TEST_PATH", false, false, ".sh")),
            dir_.file("bin one/run.sh"));
  // With the shell option a name whose own extension is not listed is no hit.
  EXPECT_EQ(str(FindProgramOnPath(cmString("notes.txt"), CM_PROC_USE_SHELL, "RH_TEST_PATH", false, false, ".sh")),
            "");
}

TEST_F(ProcessFind, DefaultListIsPath) {
  const std::string sh = str(FindProgramOnPath(cmString("sh"), CM_PROC_USE_SHELL, nullptr, false, true, nullptr));
  ASSERT_FALSE(sh.empty());
  EXPECT_EQ(sh.substr(sh.size() - 3), "/sh");
}

class ProcessCommand : public ProcessFind {
 protected:
  ScopedEnv shell_{"TOLVANESHELL", nullptr};
};

TEST_F(ProcessCommand, ResolvesProgramAndShell) {
  ScopedEnv path("PATH", (dir_.file("bin one") + ":/usr/bin:/bin").c_str());
  const std::string q = "\"" + one_ + "\"";
  const struct {
    std::string command;
    uint32_t options;
    std::string program;
    std::string line;
    bool shell;
  } cases[] = {
      {"tool a  b", CM_PROC_USE_SHELL, one_, q + " a  b", false},
      {"  tool   a", CM_PROC_USE_SHELL, one_, q + " a", false},
      {q + "   x", CM_PROC_USE_SHELL, one_, q + " x", false},
      {"tool a > out", CM_PROC_USE_SHELL, "/bin/sh", "/bin/sh -c " + q + " a > out", true},
      {"tool a > out", 0, one_, q + " a > out", false},  // no shell without the option
      {"tool \"a>b|c\" d", CM_PROC_USE_SHELL, one_, q + " \"a>b|c\" d", false},  // quoted: no syntax
      {"tool a | b", CM_PROC_USE_SHELL, "/bin/sh", "/bin/sh -c " + q + " a | b", true},
      {"tool a < b", CM_PROC_USE_SHELL, "/bin/sh", "/bin/sh -c " + q + " a < b", true},
      {"tool a && b", CM_PROC_USE_SHELL, "/bin/sh", "/bin/sh -c " + q + " a && b", true},
      {"tool a ^^ b", CM_PROC_USE_SHELL, "/bin/sh", "/bin/sh -c " + q + " a ^^ b", true},
      {"tool a ^ b", CM_PROC_USE_SHELL, one_, q + " a ^ b", false},
      {"/bin/sh -c exit 4", CM_PROC_USE_SHELL, "/bin/sh", "/bin/sh -c exit 4", true},
      // The runner's own shape: a quoted client, two blanks, a redirection.
      {q + "  log --xml -v \"file:///r\" -rHEAD > \"/t/o.xml\"", CM_PROC_USE_SHELL | CM_PROC_STD_HANDLES, "/bin/sh",
       "/bin/sh -c " + q + " log --xml -v \"file:///r\" -rHEAD > \"/t/o.xml\"", true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.command);
    const cmProcessCommand r = BuildProcessCommand(cms(c.command), c.options);
    EXPECT_EQ(str(r.program), c.program);
    EXPECT_EQ(str(r.commandLine), c.line);
    EXPECT_EQ(r.shellCommand, c.shell);
  }
}

TEST_F(ProcessCommand, TheShellAsProgramDropsTheShellOption) {
  // Its text is the shell's to read: no second wrapping.
  const cmProcessCommand r = BuildProcessCommand(cmString("/bin/sh -c echo a > b"), CM_PROC_USE_SHELL);
  EXPECT_EQ(str(r.commandLine), "/bin/sh -c echo a > b");
  EXPECT_EQ(r.options & CM_PROC_USE_SHELL, 0u);
}

TEST_F(ProcessCommand, MissingProgramThrowsWithItsName) {
  for (const char* command : {"no-such-program-rh arg > out", "\"/no/such dir/svn\" log"}) {
    try {
      BuildProcessCommand(cmString(command), CM_PROC_USE_SHELL);
      ADD_FAILURE() << command;
    } catch (const cmException& e) {
      EXPECT_EQ(e.number(), CM_ERR_FILE_NOT_FOUND);
      EXPECT_EQ(std::string(command).find(e.param()), command[0] == '"' ? 1u : 0u) << e.param();
    }
  }
}

class ProcessRun : public testing::Test {
 protected:
  int32_t run(const std::string& command, uint32_t options = CM_PROC_USE_SHELL, const std::string& wd = "",
              bool inherit = true) {
    return ExecAndWait(process_, cms(command), options, cms(wd), env_, inherit);
  }
  std::string script(const char* name, const std::string& body) {
    return "\"" + dir_.write(name, "#!/bin/sh\n" + body + "\n", true) + "\"";
  }
  ProcessTestDir dir_{"run"};
  ScopedEnv shell_{"TOLVANESHELL", nullptr};
  cmProcess process_;
  cmProcessEnv env_;
};

TEST_F(ProcessRun, ExitStatuses) {
  const struct {
    const char* body;
    int32_t status;
  } cases[] = {
      {"exit 0", 0},
      {"exit 7", 7},
      {"exit 255", 255},
      {"kill -TERM $$", 128 + 15},  // signals come back as a shell reports them
      {"kill -KILL $$", 128 + 9},
  };
  int i = 0;
  for (const auto& c : cases) {
    const std::string s = script(("s" + std::to_string(i++)).c_str(), c.body);
    EXPECT_EQ(run(s), c.status) << c.body;
    EXPECT_TRUE(process_.hasExited);
    EXPECT_FALSE(process_.isRunning);
    EXPECT_EQ(process_.exitCode, c.status);
    EXPECT_GT(process_.processId, 0);
    EXPECT_EQ(process_.handle, platform::kNoProcess);
  }
  // Through the shell the same statuses arrive.
  EXPECT_EQ(run("/bin/sh -c exit 4"), 4);
  EXPECT_EQ(run(script("t", "exit 9") + " > \"" + dir_.file("x") + "\""), 9);
}

TEST_F(ProcessRun, InterruptIsThree) {
  const int32_t status = run(script("int", "kill -INT $$\nexit 99"));
  if (status == 99) GTEST_SKIP() << "this test runs with the interrupt signal ignored";
  EXPECT_EQ(status, CM_PROC_STATUS_INTERRUPTED);
}

TEST_F(ProcessRun, RedirectionTakesOutputOnlyAndStdErrStaysOurs) {
  const std::string out = dir_.file("out dir/o u t.xml");
  std::filesystem::create_directories(dir_.file("out dir"));
  const std::string s = script("talk", "echo hello\necho noise >&2\nexit 0");
  EXPECT_EQ(run(s + "  > \"" + out + "\""), 0);
  EXPECT_EQ(ProcessTestDir::read(out), "hello\n");
}

// A list of commands runs whole, and its status is the last command's.
TEST_F(ProcessRun, AListOfCommandsRunsWhole) {
  const std::string first = dir_.file("first"), second = dir_.file("second");
  const std::string a = script("a", "echo a"), b = script("b", "echo b\nexit 5");
  EXPECT_EQ(run(a + " > \"" + first + "\" ; " + b + " > \"" + second + "\""), 5);
  EXPECT_EQ(ProcessTestDir::read(first), "a\n");
  EXPECT_EQ(ProcessTestDir::read(second), "b\n");
  EXPECT_EQ(run(a + " > \"" + first + "\" && " + b + " | cat > \"" + second + "\""), 0);
  EXPECT_EQ(ProcessTestDir::read(second), "b\n");
}

TEST_F(ProcessRun, EnvironmentEntriesAndInheritance) {
  ScopedEnv parent("RH_PARENT", "p");
  const std::string out = dir_.file("env.txt");
  const std::string cmd = script("env", "printf '%s|%s' \"$RH_PROBE\" \"$RH_PARENT\"") + " > \"" + out + "\"";

  EXPECT_EQ(run(cmd), 0);
  EXPECT_EQ(ProcessTestDir::read(out), "|p");  // empty and inherited: unchanged

  env_.set(cmString("RH_PROBE"), cmString("value one"));
  EXPECT_EQ(run(cmd), 0);
  EXPECT_EQ(ProcessTestDir::read(out), "value one|p");

  EXPECT_EQ(run(cmd, CM_PROC_USE_SHELL, "", false), 0);
  EXPECT_EQ(ProcessTestDir::read(out), "value one|");
}

TEST_F(ProcessRun, WorkingDirectory) {
  std::filesystem::create_directories(dir_.file("sub"));
  EXPECT_EQ(run(script("where", "pwd > where.txt"), CM_PROC_USE_SHELL, dir_.file("sub")), 0);
  std::string where = ProcessTestDir::read(dir_.file("sub/where.txt"));
  ASSERT_FALSE(where.empty());
  where.pop_back();
  EXPECT_TRUE(std::filesystem::equivalent(where, dir_.file("sub")));
}

TEST_F(ProcessRun, FailuresToStartStartNothing) {
  const std::string marker = dir_.file("marker");
  const std::string junk = dir_.write("junk", std::string("\x7f" "ELF garbage", 12), true);
  const struct {
    std::string command;
    int32_t number;  // 0: any negative number
  } cases[] = {
      {"\"" + dir_.file("missing/prog") + "\" > \"" + marker + "\"", CM_ERR_FILE_NOT_FOUND},
      {"\"" + dir_.write("plain", "echo x", false) + "\" > \"" + marker + "\"", CM_ERR_FILE_NOT_FOUND},
      // Executable bit, but no format the system runs: reported, not exit 127.
      {"\"" + junk + "\"", 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.command);
    try {
      run(c.command);
      ADD_FAILURE() << "started";
    } catch (const cmException& e) {
      if (c.number)
        EXPECT_EQ(e.number(), c.number);
      else
        EXPECT_LT(e.number(), 0);
    }
    EXPECT_FALSE(process_.isRunning);
    EXPECT_FALSE(process_.hasExited);
    EXPECT_EQ(process_.processId, -1);
    EXPECT_FALSE(std::filesystem::exists(marker));
  }
}

}  // namespace
