// From the squares of the men to the number of a position in its table. Used by the table reader.
#pragma once

#include "tablebase/tb_records.h"

enum TbEncoding { TB_ENCODE_PIECES, TB_ENCODE_FILES };

constexpr u64 TB_NO_INDEX = ~u64{0};

// Reads the order of men from `bytes` (num + 1 of them, one more when both sides have pawns), the
// low half of each byte with shift 0, the high half with 4, for this file group. Gives the number
// of positions of the table, or 0 when the bytes don't fit the entry's material.
u64 tb_init_enc_info(TbEncInfo *info, const TbBaseEntry *entry, const u8 *bytes, int shift, int group,
                     TbEncoding encoding);

// The number of the position whose men are on `squares`, in the order of info->pieces. The squares
// are changed. TB_NO_INDEX if the kings are where no table has them.
u64 tb_encode_piece(int *squares, const TbEncInfo *info, const TbBaseEntry *entry);
// The same for a table with pawns. squares[0] is the leading pawn; no pawn is on the first or last rank.
u64 tb_encode_pawn(int *squares, const TbEncInfo *info, const TbBaseEntry *entry);

// Moves the leading pawn, the one nearest to the edge files and then to the first rank, to the front
// of `count` pawns and returns its file group.
int tb_put_leading_pawn_first(int *squares, int count);
