// Generators of training positions by search: self-play games (-gentraindata), and existing positions
// searched again (-mktraindata).
#pragma once

#include "board/fen.h"
#include "board/position.h"

// One game. The result is known last, so the lines of all plies are kept until then.
constexpr int TRAINING_LAST_PLY = 249;
constexpr int TRAINING_PLIES = TRAINING_LAST_PLY + 2;
constexpr int PLY_TEXT = FEN_SIZE + 16;
struct TrainingGame {
    char lines[TRAINING_PLIES][PLY_TEXT];  // by ply: position and score; empty where it isn't quiet
    int plies;                             // lines used
    int written;                           // lines that aren't empty
    float result[2];                       // for the side to move at even and at odd plies: 1, 0.5 or 0
};

// Plays the master position to its end under the current settings. Draws by rule leave the result
// at one half; a side without a move has lost, in stalemate too; an unfinished game is judged
// by its last score.
void play_training_game(TrainingGame *game);
// The tools: false, with a line on standard error, when something could not be read or written.
// -gentraindata: games of the program against itself from the positions of "mybook_2mv.epd", until
// settings.train_count positions are written to settings.data_file or the disk is full.
bool generate_training_games();
// -mktraindata: settings.in_file is searched again, the quiet and consistent positions go to
// settings.out_file.
bool convert_training_epd();
