// Draws on the current line.
#include "search/line.h"

bool is_search_draw(const Position *position, int ply) {
    // A repetition takes four half-moves without a capture or pawn move.
    if (position->fifty <= 3) return false;
    if (position->fifty > 99) return true;
    const Game *game = position->game;
    int matches = 0;
    // Positions with the same side to move, back to a null move or the start of the game.
    for (int i = game->game_ply - 2; i >= 0 && game->game_stack[i].move; i -= 2)
        if (game->game_stack[i].key == position->key && (i > game->game_ply - ply || ++matches == 2)) return true;
    return false;
}
