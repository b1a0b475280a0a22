// Console commands that set positions up and walk through the game. Each that ends in a new position
// prints the board.
#pragma once

#include "control/console/words.h"
#include "search/thread_state.h"

// Prints the board, preceded by the evaluation's terms if settings.eval_debug is set.
void show_board();
// Returns false and prints the reason if the position cannot be searched or evaluated.
bool is_searchable_position();
// Prints a line when the game is over in this position: mate, stalemate or a draw by rule.
void announce_game_end();

void start_new_game();                         // `new`
void set_board(const ConsoleWords &words);     // `fen` TEXT
void step_back();                              // `undo`, `[`
void step_forward();                           // `]`
void jump_to_move(const ConsoleWords &words);  // `jump` N

// Unmakes the last move of the game; there must be one.
void unmake_game_move();
// Gives both sides the time of `set level`.
void reset_clocks();

// The moves of the game and those that were taken back. Searching the game's own position overwrites the
// latter, so code that makes moves outside the game keeps the records before and restores them
// afterwards.
struct KeptRecords {
    GameRecord records[GAME_STACK_SIZE];
};
void keep_records(KeptRecords *kept);
void restore_records(const KeptRecords *kept);
