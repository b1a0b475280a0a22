// Console commands that look into the position, the hash and the evaluation, and change nothing.
#pragma once

void show_hash_line();   // `pv`
void show_evaluation();  // `ev`: the terms, after a search of depth 0
void show_parameters();  // `sp`: the terms and all parameters
void show_network();     // `ev2`: the hidden nodes that make up the network's score
void show_exchanges();   // `swap`
void show_book_moves();  // `book`
