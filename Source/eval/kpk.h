// King and pawn against king, solved once at start.
#pragma once

#include "board/types.h"

// 2: the side with the pawn wins; else it does not. Index: weak side to move << 17 | (rank * 4 +
// file of the pawn, files a..d) << 12 | strong king << 6 | weak king; the pawn moves up.
extern u8 kpk_table[2 * 32 * 64 * 64];
void init_kpk_table();  // once, after init_attack_tables
