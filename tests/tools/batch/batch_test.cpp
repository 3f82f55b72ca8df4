// Many bursts: what a list means, what is recorded, and that nothing is lost when something goes wrong.
#include <signal.h>
#include <sys/wait.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>
#include <thread>

#include "batch/batch_list.h"
#include "batch/batch_results.h"
#include "batch/batch_run.h"
#include "common/file_io.h"
#include "tools/support/tool_program.h"

namespace zolt {
namespace {

// Stands in for the program: does at once what a burst may lead to.
constexpr const char* kStandIn = R"(#!/bin/sh
[ "$1 $2" = "denoise --json" ] || exit 99
here=$(dirname "$0")
case $3 in
  fine) echo "$4" >> "$here/arguments"; echo '{"output": "fine"}' ;;
  refused) echo '{"result": 2, "error": "off"}'; echo "LOG: a line" >&2; echo "zolt-burst: refused" >&2; exit 3 ;;
  crash) kill -KILL $$ ;;
  mute) ;;
  loud) head -c 300000 /dev/zero | tr '\0' x >&2; echo '{"output": "loud"}' ;;
  counted) echo + >> "$here/log"; sleep 0.2; echo - >> "$here/log"; echo '{}' ;;
  slow) echo $$ >> "$here/pids"; exec sleep 60 ;;
esac
)";

class Batch : public ToolProgram {
 protected:
  Batch() {
    WriteWhole(Path("stand-in"), std::string(kStandIn));
    std::filesystem::permissions(Path("stand-in"), std::filesystem::perms::owner_all);
    settings_.program = Path("stand-in");
  }

  std::vector<BatchJob> Jobs(const std::string& list) const {
    std::istringstream stream(list);
    return ReadBatchList(stream);
  }

  BatchTally RunList(const std::string& list) {
    std::ostringstream unused;
    BatchResults results(Path("results"), unused);
    return RunBatch(Jobs(list), settings_, &results);
  }

  // By the number of the line.
  std::map<int, nlohmann::json> Results() const {
    std::ifstream file(Path("results"));
    std::map<int, nlohmann::json> results;
    for (std::string line; std::getline(file, line);) {
      const nlohmann::json json = nlohmann::json::parse(line);
      results[json["line"]] = json;
    }
    return results;
  }

  std::string Text(const std::string& name) const {
    const std::vector<uint8_t> bytes = ReadWhole(Path(name));
    return std::string(bytes.begin(), bytes.end());
  }

  BatchSettings settings_;
};

TEST_F(Batch, ALineMeansWhatItMeansToTheShell) {
  WriteWhole(Path("b.jpg"), std::string());
  WriteWhole(Path("a.jpg"), std::string());
  const std::vector<BatchJob> jobs =
      Jobs("# a comment\n\n  \t\n'one burst' -o \"it's\".png\r\n" + Path("*.jpg") +
           " -o c\\ d.png\n  # another\n"
           "\"open\n$(touch " +
           Path("touched") + ")\n`touch " + Path("touched") + "`\n$ZOLT_NO_SUCH_NAME\na;b\n'$(5)' '' x#y");
  const std::vector<std::vector<std::string>> good = {
      {"one burst", "-o", "it's.png"}, {Path("a.jpg"), Path("b.jpg"), "-o", "c d.png"}, {"$(5)", "", "x#y"}};
  ASSERT_EQ(jobs.size(), 8u);
  EXPECT_EQ(jobs[0].line, 4);
  EXPECT_EQ(jobs[0].arguments, good[0]);
  EXPECT_EQ(jobs[1].arguments, good[1]);
  EXPECT_EQ(jobs[7].line, 12);
  EXPECT_EQ(jobs[7].arguments, good[2]);
  for (const size_t i : {0, 1, 7}) EXPECT_EQ(jobs[i].fault, "");
  for (const size_t i : {2, 3, 4, 5, 6}) EXPECT_NE(jobs[i].fault, "") << jobs[i].line;
  EXPECT_FALSE(std::filesystem::exists(Path("touched")));
}

TEST_F(Batch, EveryBurstHasItsRecordAndNoneStopsTheOthers) {
  settings_.jobs = 2;
  const BatchTally tally = RunList("refused\ncrash\nmute\nloud\n'open\nfine \xff\nfine 'two words'\n");
  EXPECT_EQ(tally.done, 3);
  EXPECT_EQ(tally.failed, 4);
  std::map<int, nlohmann::json> results = Results();
  ASSERT_EQ(results.size(), 7u);
  EXPECT_EQ(results[1]["exit"], 3);
  EXPECT_EQ(results[1]["error"], "refused");
  EXPECT_EQ(results[1]["library_result"], 2);
  EXPECT_EQ(results[2]["exit"], 128 + SIGKILL);
  EXPECT_EQ(results[3]["exit"], 0);
  EXPECT_EQ(results[4]["result"]["output"], "loud");
  EXPECT_EQ(results[5]["exit"], 1);
  for (const int line : {1, 2, 3, 5}) {
    EXPECT_FALSE(results[line].contains("result"));
    EXPECT_FALSE(results[line]["error"].get<std::string>().empty());
  }
  EXPECT_EQ(results[7]["arguments"], nlohmann::json({"fine", "two words"}));
  EXPECT_NE(Text("arguments").find("two words\n"), std::string::npos);
  EXPECT_NE(Text("arguments").find("\xff\n"), std::string::npos);

  settings_.program = Path("none");
  EXPECT_EQ(RunList("fine").failed, 1);
  EXPECT_EQ(Results()[1]["exit"], 2);
}

