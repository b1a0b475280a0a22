// The texts of --help and --version. The build gives the names of processor, system and network.
#include "about.h"

#include <cstring>

#include "base/output.h"
#include "base/settings.h"
#include "tools/benchmark.h"

#ifdef __clang__
static constexpr const char *COMPILER = __VERSION__;  // names itself
#else
static constexpr const char *COMPILER = "g++ " __VERSION__;
#endif

// Nodes of `tarn bench` with the network of these first digits of the SHA-256 sum. Update both with a change of the
// search or the network.
constexpr unsigned BENCH_SIGNATURE = 3292502;
static constexpr const char *SIGNATURE_NETWORK = "a17db04d62c9";

// clang-format off
static constexpr const char *HELP =
    "%s by %s: a chess engine\n"
    "\n"
    "  tarn                  speaks the UCI protocol with a chess interface\n"
    "  tarn -c               console for a person; \"help\" there lists its commands\n"
    "  tarn bench [DEPTH]    searches 20 positions with one thread, to depth %d\n"
    "                        without DEPTH; prints \"N nodes M nps\" last\n"
    "  tarn --version        version, processor, compiler, network, bench signature\n"
    "  tarn --help, -h       this page\n"
    "\n"
    "Without -c the commands are those of UCI, one a line:\n"
    "  uci, isready, setoption name NAME value VALUE, ucinewgame,\n"
    "  position startpos|fen FEN [moves ...], go ..., stop, ponderhit, quit\n"
    "\n"
    "Common switches:\n"
    "  -hash MEGABYTES       size of the hash table\n"
    "  -threads COUNT        search threads\n"
    "  -t SECONDS, -d DEPTH, -n NODES\n"
    "                        limits of a search\n"
    "  -book FILE            Polyglot opening book\n"
    "  -tbpath PATH          directories of Syzygy tablebases\n"
    "  -cfg FILE             configuration file: lines \"option = value\"\n"
    "  -use_hce              hand-crafted evaluation instead of the network\n"
    "  -log                  writes tarn.log\n"
    "\n"
    "Tools (-o FILE names the output):\n"
    "  -anepd FILE           runs a test suite of EPD positions\n"
    "  -scan_pgn FILE        positions of PGN games as EPD\n"
    "  -mkbook FILE          opening book from PGN games\n"
    "  -bench, -pbench       benchmark with search threads, or on the main thread\n"
    "\n"
    "All options, switches and tools: README.md, or \"man tarn\" where installed.\n";
// clang-format on

void print_help() { print_plain(HELP, PROGRAM_NAME, PROGRAM_AUTHOR, BENCH_SIGNATURE_DEPTH); }

void print_version() {
    print_plain("%s by %s\n", PROGRAM_NAME, PROGRAM_AUTHOR);
    print_plain("processor: %s, %s\n", TARN_ARCH_NAME, TARN_SYSTEM_NAME);
    print_plain("compiler: %s\n", COMPILER);
    print_plain("network: SHA-256 %s\n", TARN_NETWORK_HASH);
    if (std::strcmp(TARN_NETWORK_HASH, SIGNATURE_NETWORK) == 0) print_plain("bench: %u\n", BENCH_SIGNATURE);
    else print_plain("bench: unknown for this network; \"tarn bench\" counts it\n");
}
