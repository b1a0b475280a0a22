// Making an opening book from games.
#pragma once

// Reads settings.pgn_file, writes "tmp_book.bin".
void make_book();
