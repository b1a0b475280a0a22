// Runs kept inputs through the fuzz targets in an ordinary build.
//   fuzz_replay                  all seeds and regression files of all targets
//   fuzz_replay TARGET FILE...   these files
// A failed check or a crash ends the program after the name of the file.
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include "fuzz/fuzz.h"
#include "fuzz/support.h"
#include "support/files.h"
#include "support/places.h"

static int report = -1;  // standard error as it was
static std::string current_file;

static void name_file(int number) {
    dprintf(report, "signal %d in %s\n", number, current_file.c_str());
    std::signal(number, SIG_DFL);
    std::raise(number);
}

static void run_file(const FuzzTarget &target, const std::string &path) {
    current_file = path;
    target.run(read_file(path));
}

static std::vector<std::string> files_in(const std::string &directory) {
    std::vector<std::string> files;
    std::error_code none;
    for (const auto &entry : std::filesystem::directory_iterator(directory, none)) files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

// False if a target has no seed: then it would test nothing.
static bool run_all() {
    bool complete = true;
    for (int i = 0; i < FUZZ_TARGET_COUNT; ++i) {
        const FuzzTarget &target = FUZZ_TARGETS[i];
        const auto seeds = files_in(project_path(std::string("tests/fuzz/seeds/") + target.name));
        const auto regressions = files_in(project_path(std::string("tests/fuzz/regression/") + target.name));
        for (const std::string &file : seeds) run_file(target, file);
        for (const std::string &file : regressions) run_file(target, file);
        dprintf(report, "%-14s %zu seeds, %zu regression files\n", target.name, seeds.size(), regressions.size());
        if (seeds.empty()) complete = false;
    }
    return complete;
}

int main(int argc, char **argv) {
    report = keep_error_output();
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (report < 0 || nowhere < 0 || dup2(nowhere, STDERR_FILENO) < 0) return 2;
    for (const int number : {SIGABRT, SIGSEGV, SIGBUS, SIGFPE, SIGILL}) std::signal(number, name_file);
    if (argc < 2) return run_all() ? 0 : 1;
    const FuzzTarget *target = find_fuzz_target(argv[1]);
    if (!target) {
        dprintf(report, "no target has the name %s\n", argv[1]);
        return 2;
    }
    std::vector<std::string> files;  // the working directory changes with the first input
    for (int i = 2; i < argc; ++i) files.push_back(std::filesystem::absolute(argv[i]));
    for (const std::string &file : files) run_file(*target, file);
    return 0;
}
