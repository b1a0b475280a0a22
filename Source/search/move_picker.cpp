// The staged move picker: hash move, captures by exchange value, quiet moves by history, killers and
// counter moves. Moves are generated only when their stage is reached: most nodes are cut off before that.
#include "search/move_picker.h"

#ifdef __SSE4_1__
#include <smmintrin.h>
#endif

#include <cstddef>
#include <utility>

#include "base/debug_check.h"
#include "board/attacks.h"
#include "board/exchange.h"
#include "board/moves.h"
#include "search/check_search.h"

const i16 GOOD_CAPTURE_SCORE[6] = {210, 220, 230, 230, 240, 250};
const i16 BAD_CAPTURE_SCORE[6] = {2, 4, 12, 12, 16, 20};

static constexpr int GOOD_EXCHANGE = -49;  // least exchange value of a good capture, in centipawns
static constexpr int GOOD_LIMIT = 150;     // captures with this score or less wait for the quiet moves
static constexpr int ORDER_LIMIT = 2;      // moves with this score or less are handed out unsorted
static constexpr i16 HASH_MOVE_SCORE = 255;
static constexpr i16 CHECK_SCORE = 100;

#ifdef __SSE4_1__
// The first of the best scores among `count` entries (at least 1). Eight entries, 48 bytes, at a time:
// three shuffles bring their scores together, and the processor's minimum-and-place of unsigned
// words does the rest, on 32767 - score. May read up to seven entries past the last.
static int best_place(const MoveEntry *entries, int count) {
    static_assert(sizeof(MoveEntry) == 6 && offsetof(MoveEntry, score) == 2);
    const __m128i first = _mm_setr_epi8(2, 3, 8, 9, 14, 15, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1);
    const __m128i second = _mm_setr_epi8(-1, -1, -1, -1, -1, -1, 4, 5, 10, 11, -1, -1, -1, -1, -1, -1);
    const __m128i third = _mm_setr_epi8(-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 0, 1, 6, 7, 12, 13);
    const __m128i lanes = _mm_setr_epi16(0, 1, 2, 3, 4, 5, 6, 7);
    int best = 0x10000, place = 0;
    for (int at = 0; at < count; at += 8) {
        const __m128i *bytes = reinterpret_cast<const __m128i *>(entries + at);
        const __m128i scores = _mm_or_si128(_mm_or_si128(_mm_shuffle_epi8(_mm_loadu_si128(bytes), first),
                                                         _mm_shuffle_epi8(_mm_loadu_si128(bytes + 1), second)),
                                            _mm_shuffle_epi8(_mm_loadu_si128(bytes + 2), third));
        const __m128i past_end = _mm_cmpgt_epi16(lanes, _mm_set1_epi16(static_cast<i16>(count - at - 1)));
        const __m128i inverted = _mm_or_si128(_mm_sub_epi16(_mm_set1_epi16(32767), scores), past_end);
        const int found = _mm_cvtsi128_si32(_mm_minpos_epu16(inverted));  // low word the value, then its lane
        if ((found & 0xFFFF) < best) {
            best = found & 0xFFFF;
            place = at + (found >> 16);
        }
    }
    return place;
}
#else
// The first of the best scores among `count` entries (at least 1).
static int best_place(const MoveEntry *entries, int count) {
    int place = 0;
    for (int at = 1; at < count; ++at)
        if (entries[at].score > entries[place].score) place = at;
    return place;
}
#endif

// Swaps the entry with the best score of the rest of the list into `current`; the first of equals
// wins. The list ends one entry before the next ply's.
static MoveEntry *select_best(const PlyRecord *record, MoveEntry *current) {
    const int count = static_cast<int>(record[1].move_list - 1 - current);
    if (count > 1) std::swap(*current, current[best_place(current, count)]);
    return current;
}

i16 capture_order_score(const Position *position, int side, const MoveEntry *entry) {
    const int mover = type_of(entry->piece), victim = type_of(entry->captured);
    const Square from = from_of(entry->move), to = to_of(entry->move);
    // Good: takes something of at least the mover's value, or an exchange that loses less than half a pawn.
    const bool good = (mover != KING && SEE_VALUE[victim] >= SEE_VALUE[mover]) ||
                      see_reaches(position, side, from, to, GOOD_EXCHANGE);
    return good ? static_cast<i16>(GOOD_CAPTURE_SCORE[victim] - mover) : BAD_CAPTURE_SCORE[victim];
}

