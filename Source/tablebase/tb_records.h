// The records of the table registry and of a table that has been set up. Internal to this folder.
#pragma once

#include <atomic>

#include "platform/mapped_file.h"
#include "tablebase/tb_position.h"

constexpr int TB_MAX_MEN = 7;
constexpr int TB_FILE_GROUPS = 4;  // of a table with pawns: the leading pawn on files a to d

enum TbType { TB_WDL, TB_DTM, TB_DTZ, TB_TYPES };

// How a probe ended. A value comes with TB_VALUE or TB_ZEROING only.
enum TbStatus {
    TB_OTHER_SIDE = -1,  // the distance table holds the other side to move only
    TB_NO_VALUE = 0,     // a table is missing or damaged
    TB_VALUE = 1,
    TB_ZEROING = 2,  // the best move is a capture, and it wins or is forced
};

// A result for the side to move; negated it is that of the other side. Other folders see it as TbWdl.
enum TbResult {
    TB_RESULT_LOSS = -2,
    TB_RESULT_BLESSED_LOSS,  // the fifty-move rule saves it
    TB_RESULT_DRAW,
    TB_RESULT_CURSED_WIN,  // the fifty-move rule spoils it
    TB_RESULT_WIN,
};

struct TbPairsData;  // one compressed stream, see tb_stream.h

// How the men of one side and file group become an index into a stream of values.
struct TbEncInfo {
    TbPairsData *precomp;    // the value stream
    u64 factor[TB_MAX_MEN];  // multiplier of the group that starts at a place
    u8 pieces[TB_MAX_MEN];   // the table's order of men, piece codes; colours as in the file's name
    u8 norm[TB_MAX_MEN];     // men in the group that starts at a place, 0 inside a group
};

// Of the distances of one file group: their format and where their value map is.
struct TbDtzFormat {
    u16 map_offset[4];  // first value of each of the map's four parts, in values of the map's width
    u8 flags;           // TbDtzFlag
};

// The head that tables with and without pawns share.
struct TbBaseEntry {
    u64 key;                          // material key with the name's left side as white
    MappedFile mapping[TB_TYPES];     // the mapped files
    std::atomic<u8> ready[TB_TYPES];  // set last, when that type is mapped and decoded
    u8 num;                           // men, kings included
    bool symmetric;                   // both sides have the same material
    bool has_pawns;
    bool has_dtm, has_dtz;  // a usable file of that type exists
    bool kk_enc;            // without pawns: the kings alone lead the index, not three men
    u8 pawns[2];            // with pawns: of the leading side, of the other (0 if none)
    u8 counts[2][KING];     // men by side of the name and type, PAWN to QUEEN
    const u8 *dtz_map;      // value map of the distances, of four parts by result
};

struct TbPieceEntry {
    TbBaseEntry base;
    TbEncInfo wdl[2];  // by side
    TbEncInfo dtz[1];
    TbDtzFormat dtz_format[1];
};

struct TbPawnEntry {
    TbBaseEntry base;
    TbEncInfo wdl[2 * TB_FILE_GROUPS];  // group + TB_FILE_GROUPS * side
    TbEncInfo dtz[TB_FILE_GROUPS];
    TbDtzFormat dtz_format[TB_FILE_GROUPS];
};
