// The main loop of normal play.
#pragma once

extern unsigned char auto_reply;  // make the best move of a search on the board
extern unsigned char self_play;   // play both sides

// Returns when settings.quit_flag is set.
void game_driver();