void close_move_list(ThreadState *thread, MoveEntry *end) {
    if constexpr (DEBUG_CHECKS) require_room_in_pool(thread, end);
    end->move = END_OF_LIST;
    thread->plies[thread->game.ply + 1].move_list = end + 1;
    thread->plies[thread->game.ply + 2].move_list = end + 2;
}

void generate_ply_list(ThreadState *thread) {
    close_move_list(thread, generate_all(&thread->position, thread->plies[thread->game.ply].move_list));
}

// The stages that generate are kept out of line: next_move, called for every move, saves fewer registers then.

// Generates and scores captures, promotions and pushes to the seventh rank. Quiescence does without exchanges and
// scores by most valuable victim, least valuable attacker alone.
[[gnu::noinline]] static void generate_tactical(ThreadState *thread, PlyRecord *record, MoveEntry *start) {
    Position *position = &thread->position;
    const int side = position->stm;
    const bool full = (record->picker_stage & PICK_FULL) != 0;
    MoveEntry *end = generate_captures(position, side, start, record->check_square);
    end = generate_promotions(position, side, full, end);
    end = generate_seventh_rank_pushes(position, side, end);
    close_move_list(thread, end);
    for (MoveEntry *entry = start; entry != end; ++entry)
        entry->score = full ? capture_order_score(position, side, entry)
                            : static_cast<i16>(GOOD_CAPTURE_SCORE[type_of(entry->captured)] - type_of(entry->piece));
}

// Scores quiet moves by history, 0..80; killers, counter moves (which refuted the same previous move) and the
// follow-up move (which was good after the same move two plies back) are lifted above it.
static void score_quiets(ThreadState *thread, const PlyRecord *record, MoveEntry *start, MoveEntry *end) {
    u16 counter1 = 0, counter2 = 0, follow = 0;
    const MoveEntry *previous = record[-1].current_move, *before = record[-2].current_move;
    if (previous->move) {
        const Square to = to_of(previous->move);
        counter1 = thread->counter_move1[previous->piece][to];
        counter2 = thread->counter_move2[previous->piece][to];
        if (before->move) follow = thread->follow_move[before->piece][to_of(before->move)];
    }
    for (MoveEntry *entry = start; entry != end; ++entry) {
        const u16 move = entry->move;
        // The history cell has 18 bits.
        int score = static_cast<int>(thread->history[entry->piece][to_of(move)] * 80 / 0x40000);
        if (!record->in_check) {
            if (move == record->killer1) score += 80;
            else if (move == record->killer2) score += 75;
            else if (move == counter1) score += 65;
            else if (move == counter2) score += 60;
            else if (move == follow) score += 50;
        } else {
            if (move == record->evasion_killer) score += 70;
            else if (move == counter1) score += 65;
            else if (move == counter2) score += 60;
        }
        entry->score = static_cast<i16>(score);
    }
}

// Appends the quiet moves to what is left of the list, the captures that lose material.
[[gnu::noinline]] static void append_quiets(ThreadState *thread, PlyRecord *record, MoveEntry *end) {
    while (end->move != END_OF_LIST) ++end;
    MoveEntry *start = end;
    end = generate_quiets(&thread->position, thread->position.stm, start, record->check_square);
    close_move_list(thread, end);
    if (thread->game.ply > 1) score_quiets(thread, record, start, end);
}

// Appends the quiet moves that check with the piece that moves; discovered checks are left out. Pawn pushes onto the
// seventh rank have been handed out with the captures and come again here.
[[gnu::noinline]] static void append_checks(ThreadState *thread, MoveEntry *start) {
    const Position *position = &thread->position;
    const int side = position->stm;
    const Square king = position->king_sq[side ^ 1];
    const Bitboard occupancy = occupied(*position), empty = ~occupancy;
    const Bitboard diagonals = bishop_attacks(king, occupancy) & empty, lines = rook_attacks(king, occupancy) & empty;
    MoveEntry *end = generate_pawn_pushes(position, side, pawn_attacks[side ^ 1][king] & empty, occupancy, start);
    end = generate_piece_moves(position, side, KNIGHT, knight_attacks[king] & empty, occupancy, end);
    end = generate_piece_moves(position, side, BISHOP, diagonals, occupancy, end);
    end = generate_piece_moves(position, side, ROOK, lines, occupancy, end);
    end = generate_queen_moves(position, side, diagonals | lines, occupancy, end);
    close_move_list(thread, end);
    for (MoveEntry *entry = start; entry != end; ++entry) {
        entry->score = CHECK_SCORE;
        entry->captured = 0;
    }
}

