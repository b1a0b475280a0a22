// Training records: packing, loading, and the conversions from and to EPD text.
#include "tools/training_data.h"

#include <climits>
#include <cstdlib>
#include <cstring>

#include "base/output.h"
#include "base/progress.h"
#include "base/random.h"
#include "base/settings.h"
#include "base/text.h"
#include "board/fen.h"
#include "control/driver_state.h"
#include "formats/epd.h"
#include "formats/output_file.h"
#include "formats/text_file.h"
#include "platform/clock.h"
#include "platform/file_offset.h"
#include "search/thread_state.h"

constexpr i64 FIRST_CAPACITY = 1 << 16;
constexpr double ANNOUNCED_MEGABYTES = 18000.0;  // what TRAIN_RECORD_LIMIT records would fill
constexpr int NO_SCORE = -10000;                 // replaces a missing ce or sc

void free_train_records(TrainRecords *records) {
    std::free(records->block);
    *records = {};
}

// Makes room for at least one more record by doubling. False at the limit or without memory.
static bool grow_train_records(TrainRecords *records) {
    if (records->count < records->capacity) return true;
    if (records->count >= TRAIN_RECORD_LIMIT) return false;
    i64 capacity = records->capacity ? 2 * records->capacity : FIRST_CAPACITY;
    if (capacity > TRAIN_RECORD_LIMIT) capacity = TRAIN_RECORD_LIMIT;
    void *block = std::realloc(records->block, static_cast<std::size_t>(capacity) * sizeof(TrainRecord));
    if (!block) {
        std::fprintf(stderr, "no memory for more than %lld training positions\n",
                     static_cast<long long>(records->count));
        return false;
    }
    records->block = static_cast<TrainRecord *>(block);
    records->capacity = capacity;
    return true;
}

static bool start_train_records(TrainRecords *records) {
    free_train_records(records);
    if (!grow_train_records(records)) return false;
    print_plain("allocated %.0f Mbytes for training data.\n", ANNOUNCED_MEGABYTES);
    return true;
}

int load_train_records(const char *path, TrainRecords *records) {
    if (!start_train_records(records)) return -1;
    std::srand(calendar_seconds());
    root_thread_state->thread_rand = static_cast<u32>(std::rand());
    next_random(&root_thread_state->thread_rand);
    if (!has_extension(path, ".bin")) return -1;
    std::FILE *in = open_input(path);
    if (!in) return -1;
    while (records->count < TRAIN_RECORD_LIMIT && !driver.quit) {
        if (!grow_train_records(records)) {
            std::fclose(in);
            return -1;
        }
        const i64 room = records->capacity - records->count;
        const std::size_t got =
            std::fread(records->block + records->count, sizeof(TrainRecord), static_cast<std::size_t>(room), in);
        records->count += static_cast<i64>(got);
        if (static_cast<i64>(got) < room) break;
    }
    const bool read = close_input(in, path);
    print_plain("read %d positions from %s.\n\n", static_cast<int>(records->count), path);
    return read ? 0 : -1;
}

// Missing operations are filled in before any clamping: `ce` wraps to 16 bits, `sc` is clamped first.
int record_from_epd_line(const char *line, TrainRecord *record) {
    EpdLine epd;
    split_epd_line(line, &epd);
    int ce = epd.ce[0] ? integer_in_range(epd.ce, -INT_MAX, INT_MAX) : NO_SCORE;
    int sc = epd.sc[0] ? integer_in_range(epd.sc, -INT_MAX, INT_MAX) : NO_SCORE;
    float result = epd.gr[0] ? static_cast<float>(decimal_of(epd.gr)) : -1.0f;
    if (ce == NO_SCORE && sc == NO_SCORE) return 0;
    if (ce == NO_SCORE) ce = sc;
    if (sc == NO_SCORE) sc = ce;
    if (result < 0.0f) result = score_to_win_prob(ce);

    sc = cut_train_score(sc);
    const double probability = static_cast<double>(score_to_win_prob(sc));
    // A game won from a lost position, or the reverse, teaches nothing.
    if (result == 0.0f && probability > 0.8) return 0;
    if (result == 1.0f && probability < 0.2) return 0;

    Position *position = &root_thread_state->position;
    set_position_from_fen(position, epd.fen);
    for (const int king : {piece_code(WHITE, KING), piece_code(BLACK, KING)})
        if (popcount(position->pieces[king]) != 1) return 0;
    pack_train_record(position, record);
    record->gr_score = static_cast<i16>(result_to_score(result));
    record->ce = static_cast<i16>(ce);
    record->sc = static_cast<i16>(sc);
    return 1;
}

