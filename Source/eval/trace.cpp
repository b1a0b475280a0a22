// Prints the hand-crafted evaluation by stages, and its parameter table.
#include "eval/trace.h"

#include <cstring>

#include "base/output.h"
#include "eval/evaluate.h"
#include "eval/handcrafted/hand_eval.h"
#include "eval/handcrafted/parameters.h"
#include "eval/network/forward.h"

static void print_term(const char *label, int white, int black, int material) {
    print_plain("%-10s  %4d   %4d    %4d\n", label, white, black, material);
}

static void print_stage(const EvalScratch &scratch, const char *label, TraceTerm term) {
    print_term(label, blend_score(scratch.trace_terms[term][WHITE], scratch.phase),
               blend_score(scratch.trace_terms[term][BLACK], scratch.phase), 0);
}

// Prints the stage of one piece type, with the material in a column of its own. Returns the material difference from
// white's point of view.
static int print_piece_stage(const EvalScratch &scratch, const Position &position, const char *label, TraceTerm term,
                             int type, const ParamRecord *material) {
    int worth[2], positional[2];
    for (int side = WHITE; side <= BLACK; ++side) {
        const int count = popcount(position.pieces[piece_code(side, type)]);
        worth[side] = blend_score(static_cast<i32>(packed_times(count, material)), scratch.phase);
        positional[side] = blend_score(scratch.trace_terms[term][side], scratch.phase) - worth[side];
    }
    print_term(label, positional[WHITE], positional[BLACK], worth[WHITE] - worth[BLACK]);
    return worth[WHITE] - worth[BLACK];
}

static void print_squares(const char *title, Bitboard squares) {
    if (!squares) return;
    print_plain("%s", title);
    while (squares) print_plain(" %s", SQUARE_NAMES[pop_lowest(squares)]);
    print_plain("\n");
}

static void print_parameters() {
    for (int i = 0; i < param_count; ++i) {
        const ParamRecord &param = param_table[i];
        if (std::strstr(param.name, "PST_") || std::strstr(param.name, "ttune")) continue;
        print_plain("%-22s  %4d , %4d\n", param.name, static_cast<int>(param.mg), static_cast<int>(param.eg));
    }
    print_pst_table("Pawn1", PST_P1);
    print_pst_table("Pawn2", PST_P2);
    print_pst_table("Connected Pawn", PST_CP);
    print_pst_table("Defended Pawn", PST_DP);
    print_pst_table("Knight", PST_N);
    print_pst_table("Bishop", PST_B);
    print_pst_table("Rook", PST_R);
    print_pst_table("Queen", PST_Q);
    print_pst_table("King ", PST_K);
}

void trace_eval(EvalState *state, const Position &position, int mode, int quiescence_score) {
    EvalScratch &scratch = state->scratch;
    scratch.trace_on = 1;
    int network_score = NO_NETWORK_SCORE;
    static_cast<void>(network_eval(state, position, &network_score));
    const int hand_score = hand_eval(state, position);
    scratch.trace_on = 0;

    print_plain("           white  black      md\n");
    int material = print_piece_stage(scratch, position, "pawns:", TRACE_PAWNS, PAWN, mtl_pawn);
    material += print_piece_stage(scratch, position, "knights:", TRACE_KNIGHTS, KNIGHT, mtl_knight);
    material += print_piece_stage(scratch, position, "bishops:", TRACE_BISHOPS, BISHOP, mtl_bishop);
    material += print_piece_stage(scratch, position, "rooks:", TRACE_ROOKS, ROOK, mtl_rook);
    material += print_piece_stage(scratch, position, "queens:", TRACE_QUEENS, QUEEN, mtl_queen);
    print_stage(scratch, "king:", TRACE_KING);
    print_stage(scratch, "ppawns:", TRACE_PASSERS);
    print_stage(scratch, "threats:", TRACE_THREATS);
    print_stage(scratch, "special:", TRACE_SPECIAL);
    print_squares("hung pieces on: ", scratch.hung_pieces);
    print_squares("free pawns on: ", scratch.free_pawns);
    print_plain("nne= %d, hce= %d, qscore= %d, mtl= %d, phase= %0.2f, sf= %0.2f, rule50= %d\n\n", network_score,
                hand_score, quiescence_score, position.stm == WHITE ? material : -material,
                static_cast<double>(scratch.phase), 1.0, position.fifty);
    if (mode == TRACE_PARAMETERS) print_parameters();
}
