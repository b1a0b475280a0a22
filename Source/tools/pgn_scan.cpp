// Scanning PGN games into EPD lines.
#include "tools/pgn_scan.h"

#include <cstring>

#include "base/output.h"
#include "base/progress.h"
#include "base/settings.h"
#include "base/text.h"
#include "board/fen.h"
#include "board/make_move.h"
#include "board/notation.h"
#include "control/driver_state.h"
#include "formats/output_file.h"
#include "formats/text_file.h"
#include "platform/file_offset.h"
#include "search/thread_state.h"

constexpr int SKIPPED_PLIES = 16;          // opening moves of a game from the start position
constexpr int SKIPPED_PLIES_FROM_FEN = 4;  // of a game from a set-up position
constexpr int EXPORTED_PLIES = 240;
constexpr int SHORTEST_FEN = 11;        // a shorter FEN tag means the start position
constexpr int SHORTEST_LAST_GAME = 50;  // characters; a last game that isn't longer isn't read

// One EPD line; an engine's games carry scores, a game annotated with one evaluation is bare.
static void write_position(const PgnGame *game, int ply, const Position *position, std::FILE *out) {
    char fen[FEN_SIZE];
    position_to_fen(position, fen, 0);
    if (game->annotator_eval) {
        std::fprintf(out, "%s\n", fen);
        return;
    }
    const int result = position->stm ? -game->result : game->result;
    std::fprintf(out, "%s ce %d; gr %0.1f;\n", fen, game->scores[ply], 0.5 + 0.5 * result);
}

void pgn_export_game(PgnGame *game, std::FILE *out) {
    Position *position = &root_thread_state->position;
    int skipped = SKIPPED_PLIES;
    if (std::strlen(game->fen) < SHORTEST_FEN) {
        set_position_from_text(position, STARTPOS_FEN);
    } else {
        set_position_from_text(position, game->fen);
        skipped = SKIPPED_PLIES_FROM_FEN;
    }
    if (!game->move_count) return;
    for (int ply = 0; ply < EXPORTED_PLIES; ++ply) {
        // The position after the last move is written too, with the score that its place holds:
        // 0, or one of a longer game before.
        if (ply >= skipped) write_position(game, ply, position, out);
        if (ply >= game->move_count) return;
        char text[PGN_MOVE_TEXT + 2];  // the move parser can lengthen it
        copy_text(text, game->moves[ply], sizeof text);
        Move move;
        if (!parse_san(position, text, &move)) {
            char fen[FEN_SIZE];
            position_to_fen(position, fen, 0);
            print_format("can't parse move %d. %s in game #%d  %s", ply / 2 + 1, text, game->game_number, fen);
            return;
        }
        make_game_move(position, move);
    }
}

// A game's text while its lines are read.
struct ScannedText {
    char text[PGN_GAME_TEXT];
    std::size_t stored;  // characters in `text`
    i64 length;          // of all lines so far, including those that no longer fit
};

static void clear_text(ScannedText *game) {
    game->text[0] = '\0';
    game->stored = 0;
    game->length = 0;
}

static void append_line(ScannedText *game, const char *line, std::size_t length) {
    game->length += static_cast<i64>(length);
    if (game->length >= PGN_GAME_TEXT) return;
    std::memcpy(game->text + game->stored, line, length + 1);
    game->stored += length;
}

static void finish_game(PgnGame *game, ScannedText *gathered, std::FILE *out) {
    pgn_parse_game(game, gathered->text);
    pgn_export_game(game, out);
    clear_text(gathered);
}

// Games are separated by their tag lines alone: the first line with "[" after other lines starts the
// next game. An interrupt ends the scan between two lines.
static void scan_games(std::FILE *in, std::FILE *out, PgnGame *game, ScannedText *gathered) {
    Progress progress;
    begin_progress(&progress, "games", static_cast<double>(stream_size(in)));
    double bytes = 0.0;
    char line[511];
    int tag_lines = 1;
    while (!driver.quit && !std::ferror(out) && read_text_line(line, sizeof line, in)) {
        const std::size_t length = std::strlen(line);
        bytes += static_cast<double>(length);
        if (*line == '[') {
            if (++tag_lines == 1) finish_game(game, gathered, out);
        } else {
            tag_lines = 0;
        }
        if (length && line[length - 1] == '\n') line[length - 1] = ' ';
        append_line(gathered, line, length);
        show_progress(&progress, bytes, game->game_number);
    }
    if (!driver.quit && gathered->length > SHORTEST_LAST_GAME) finish_game(game, gathered, out);
    end_progress(&progress);
}

bool scan_pgn() {
    if (!has_extension(settings.pgn_file, ".pgn") || !has_extension(settings.out_file, ".epd")) return false;
    std::FILE *in = open_input(settings.pgn_file);
    if (!in) return false;
    OutputFile out;
    if (!open_output(&out, settings.out_file, OUTPUT_TEXT, settings.pgn_file)) {
        std::fclose(in);
        return false;
    }
    static PgnGame game;
    static ScannedText gathered;
    game = PgnGame{};
    clear_text(&gathered);
    scan_games(in, out.stream, &game, &gathered);
    if (game.game_number || !driver.quit) std::fputs("\n", out.stream);
    const bool read = close_input(in, settings.pgn_file);
    const bool written = close_output(&out, driver.quit ? OUTPUT_INTERRUPTED : OUTPUT_COMPLETE);
    print_plain("read %d games\n\n", game.game_number);
    return read && written;
}
