// The transposition table: allocation, clearing, probing, storing.
#include "search/hash_table.h"

#include <cstring>

#include "base/debug_check.h"
#include "base/output.h"
#include "base/settings.h"
#include "board/attacks.h"
#include "board/fen.h"
#include "board/move_tests.h"
#include "platform/large_memory.h"
#include "platform/process.h"
#include "search/check_search.h"
#include "search/search_state.h"

HashTable hash_table;

static u64 hash_bytes;     // size of the block, spare entries included
static int hash_age_step;  // direction of the age stamp, +1 or -1

static constexpr u64 MEGABYTE = 1048576;
static constexpr i64 PARALLEL_CLEAR_ENTRIES = 0x100000;  // larger tables are cleared by all threads
static constexpr int AGE_MASK = 31;

// The fields of an entry's high word.
static int entry_age(u64 high) { return static_cast<int>(high >> 56) & AGE_MASK; }
static int entry_depth(u64 high) { return static_cast<i8>(high >> 48); }
static u64 pack_high(Move move, int eval, int score, int depth, int bound, int age) {
    return static_cast<u64>(move) | static_cast<u64>(static_cast<u16>(eval)) << 16 |
           static_cast<u64>(static_cast<u16>(score)) << 32 | static_cast<u64>(static_cast<u8>(depth)) << 48 |
           static_cast<u64>(static_cast<u8>(bound << 5 | age)) << 56;
}
static u32 check_word(u64 key, Move move, int score) {
    return (static_cast<u32>(score) + (static_cast<u32>(move) << 16) + 12000u) ^ static_cast<u32>(key >> 32);
}

void free_hash_table() {
    free_large(hash_table.memory, hash_bytes);
    hash_table.memory = nullptr;
}

// A thread's share of the table.
static void clear_share(int *index) {
    const i64 share = hash_table.entries / settings.threads;
    std::memset(static_cast<void *>(hash_table.memory + *index * share), 0,
                static_cast<u64>(share) * sizeof(HashEntry));
}

// One thread per search thread, each its share; what the division leaves over stays as it was.
static void clear_hash_parallel() {
    static Thread threads[MAX_THREADS];
    static int indices[MAX_THREADS];
    for (int i = 0; i < settings.threads; ++i) {
        indices[i] = i;
        if (!start_thread(&threads[i], clear_share, &indices[i])) {
            print_line("info string can't start a thread to clear the hash table, stopping Tarn");
            end_process(-1);
        }
    }
    // All have to be done before a search may start.
    for (int i = 0; i < settings.threads; ++i)
        if (!join_thread(&threads[i])) {
            print_line("info string can't join a thread that clears the hash table, stopping Tarn");
            end_process(-1);
        }
}

void clear_hash_table() {
    hash_table.fill = 0.0f;
    if (!hash_table.memory || hash_table.mode == HASH_OFF) return;
    if (settings.threads <= 1 || hash_table.entries <= PARALLEL_CLEAR_ENTRIES)
        std::memset(static_cast<void *>(hash_table.memory), 0,
                    static_cast<u64>(hash_table.entries) * sizeof(HashEntry));
    else clear_hash_parallel();
}

// Makes the block of `megabytes` and the views on it; false if memory can't be had. Half the
// block serves each side; the mask is a power of two, so a size that is none leaves the rest of each half
// idle. Eight units after each half take the buckets that begin at its end.
static bool make_table(int megabytes) {
    const u64 size = static_cast<u64>(megabytes) * MEGABYTE;
    hash_table.entries = static_cast<i64>(size / sizeof(HashEntry));
    hash_table.mask = ~0ULL;
    hash_table.sides[0] = hash_table.sides[1] = nullptr;
    if (megabytes == 0) {
        hash_table.mode = HASH_OFF;
        return true;
    }
    hash_bytes = (static_cast<u64>(hash_table.entries) | 16) * sizeof(HashEntry);
    hash_table.memory = static_cast<HashEntry *>(allocate_large(hash_bytes));
    if (!hash_table.memory) return false;
    hash_table.sides[0] = hash_table.memory;
    hash_table.sides[1] = hash_table.memory + size / 32 + 8;
    u64 entries = 1;
    while (entries * 2 <= size / 32) entries *= 2;
    hash_table.mask = entries - 1;
    if (hash_table.mode == HASH_OFF) hash_table.mode = HASH_ON;  // a size above 0 turns the table on again
    return true;
}

