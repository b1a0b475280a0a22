// Loads the network from one of three sources (a file, the block built into the program, an empty network for the
// tools) and checks its header. Called at start and by the option NN_File.
#include "eval/network/file.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "base/output.h"
#include "base/settings.h"
#include "base/text.h"
#include "platform/data_file.h"
#include "platform/file_offset.h"
#include "platform/large_memory.h"
#include "platform/process.h"

Network network;

// The first 24 bytes of a network file, little-endian like the machine.
struct NetworkHeader {
    i16 id;
    i16 activation_scale;
    i16 weight_scale;
    i16 output_scale;
    i16 king_buckets;  // or input features, from 768 up
    i16 flags;
    i16 hidden_size;
    i16 reserved1;
    i16 reserved2;
    i16 output_count;
    i32 weight_count;  // as stored; ignored, the size follows from the header
};
static_assert(sizeof(NetworkHeader) == 24);

static u64 block_bytes;  // size of network.weights; the counts can change under it (network pruning)

// What the program's own network looks like, and what "new" makes.
static constexpr NetworkHeader STANDARD_HEADER = {770, 1500, 3000, 400, 2, 1, 2560, 0, 0, 5, 1989120};

constexpr int FEATURES_PER_BUCKET = 768;  // 2 colours, 6 piece types, 64 squares
constexpr int OUTPUT_ROWS = 8;            // stored rows; at most five are used
constexpr int WORD_SCALE = 128;           // a weight scale below it: the file's weights are bytes
constexpr i64 UNKNOWN_SIZE = -1;

// The block of embedded_network.S. NOLINTBEGIN(readability-identifier-naming): the names are symbols of that file.
extern "C" const u8 embedded_network[];
extern "C" const u8 embedded_network_end[];
// NOLINTEND(readability-identifier-naming)

static int king_buckets_of(const NetworkHeader &header) {
    return header.king_buckets < FEATURES_PER_BUCKET ? header.king_buckets : header.king_buckets / FEATURES_PER_BUCKET;
}

static i64 first_layer_size(const NetworkHeader &header) {
    return static_cast<i64>(king_buckets_of(header)) * header.hidden_size * (FEATURES_PER_BUCKET / 2);
}

static i64 weights_needed(const NetworkHeader &header) {
    return first_layer_size(header) + static_cast<i64>(OUTPUT_ROWS + 1) * header.hidden_size;
}

static int weight_width(const NetworkHeader &header) { return header.weight_scale < WORD_SCALE ? 1 : 2; }

// True when no network can be made from the header and the bytes after it (UNKNOWN_SIZE: not known);
// `text` then holds why. More bytes than needed are no fault.
static bool has_defect(const NetworkHeader &header, i64 bytes, char text[NETWORK_DEFECT_SIZE]) {
    const i64 needed = weights_needed(header);
    if (header.hidden_size <= 0 || header.hidden_size % 2) {
        std::snprintf(text, NETWORK_DEFECT_SIZE, "hidden size %d is not a positive even number", header.hidden_size);
    } else if (header.king_buckets <= 0) {
        std::snprintf(text, NETWORK_DEFECT_SIZE, "%d king buckets", header.king_buckets);
    } else if (header.activation_scale == 0) {
        std::snprintf(text, NETWORK_DEFECT_SIZE, "activation scale 0");
    } else if (needed > std::numeric_limits<i32>::max()) {
        std::snprintf(text, NETWORK_DEFECT_SIZE, "%lld weights are too many", static_cast<long long>(needed));
    } else if (bytes != UNKNOWN_SIZE && bytes / weight_width(header) < needed) {
        std::snprintf(text, NETWORK_DEFECT_SIZE, "cut short, %lld of %lld weights",
                      static_cast<long long>(bytes / weight_width(header)), static_cast<long long>(needed));
    } else {
        return false;
    }
    return true;
}

