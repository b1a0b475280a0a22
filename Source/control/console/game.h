// Console commands that set positions up and walk through the game. Each that ends in a new position
// prints the board.
#pragma once

#include "control/console/words.h"

// The board, with the evaluation's terms in front when settings.eval_debug is set.
void show_board();
// False, and a line that says why, for a position that no search or evaluation can stand.
bool is_searchable_position();

void start_new_game();                           // `new`
void set_board(const ConsoleWords &words);       // `fen` TEXT
void get_from_suite(const ConsoleWords &words);  // `get` ID: a line of test.epd
void step_back();                                // `undo`, `[`
void step_forward();                             // `]`
void jump_to_move(const ConsoleWords &words);    // `jump` N
void load_game(const ConsoleWords &words);       // `load` FILE TAG
void save_game();                                // `save`: appends to tmp.pgn
void play_move_text(const char *text);           // a move in any spelling