int allocate_hash_table() {
    static constexpr int NO_SIZE = -1;
    static int size_in_use = NO_SIZE;
    init_zobrist();
    free_hash_table();
    const int wanted = settings.hash_mb;
    int size = wanted;
    if (!make_table(size)) {
        size = size_in_use == NO_SIZE ? wanted / 2 : size_in_use;
        while (!make_table(size)) size /= 2;
    }
    settings.hash_mb = size_in_use = size;
    if (size == wanted) print_format("info string allocated %d Mbytes for hash table", size);
    else print_format("info string can't allocate %d Mbytes for hash table, using %d", wanted, size);
    // The block comes zeroed, its pages do not: touched here, they cost the first search nothing.
    clear_hash_table();
    if (size != wanted) return 0;
    print_line("info string Cleared hash table");
    return 1;
}

// The stamp moves between 1 and 31 like a triangle wave.
void step_hash_age() {
    if (hash_table.age < 1) hash_age_step = 1;
    else if (hash_table.age > 30) hash_age_step = -1;
    hash_table.age = static_cast<i16>(hash_table.age + hash_age_step);
}

static bool is_pawn_geometry(const Position *position, int side, Square from, Square to) {
    const int step = PAWN_STEP[side];
    if (bit(to) & pawn_attacks[side][from])
        return position->board[to] || (to == position->ep_square && has_en_passant_victim(position, side));
    if (position->board[to]) return false;
    if (to == from + step) return true;
    return to == from + 2 * step && relative_rank(side, from) == 1 && !position->board[from + step];
}

// Why an entry's move can't be played in the position: the code that is printed.
enum HashMoveFault {
    NO_FAULT = 0,
    FAULT_NO_STEP = 1,     // from and to are one square
    FAULT_PIECES = 2,      // from an empty square, or onto a king
    FAULT_NOT_OWN = 3,     // the piece is the opponent's
    FAULT_OWN_VICTIM = 4,  // onto an own piece
    FAULT_FLAGS = 6,       // a promotion without flag, or flags without a promotion
    FAULT_PAWN = 7,        // the piece doesn't move like that, or its way is blocked; by type
    FAULT_KNIGHT = 8,
    FAULT_BISHOP = 9,
    FAULT_ROOK = 10,
    FAULT_QUEEN = 11,
    FAULT_KING = 12,     // castling included
    FAULT_ILLEGAL = 14,  // leaves the king in check
};

// Does a piece of `type` move from one square to the other on this board?
static HashMoveFault step_fault(const Position *position, int type, Square from, Square to) {
    const Bitboard blockers = between[from][to] & occupied(*position), goal = bit(to);
    switch (type) {
        case PAWN: return is_pawn_geometry(position, position->stm, from, to) ? NO_FAULT : FAULT_PAWN;
        case KNIGHT: return knight_attacks[from] & goal ? NO_FAULT : FAULT_KNIGHT;
        // Sliders: the masks hold the lines of an empty board.
        case BISHOP: return bishop_mask[from] & goal && !blockers ? NO_FAULT : FAULT_BISHOP;
        case ROOK: return rook_mask[from] & goal && !blockers ? NO_FAULT : FAULT_ROOK;
        case QUEEN: return (bishop_mask[from] | rook_mask[from]) & goal && !blockers ? NO_FAULT : FAULT_QUEEN;
        default: return king_attacks[from] & goal ? NO_FAULT : FAULT_KING;
    }
}

// The first test that an entry's move fails; the move is not trusted in any way. A castling is tested by its path
// alone.
static HashMoveFault hash_move_fault(Position *position, Move move) {
    const Square from = from_of(move), to = to_of(move);
    const Move flags = flags_of(move);
    const int side = position->stm, piece = position->board[from], type = type_of(piece);
    const Bitboard occupancy = occupied(*position);
    if (type == KING && flags && colour_of(piece) == side) {
        const int right = 2 * side + !(flags & CASTLE_KINGSIDE);
        const bool home = rank_of(to) == (side ? 7 : 0);
        return home && position->castling & 1 << right && !(occupancy & position->castle_path[right]) ? NO_FAULT
                                                                                                      : FAULT_KING;
    }
    // Mover and victim.
    if (from == to) return FAULT_NO_STEP;
    const int victim = position->board[to];
    if (type < PAWN || type > KING || type_of(victim) >= KING) return FAULT_PIECES;
    if (!(position->pieces[piece_code(side, type)] & bit(from))) return FAULT_NOT_OWN;
    if (victim && colour_of(victim) == side) return FAULT_OWN_VICTIM;
    // Promotion flags.
    if (flags) {
        const bool known =
            flags == PROMO_QUEEN || flags == PROMO_KNIGHT || flags == PROMO_BISHOP || flags == PROMO_ROOK;
        if (type != PAWN || relative_rank(side, from) != 6 || !known) return FAULT_FLAGS;
    } else if (type == PAWN && relative_rank(side, from) == 6) {
        return FAULT_FLAGS;
    }
    // Geometry, and the squares between.
    if (const HashMoveFault fault = step_fault(position, type, from, to)) return fault;
    return is_move_legal(position, side, move) ? NO_FAULT : FAULT_ILLEGAL;
}

