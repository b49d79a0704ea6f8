// The stand-in agent as a user meets it: a child process with an input, two outputs and an exit
// status.

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <regex>
#include <sstream>
#include <string>

namespace {

using testing::EndsWith, testing::FieldsAre, testing::StartsWith;

struct Outcome {
  int status;
  std::string out;
  std::string err;
};

std::string contentOf(std::filesystem::path const& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// Runs the agent with `arguments`, and with `input` as its standard input.
Outcome run(std::string const& input, std::string const& arguments = "") {
  std::string const base = testing::TempDir() + "agent-test-" + std::to_string(getpid());
  std::ofstream(base + ".in", std::ios::binary) << input;
  int const status = std::system(
      (AGENT " " + arguments + " <" + base + ".in >" + base + ".out 2>" + base + ".err").c_str());
  Outcome outcome{WIFEXITED(status) ? WEXITSTATUS(status) : -1, contentOf(base + ".out"),
                  contentOf(base + ".err")};
  for (char const* const end : {".in", ".out", ".err"}) std::filesystem::remove(base + end);
  return outcome;
}

TEST(AgentTest, RefusesInWordsThatSayWhatWouldBeRightAndChangesNothing) {
  std::ifstream file(REFUSALS);
  std::string before, line, text;
  unsigned refused = 0;
  while (std::getline(file, text)) {
    if (text.starts_with("= ")) {
      before = std::regex_replace(text.substr(2), std::regex("; "), "\n") + '\n';
    }
    if (!text.starts_with("> ")) continue;
    line = text.substr(2);
    std::string complaint;
    while (std::getline(file, text) && !text.empty()) complaint += text + '\n';
    SCOPED_TRACE(line);
    Outcome const outcome = run(before + line + "\r\nshow all\nstop\n");
    int const status = complaint.find("not met") == std::string::npos ? 2 : 1;
    EXPECT_THAT(outcome, FieldsAre(status, StartsWith(run(before).out), complaint));
    EXPECT_EQ(outcome.out.find("result:") & outcome.out.find("records"), std::string::npos);
    ++refused;
  }
  EXPECT_GT(refused, 40U);
  for (char const* const arguments : {"/nonexistent", "/", "--nonexistent"}) {
    EXPECT_EQ(run("", arguments).status, 2);
  }
}

TEST(AgentTest, TheLibraryIsLoadedFromAFileAndNotLinked) {
  EXPECT_THAT(run("types\n", "--library /nonexistent.so"),
              FieldsAre(2, "",
                        "/nonexistent.so: cannot be loaded: /nonexistent.so: cannot open shared "
                        "object file: No such file or directory\n"));
  EXPECT_THAT(
      run("types\n", "--library " PLATFORM),
      FieldsAre(2, "", PLATFORM ": does not register the type MacsecProxy::MacsecProxySm\n"));
}

TEST(AgentTest, ATeardownThatRaisesEndsTheProcessWithAWord) {
  EXPECT_THAT(run("eth set et1 eth1\neth set et7 eth7\nstart\nproxy set et1.1 et2.1 et7\n"
                  "driver throw 2\nstop\n"),
              FieldsAre(3, EndsWith("> stop\n    driver: macsec_proxy_client et1.1 eth7 0 0\n"),
                        "<stdin>:6: raised by a teardown, which ends the process: "
                        "driver refused \"macsec_proxy eth1 0\"\n"));
}

TEST(AgentTest, AnyBytesComeOutAsJsonLines) {
  std::string examples;
  for (auto const& entry : std::filesystem::directory_iterator(EXAMPLES)) {
    if (entry.path().extension() != ".scn") continue;
    Outcome const outcome = run("", "--json " + entry.path().string());
    EXPECT_EQ(outcome.status, 0) << entry.path() << outcome.err;
    examples += outcome.out;
  }
  std::string const name = std::string("et\0\xff\x1b", 5) + std::string(100'000, 'x');
  Outcome const odd =
      run("start\nproxy set " + name + ".1 et2.1 " + name + "\nshow all\n" + name, "--json -");
  EXPECT_EQ(odd.status, 2);
  EXPECT_LT(odd.err.size(), 200U);

  std::istringstream lines(examples + odd.out);
  std::size_t commands = 0;
  for (std::string line; std::getline(lines, line);) {
    auto const object = nlohmann::json::parse(line, nullptr, false);
    ASSERT_TRUE(object.is_object()) << line.substr(0, 200);
    commands += object.contains("driver") ? 1 : 0;
  }
  EXPECT_GT(commands, 0U);
}

}  // namespace