// Takes over a header without defect and makes the block that it asks for, unset. Ends the program
// when there is no memory for it.
static void set_geometry(const NetworkHeader &header) {
    network.id = header.id;
    network.activation_scale = header.activation_scale;
    network.weight_scale = header.weight_scale;
    network.output_scale = header.output_scale;
    network.king_buckets = king_buckets_of(header);
    network.flags = 1;
    network.hidden_size = header.hidden_size;
    network.output_count = header.output_count;
    network.first_layer_count = static_cast<i32>(first_layer_size(header));
    network.weight_count = static_cast<i32>(weights_needed(header));
    ++network.generation;

    block_bytes = static_cast<u64>(network.weight_count) * sizeof(i16);
    network.weights = static_cast<i16 *>(allocate_large(block_bytes));
    if (!network.weights) {
        print_line("allocating memory for net failed!");
        end_process(1);
    }
    network.first_layer = network.weights;
    network.output_rows = network.first_layer + network.first_layer_count;
    network.hidden_biases = network.output_rows + OUTPUT_ROWS * network.hidden_size;
}

// Adds, for each node, the `count` (at most eight) largest of the 64 weights of a piece, times `sign`, to `reach`.
// Weights of the other sign count as 0.
static void add_largest(const i16 *rows, int half, int sign, int count, i32 *reach) {
    constexpr int BLOCK = 64, MAX_COUNT = 8;
    for (int from = 0; from < half; from += BLOCK) {
        const int nodes = half - from < BLOCK ? half - from : BLOCK;
        i16 largest[MAX_COUNT][BLOCK] = {};
        for (int square = 0; square < 64; ++square) {
            const i16 *row = rows + static_cast<std::size_t>(square) * static_cast<std::size_t>(half) + from;
            i16 rest[BLOCK];
            // -32768 counts as 32767, which is too much already.
            for (int node = 0; node < nodes; ++node)
                rest[node] = static_cast<i16>(sign > 0 ? row[node] : row[node] == -32768 ? 32767 : -row[node]);
            for (int rank = 0; rank < count; ++rank)
                for (int node = 0; node < nodes; ++node) {
                    const i16 held = largest[rank][node];
                    largest[rank][node] = rest[node] > held ? rest[node] : held;
                    rest[node] = rest[node] > held ? held : rest[node];
                }
        }
        for (int rank = 0; rank < count; ++rank)
            for (int node = 0; node < nodes; ++node) reach[from + node] += largest[rank][node];
    }
}

// True when no sum can leave 16 bits while each side has no more pieces of a type than at the start of a game: the
// bias and the largest weights on that many squares, for both signs.
static bool sums_stay_in_range() {
    constexpr int PIECE_LIMIT[12] = {8, 2, 2, 2, 1, 1, 8, 2, 2, 2, 1, 1};  // pawn to king: own, then the enemy's
    const int half = network.hidden_size / 2;
    const int buckets = network.king_buckets == 2 ? 2 : 1;
    const std::size_t piece_rows = 64 * static_cast<std::size_t>(half);
    i32 *reach = static_cast<i32 *>(std::malloc(static_cast<std::size_t>(half) * sizeof(i32)));
    bool in_range = reach != nullptr;
    const i16 *rows = network.first_layer;
    for (int bucket = 0; bucket < buckets && in_range; ++bucket, rows += 12 * piece_rows)
        for (int sign = -1; sign <= 1 && in_range; sign += 2) {
            for (int node = 0; node < half; ++node) {
                const int white = sign * network.hidden_biases[node], black = sign * network.hidden_biases[half + node];
                reach[node] = white > black ? white : black;
            }
            for (std::size_t piece = 0; piece < 12; ++piece)
                add_largest(rows + piece * piece_rows, half, sign, PIECE_LIMIT[piece], reach);
            for (int node = 0; node < half; ++node) in_range = in_range && reach[node] < 32767;
        }
    std::free(reach);
    return in_range;
}

static void clear_weights() {
    std::memset(network.weights, 0, static_cast<std::size_t>(network.weight_count) * sizeof(i16));
}

static void widen_bytes(const i8 *bytes, i16 *words, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) words[i] = bytes[i];
}