// Makes the hash move the list's only entry so far.
static MoveEntry *write_hash_move(ThreadState *thread, Move move, MoveEntry *entry) {
    const Position *position = &thread->position;
    *entry = {move, HASH_MOVE_SCORE, position->board[from_of(move)], position->board[to_of(move)]};
    close_move_list(thread, entry + 1);
    return entry;
}

// Runs the stages from the one where the last call stopped: a stage that generates, or that has nothing left to hand
// out, names its successor and continues; a stage that finds a move leaves the loop and comes again at the next call.
MoveEntry *next_move(Position *position) {
    ThreadState *thread = thread_of(position);
    PlyRecord *record = &thread->plies[thread->game.ply];
    const u16 flags = record->picker_stage & static_cast<u16>(~STAGE_MASK);
    int stage = record->picker_stage & STAGE_MASK;
    const bool at_start = stage == STAGE_HASH_MOVE || stage == STAGE_LIST_START;
    MoveEntry *current = at_start ? record->move_list : record->current_move + 1;
    MoveEntry *found = nullptr;
    for (;;) {
        switch (stage) {
            // Hash move: a list of this one entry. It has been tested when it was read from the table.
            case STAGE_HASH_MOVE:
                stage = STAGE_TACTICAL;
                if (!record->hash_move || !(flags & PICK_HASH_MOVE)) continue;
                found = write_hash_move(thread, record->hash_move, current);
                break;

            // Captures, promotions and pushes to the seventh rank: generated and scored, after the hash move's entry.
            case STAGE_TACTICAL:
                generate_tactical(thread, record, current);
                stage = flags & PICK_FULL ? STAGE_GOOD_CAPTURES : STAGE_CAPTURES;
                continue;

            // Quiescence: all of them, best first.
            case STAGE_CAPTURES:
                found = select_best(record, current);
                if (found->move != END_OF_LIST) break;
                stage = STAGE_CHECKS;
                continue;

            // Quiescence, first ply: quiet checks. All have one score, so there is nothing to sort.
            case STAGE_CHECKS:
                found = nullptr;
                if (!(flags & PICK_CHECKS)) break;
                append_checks(thread, current);
                stage = STAGE_PLAIN_REST;
                continue;

            // Good captures, best first. The first losing one ends the stage and stays in the list.
            case STAGE_GOOD_CAPTURES:
                found = select_best(record, current);
                if (found->move != END_OF_LIST && found->score > GOOD_LIMIT) break;
                stage = STAGE_QUIETS;
                continue;

            // Quiet moves: generated and scored by history, killers and counter moves.
            case STAGE_QUIETS:
                append_quiets(thread, record, current);
                stage = STAGE_ORDERED_REST;
                continue;

            // Quiet moves and losing captures together, by score.
            case STAGE_ORDERED_REST:
                found = select_best(record, current);
                if (found->move != END_OF_LIST && found->score > ORDER_LIMIT) break;
                stage = STAGE_PLAIN_REST;
                continue;

            // The rest, unsorted.
            case STAGE_PLAIN_REST: found = current->move != END_OF_LIST ? current : nullptr; break;

            // A list that the caller has filled, best first.
            case STAGE_LIST_START: stage = STAGE_LIST; continue;
            case STAGE_LIST:
                found = select_best(record, current);
                if (found->move == END_OF_LIST) found = nullptr;
                break;

            default: break;  // no such stage: no move
        }
        break;
    }
    record->picker_stage = static_cast<u16>(flags | stage);
    if (found) record->current_move = found;
    if constexpr (DEBUG_CHECKS)
        if (!found && stage < STAGE_LIST_START)
            require_sound_picked_list(thread, flags & PICK_FULL, flags & PICK_HASH_MOVE ? record->hash_move : 0);
    return found;
}
