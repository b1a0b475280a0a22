// Named options: the table, setting one, and the configuration file.
#pragma once

// Sets one option by its exact name; unknown names are ignored. Only while no search
// runs.
void set_option(const char *name, const char *value);
// Reads settings.config_path; a file that cannot be opened is ignored.
void load_config_file();
// The "option name ..." lines of "uci".
void print_options();
