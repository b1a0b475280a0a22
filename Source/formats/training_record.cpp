// Packing and unpacking training records.
#include "formats/training_record.h"
#include "board/fen.h"

#include <cmath>

// The product in single precision, the rest in double.
float score_to_win_prob(int score) {
    return static_cast<float>(1.0 / (1.0 + std::exp(static_cast<double>(static_cast<float>(score) * -0.006f))));
}

int cut_train_score(int score) {
    return score > TRAIN_SCORE_LIMIT ? TRAIN_SCORE_LIMIT : score < -TRAIN_SCORE_LIMIT ? -TRAIN_SCORE_LIMIT : score;
}

// The two exact results, which most lines hold, are bounded by single-precision constants; all other
// values by doubles. The difference shows in the last unit: 2300 and -2302.
int result_to_score(float result) {
    double bounded = static_cast<double>(result);
    if (result == 0.0f) bounded = static_cast<double>(1e-6f);
    else if (result == 1.0f) bounded = static_cast<double>(0.999999f);
    else if (bounded < 1e-6) bounded = 1e-6;
    else if (bounded > 0.999999) bounded = 0.999999;
    constexpr double SCORE_PER_LOGIT = static_cast<double>(1.0f / 0.006f);
    return cut_train_score(static_cast<int>(-SCORE_PER_LOGIT * std::log(1.0 / bounded - 1.0)));
}

void pack_train_record(const Position *position, TrainRecord *record) {
    *record = TrainRecord{};
    for (int i = 0; i < 32; ++i)
        record->squares[i] = static_cast<u8>(position->board[2 * i] | position->board[2 * i + 1] << 4);
    record->stm_castling = static_cast<u8>((position->castling & 15) | position->stm << 4);
    record->ep = position->ep_square < 64 ? position->ep_square : static_cast<u8>(NO_SQUARE);
}

bool set_position_from_record(const TrainRecord *record, Position *position, float *target) {
    clear_position(position);
    for (Square square = 0; square < 64; ++square) {
        const int code = record->squares[square / 2] >> (square & 1 ? 4 : 0) & 15;
        if (type_of(code) >= PAWN && type_of(code) <= KING) place_piece(position, code, square);
    }
    char rights[5];
    int length = 0;
    for (int right = 0; right < 4; ++right)
        if (record->stm_castling & 1 << right) rights[length++] = "KQkq"[right];
    rights[length] = '\0';
    position->stm = record->stm_castling >> 4 & 1;
    set_castling_from_text(position, rights);
    position->ep_square = record->ep < 64 ? record->ep : static_cast<u8>(NO_SQUARE);
    *target = 0.25f * score_to_win_prob(record->gr_score) + 0.75f * score_to_win_prob(record->sc);
    return position->king_sq[WHITE] != NO_SQUARE && position->king_sq[BLACK] != NO_SQUARE;
}