// Reads the weights from the current position of the file, one or two bytes each. Returns the number read.
static i64 read_weights(std::FILE *file, int width) {
    const std::size_t total = static_cast<std::size_t>(network.weight_count);
    if (width == 2) return static_cast<i64>(std::fread(network.weights, sizeof(i16), total, file));
    i8 chunk[4096];
    std::size_t done = 0;
    while (done < total) {
        const std::size_t wanted = total - done < sizeof chunk ? total - done : sizeof chunk;
        const std::size_t got = std::fread(chunk, 1, wanted, file);
        widen_bytes(chunk, network.weights + done, got);
        done += got;
        if (got < wanted) break;
    }
    return static_cast<i64>(done);
}

// Bytes between here and the end, or UNKNOWN_SIZE where the stream has no such thing (a pipe).
static i64 bytes_ahead(std::FILE *file) {
    const i64 here = file_place(file), end = stream_size(file);
    if (here < 0 || end < 0) return UNKNOWN_SIZE;
    return end < here ? 0 : end - here;
}

bool read_network(std::FILE *file, char text[NETWORK_DEFECT_SIZE]) {
    NetworkHeader header;
    if (std::fread(&header, sizeof header, 1, file) != 1) {
        std::snprintf(text, NETWORK_DEFECT_SIZE, "header cut short");
        return false;
    }
    if (has_defect(header, bytes_ahead(file), text)) return false;
    set_geometry(header);
    const i64 got = read_weights(file, weight_width(header));
    if (got == network.weight_count) return true;
    std::snprintf(text, NETWORK_DEFECT_SIZE, "cut short, %lld of %lld weights", static_cast<long long>(got),
                  static_cast<long long>(network.weight_count));
    free_network();
    return false;
}

// The block built into the program. It is whatever file the build was given, so it is checked like
// any other; a damaged one leaves a network of zeros, which at least plays legal moves.
static void load_embedded() {
    const i64 size = embedded_network_end - embedded_network;
    NetworkHeader header = {};
    char text[NETWORK_DEFECT_SIZE] = "header cut short";
    if (size >= static_cast<i64>(sizeof header)) std::memcpy(&header, embedded_network, sizeof header);
    const i64 bytes = size - static_cast<i64>(sizeof header);
    if (bytes < 0 || has_defect(header, bytes, text)) {
        print_format("info string embedded network: %s; all weights are 0", text);
        set_geometry(STANDARD_HEADER);
        clear_weights();
        return;
    }
    set_geometry(header);
    const u8 *weights = embedded_network + sizeof header;
    const std::size_t count = static_cast<std::size_t>(network.weight_count);
    if (weight_width(header) == 2) std::memcpy(network.weights, weights, count * sizeof(i16));
    else widen_bytes(reinterpret_cast<const i8 *>(weights), network.weights, count);
    print_line("info string loaded embedded network");
}

// The named file. A damaged one must not leave the engine without weights: it plays on with its own
// network and says why.
static void load_file(const char *name) {
    std::FILE *file = open_data_file(name);
    if (!file) {
        print_format("info string can't open %s", name);
        end_process(0);
    }
    char text[NETWORK_DEFECT_SIZE];
    const bool loaded = read_network(file, text);
    std::fclose(file);
    if (loaded) {
        print_format("info string loaded %s", name);
    } else {
        print_format("info string %s: %s; using the embedded network", name, text);
        copy_text(settings.nn_file, "embedded", sizeof settings.nn_file);  // as "uci" shows it
        load_embedded();
    }
}

void load_network() {
    free_network();
    network.never_saturates = false;
    if (!std::strcmp(settings.nn_file, "new")) {
        print_line("creating new net...");
        set_geometry(STANDARD_HEADER);
        clear_weights();  // a base for tools to fill; zeros are the same in every run
        return;
    }
    if (!std::strcmp(settings.nn_file, "embedded")) load_embedded();
    else load_file(settings.nn_file);
    network.never_saturates = sums_stay_in_range();
    // The generator's sequence is part of how a run repeats itself: loading has always taken one value.
    static_cast<void>(std::rand());
}

void free_network() {
    free_large(network.weights, block_bytes);
    network.weights = network.first_layer = network.output_rows = network.hidden_biases = nullptr;
}