// One line for a move that no legal search can have stored: two positions share the key, or memory is damaged.
static void report_illegal_move(const Position *position, Move move, int code) {
    char fen[FEN_SIZE];
    position_to_fen(position, fen, 0);
    print_format("info fen %s\ninfo string illegal hash move: %s%s, flags= %x, code= %d\n", fen,
                 SQUARE_NAMES[from_of(move)], SQUARE_NAMES[to_of(move)], flags_of(move), code);
}

// Looks at five entries of the sliding bucket, one more than hash_store: an entry whose bucket
// begins one place earlier can still be found there.
bool hash_probe(Position *position, int *score, int *eval, int *depth, Move *move, int *bound) {
    if (hash_table.mode == HASH_OFF) return false;
    ThreadState *thread = thread_of(position);
    thread->hash_probes += 1;
    HashEntry *entry = hash_table.sides[position->stm] + (position->key & hash_table.mask);
    const u32 key_word = static_cast<u32>(position->key);
    u64 low = entry->low.load(std::memory_order_relaxed);
    for (int i = 0; static_cast<u32>(low) != key_word; low = entry->low.load(std::memory_order_relaxed)) {
        if (++i == 5) return false;
        ++entry;
    }
    u64 high = entry->high.load(std::memory_order_relaxed);
    int entry_plies = entry_depth(high);
    if (entry_age(high) != hash_table.age) {
        // An old result counts for two plies less, once per search; also on a false match.
        entry_plies = entry_plies > -126 ? entry_plies - 2 : -128;
        high = (high & 0xE000FFFFFFFFFFFFULL) | static_cast<u64>(static_cast<u8>(entry_plies)) << 48 |
               static_cast<u64>(hash_table.age) << 56;
        entry->high.store(high, std::memory_order_relaxed);
    }
    // Check word, then the move itself.
    const Move stored_move = static_cast<Move>(high);
    const int stored_score = static_cast<i16>(high >> 32);
    // A check word that does not match: another position with the same low bits, or a torn write.
    if (static_cast<u32>(low >> 32) != check_word(position->key, stored_move, stored_score)) return false;
    if (const HashMoveFault fault = hash_move_fault(position, stored_move)) {
        report_illegal_move(position, stored_move, fault);
        entry->high.store(high & ~0xFFFFULL, std::memory_order_relaxed);
        return false;
    }
    *score = stored_score;
    *eval = static_cast<i16>(high >> 16);
    *depth = entry_plies;
    *move = stored_move;
    *bound = static_cast<int>(high >> 61);
    if constexpr (DEBUG_CHECKS) require_sound_hash_entry(position, *score, *eval, *move, *bound);
    thread->hash_hits += 1;
    return true;
}

// The same position's entry is kept only when it is more than two plies deeper. Else the last
// entry of an older search goes first, and without one entry 0, current or not; depth is not asked.
void hash_store(const Position *position, int ply, int depth, Move move, int eval, int score, int bound) {
    if (hash_table.mode == HASH_OFF || !move) return;
    // A mate score is stored as a distance from the node.
    if (score < -MATE_BOUND) score -= ply;
    else if (score >= MATE_BOUND) score += ply;
    HashEntry *bucket = hash_table.sides[position->stm] + (position->key & hash_table.mask);
    const u32 key_word = static_cast<u32>(position->key);
    // The entry to write: the position's own, else one by age.
    int target = -1;
    for (int i = 0; i < 4 && target < 0; ++i)
        if (static_cast<u32>(bucket[i].low.load(std::memory_order_relaxed)) == key_word) target = i;
    if (target >= 0) {
        if (entry_depth(bucket[target].high.load(std::memory_order_relaxed)) > depth + 2) return;
    } else {
        target = 3;
        while (target > 0 && entry_age(bucket[target].high.load(std::memory_order_relaxed)) == hash_table.age) --target;
    }
    bucket[target].high.store(pack_high(move, eval, score, depth, bound, hash_table.age), std::memory_order_relaxed);
    bucket[target].low.store(static_cast<u64>(check_word(position->key, move, score)) << 32 | key_word,
                             std::memory_order_relaxed);
}

void count_hashfull() {
    int count = 0;
    if (hash_table.entries > 2999 && hash_table.memory)
        for (int i = 0; i < 1000; ++i)
            count += entry_age(hash_table.memory[i].high.load(std::memory_order_relaxed)) == hash_table.age;
    hash_table.fill = static_cast<float>(count * 0.001);
}
