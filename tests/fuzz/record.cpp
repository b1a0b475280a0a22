// Training records: positions of 40 bytes, and the tools that turn files of them into text and back.
#include <cmath>
#include <cstring>
#include <string>

#include "base/settings.h"
#include "base/text.h"
#include "board/fen.h"
#include "formats/training_record.h"
#include "fuzz/fuzz.h"
#include "fuzz/support.h"
#include "support/files.h"
#include "tools/training_data.h"

static constexpr const char *RECORDS = "data.bin";
static constexpr const char *TEXT = "data.epd";

// A record's position, packed and unpacked again, gives the same record and the same position.
static void try_record(const TrainRecord &record, Position *position) {
    float target = -1.0f;
    const bool has_kings = set_position_from_record(&record, position, &target);
    REQUIRE(target >= 0.0f && target <= 1.0f);
    compute_keys(position);
    check_position(position, true);
    REQUIRE(has_kings == (position->king_sq[WHITE] < NO_SQUARE && position->king_sq[BLACK] < NO_SQUARE));
    TrainRecord packed, again;
    pack_train_record(position, &packed);
    char fen[FEN_SIZE], same_fen[FEN_SIZE];
    position_to_fen(position, fen, 0);
    REQUIRE(set_position_from_record(&packed, position, &target) == has_kings);
    position_to_fen(position, same_fen, 0);
    REQUIRE(std::strcmp(fen, same_fen) == 0);
    pack_train_record(position, &again);
    REQUIRE(std::memcmp(&packed, &again, sizeof packed) == 0);
    compute_keys(position);
    check_text_is_stable(position);
}

// The file as text has a line for each record. The text as a file again has the same positions, as far as it has them.
static void try_tools(const std::string &input) {
    const std::size_t count = input.size() / sizeof(TrainRecord);
    REQUIRE(write_file(RECORDS, input));
    copy_text(settings.data_file, RECORDS, sizeof settings.data_file);
    copy_text(settings.in_file, TEXT, sizeof settings.in_file);
    REQUIRE(records_to_epd());
    REQUIRE(lines_of(read_file(TEXT)).size() == count);
    REQUIRE(epd_to_records());
    const std::string back = read_file(RECORDS);
    REQUIRE(back.size() % sizeof(TrainRecord) == 0 && back.size() <= count * sizeof(TrainRecord));
    REQUIRE(records_to_epd() && epd_to_records());
    const std::string stable = read_file(RECORDS);
    for (std::size_t at = 0; at < stable.size(); at += sizeof(TrainRecord))
        REQUIRE(back.find(stable.substr(at, offsetof(TrainRecord, gr_score))) != std::string::npos);
}

void fuzz_record(const std::string &input) {
    Position *position = &fresh_engine()->position;
    for (std::size_t at = 0; at + sizeof(TrainRecord) <= input.size(); at += sizeof(TrainRecord)) {
        TrainRecord record;
        std::memcpy(&record, input.data() + at, sizeof record);
        try_record(record, position);
    }
    try_tools(input);
}
