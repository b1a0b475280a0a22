// tarn-selfplay as a program: runs that end, are stopped, are killed, and go on.
#include <algorithm>
#include <csignal>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <time.h>
#include <unistd.h>

#include "selfplay_files.h"
#include "support/places.h"
#include "support/program.h"

namespace {

constexpr std::size_t RECORD_SIZE = 40;

ProgramSetup selfplay(std::vector<std::string> arguments) {
    ProgramSetup setup;
    setup.arguments = std::move(arguments);
    setup.executable = TARN_SELFPLAY_PROGRAM;
    return setup;
}

// Games of few nodes, so that they end soon.
std::vector<std::string> quick_run(const ScratchDirectory &scratch, std::vector<std::string> more) {
    std::vector<std::string> arguments = {"--out",         scratch.file("a.bin"),
                                          "--nodes",       "200",
                                          "--max-nodes",   "800",
                                          "--min-depth",   "3",
                                          "--inner-nodes", "100",
                                          "--report",      "1"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
}

std::size_t whole_records(const ScratchDirectory &scratch) {
    const std::size_t game = read_file(scratch.file("a.bin")).size();
    const std::size_t inner = read_file(scratch.file("a.inner.bin")).size();
    EXPECT_EQ(game % RECORD_SIZE, 0u);
    EXPECT_EQ(inner % RECORD_SIZE, 0u);
    return (game + inner) / RECORD_SIZE;
}

void wait_for_records(const ScratchDirectory &scratch, std::size_t count) {
    constexpr timespec PAUSE = {0, 20000000};
    for (int i = 0; i < 3000 && whole_records(scratch) < count; ++i) nanosleep(&PAUSE, nullptr);
    ASSERT_GE(whole_records(scratch), count);
}

// The lock of a run is held until its last worker has ended.
bool all_have_ended(const ScratchDirectory &scratch) {
    constexpr timespec PAUSE = {0, 20000000};
    for (int i = 0; i < 3000; ++i) {
        RunState state;
        testing::internal::CaptureStderr();
        const bool free = begin_run(scratch.file("a.bin"), &state);
        testing::internal::GetCapturedStderr();
        close(state.file);
        if (free) return true;
        nanosleep(&PAUSE, nullptr);
    }
    return false;
}

int run_to_end(const std::vector<std::string> &arguments, std::string *errors) {
    Program program(selfplay(arguments));
    const int status = program.wait_exit(300);
    *errors = program.error_output();
    return status;
}

TEST(SelfplayProgram, TheSameCommandGoesOnWhereItStopped) {
    const ScratchDirectory scratch;
    std::string errors;
    ASSERT_EQ(run_to_end(quick_run(scratch, {"--positions", "300", "--jobs", "1"}), &errors), 0) << errors;
    const std::size_t first = whole_records(scratch);
    EXPECT_GE(first, 300u);
    EXPECT_NE(errors.find("run 0 of "), std::string::npos) << errors;
    EXPECT_NE(errors.find(" nodes per search"), std::string::npos) << errors;
    const std::string before = read_file(scratch.file("a.bin"));

    // Complete: nothing is added.
    ASSERT_EQ(run_to_end(quick_run(scratch, {"--positions", "300", "--jobs", "1"}), &errors), 0) << errors;
    EXPECT_EQ(read_file(scratch.file("a.bin")), before);

    // More wanted: other games are added to those that are there.
    ASSERT_EQ(run_to_end(quick_run(scratch, {"--positions", std::to_string(first + 300), "--jobs", "1"}), &errors), 0);
    EXPECT_GE(whole_records(scratch), first + 300);
    const std::string after = read_file(scratch.file("a.bin"));
    ASSERT_GT(after.size(), before.size());
    EXPECT_EQ(after.substr(0, before.size()), before);
    EXPECT_EQ(before.find(after.substr(before.size(), 10 * RECORD_SIZE)), std::string::npos);
    EXPECT_EQ(read_file(scratch.file("a.bin.state")), "runs 3\n");
}

TEST(SelfplayProgram, ASeedGivesTheSameGamesAgain) {
    const ScratchDirectory first, second, third;
    std::string errors;
    ASSERT_EQ(run_to_end(quick_run(first, {"--positions", "200", "--jobs", "1", "--seed", "5"}), &errors), 0);
    ASSERT_EQ(run_to_end(quick_run(second, {"--positions", "200", "--jobs", "1", "--seed", "5"}), &errors), 0);
    ASSERT_EQ(run_to_end(quick_run(third, {"--positions", "200", "--jobs", "1", "--seed", "6"}), &errors), 0);
    const std::string one = read_file(first.file("a.bin")), same = read_file(second.file("a.bin"));
    // The number of games that fit before the stop varies with the clock.
    const std::size_t common = std::min(one.size(), same.size());
    ASSERT_GT(common, 0u);
    EXPECT_EQ(one.substr(0, common), same.substr(0, common));
    EXPECT_NE(one.substr(0, 400), read_file(third.file("a.bin")).substr(0, 400));
}

TEST(SelfplayProgram, SigtermLeavesWholeRecordsAndNoWorker) {
    const ScratchDirectory scratch;
    Program program(selfplay(quick_run(scratch, {"--jobs", "2"})));
    wait_for_records(scratch, 100);
    kill(program.process_id(), SIGTERM);
    EXPECT_EQ(program.wait_exit(120), 0);
    EXPECT_GE(whole_records(scratch), 100u);
    EXPECT_NE(program.error_output().find("2 jobs"), std::string::npos);
    EXPECT_TRUE(all_have_ended(scratch));
}

TEST(SelfplayProgram, WorkersEndWithAParentThatIsKilled) {
    const ScratchDirectory scratch;
    Program program(selfplay(quick_run(scratch, {"--jobs", "2"})));
    wait_for_records(scratch, 50);
    kill(program.process_id(), SIGKILL);
    EXPECT_EQ(program.wait_exit(120), 128 + SIGKILL);
    EXPECT_TRUE(all_have_ended(scratch));
    EXPECT_GE(whole_records(scratch), 50u);
}

TEST(SelfplayProgram, ASecondRunOfTheSameOutputIsRefused) {
    const ScratchDirectory scratch;
    Program program(selfplay(quick_run(scratch, {"--jobs", "1"})));
    wait_for_records(scratch, 1);
    std::string errors;
    EXPECT_EQ(run_to_end(quick_run(scratch, {"--jobs", "1"}), &errors), 1);
    EXPECT_NE(errors.find("another run is writing to " + scratch.file("a.bin") + "\n"), std::string::npos) << errors;
}

TEST(SelfplayProgram, FaultsAreNamed) {
    const ScratchDirectory scratch;
    const struct {
        std::vector<std::string> arguments;
        std::string message;
    } cases[] = {
        {{}, "--out FILE.bin is needed\n"},
        {{"--out", "a.txt"}, "--out FILE.bin is needed\n"},
        {{"--out", "a.bin", "--jobs", "many"}, "--jobs needs a number from 0 to 1024, not \"many\"\n"},
        {{"--out", "a.bin", "--speed", "1"}, "unknown option --speed; see --help\n"},
        {{"--out"}, "--out: unknown option or no value; see --help\n"},
        {{"--out", "a.bin", "--nodes", "9000"}, "--max-nodes is below --nodes\n"},
        {{"--out", scratch.file("a.bin"), "--network", scratch.file("none.bin")},
         "can't open the network " + scratch.file("none.bin") + "\n"},
        {{"--out", scratch.file("a.bin"), "--openings", scratch.file("none.epd")},
         "no usable start positions in " + scratch.file("none.epd") + "\n"},
    };
    for (const auto &fault : cases) {
        std::string errors;
        EXPECT_EQ(run_to_end(fault.arguments, &errors), 1) << fault.message;
        EXPECT_NE(errors.find(fault.message), std::string::npos) << errors;
    }
}

TEST(SelfplayProgram, ADamagedNetworkIsRefused) {
    const ScratchDirectory scratch;
    const std::string network = read_file(project_path("Source/eval/network/embedded_network.bin"));
    ASSERT_FALSE(network.empty());
    ASSERT_TRUE(write_file(scratch.file("cut.bin"), network.substr(0, network.size() / 2)));
    std::string errors;
    EXPECT_EQ(run_to_end({"--out", scratch.file("a.bin"), "--network", scratch.file("cut.bin")}, &errors), 1);
    EXPECT_NE(errors.find("cut.bin is not a whole network\n"), std::string::npos) << errors;
    EXPECT_TRUE(read_file(scratch.file("a.bin")).empty());
}

// The batch script, started as the scheduler does: by its variables.
ProgramSetup slurm_task(const ScratchDirectory &scratch, std::vector<std::string> more) {
    ProgramSetup setup;
    setup.executable = "/usr/bin/env";
    setup.arguments = {std::string("PROGRAM=") + TARN_SELFPLAY_PROGRAM,
                       "OPENINGS=" + project_path("training/openings.epd"),
                       "OUT=" + scratch.file("data"),
                       "SLURM_ARRAY_TASK_ID=7",
                       "SLURM_CPUS_PER_TASK=1",
                       project_path("training/generate.slurm"),
                       "--nodes",
                       "200",
                       "--inner-nodes",
                       "100"};
    setup.arguments.insert(setup.arguments.end(), more.begin(), more.end());
    return setup;
}

TEST(SelfplayProgram, ASlurmTaskHasItsSeedAndItsFileAndTakesTheSignal) {
    const ScratchDirectory scratch;
    {
        Program program(slurm_task(scratch, {"--positions", "100"}));
        ASSERT_EQ(program.wait_exit(300), 0);
        EXPECT_NE(program.error_output().find("seed 7, 1 jobs"), std::string::npos);
    }
    const std::string path = scratch.file("data/selfplay-7.bin");
    EXPECT_GE(read_file(path).size(), RECORD_SIZE);
    Program program(slurm_task(scratch, {}));
    const std::size_t before = read_file(path).size();
    constexpr timespec PAUSE = {0, 20000000};
    for (int i = 0; i < 3000 && read_file(path).size() == before; ++i) nanosleep(&PAUSE, nullptr);
    kill(program.process_id(), SIGTERM);
    EXPECT_EQ(program.wait_exit(120), 0);
    EXPECT_GT(read_file(path).size(), before);
    EXPECT_EQ(read_file(path).size() % RECORD_SIZE, 0u);
}

TEST(SelfplayProgram, TwoGeneratorsRunUnderGnuParallel) {
    const ScratchDirectory scratch;
    ProgramSetup setup;
    setup.executable = "/usr/bin/parallel";
    if (access(setup.executable.c_str(), X_OK) != 0) GTEST_SKIP() << "GNU parallel is not installed";
    setup.arguments = {"--will-cite",
                       "--sshlogin",
                       "2/:",
                       TARN_SELFPLAY_PROGRAM,
                       "--out",
                       scratch.file("{}.bin"),
                       "--seed",
                       "{}",
                       "--jobs",
                       "1",
                       "--positions",
                       "100",
                       "--nodes",
                       "200",
                       "--inner-nodes",
                       "100",
                       ":::",
                       "1",
                       "2"};
    Program program(setup);
    program.close_input();
    ASSERT_EQ(program.wait_exit(300), 0) << program.error_output();
    const std::string first = read_file(scratch.file("1.bin")), second = read_file(scratch.file("2.bin"));
    ASSERT_GE(first.size(), RECORD_SIZE);
    ASSERT_GE(second.size(), RECORD_SIZE);
    EXPECT_NE(first.substr(0, RECORD_SIZE), second.substr(0, RECORD_SIZE));
    // Files concatenate: what comes of it is a record file again.
    ASSERT_TRUE(write_file(scratch.file("both.bin"), first + second));
    const int file = open_records(scratch.file("both.bin"));
    EXPECT_EQ(count_records(file), static_cast<i64>((first.size() + second.size()) / RECORD_SIZE));
    close(file);
}

TEST(SelfplayProgram, HelpNamesEveryOption) {
    Program program(selfplay({"--help"}));
    std::string text;
    for (const std::string &line : program.rest()) text += line + "\n";
    EXPECT_EQ(program.wait_exit(), 0);
    for (const char *option : {"--openings", "--out", "--network", "--jobs", "--report", "--random-plies", "--endings",
                               "--min-depth", "--inner", "--resign", "--draw-plies", "--seed", "--positions",
                               "--seconds", "--nodes", "--max-nodes", "--inner-nodes", "--hand"})
        EXPECT_NE(text.find(std::string("  ") + option + " "), std::string::npos) << option;
}

}  // namespace
