// The targets under libFuzzer, all in one program: `tarn-fuzz --target=NAME [libFuzzer's options] [folders]`.
// `--list` prints their names.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "fuzz/fuzz.h"
#include "fuzz/support.h"

static const FuzzTarget *target;

// NOLINTBEGIN(readability-identifier-naming): the names are libFuzzer's.
extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv) {
    static constexpr char OPTION[] = "--target=";
    for (int i = 1; i < *argc; ++i) {
        const char *argument = (*argv)[i];
        if (!std::strcmp(argument, "--list")) {
            for (int k = 0; k < FUZZ_TARGET_COUNT; ++k) std::puts(FUZZ_TARGETS[k].name);
            std::exit(0);
        }
        if (!std::strncmp(argument, OPTION, sizeof OPTION - 1)) target = find_fuzz_target(argument + sizeof OPTION - 1);
    }
    if (target) {
        keep_error_output();
        return 0;
    }
    std::fputs("tarn-fuzz needs --target=NAME; --list prints the names\n", stderr);
    std::exit(2);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    target->run(std::string(reinterpret_cast<const char *>(data), size));
    return 0;
}
// NOLINTEND(readability-identifier-naming)
