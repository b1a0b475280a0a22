// Configuration files.
#include <cstring>
#include <string>

#include "base/settings.h"
#include "base/text.h"
#include "control/options.h"
#include "fuzz/fuzz.h"
#include "fuzz/support.h"
#include "support/files.h"

static constexpr const char *CONFIG = "tarn.cfg";

// The file may include itself. After it, its settings are the defaults that "uci" prints.
void fuzz_config(const std::string &input) {
    fresh_engine();
    std::string text;
    for (const std::string &line : bounded_lines(input)) text += line + "\n";
    REQUIRE(write_file(CONFIG, text));
    copy_text(settings.config_path, CONFIG, sizeof settings.config_path);
    load_config_file();
    check_settings();
    REQUIRE(std::memcmp(&settings, &default_settings, sizeof settings) == 0);
    const std::string output = taken_output();
    REQUIRE(begins_with(output, "info string loading parameters from tarn.cfg\n"));
    print_options();
    for (const std::string &line : lines_of(taken_output())) REQUIRE(begins_with(line, "option name "));
}
