// The fuzz targets. Each takes any bytes, hands them to one reader of the program, and checks what comes out. The same
// functions run under libFuzzer (`make fuzz`) and, with the kept inputs, in the ordinary tests.
#pragma once

#include <string>

struct FuzzTarget {
    const char *name;
    void (*run)(const std::string &input);
};

void fuzz_uci(const std::string &input);           // a whole conversation
void fuzz_console(const std::string &input);       // console lines
void fuzz_fen(const std::string &input);           // a position as FEN or as a line of EPD
void fuzz_suite(const std::string &input);         // flags, then a file of EPD lines
void fuzz_moves(const std::string &input);         // flags, a line of FEN, then moves as SAN and as coordinates
void fuzz_pgn(const std::string &input);           // a PGN file
void fuzz_book(const std::string &input);          // a book file
void fuzz_network(const std::string &input);       // a network file
void fuzz_wdl(const std::string &input);           // a material, then a table file of results
void fuzz_dtz(const std::string &input);           // the same with distances
void fuzz_record(const std::string &input);        // training records
void fuzz_config(const std::string &input);        // a configuration file
void fuzz_command_line(const std::string &input);  // arguments, one a line

extern const FuzzTarget FUZZ_TARGETS[];
extern const int FUZZ_TARGET_COUNT;
// Null for an unknown name.
const FuzzTarget *find_fuzz_target(const std::string &name);
