// King and one man against king, solved from the rules, and written as tables. The results serve as
// the expected values of what the reader gives back.
#pragma once

#include <string>

#include "support/table_writer.h"
#include "tablebase/tb_position.h"

// In all of these the side with the man (PAWN, ROOK or QUEEN) is white, and `turn` is 1 for white to
// move.
constexpr int NO_STATE = 32767;

// Half-moves to the next capture, pawn move or mate, counted as the tables do: positive for the side to
// move that wins, -1 mated, 0 a draw; NO_STATE where no position is.
int ending_dtz(int type, int turn, int man, int white_king, int black_king);

// A legal position of the ending, or false.
bool ending_position(int type, int turn, int man, int white_king, int black_king, TbPosition *pos);
// The same position with colours and board turned over.
TbPosition mirrored(const TbPosition &pos);

// How distances are turned into a DTZ file, and results into a WDL file.
struct EndingFormat {
    int dtz_turn = 1;  // the side to move that the DTZ file holds
    int dtz_flags = WIN_PLIES_FLAG | LOSS_PLIES_FLAG;
    int cursed_from = 10000;  // wins of this many plies and more, losses of more, are spoilt by the 50-move rule
    int cursed_shift = 0;     // what is added to their distance to pass 100
    int block_bits = 6, index_bits = 9, pair_rounds = 40;
};
// Distance and result (-2 to 2) of a solved value under the format.
int formatted_dtz(int dtz, const EndingFormat &format);
int formatted_wdl(int dtz, const EndingFormat &format);

TablePlan ending_wdl_plan(int type, const EndingFormat &format);
TablePlan ending_dtz_plan(int type, const EndingFormat &format);
// "KQvK" and so on.
std::string ending_name(int type);
// Writes both files of the three endings, and of the drawn ones with a minor piece, into the directory.
bool write_three_endings(const std::string &directory);
// Points the engine at the directory and sets the tables up.
void use_tables(const std::string &directory);