// Reads the lines of the file into `records`, of each the first 254 characters: the packed files
// of one text are the same with every version of the program. False when there is no memory for more.
// An interrupt ends the reading between two lines.
static bool read_epd_records(std::FILE *in, TrainRecords *records) {
    constexpr std::size_t SHORTEST_LINE = 20, LONGEST_LINE_USED = 254;
    static LineReader reader;
    start_lines(&reader, in);
    Progress progress;
    begin_progress(&progress, "positions", static_cast<double>(stream_size(in)));
    bool room = true;
    i64 cut_lines = 0;
    // At the limit one more line is read and dropped.
    while (room && !driver.quit && next_line(&reader)) {
        if (reader.line.size() > LONGEST_LINE_USED) {
            reader.line.resize(LONGEST_LINE_USED);
            ++cut_lines;
        }
        const char *line = reader.line.c_str();
        show_progress(&progress, static_cast<double>(reader.bytes), records->count);
        TrainRecord record;
        if (is_remark(line) || std::strlen(line) < SHORTEST_LINE || !record_from_epd_line(line, &record)) continue;
        room = grow_train_records(records);
        if (room) records->block[records->count++] = record;
    }
    end_progress(&progress);
    if (cut_lines)
        std::fprintf(stderr, "only the first %d characters were used of %lld longer lines\n",
                     static_cast<int>(LONGEST_LINE_USED), static_cast<long long>(cut_lines));
    return room || records->count >= TRAIN_RECORD_LIMIT;
}

bool epd_to_records() {
    TrainRecords records = {};
    char out_name[PATH_LENGTH];
    if (!change_extension(settings.in_file, ".epd", ".bin", out_name, sizeof out_name)) return false;
    std::FILE *in = open_input(settings.in_file);
    if (!in) return false;
    if (!start_train_records(&records)) {
        std::fclose(in);
        return false;
    }
    print_plain("reading positions from file %s.\n", settings.in_file);
    bool sound = read_epd_records(in, &records);
    sound = close_input(in, settings.in_file) && sound;
    print_plain("read %.0f positions.\n\n", static_cast<double>(records.count));

    OutputFile out;
    if (open_output(&out, out_name, OUTPUT_BINARY, nullptr)) {
        std::fwrite(records.block, sizeof(TrainRecord), static_cast<std::size_t>(records.count), out.stream);
        const bool written = close_output(&out, OUTPUT_COMPLETE);
        if (written) print_plain("stored %d positions in %s.\n\n", static_cast<int>(records.count), out_name);
        sound = sound && written;
    } else {
        sound = false;
    }
    free_train_records(&records);
    return sound;
}

// An interrupt ends the writing between two lines.
static void write_epd_lines(const TrainRecords *records, std::FILE *out) {
    Position *position = &root_thread_state->position;
    Progress progress;
    begin_progress(&progress, "positions", static_cast<double>(records->count));
    for (i64 i = 0; i < records->count && !driver.quit && !std::ferror(out); ++i) {
        show_progress(&progress, static_cast<double>(i), i);
        const TrainRecord *record = &records->block[i];
        float target;
        char fen[FEN_SIZE];
        // A record without kings is written as it is.
        set_position_from_record(record, position, &target);
        position_to_fen(position, fen, 0);
        std::fprintf(out, "%s ce %d; sc %d; gr %0.1f;\n", fen, record->ce, record->sc,
                     static_cast<double>(score_to_win_prob(record->gr_score)));
    }
    end_progress(&progress);
}

bool records_to_epd() {
    TrainRecords records = {};
    char out_name[PATH_LENGTH];
    OutputFile out;
    bool sound = change_extension(settings.data_file, ".bin", ".epd", out_name, sizeof out_name) &&
                 load_train_records(settings.data_file, &records) == 0 &&
                 open_output(&out, out_name, OUTPUT_TEXT, settings.data_file);
    if (sound) {
        write_epd_lines(&records, out.stream);
        sound = close_output(&out, driver.quit ? OUTPUT_INTERRUPTED : OUTPUT_COMPLETE);
    }
    free_train_records(&records);
    return sound;
}