TEST_F(Batch, AsManyRunAtATimeAsWasSaid) {
  settings_.jobs = 3;
  EXPECT_EQ(RunList("counted\ncounted\ncounted\ncounted\ncounted\ncounted\ncounted").done, 7);
  int now = 0, most = 0, ended = 0;
  for (const char c : Text("log")) {
    now += c == '+' ? 1 : c == '-' ? -1 : 0;
    ended += c == '-' ? 1 : 0;
    most = std::max(most, now);
  }
  EXPECT_EQ(most, 3);
  EXPECT_EQ(ended, 7);
}

TEST_F(Batch, ResumingRunsWhatIsNotDone) {
  EXPECT_EQ(RunList("fine 1\nrefused\n").done, 1);
  // A power cut in the middle of a line, and a list that has grown at its front.
  std::ofstream(Path("results"), std::ios::app) << R"({"line": 3, "argum)";
  settings_.resume = true;
  const BatchTally tally = RunList("fine 0\nfine 1\nrefused\nfine 3\n");
  EXPECT_EQ(tally.skipped, 1);
  EXPECT_EQ(tally.done, 2);
  EXPECT_EQ(tally.failed, 1);
  EXPECT_EQ(Text("results").find("argum\""), std::string::npos);
  EXPECT_EQ(Results().size(), 4u);
  const BatchTally again = RunList("fine 0\nfine 1\nfine 3\n");
  EXPECT_EQ(again.skipped, 3);
  EXPECT_EQ(again.done + again.failed, 0);
  settings_.resume = false;
  EXPECT_EQ(RunList("fine 0\n").done, 1);

  std::string text = Text("results");
  text.pop_back();  // a whole record whose line end is missing
  WriteWhole(Path("results"), text);
  settings_.resume = true;
  EXPECT_EQ(RunList("fine 0\nfine 9\n").done, 1);
  EXPECT_EQ(Results().size(), 4u);
}

TEST_F(Batch, AFileThatHoldsSomethingElseIsLeftAlone) {
  std::ostringstream unused;
  for (const char* text : {"a letter\n", "{\"line\": 1}\n", "no line end", "{\"a\": 1}\n{\"line"}) {
    WriteWhole(Path("results"), std::string(text));
    EXPECT_EQ(FailureOf([&] { BatchResults(Path("results"), unused); }), kExitFile) << text;
    EXPECT_EQ(Text("results"), text);
  }
  std::filesystem::remove(Path("results"));
  const BatchResults first(Path("results"), unused);
  EXPECT_EQ(FailureOf([&] { BatchResults(Path("results"), unused); }), kExitFile);
}

TEST_F(Batch, AStopEndsTheProcessesAndKeepsTheResults) {
  settings_.jobs = 3;
  const pid_t batch = fork();
  if (batch == 0) {
    const BatchTally tally = RunList("fine 1\nslow 1\nslow 2\nslow 3\nfine 2\n");
    _exit(tally.stopped && tally.done == 1 && tally.failed == 0 ? 0 : 1);
  }
  std::vector<pid_t> slow;
  for (int i = 0; i < 1000 && slow.size() < 3; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    std::ifstream pids(Path("pids"));
    slow.clear();
    for (pid_t pid; pids >> pid;) slow.push_back(pid);
  }
  ASSERT_EQ(slow.size(), 3u);
  kill(batch, SIGINT);
  int status = -1;
  ASSERT_EQ(waitpid(batch, &status, 0), batch);
  EXPECT_EQ(status, 0);
  for (const pid_t pid : slow) EXPECT_EQ(kill(pid, 0), -1) << pid;
  ASSERT_EQ(Results().size(), 1u);
  settings_.resume = true;
  const BatchTally tally = RunList("fine 1\nfine 2\n");
  EXPECT_EQ(tally.skipped, 1);
  EXPECT_EQ(tally.done, 1);
}

TEST_F(Batch, TheProgramRunsItselfForEachBurst) {
  ASSERT_EQ(Run({"simulate", "-o", Path("burst"), "--crop", "128x96", "--frames", "2"}), kExitDone);
  WriteWhole(Path("list"), Path("burst") + " -o " + Path("1.png") + "\n" + Path("none") + " -o " +
                               Path("2.png") + "\n" + Path("burst") + " -o " + Path("3.y4m") +
                               " --iso 400 --reference 1\n");
  const std::string command = std::string(ZOLT_BURST) + " batch " + Path("list");
  EXPECT_EQ(WEXITSTATUS(std::system((command + " > " + Path("results")).c_str())), kExitSomeFailed);
  std::map<int, nlohmann::json> results = Results();
  ASSERT_EQ(results.size(), 3u);
  EXPECT_EQ(results[1]["result"]["frames"].size(), 2u);
  EXPECT_EQ(results[2]["exit"], kExitFile);
  EXPECT_NE(results[2]["error"].get<std::string>().find(Path("none")), std::string::npos);
  EXPECT_EQ(results[3]["result"]["iso"], 400);
  EXPECT_EQ(results[3]["result"]["reference"], 1);
  EXPECT_TRUE(std::filesystem::exists(Path("1.png")) && std::filesystem::exists(Path("3.y4m")));
  EXPECT_FALSE(std::filesystem::exists(Path("2.png")));
  // A file whose extension is unknown, a list that is not there, a folder in its place, and --resume of
  // nothing.
  EXPECT_EQ(Run({"batch", Path("nothing")}), kExitFile);
  EXPECT_EQ(Run({"batch", Path("burst")}), kExitFile);
  EXPECT_EQ(Run({"batch", Path("list"), "--resume"}), kExitUsage);
  EXPECT_EQ(Run({"batch", Path("list"), "--jobs", "0"}), kExitUsage);
  EXPECT_EQ(Run({"batch", Path("list"), "--results", Path("no/results")}), kExitFile);
}

}  // namespace
}  // namespace zolt
