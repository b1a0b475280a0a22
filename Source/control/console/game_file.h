// Console commands that read positions and games from files and write them.
#pragma once

#include "control/console/words.h"

void get_from_suite(const ConsoleWords &words);  // `get` ID: a line of test.epd
void load_game(const ConsoleWords &words);       // `load` FILE TAG
void save_game(const ConsoleWords &words);       // `save`: appends to tmp.pgn
