// Moves that a person types.
#pragma once

// Plays the moves of the text in order, in any usual spelling; move numbers, check, mate and comment marks
// ("1.", "+", "#", "!?") and a result are allowed. Stops at the first text that is not a legal move and prints
// "invalid: " and two squares for it. Prints a line for each move, then the board, then how the game ended.
void play_moves(const char *text);
