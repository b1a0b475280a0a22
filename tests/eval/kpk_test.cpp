// King and pawn against king: the table against a second solver, known positions and real tables.
#include "eval/kpk.h"

#include <sstream>
#include <vector>

#include "board/fen.h"
#include "support/engine.h"
#include "support/shared_data.h"

namespace {

struct Board {
    int pawn, strong, weak;  // squares; the pawn moves up
};

int cell_of(bool weak_to_move, const Board &board) {
    return weak_to_move << 17 | (board.pawn / 8 * 4 + board.pawn % 8) << 12 | board.strong << 6 | board.weak;
}

bool adjacent(int a, int b) { return std::abs(a % 8 - b % 8) <= 1 && std::abs(a / 8 - b / 8) <= 1; }

std::vector<int> king_steps(int square) {
    std::vector<int> steps;
    for (int to = 0; to < 64; ++to)
        if (to != square && adjacent(square, to)) steps.push_back(to);
    return steps;
}

bool pawn_attacks_square(int pawn, int square) {
    return square / 8 == pawn / 8 + 1 && std::abs(square % 8 - pawn % 8) == 1;
}

// Whether a rook (and as a queen also a bishop) on `from` sees `to` past the strong king.
bool line_attack(bool queen, int from, int to, int blocker) {
    for (int df = -1; df <= 1; ++df)
        for (int dr = -1; dr <= 1; ++dr) {
            if ((!df && !dr) || (df && dr && !queen)) continue;
            for (int file = from % 8 + df, rank = from / 8 + dr; file >= 0 && file < 8 && rank >= 0 && rank < 8;
                 file += df, rank += dr) {
                if (rank * 8 + file == blocker) break;
                if (rank * 8 + file == to) return true;
            }
        }
    return false;
}

// With the weak side to move after promotion: lost for it unless it can take or is stalemated.
bool promotion_wins(const Board &board) {
    for (const bool queen : {true, false}) {
        if (adjacent(board.weak, board.pawn) && !adjacent(board.strong, board.pawn)) return false;
        bool can_move = line_attack(queen, board.pawn, board.weak, board.strong);  // in check: not stalemate
        for (const int to : king_steps(board.weak))
            can_move |=
                to != board.pawn && !adjacent(to, board.strong) && !line_attack(queen, board.pawn, to, board.strong);
        if (can_move) return true;
    }
    return false;
}

// A plain solver over single cells: 1 for a win, found by repeated sweeps.
std::vector<u8> solve() {
    std::vector<u8> won(2 * 32 * 64 * 64);
    std::vector<std::vector<int>> steps;
    for (int square = 0; square < 64; ++square) steps.push_back(king_steps(square));
    const auto possible = [](const Board &board) {
        return board.strong != board.pawn && board.weak != board.pawn && !adjacent(board.strong, board.weak);
    };
    for (int sweep = 0, changes = 1; changes; ++sweep) {
        changes = 0;
        for (int place = 31; place >= 4; --place)
            for (int kings = 0; kings < 4096; ++kings) {
                const Board board = {place / 4 * 8 + place % 4, kings / 64, kings % 64};
                if (!possible(board)) continue;
                if (board.pawn / 8 == 7) {
                    if (!sweep && promotion_wins(board)) changes += won[cell_of(true, board)] = 1;
                    continue;
                }
                if (!won[cell_of(false, board)] && !pawn_attacks_square(board.pawn, board.weak)) {
                    bool win = false;
                    for (const int to : steps[board.strong]) {
                        const Board next = {board.pawn, to, board.weak};
                        win |= possible(next) && won[cell_of(true, next)];
                    }
                    for (int push = 1; push <= (board.pawn / 8 == 1 ? 2 : 1); ++push) {
                        const Board next = {board.pawn + 8 * push, board.strong, board.weak};
                        if (next.pawn == board.strong || next.pawn == board.weak) break;
                        win |= won[cell_of(true, next)] != 0;
                    }
                    if (win) changes += won[cell_of(false, board)] = 1;
                }
                if (!won[cell_of(true, board)]) {
                    bool all = true, any = false;
                    for (const int to : steps[board.weak]) {
                        if (adjacent(to, board.strong) || pawn_attacks_square(board.pawn, to)) continue;
                        any = true;
                        all &= to != board.pawn && won[cell_of(false, {board.pawn, board.strong, to})];
                    }
                    if (any && all) changes += won[cell_of(true, board)] = 1;
                }
            }
    }
    return won;
}

bool table_wins(bool weak_to_move, Board board) {
    if (board.pawn % 8 > 3) board = {board.pawn ^ 7, board.strong ^ 7, board.weak ^ 7};
    return kpk_table[cell_of(weak_to_move, board)] == 2;
}

int square_of(const char *name) { return name[0] - 'a' + 8 * (name[1] - '1'); }

}  // namespace

