#include "support/positions.h"

#include <cstdlib>

#include "board/fen.h"
#include "board/make_move.h"
#include "board/move_tests.h"
#include "board/moves.h"
#include "board/notation.h"
#include "support/shared_data.h"

Position *set_up(const std::string &fen) {
    Position *position = &root_thread_state->position;
    set_position_from_text(position, fen.c_str());
    return position;
}

std::vector<MoveEntry> pseudo_legal_moves(Position *position) {
    MoveEntry list[MOVE_LIST_SIZE];
    return std::vector<MoveEntry>(list, generate_all(position, list));
}

std::vector<Move> legal_moves(Position *position) {
    std::vector<Move> moves;
    for (const MoveEntry &entry : pseudo_legal_moves(position))
        if (is_move_legal(position, position->stm, entry.move)) moves.push_back(entry.move);
    return moves;
}

std::string text_of(const Position *position, Move move) {
    char text[MOVE_TEXT];
    move_to_coord(position, position->stm, move, text);
    return text;
}

Move move_of(Position *position, const std::string &text) {
    for (const MoveEntry &entry : pseudo_legal_moves(position))
        if (text_of(position, entry.move) == text) return entry.move;
    return 0;
}

u64 count_leaves(Position *position, int depth) {
    MoveEntry list[MOVE_LIST_SIZE];
    const MoveEntry *end = generate_all(position, list);
    const int side = position->stm;
    u64 leaves = 0;
    for (const MoveEntry *entry = list; entry != end; ++entry) {
        if (!is_move_legal(position, side, entry->move)) continue;
        if (depth == 1) {
            ++leaves;
            continue;
        }
        make_move(position, entry->move);
        leaves += count_leaves(position, depth - 1);
        unmake_move(position);
    }
    return leaves;
}

std::string fen_of(const Position *position) {
    char text[FEN_SIZE];
    position_to_fen(position, text, 0);
    return text;
}

std::vector<LeafCounts> read_leaf_counts(const std::string &path) {
    std::vector<LeafCounts> all;
    for (const std::string &line : read_lines(path)) {
        if (line.empty() || line[0] == '#') continue;
        std::size_t at = line.find(';');
        LeafCounts counts{line.substr(0, at), {}};
        while (at != std::string::npos) {
            counts.counts.push_back(std::strtoull(line.c_str() + line.find(' ', at), nullptr, 10));
            at = line.find(';', at + 1);
        }
        all.push_back(counts);
    }
    return all;
}
