// Where the games of self-play start: opening lines with random moves after them, and random endings.
#pragma once

#include <string>
#include <vector>

#include "board/position.h"
#include "random.h"

constexpr int MAX_LEGAL_MOVES = 256;

// The lines of an EPD file that set up a legal position. Empty when the file can't be read or has none.
std::vector<std::string> read_openings(const char *path);
// Sets the master position up from a random line (the start position without lines) and plays random
// legal moves. False when the game is over on the way.
bool set_random_opening(const std::vector<std::string> &lines, int random_plies, Random *random);

// Endings by the pieces of the stronger side, kings and pawns left out.
enum class EndingKind { PAWNS, ONE_PIECE, TWO_PIECES };
EndingKind draw_ending_kind(Random *random);
// Sets the master position up as a random ending: legal, nobody in check, material within two pawns.
void set_random_ending(EndingKind kind, Random *random);

// The legal moves of the master position; `moves` holds MAX_LEGAL_MOVES. Returns their number.
int list_legal_moves(Move *moves);
// A random legal move of the master position, 0 without one.
Move random_legal_move(Random *random);
bool is_in_check(const Position *position);
// True when the evaluation answers without the network: nobody can mate, or a bare king that is
// driven to the edge by a rule. Such positions teach the network nothing.
bool is_answered_by_rule(const Position *position);
// True when neither side has the material to force mate: the game is a draw.
bool is_dead_material(const Position *position);
