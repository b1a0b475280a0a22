// Moves as a person types them: one or several, with or without numbers and marks.
#include "control/console/play.h"

#include <cctype>
#include <cstring>
#include <initializer_list>

#include "base/output.h"
#include "base/text.h"
#include "board/make_move.h"
#include "board/notation.h"
#include "control/console/game.h"
#include "search/thread_state.h"

static constexpr std::size_t WORD_SIZE = 64;  // a longer word is not a move

static bool is_result(const char *word) {
    for (const char *result : {"1-0", "0-1", "1/2-1/2", "*"})
        if (!std::strcmp(word, result)) return true;
    return false;
}

// "12.", "12..." and "12.Nf3": the text after the number, or the whole text if it does not begin with one.
static const char *skip_move_number(const char *word) {
    const char *at = word;
    while (std::isdigit(static_cast<unsigned char>(*at))) ++at;
    if (at == word || *at != '.') return word;
    while (*at == '.') ++at;
    return at;
}

// Takes the next word off *text, without its move number and trailing marks. False at the end of the text.
// A bare number or a result becomes an empty word.
static bool next_move_word(const char **text, char *word) {
    const char *start = *text + std::strspn(*text, " \t\r");
    std::size_t length = std::strcspn(start, " \t\r");
    *text = start + length;
    if (!length) return false;
    copy_text(word, start, length < WORD_SIZE - 1 ? length + 1 : WORD_SIZE - 1);  // the parser may add a character
    const char *move = skip_move_number(word);
    std::memmove(word, move, std::strlen(move) + 1);
    length = std::strlen(word);
    while (length > 1 && std::strchr("+#!?", word[length - 1])) word[--length] = '\0';
    if (is_result(word)) word[0] = '\0';
    return true;
}

static void print_invalid(Move move) {
    print_plain("invalid: %s%s\n", SQUARE_NAMES[from_of(move)], SQUARE_NAMES[to_of(move)]);
    static bool hint_given;
    if (hint_given || move) return;
    hint_given = true;
    print_plain("type help for the list of commands\n");
}

void play_moves(const char *text) {
    ThreadState *master = root_thread_state;
    char word[WORD_SIZE];
    int played = 0;
    bool readable = true;
    while (readable && next_move_word(&text, word)) {
        if (!word[0]) continue;
        Move move;
        readable = parse_san(&master->position, word, &move);
        if (!readable) {
            print_invalid(move);
            break;
        }
        print_format("%d. move %s", master->game.game_ply / 2 + 1, word);
        make_game_move(&master->position, move);
        ++played;
    }
    if (played) {
        show_board();
        announce_game_end();
    } else if (readable) {
        print_invalid(0);  // only numbers, or nothing at all
    }
}
