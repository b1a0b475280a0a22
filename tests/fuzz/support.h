// What the fuzz targets share: a fresh engine for each input, files, captured output, and checks that end the process.
#pragma once

#include <string>
#include <vector>

#include "search/thread_state.h"

// Ends the process with a message when the condition does not hold, in every build.
#define REQUIRE(condition)                                            \
    do {                                                              \
        if (!(condition)) fail_check(__FILE__, __LINE__, #condition); \
    } while (false)
[[noreturn]] void fail_check(const char *file, int line, const char *condition);

// Called first. Keeps standard error for the messages of failed checks, whatever it is connected to afterwards; returns
// the descriptor.
int keep_error_output();

// The engine as after its start: settings, clocks, game, hash and random numbers, whatever inputs came before. The
// first call makes all tables, and a scratch directory that is the working directory from then on. Nothing is printed:
// standard output is captured, see taken_output.
ThreadState *fresh_engine();
// What the program printed to standard output since the last call.
std::string taken_output();
// Runs the main loop of play with this text as the whole standard input.
void play_conversation(const std::string &text);

// Small endgame tables of constant values, in every way of numbering positions: three single men, two kings, pawns of
// one side and of both, and equal sides.
constexpr const char *TABLE_DIRECTORY = "tables";
const std::vector<std::string> &table_names();
// Writes their files into the directory; once per process.
void write_tables();

// Lines without their ends; a last line without an end counts.
std::vector<std::string> lines_of(const std::string &text);
bool begins_with(const std::string &text, const char *prefix);

// Sets, counts, king squares, rights and, with `with_keys`, the keys agree with the board.
void check_position(const Position *position, bool with_keys);
// The moves of the game: each is legal where it was made, unless the position itself is not. The position is unchanged
// at the end.
void check_game(Position *position);
// The position as text, set up again, is the same position. For positions that come from text: after moves there can be
// two rooks on the side of a castling right, and text can't tell them apart.
void check_text_is_stable(const Position *position);
// No setting is out of the range that its option allows, and every text is terminated.
void check_settings();

// Changes commands and options that would end the program by design, or take more memory or time than an input may
// have: network files, table sizes, thread counts, path counts, all but the first scan for endgame tables.
std::vector<std::string> bounded_lines(const std::string &text);