TEST(Kpk, EqualsASecondSolver) {
    start_engine();
    const std::vector<u8> won = solve();
    int wins = 0;  // with the pawn on ranks 2 to 7
    for (std::size_t cell = 0; cell < won.size(); ++cell) {
        ASSERT_EQ(kpk_table[cell] == 2, won[cell] == 1) << cell;
        ASSERT_NE(kpk_table[cell], 0);
        wins += won[cell] && (cell >> 14 & 7) < 7;
    }
    EXPECT_EQ(wins, 111282);
}

TEST(Kpk, KnownPositions) {
    start_engine();
    struct Known {
        const char *pawn, *strong, *weak;
        bool strong_to_move_wins, weak_to_move_wins;
    };
    // clang-format off
    const Known known[] = {
        {"e6", "d6", "e8", true, false},   // e7 without check wins, with check it doesn't
        {"e5", "e6", "e8", true, true},    // king on the sixth before the pawn
        {"e4", "e5", "e7", false, true},   // opposition
        {"a6", "b6", "a8", false, false},  // rook's pawn, corner
        {"a5", "b6", "b8", false, false},
        {"h6", "g6", "h8", false, false},
        {"b6", "a6", "a8", false, true},   // knight's pawn: who moves has the wrong turn
        {"f7", "f6", "h7", true, true},    // a queen would stalemate, a rook wins
        {"b7", "b6", "d7", true, true},    // the pawn itself keeps the king from c8
        {"a5", "h1", "e5", true, false},   // the pawn's square
        {"a5", "h1", "f5", true, true},
        {"d2", "h1", "d7", false, false},
        {"a7", "a8", "c8", false, false},  // the strong king shut in by its own pawn
        {"d7", "a1", "d8", false, false},
    };
    // clang-format on
    for (const Known &test : known) {
        const Board board = {square_of(test.pawn), square_of(test.strong), square_of(test.weak)};
        EXPECT_EQ(table_wins(false, board), test.strong_to_move_wins) << test.pawn << test.strong << test.weak;
        EXPECT_EQ(table_wins(true, board), test.weak_to_move_wins) << test.pawn << test.strong << test.weak;
    }
}

TEST(Kpk, AgreesWithEndgameTables) {
    SKIP_WITHOUT_SHARED("data/syzygy/syzygy_expected.tsv");
    ThreadState *thread = start_engine();
    int checked = 0;
    for (const std::string &line : read_lines(shared_path("data/syzygy/syzygy_expected.tsv"))) {
        const std::vector<std::string> fields = split_tabs(line);
        if (fields.size() < 4 || fields[3] != "KPvK") continue;
        Position &position = thread->position;
        set_position_from_text(&position, fields[0].c_str());
        const int strong = position.material[WHITE] ? WHITE : BLACK;
        const int turn = strong == WHITE ? 0 : 63;
        const Board board = {lowest(position.pieces[piece_code(strong, PAWN)]) ^ turn, position.king_sq[strong] ^ turn,
                             position.king_sq[strong ^ 1] ^ turn};
        EXPECT_EQ(table_wins(position.stm != strong, board), fields[1] != "0") << line;
        ++checked;
    }
    EXPECT_GE(checked, 80);
}
