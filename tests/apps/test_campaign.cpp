// Campaigns without a cluster: the batch script run by bash as Slurm would
// run a task, what campaign-status reads from a task's files, a task run by
// hand, and the submission through a stand-in sbatch. The same on a real
// Slurm is tests/apps/slurmCampaign.sh.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "apps/tamble/campaignScript.h"
#include "apps/tamble/campaignStatus.h"
#include "tests/apps/cliHarness.h"

namespace {

namespace fs = std::filesystem;
using namespace tamble::cli;
using tamble::testing::cliResult;
using tamble::testing::lines;
using tamble::testing::readText;
using tamble::testing::writeText;

class Campaign : public tamble::testing::cliTest {
 protected:
  // Standard output of `bash FILE`, with `environment` before it.
  std::string bash(const std::string& file, const std::string& environment = {}) {
    const std::string command =
        "cd '" + dir.string() + "' && " + environment + " bash '" + file + "' >bash-out.txt 2>&1";
    EXPECT_EQ(std::system(command.c_str()), 0) << readText(dir / "bash-out.txt");
    return readText(dir / "bash-out.txt");
  }
  // A program that prints its arguments, one per line.
  std::string argumentPrinter() {
    const fs::path program = dir / "print args";
    writeText(program, "#!/bin/bash\nprintf '%s\\n' \"$@\"\n");
    fs::permissions(program, fs::perms::owner_all);
    return program.string();
  }
};

const std::vector<std::string> awkwardTexts = {
    "plain", "two words", "it's", "$HOME `date` \\n", "\"quoted\"", "line\nbreak", "", "'''"};

TEST_F(Campaign, QuotedTextReadsBackThroughBash) {
  for (const std::string& text : awkwardTexts) {
    writeText(dir / "quote.sh", "printf '%s' " + shellQuoted(text) + "\n");
    EXPECT_EQ(bash("quote.sh"), text);
  }
}

// Each task runs the program on its own project, with the store, the
// answer policy and the words, whatever characters the paths hold.
TEST_F(Campaign, EachTaskRunsItsOwnProject) {
  campaignPlan plan;
  plan.projects = {"/data/run 1/run.vur", "/data/it's/run.vur", "/data/$x/run.vur"};
  plan.words = {"m_bmr=9", "GaussBS.m_diameter=5"};
  plan.tamble = argumentPrinter();
  plan.store = "/data/list campaign/store.ini";
  plan.unanswered = "yes";
  plan.folder = "/data/runs.campaign";
  plan.jobName = "tamble-runs";
  writeText(dir / "campaign.sh", batchScript(plan));
  for (std::size_t task = 0; task < plan.projects.size(); ++task) {
    const std::vector<std::string> expected = {
        "--store", plan.store,          "--unanswered", "yes",        "convert",
        "--task",  plan.projects[task], plan.words[0],  plan.words[1]};
    EXPECT_EQ(lines(bash("campaign.sh", "SLURM_ARRAY_TASK_ID=" + std::to_string(task))), expected);
  }
}

struct arrayCase {
  std::size_t projects;
  int maxParallel;
  std::string partition;
  std::string arrayLine;
  bool partitionLine;
};

// The #SBATCH lines as Slurm reads them: the array's indices and throttle,
// the partition only when one was asked for.
TEST(CampaignScript, AsksForTheArrayAndPartition) {
  const std::vector<arrayCase> cases = {
      {6, 2, "", "#SBATCH --array=0-5%2", false},  {6, 0, "", "#SBATCH --array=0-5", false},
      {1, 0, "tunnel", "#SBATCH --array=0", true}, {12, 5, "a,b", "#SBATCH --array=0-11%5", true},
      {3, 1, "", "#SBATCH --array=0-2%1", false},
  };
  for (const arrayCase& c : cases) {
    campaignPlan plan;
    plan.projects.assign(c.projects, "/p/run.vur");
    plan.maxParallel = c.maxParallel;
    plan.partition = c.partition;
    plan.folder = "/p/runs.campaign";
    const std::vector<std::string> script = lines(batchScript(plan));
    const auto has = [&](const std::string& line) {
      return std::find(script.begin(), script.end(), line) != script.end();
    };
    EXPECT_TRUE(has(c.arrayLine)) << c.arrayLine;
    EXPECT_EQ(has("#SBATCH --partition=" + c.partition), c.partitionLine) << c.partition;
    EXPECT_TRUE(has("#SBATCH --output=/p/runs.campaign/task-%A_%a.out"));
  }
}

TEST(CampaignScript, RefusesFoldersSlurmCannotName) {
  for (const char* folder : {"/data/my runs.campaign", "/data/100%.campaign", "/a\\b.campaign"})
    EXPECT_THROW(checkSlurmPath(folder), std::exception) << folder;
  EXPECT_NO_THROW(checkSlurmPath("/data/run-12_b.campaign"));
}

struct statusCase {
  const char* name;
  bool report;
  std::string log;          // none when empty
  std::string slurmOutput;  // the task's Slurm output file, for job 12_3
  taskState state;
  std::string reason;   // a part of the reason
  bool project = true;  // the project file is there
};

TEST_F(Campaign, StatusReadsWhatTheTaskLeft) {
  const std::string header = "project: p/run.vur\nslurm job: 12_3\nhost: n1\n";
  const std::vector<statusCase> cases = {
      {"nothing", false, "", "", taskState::notRun, ""},
      {"converted earlier, no task", true, "", "", taskState::done, ""},
      {"done", true, header + "report: ...\noutcome: done\n", "", taskState::done, ""},
      {"failed after an earlier success", true, header + "error: on.tif: file not found\n", "",
       taskState::failed, "on.tif: file not found"},
      {"running", false, header + "report: ...\n", "", taskState::unfinished, "12_3"},
      {"ended by Slurm", false, header,
       "slurmstepd-n1: error: *** JOB 15 ON n1 CANCELLED AT 2026-01-01T00:00:00 DUE TO TIME LIMIT ***\n",
       taskState::unfinished, "DUE TO TIME LIMIT"},
      {"done but its report removed", false, header + "outcome: done\n", "", taskState::unfinished,
       ""},
      {"no project", false, "", "", taskState::failed, "is not there", false},
  };
  for (const statusCase& c : cases) {
    const fs::path project = dir / c.name / "run.vur";
    if (c.project) writeText(project, "");
    if (c.report) writeText(dir / c.name / "run.report.txt", "Dark subtraction: 0.1 seconds\n");
    if (!c.log.empty()) writeText(dir / c.name / "run.campaign.log", c.log);
    const fs::path folder = dir / c.name / "runs.campaign";
    if (!c.slurmOutput.empty()) writeText(folder / "task-12_3.out", c.slurmOutput);
    const projectStatus status = statusOf(project.string(), folder.string());
    EXPECT_EQ(status.state, c.state) << c.name;
    EXPECT_NE(status.reason.find(c.reason), std::string::npos) << c.name << ": " << status.reason;
  }
}

// A task run by hand: the report and the log beside the project, which
// campaign-status reads; a broken project fails, its files as they were.
TEST_F(Campaign, TasksLeaveWhatStatusReads) {
  ASSERT_EQ(tamble("synth a size=128 markers=0 motion=0").status, 0);
  ASSERT_EQ(tamble("synth b size=128 markers=0 motion=0").status, 0);
  writeText(dir / "runs.txt", "a/run.vur\nb/run.vur\nc/run.vur\n");
  writeText(dir / "c/run.vur", "");  // never converted
  fs::remove(dir / "b/wind_on_sens.tif");
  const auto listing = [&](const char* project) {
    std::vector<std::string> files;
    for (const auto& e : fs::directory_iterator(dir / project))
      files.push_back(e.path().filename().string() + " " +
                      std::to_string(e.last_write_time().time_since_epoch().count()));
    std::sort(files.begin(), files.end());
    return files;
  };
  const std::vector<std::string> broken = listing("b");
  const cliResult a = tamble("convert --task a/run.vur");
  const cliResult b = tamble("convert --task b/run.vur");
  EXPECT_EQ(a.status, 0) << readText(dir / "a/run.campaign.log");
  EXPECT_EQ(b.status, 1);
  EXPECT_EQ(readText(dir / "a/run.report.txt").rfind("Dark subtraction: ", 0), 0u);
  EXPECT_NE(readText(dir / "b/run.campaign.log").find("\nerror: "), std::string::npos);
  std::vector<std::string> after = listing("b");
  after.erase(
      std::remove_if(after.begin(), after.end(),
                     [](const std::string& f) { return f.rfind("run.campaign.log", 0) == 0; }),
      after.end());
  EXPECT_EQ(after, broken);
  const cliResult status = tamble("campaign-status runs.txt");
  EXPECT_EQ(status.status, 1);
  const std::vector<std::string> out = lines(status.out);
  ASSERT_EQ(out.size(), 4u) << status.out;
  EXPECT_EQ(out[0], "done      " + path("a/run.vur"));
  EXPECT_EQ(out[1].rfind("FAILED    " + path("b/run.vur") + ": ", 0), 0u) << out[1];
  EXPECT_NE(out[1].find("wind_on_sens.tif: file not found"), std::string::npos) << out[1];
  EXPECT_EQ(out[2], "not run   " + path("c/run.vur"));
}

// A stand-in sbatch records its arguments and answers a job id: the id is
// printed, the script it was given is the campaign's; --only-missing leaves
// out the done projects and submits nothing when all are.
TEST_F(Campaign, SubmitsTheScriptWithSbatch) {
  writeText(dir / "bin/sbatch", "#!/bin/bash\nprintf '%s\\n' \"$@\" >'" + path("sbatch-args") +
                                    "'\necho '4242;cluster'\n");
  fs::permissions(dir / "bin/sbatch", fs::perms::owner_all);
  environment = "PATH='" + path("bin") + "':\"$PATH\" ";
  writeText(dir / "runs.txt", "a/run.vur\nb/run.vur\n");
  writeText(dir / "a/run.report.txt", "done\n");
  const cliResult r = tamble("convert --list runs.txt --slurm --only-missing m_bmr=9");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, "4242\n");
  const std::vector<std::string> args = lines(readText(dir / "sbatch-args"));
  ASSERT_EQ(args.size(), 2u);
  EXPECT_EQ(args[0], "--parsable");
  const std::string script = readText(args[1]);
  EXPECT_NE(script.find("'" + path("b/run.vur") + "'"), std::string::npos) << script;
  EXPECT_EQ(script.find(path("a/run.vur")), std::string::npos) << script;
  EXPECT_NE(script.find(" 'm_bmr=9'\n"), std::string::npos) << script;
  writeText(dir / "b/run.report.txt", "done\n");
  fs::remove(dir / "sbatch-args");
  const cliResult none = tamble("convert --list runs.txt --slurm --only-missing");
  EXPECT_EQ(none.status, 0) << none.err;
  EXPECT_FALSE(fs::exists(dir / "sbatch-args"));
}

// Without sbatch the submission fails and leaves no script behind.
TEST_F(Campaign, NoSbatchNoScript) {
  environment = "PATH=/nonexistent ";
  writeText(dir / "runs.txt", "a/run.vur\n");
  const cliResult r = tamble("convert --list runs.txt --slurm");
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("sbatch"), std::string::npos) << r.err;
  EXPECT_TRUE(fs::is_empty(dir / "runs.campaign"));
}

TEST_F(Campaign, RefusesOptionsThatDoNotGoTogether) {
  writeText(dir / "runs.txt", "a/run.vur\n");
  for (const char* arguments :
       {"convert a/run.vur --slurm", "convert --list runs.txt --partition p",
        "convert --list runs.txt --slurm --jobs 2", "convert --task a/run.vur b/run.vur",
        "convert --list runs.txt --slurm a/run.vur",
        "convert --list runs.txt --slurm --partition 'a b'", "convert --list runs.txt --task",
        "convert --list runs.txt --slurm --max-parallel 0"}) {
    const cliResult r = tamble(arguments);
    EXPECT_EQ(r.status, 2) << arguments << ": " << r.err;
    EXPECT_FALSE(fs::exists(dir / "runs.campaign")) << arguments;
  }
}

}  // namespace
