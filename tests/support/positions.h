// Short ways to positions and moves for tests; all work on the master record.
#pragma once

#include <string>
#include <vector>

#include "search/thread_state.h"

// Sets the master position from FEN text; the engine must have been started.
Position *set_up(const std::string &fen);
// Legal moves in the generators' order.
std::vector<Move> legal_moves(Position *position);
// Every pseudo-legal move as a list entry, in the generators' order.
std::vector<MoveEntry> pseudo_legal_moves(Position *position);
// Protocol text of a move of the side to move.
std::string text_of(const Position *position, Move move);
// The generated move with this protocol text, or 0.
Move move_of(Position *position, const std::string &text);
// The square with this name ("e4").
constexpr Square square_of(const char *name) { return (name[1] - '1') * 8 + name[0] - 'a'; }
// The move word of coordinate text ("e1g1"), generated or not; the flags are added as given.
constexpr Move word_of(const char *text, Move flags = 0) {
    return make_word(square_of(text), square_of(text + 2), flags);
}
// Leaves at `depth` (1 or more) by the generators and the legality test alone; nothing is made at the last ply.
u64 count_leaves(Position *position, int depth);
// The FEN text of the position without counters.
std::string fen_of(const Position *position);

// One line of a leaf-count collection: `FEN ;D1 n ;D2 n ...`; counts[0] is depth 1.
struct LeafCounts {
    std::string fen;
    std::vector<u64> counts;
};
std::vector<LeafCounts> read_leaf_counts(const std::string &path);
