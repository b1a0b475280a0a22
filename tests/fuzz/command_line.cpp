// Command lines: one argument a line.
#include "command_line.h"

#include <string>
#include <vector>

#include "base/settings.h"
#include "fuzz/fuzz.h"
#include "fuzz/support.h"

void fuzz_command_line(const std::string &input) {
    fresh_engine();
    std::vector<std::string> words = lines_of(input);
    words.insert(words.begin(), "tarn");
    std::vector<char *> arguments;
    for (std::string &word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    CommandLine command;
    const bool usable = parse_command_line(static_cast<int>(words.size()), arguments.data(), &command);
    check_settings();
    REQUIRE(command.mode >= MODE_PLAY && command.mode <= MODE_VERSION);
    if (!usable) return;
    REQUIRE(settings.max_depth >= 1 && settings.selectivity >= 10);
    if (command.mode == MODE_GENERATE_TRAINING) REQUIRE(settings.train_count >= 100);
    if (command.mode == MODE_TRAIN) REQUIRE(settings.train_count >= 1);
}
